#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <string>
#include <vector>

#include "host/errors.h"
#include "host/numbers.h"
#include "inspection/finder.h"
#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/records.h"

namespace libmfx::inspection {
namespace {

using data_structures::AzElRange;
using data_structures::PointXYZW;
using host::CallError;

constexpr double kPi = std::numbers::pi;
/// Of one request, and of all of a window.
constexpr double kRequestSamples = 5e5;
constexpr double kWindowSamples = 2e7;
/// Fewer than the library plans with.
constexpr double kRequestPoints = 9e5;
/// Least number of samples from the middle of a ball to its rim.
constexpr double kLinesOnRadius = 3.0;
/// Of the spacing: how far a line may leave its elevation.
constexpr double kSag = 0.1;
/// Radians of a chord that is never exceeded: its middle is half a percent nearer than its ends.
constexpr double kLongestChord = 0.2;
/// Bounds that differ from a whole circle or a pole by the rounding of degrees are on it.
constexpr double kRounding = 1e-9;

[[noreturn]] void Refuse(const std::string& what, double value, const std::string& why) {
  throw CallError("a window to scan: " + what + " " + host::Rounded(value, 9) + " " + why);
}

void RequireLength(const std::string& what, double value) {
  if (!(value > 1e-9 && value <= 1e6))
    Refuse(what, value, "is not a length between 1e-9 and 1e6 m");
}

void RequireBounds(const std::string& what, const double (&bounds)[2], double largest) {
  for (const double bound : bounds) {
    if (!(std::fabs(bound) <= largest)) Refuse(what, bound, "is not an angle to look at");
  }
  if (bounds[1] < bounds[0]) Refuse(what, bounds[1], "lies before where the window begins");
}

/// What of a window one request holds: lines of constant elevation, to and fro.
struct Part {
  double from;  ///< radians of azimuth
  double to;
  std::vector<double> lines;  ///< radians of elevation
  double samples = 0.0;
  double points = 0.0;
};

/// Parts of a line that keep to its elevation. The middle of a chord over an angle a leaves it by
/// a^2 / 8 sin(elevation) cos(elevation), to the first order.
double ChordsOf(double width, double elevation, double step) {
  const double bend = std::fabs(0.5 * std::sin(2.0 * elevation));
  const double longest =
      std::min(kLongestChord, std::sqrt(8.0 * kSag * step / std::max(bend, 1e-9)));
  return std::max(1.0, std::ceil(width / longest));
}

/// Evenly spaced values from one to another, no farther apart than a step.
std::vector<double> Even(double from, double to, double step) {
  const auto gaps = static_cast<std::size_t>(std::ceil((to - from) / step - kRounding));
  std::vector<double> values(gaps + 1, from);
  for (std::size_t i = 1; i <= gaps; ++i) {
    values[i] = from + (to - from) * (static_cast<double>(i) / static_cast<double>(gaps));
  }
  return values;
}

/// A border on the seam, a hair to the side where its part lies: rounding would put some of its
/// points on one side of the seam and some on the other.
double OffSeam(double border, double inward) {
  const double from_seam = std::remainder(border - kPi, 2.0 * kPi);
  return std::fabs(from_seam) < kRounding ? border - from_seam + inward * kRounding : border;
}

std::vector<Part> PartsOf(const ScanWindow& window, double from, double to) {
  const double step = window.spacing / window.range;
  std::vector<Part> parts;
  for (const double line : Even(window.elevation[0], window.elevation[1], step)) {
    const double samples = std::max(0.0, std::cos(line)) * (to - from) / step + 1.0;
    const double points = ChordsOf(to - from, line, step) + 1.0;
    if (parts.empty() || parts.back().samples + samples > kRequestSamples ||
        parts.back().points + points > kRequestPoints) {
      parts.push_back({from, to, {}});
    }
    parts.back().lines.push_back(line);
    parts.back().samples += samples;
    parts.back().points += points;
  }
  return parts;
}

void AppendPoint(std::string& text, double azimuth, double elevation, double range) {
  const PointXYZW point = AzElRange(azimuth, elevation, range).ToPoint();
  text += text.back() == '[' ? "[" : ",[";
  host::AppendNumber(text, point.x());
  text += ',';
  host::AppendNumber(text, point.y());
  text += ',';
  host::AppendNumber(text, point.z());
  text += ']';
}

std::string RequestOf(const Part& part, const ScanWindow& window, const std::string& name) {
  const std::string quoted =
      json(name).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::string text = R"({"$id":)" + quoted + R"(,"PointSpacing":)";
  host::AppendNumber(text, window.spacing);
  text += R"(,"QualityThreshold":0,"Feature":{"$type":"ScanPathFeature","Name":)" + quoted +
          R"(,"Path":{"Segments":[[)";
  bool back = false;
  for (const double line : part.lines) {
    const double chords = ChordsOf(part.to - part.from, line, window.spacing / window.range);
    for (double i = 0.0; i <= chords; i += 1.0) {
      const double share = (back ? chords - i : i) / chords;
      AppendPoint(text, part.from + share * (part.to - part.from), line, window.range);
    }
    back = !back;
  }
  return text + "]]}}}";
}

/// The same window within a circle and between the poles.
ScanWindow Checked(ScanWindow window) {
  RequireLength("range", window.range);
  RequireLength("spacing", window.spacing);
  RequireBounds("azimuth", window.azimuth, 1000.0);
  RequireBounds("elevation", window.elevation, 0.5 * kPi + kRounding);
  for (double& bound : window.elevation) bound = std::clamp(bound, -0.5 * kPi, 0.5 * kPi);
  window.azimuth[1] = std::min(window.azimuth[1], window.azimuth[0] + 2.0 * kPi);
  // Steps of a radian scan nothing that is round.
  const double step = window.spacing / window.range;
  if (step > 1.0) Refuse("spacing", window.spacing, "is wider than the range where it counts");
  const double across = (window.elevation[1] - window.elevation[0]) / step + 1.0;
  const double along = (window.azimuth[1] - window.azimuth[0]) / step + 1.0;
  const double area = (std::sin(window.elevation[1]) - std::sin(window.elevation[0])) *
                      (window.azimuth[1] - window.azimuth[0]) / (step * step);
  if (area + across + along > kWindowSamples) {
    Refuse("spacing", window.spacing,
           "m asks for more than " + host::Rounded(kWindowSamples, 8) + " samples");
  }
  return window;
}

}  // namespace

ScanWindow WindowAround(const Vector3d& place, double radius, double off) {
  if (!place.allFinite() || !(place.norm() <= 1e6)) {
    throw CallError("a place to look for a ball is not a point within 1e6 m");
  }
  RequireLength("radius", radius);
  if (!(off >= 0.0 && off <= 1e6)) Refuse("off", off, "is not a length between 0 and 1e6 m");
  ScanWindow window;
  const double distance = place.norm();
  window.range = std::max(distance + off, radius);
  window.spacing = std::min({window.spacing, radius / kLinesOnRadius, 0.5 * window.range});
  const AzElRange toward{PointXYZW(place)};
  const double all[2] = {-0.5 * kPi, 0.5 * kPi};
  // A cap of directions holds the ball that holds all of these balls.
  double cap = kPi;
  if (off + radius < distance) {
    cap = std::asin((off + radius) / distance) + window.spacing / window.range;
  }
  const bool holds_pole = std::fabs(toward.elevation) + cap >= 0.5 * kPi - kRounding;
  window.elevation[0] = std::max(all[0], toward.elevation - cap);
  window.elevation[1] = std::min(all[1], toward.elevation + cap);
  const double half =
      holds_pole ? kPi : std::asin(std::min(1.0, std::sin(cap) / std::cos(toward.elevation)));
  window.azimuth[0] = toward.azimuth - half;
  window.azimuth[1] = toward.azimuth + half;
  return window;
}

std::vector<std::string> RequestsOf(const ScanWindow& window, const std::string& name) {
  const ScanWindow checked = Checked(window);
  // A path through all of the back is driven over the top. One of half a turn at most has no jump
  // then, nor has one that only crosses the seam.
  const std::vector<double> borders = Even(checked.azimuth[0], checked.azimuth[1], kPi);
  std::vector<std::string> requests;
  for (std::size_t i = 0; i + 1 < std::max<std::size_t>(borders.size(), 2); ++i) {
    const double from = OffSeam(borders[i], 1.0);
    const double to = borders.size() > 1 ? OffSeam(borders[i + 1], -1.0) : from;
    for (const Part& part : PartsOf(checked, from, std::max(from, to))) {
      requests.push_back(RequestOf(part, checked, name));
    }
  }
  return requests;
}

}  // namespace libmfx::inspection
