// The pictures of a matte sphere: the ranging stroke, the pattern by the parts into which the
// analysis cuts it and by what became of each sample, and the residuals against the sphere.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "libmfx/features/sphere_fit.h"
#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using data_structures::AzElRange;
using data_structures::PointXYZW;
using Eigen::Vector3d;

constexpr double kWidth = 640.0;
/// Most marks in one picture: beyond it every n-th sample is drawn.
constexpr std::size_t kMostMarks = 6000;

/// What became of a sample in the analysis, worked out anew from request and result.
enum Fate { kKept, kLeftOut, kRejected, kUnusable };
constexpr const char* kFateColours[] = {"#1b4f8f", "#7fa8d9", "#d9822b", ""};
/// Quadrants as the reader sees them, upper right first and anticlockwise, then the centre patch.
constexpr const char* kPartColours[] = {"#1b4f8f", "#d9822b", "#2f8f4e", "#8c2981", "#222222"};
constexpr int kPatch = 4;

struct Seen {
  Vector3d place;
  int part = -1;  ///< of the quadrants, or the patch; -1: none
  Fate fate = kUnusable;
  double residual = std::numeric_limits<double>::quiet_NaN();  ///< metres, positive outside
};

/// The request as far as the pictures need it, with the library's defaults.
struct Asked {
  PointXYZW nominal;
  double radius;
  double threshold;
  double multiplier;
};

std::optional<Asked> ReadRequest(const nlohmann::json& request) {
  if (!request.is_object()) return std::nullopt;
  const nlohmann::json feature = request.value("Feature", nlohmann::json());
  const auto place = Triple(feature, "Location");
  const auto radius = Number(feature, "Radius");
  if (!place || !radius || !(*radius > 0.0)) return std::nullopt;
  return Asked{PointXYZW(*place), *radius, Number(request, "QualityThreshold").value_or(50.0),
               Number(request, "StdMultiplier").value_or(0.75)};
}

const Exchange* LastScan(const Measured& measured, const char* step) {
  const Exchange* found = nullptr;
  for (const Exchange& exchange : measured.exchanges) {
    if (exchange.step == step) found = &exchange;
  }
  return found;
}

/// The sample of the stroke that told the range: the nearest in direction, if there is any.
const RawDataPoint* Chosen(const Exchange& stroke, const AzElRange& aim) {
  const RawDataPoint* best = nullptr;
  const auto off = [&aim](const RawDataPoint& s) {
    return std::hypot(s.azimuth - aim.azimuth, s.elevation - aim.elevation);
  };
  for (const RawDataPoint& s : stroke.samples) {
    if (!(s.range > 0.0) || !std::isfinite(s.range) || !std::isfinite(off(s))) continue;
    if (best == nullptr || off(s) < off(*best)) best = &s;
  }
  return best;
}

Figure StrokeFigure(const Measured& measured, const Exchange& stroke, const RawDataPoint& chosen) {
  Vector3d way = measured.view.up;
  if (stroke.points.size() > 1) {
    way = (Cartesian(stroke.points.back()) - Cartesian(stroke.points.front())).normalized();
  }
  const auto mark = [&](const RawDataPoint& s) {
    const Vector3d aimed = Cartesian(s).normalized() * measured.view.origin.norm();
    return Point2(1e3 * way.dot(aimed - measured.view.origin), 1e6 * (s.range - chosen.range));
  };
  Extent x, y;
  for (const RawDataPoint& s : stroke.samples) {
    x.Add(mark(s).x());
    y.Add(mark(s).y());
  }
  Plot plot(kWidth, 220.0, {"along the stroke / mm", x.low, x.high},
            {"range / \xC2\xB5m", y.low, y.high}, false);
  for (const RawDataPoint& s : stroke.samples) plot.Dot(mark(s), "sample", 3.0);
  plot.Cross(mark(chosen), "measured");
  return {"Ranging stroke", plot.Svg("Ranging stroke"),
          "Range of the samples of the stroke, less that of the sample nearest in direction to the "
          "nominal (red cross), which tells the distance of the surface: " +
              NumberText(chosen.range, 8) + " m. " + std::to_string(stroke.samples.size()) +
              " samples."};
}

/// The parts of the scan, as the analysis deals its samples out.
std::vector<Seen> Parts(const Asked& asked, const Exchange& scan, double surface_range) {
  const AzElRange aim(asked.nominal);
  const Vector3d surface =
      AzElRange(aim.azimuth, aim.elevation, surface_range).ToPoint().eigen().head<3>();
  std::vector<Seen> seen;
  seen.reserve(scan.samples.size());
  for (const RawDataPoint& s : scan.samples) {
    Seen one;
    one.place = Cartesian(s);
    const bool usable = data_structures::IsUsable(s, asked.threshold) &&
                        s.quality > asked.threshold &&
                        std::abs(s.range - surface_range) <= asked.radius;
    if (usable) {
      const bool right = s.azimuth >= aim.azimuth;
      one.part = s.elevation >= aim.elevation ? (right ? 0 : 1) : (right ? 3 : 2);
      if ((one.place - surface).norm() < 0.35 * asked.radius) one.part = kPatch;
      one.fate = kRejected;
    }
    seen.push_back(one);
  }
  return seen;
}

/// Sets fates and residuals against the measured sphere.
void Judge(const Asked& asked, const Vector3d& center, double surface_range,
           std::vector<Seen>& seen) {
  const double tolerance = features::SphereTolerancesAt(surface_range).filter;
  double sum = 0.0, squares = 0.0, count = 0.0;
  for (Seen& s : seen) {
    if (s.fate == kUnusable) continue;
    s.residual = (s.place - center).norm() - asked.radius;
    if (!(std::abs(s.residual) <= tolerance)) continue;
    s.fate = kLeftOut;
    sum += s.residual;
    squares += s.residual * s.residual;
    count += 1.0;
  }
  if (count < 1.0) return;
  const double mean = sum / count;
  const double deviation = std::sqrt(std::abs(squares / count - mean * mean));
  for (Seen& s : seen) {
    if (s.fate == kLeftOut && std::abs(s.residual) <= asked.multiplier * deviation) s.fate = kKept;
  }
}

/// The samples from the front; `colour` of a sample, empty: drawn as an open red dot.
template <typename Colour>
std::string FrontSvg(const Measured& measured, const std::vector<Seen>& seen, double radius,
                     const std::string& title, Colour colour) {
  Extent x, y;
  for (const double side : {-radius, radius}) {
    x.Add(side);
    y.Add(side);
  }
  const LengthUnit unit = UnitFor(2.0 * radius);
  const std::string name = std::string(" / ") + unit.name;
  Plot plot(kWidth, 520.0, {"to the right" + name, unit.scale * x.low, unit.scale * x.high},
            {"up" + name, unit.scale * y.low, unit.scale * y.high}, true);
  plot.Circle(Point2::Zero(), unit.scale * radius, "nominal");
  const std::size_t step = (seen.size() + kMostMarks - 1) / kMostMarks;
  for (std::size_t i = 0; i < seen.size(); i += step) {
    const std::string fill = colour(seen[i]);
    plot.Dot(unit.scale * measured.view.Front(seen[i].place), fill.empty() ? "dropped" : "sample",
             1.6, fill);
  }
  return plot.Svg(title);
}

Figure PartsFigure(const Measured& measured, const Asked& asked, const std::vector<Seen>& seen) {
  const char* title = "Parts of the scan";
  const auto colour = [](const Seen& s) {
    return s.part < 0 ? std::string() : std::string(kPartColours[s.part]);
  };
  return {title, FrontSvg(measured, seen, asked.radius, title, colour),
          "The parts that compete for the fit: quadrants upper right (blue), upper left (orange), "
          "lower left (green), lower right (violet), and the centre patch (black), whose samples "
          "count in their quadrants too. Open red dots: below the quality threshold, or farther "
          "from the surface than a radius. Dashed: the ball around the nominal."};
}

Figure FateFigure(const Measured& measured, const Asked& asked, const std::vector<Seen>& seen) {
  const char* title = "What became of the samples";
  int counts[4] = {};
  for (const Seen& s : seen) ++counts[s.fate];
  const auto colour = [](const Seen& s) { return std::string(kFateColours[s.fate]); };
  return {title, FrontSvg(measured, seen, asked.radius, title, colour),
          std::to_string(counts[kKept]) + " kept in the last fit (dark blue), " +
              std::to_string(counts[kLeftOut]) + " left out of it by their scatter (light blue), " +
              std::to_string(counts[kRejected]) +
              " rejected as too far from the sphere (orange), " +
              std::to_string(counts[kUnusable]) +
              " not used (open red). Worked out anew from the result with the default settings: "
              "samples at a limit may stand on its other side."};
}

/// What the fit leaves of the samples.
std::vector<Figure> ResidualFigures(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  const auto radius = Number(m.result, "Radius");
  const std::vector<Vector3d> points = ResultPoints(m.result);
  if (!center || !radius || points.size() < 2 || !(center->norm() > 0.0)) return {};

  const Vector3d towards = -center->normalized();
  std::vector<Point2> residuals;  // angle from the line of sight / degrees, residual / m
  std::vector<double> sizes;
  for (const Vector3d& p : points) {
    const Vector3d out = p - *center;
    const double angle = std::atan2(out.cross(towards).norm(), out.dot(towards));
    residuals.emplace_back(angle * 180.0 / 3.14159265358979323846, out.norm() - *radius);
    sizes.push_back(std::abs(residuals.back().y()));
  }
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::nth_element(sizes.begin(), middle, sizes.end());
  const double shown = std::max(8.0 * *middle, 1e-7);
  const LengthUnit unit = UnitFor(2.0 * shown);

  Extent angles;
  for (const Point2& r : residuals) angles.Add(r.x());
  Plot plot(640.0, 300.0, {"angle from the line of sight / °", angles.low, angles.high},
            {std::string("residual / ") + unit.name, -unit.scale * shown, unit.scale * shown},
            false);
  plot.Level(0.0, "level", "fitted radius");
  std::size_t outside = 0;
  for (const Point2& r : residuals) {
    outside += std::abs(r.y()) > shown ? 1 : 0;
    plot.Dot({r.x(), unit.scale * r.y()}, "sample", 1.6);
  }
  return {{"Residuals of the sphere", plot.Svg("Residuals of the sphere"),
           "Distance of the samples in the result from the sphere with the measured centre and the "
           "radius, above 0 outside. " +
               std::to_string(outside) + " of " + std::to_string(points.size()) +
               " lie beyond the picture."}};
}

/// The stroke, the parts and the fates, as far as the scans of the measurement go.
std::vector<Figure> ScanFigures(const Measured& measured) {
  std::vector<Figure> figures;
  const auto asked = ReadRequest(measured.request);
  const Exchange* stroke = LastScan(measured, "SURFACE_RANGE");
  const Exchange* scan = LastScan(measured, "FEATURE_SCAN_PATTERN");
  if (!asked || stroke == nullptr) return figures;
  const RawDataPoint* chosen = Chosen(*stroke, AzElRange(asked->nominal));
  if (chosen == nullptr) return figures;
  figures.push_back(StrokeFigure(measured, *stroke, *chosen));
  if (scan == nullptr || scan->samples.empty()) return figures;
  std::vector<Seen> seen = Parts(*asked, *scan, chosen->range);
  figures.push_back(PartsFigure(measured, *asked, seen));
  const auto center = Triple(measured.result, "Location");
  if (!measured.successful || !center) return figures;
  Judge(*asked, *center, chosen->range, seen);
  figures.push_back(FateFigure(measured, *asked, seen));
  return figures;
}

std::vector<Figure> Pictures(const Measured& measured) {
  std::vector<Figure> figures = ScanFigures(measured);
  for (Figure& figure : ResidualFigures(measured)) figures.push_back(std::move(figure));
  return figures;
}

const TypeFigures kSphere("MatteSphereTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
