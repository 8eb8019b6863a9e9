#include "host/instrument_check_angles.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>

#include "host/numbers.h"

namespace libmfx::host {
namespace {

using std::numbers::pi;

/// Share of the samples that have to lie on the path before the angles count as right, or as
/// understood.
constexpr double kRight = 0.95;
constexpr double kUnderstood = 0.9;
/// Most samples that a way to understand them is tried on.
constexpr std::size_t kMostTried = 500;

/// A way to understand the first three values of a sample.
struct Reading {
  const char* name;
  const char* what;
  const char* advice;
  void (*apply)(RawDataPoint& sample);  ///< makes the sample what it was meant to be
  bool to_scale = true;
};

void Scale(RawDataPoint& s, double factor) {
  s.azimuth *= factor;
  s.elevation *= factor;
}

void ReadOrder(RawDataPoint& s, double azimuth, double elevation, double range) {
  s.azimuth = azimuth;
  s.elevation = elevation;
  s.range = range;
}

void ReadCartesian(RawDataPoint& s) {
  const double range = std::hypot(s.azimuth, s.elevation, s.range);
  ReadOrder(s, -std::atan2(s.azimuth, s.range),
            std::atan2(s.elevation, std::hypot(s.azimuth, s.range)), range);
}

void Unwind(RawDataPoint& s) { s.azimuth -= 2.0 * pi * std::round(s.azimuth / (2.0 * pi)); }

/// Ordered: the first one that fits counts.
const Reading kReadings[] = {
    {"azimuth-mirrored", "the azimuth has the wrong sign",
     "turn its sign round: a positive azimuth turns towards -X",
     [](RawDataPoint& s) { s.azimuth = -s.azimuth; }},
    {"elevation-mirrored", "the elevation has the wrong sign",
     "turn its sign round: a positive elevation looks up, towards +Y",
     [](RawDataPoint& s) { s.elevation = -s.elevation; }},
    {"angles-mirrored", "azimuth and elevation both have the wrong sign",
     "turn both signs round: a positive azimuth turns towards -X, a positive elevation looks up",
     [](RawDataPoint& s) { Scale(s, -1.0); }},
    {"angles-swapped", "azimuth and elevation stand in each other's place",
     "the azimuth comes first, then the elevation",
     [](RawDataPoint& s) { std::swap(s.azimuth, s.elevation); }},
    {"azimuth-turned", "azimuths are off by whole turns",
     "keep the azimuth in the branch of the drive points: what was driven at -0.05 is answered at "
     "-0.05, not at 6.23",
     Unwind},
    {"zenith", "the second value is the angle from straight up, not the elevation",
     "give the elevation: a quarter turn less that angle",
     [](RawDataPoint& s) { s.elevation = 0.5 * pi - s.elevation; }},
    {"degrees", "the angles are degrees", "give radians: multiply by pi / 180",
     [](RawDataPoint& s) { Scale(s, pi / 180.0); }},
    {"gons", "the angles are gons", "give radians: multiply by pi / 200",
     [](RawDataPoint& s) { Scale(s, pi / 200.0); }},
    {"milliradians", "the angles are milliradians", "give radians: divide by 1000",
     [](RawDataPoint& s) { Scale(s, 0.001); }},
    {"degrees-driven", "the drive points were taken for degrees: the beam hardly moved",
     "drive points are radians: convert them before the beam is led there",
     [](RawDataPoint& s) { Scale(s, 180.0 / pi); }, false},
    {"angles-doubled", "the angles are twice those that were driven",
     "a beam turns by twice the angle of its mirror: halve the angles",
     [](RawDataPoint& s) { Scale(s, 0.5); }, false},
    {"angles-halved", "the angles are half of those that were driven",
     "a beam turns by twice the angle of its mirror: double the angles",
     [](RawDataPoint& s) { Scale(s, 2.0); }, false},
    {"range-first", "the order of a row is [range, azimuth, elevation, ...]",
     "the order is [azimuth, elevation, range, quality, status]",
     [](RawDataPoint& s) { ReadOrder(s, s.elevation, s.range, s.azimuth); }},
    {"range-second", "the order of a row is [azimuth, range, elevation, ...]",
     "the order is [azimuth, elevation, range, quality, status]",
     [](RawDataPoint& s) { std::swap(s.elevation, s.range); }},
    {"cartesian", "the first three values of a row are x, y, z",
     "give azimuth, elevation and range: azimuth = -atan2(x, z), elevation = atan2(y, hypot(x, z))",
     ReadCartesian},
};

bool IsNear(const CheckPlace& place) {
  // An azimuth a whole turn off looks the same way, and is not the one that was asked for.
  return place.off <= CheckPath::kNear && place.aside.norm() < 1.0;
}

std::string Angles(const RawDataPoint& s) {
  return "[" + Rounded(s.azimuth) + ", " + Rounded(s.elevation) + ", " + Rounded(s.range) +
         ", ...]";
}

/// The samples of one answer under one way to understand them after the other.
class AngleCheck {
 public:
  AngleCheck(const std::vector<RawDataPoint>& samples, const CheckPath& path) : _path(path) {
    _checked.path = &path;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      if (!IsFinite(samples[i])) continue;
      _rows.push_back(i);
      _checked.meant.push_back(samples[i]);
    }
    const std::size_t step = 1 + _checked.meant.size() / kMostTried;
    for (std::size_t i = 0; i < _checked.meant.size(); i += step) {
      _tried.push_back(_checked.meant[i]);
    }
  }

  CheckedAngles Check(const CheckPath* before) {
    if (_tried.empty()) return std::move(_checked);
    if (ShareOn(_path, nullptr) < kRight && !IsOfTheDriveBefore(before) && !IsRead() &&
        !IsShifted()) {
      TellOff();
    }
    Place();
    return std::move(_checked);
  }

 private:
  double ShareOn(const CheckPath& path, const Reading* reading) const {
    const auto near = std::count_if(_tried.begin(), _tried.end(), [&](RawDataPoint s) {
      if (reading != nullptr) reading->apply(s);
      return IsNear(path.Find(s.azimuth, s.elevation));
    });
    return static_cast<double>(near) / static_cast<double>(_tried.size());
  }

  bool IsOfTheDriveBefore(const CheckPath* before) {
    if (before == nullptr || ShareOn(*before, nullptr) < kUnderstood) return false;
    _checked.path = before;
    Find("late", "the samples are those of the drive before: " + Example(nullptr),
         "answer each line with its own samples before the next one is read; empty buffers before "
         "a drive");
    return true;
  }

  bool IsRead() {
    for (const Reading& reading : kReadings) {
      if (ShareOn(_path, &reading) < kUnderstood) continue;
      Find(reading.name, reading.what + (": " + Example(&reading)), reading.advice);
      for (RawDataPoint& s : _checked.meant) reading.apply(s);
      _checked.to_scale = reading.to_scale;
      return true;
    }
    return false;
  }

  /// Whether one shift brings all samples to the path: the zeros of the angles differ.
  bool IsShifted() {
    Eigen::Vector2d low, high, from, to;
    const auto stretch = [](const auto& all, Eigen::Vector2d& least, Eigen::Vector2d& most) {
      least = most = {all.front().azimuth, all.front().elevation};
      for (const auto& one : all) {
        const Eigen::Vector2d place(one.azimuth, one.elevation);
        least = least.cwiseMin(place);
        most = most.cwiseMax(place);
      }
    };
    stretch(_tried, low, high);
    stretch(_path.points(), from, to);
    Eigen::Vector2d shift = 0.5 * (low + high - from - to);
    std::size_t near = 0;
    for (int pass = 0; pass < 30; ++pass) {
      Eigen::Vector2d sum = Eigen::Vector2d::Zero();
      near = 0;
      for (const RawDataPoint& s : _tried) {
        const CheckPlace place = _path.Find(s.azimuth - shift.x(), s.elevation - shift.y());
        sum += place.aside;
        if (IsNear(place)) ++near;
      }
      shift += sum / static_cast<double>(_tried.size());
    }
    if (static_cast<double>(near) < kUnderstood * static_cast<double>(_tried.size())) return false;
    Find("angles-shifted",
         "all samples lie off the driven line, by the same " + Rounded(shift.x(), 3) +
             " rad in azimuth and " + Rounded(shift.y(), 3) + " rad in elevation",
         "the zero of the angles is another one than that of the drive points: let both be the "
         "same");
    for (RawDataPoint& s : _checked.meant) {
      s.azimuth -= shift.x();
      s.elevation -= shift.y();
    }
    return true;
  }

  void TellOff() {
    const double share = 1.0 - ShareOn(_path, nullptr);
    _checked.is_on_path = false;
    Find("off-path",
         Rounded(100.0 * share, 2) +
             " % of the samples lie off the driven line: " + Example(nullptr),
         "drive straight from point to point, and give the angles at which the beam stood when the "
         "sample was taken");
  }

  /// The sample that lies farthest off as it stands, and where it should lie.
  std::string Example(const Reading* reading) const {
    std::size_t worst = 0;
    double off = -1.0;
    for (std::size_t i = 0; i < _checked.meant.size(); ++i) {
      const RawDataPoint& s = _checked.meant[i];
      const CheckPlace place = _path.Find(s.azimuth, s.elevation);
      const double here = std::max(place.off, place.aside.norm() > 1.0 ? 10.0 : 0.0);
      if (here > off) {
        off = here;
        worst = i;
      }
    }
    RawDataPoint meant = _checked.meant[worst];
    std::string text = "row " + std::to_string(_rows[worst]) + " is " + Angles(meant);
    const CheckPlace place = _path.Find(meant.azimuth, meant.elevation);
    if (reading == nullptr) {
      return text + ", " + Rounded(place.off, 3) + " rad off the way to drive point " +
             std::to_string(place.move->index);
    }
    reading->apply(meant);
    return text + ", and the beam was led to azimuth " + Rounded(meant.azimuth) + ", elevation " +
           Rounded(meant.elevation);
  }

  void Place() {
    for (std::size_t i = 0; i < _checked.meant.size(); ++i) {
      const RawDataPoint& s = _checked.meant[i];
      const CheckPlace place = _checked.path->Find(s.azimuth, s.elevation);
      if (IsNear(place)) _checked.placed.push_back({_rows[i], s, place});
    }
  }

  void Find(const char* name, std::string what, const char* advice) {
    _checked.findings.push_back({name, std::move(what), advice, {}});
  }

  const CheckPath& _path;
  std::vector<std::size_t> _rows;  ///< of `meant` in the answer
  std::vector<RawDataPoint> _tried;
  CheckedAngles _checked;
};

}  // namespace

bool IsFinite(const RawDataPoint& sample) {
  return data_structures::IsUsable(sample, std::numeric_limits<double>::lowest());
}

CheckedAngles CheckAngles(const std::vector<RawDataPoint>& samples, const CheckPath& path,
                          const CheckPath* before) {
  return AngleCheck(samples, path).Check(before);
}

}  // namespace libmfx::host
