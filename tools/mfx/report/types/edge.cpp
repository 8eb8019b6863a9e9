// The pictures of an edge: its profile with the split, and the surroundings of the edge with the
// fitted curve.

#include "libmfx/features/edge.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using data_structures::PointCloud;
using Eigen::Vector3d;

constexpr double kWidth = 640.0;
/// Half of the width of the picture around the edge, metres.
constexpr double kAround = 0.0012;
constexpr int kCurveSteps = 80;

/// The measurement again, for what its analysis made of the samples on the way.
class Traced : public features::Edge {
 public:
  using Edge::_edge_point;
  using Edge::_profile;
  using Edge::_surface_normal;
  using Edge::_surface_point;
  using Edge::_use_nominal_offset;
  using Edge::Edge;
};

/// Where the pictures stand: on the measured surface, or on the nominal one if the analysis did not
/// get that far.
struct Frame {
  Vector3d origin;
  Vector3d along;
  Vector3d up;

  explicit Frame(const Traced& edge) {
    const auto& profile = edge._profile;
    origin = profile.surface_point.xyz();
    along = profile.surface_direction.xyz();
    up = profile.surface_normal.xyz();
    if (along.norm() > 0.0) return;
    origin = edge._surface_point.xyz();
    up = edge._surface_normal.xyz();
    along = edge._edge_point.xyz() - origin;
    along = (along - along.dot(up) * up).normalized();
  }
  Point2 operator()(const Vector3d& p) const { return {along.dot(p - origin), up.dot(p - origin)}; }
};

std::vector<Point2> Places(const Frame& frame, const PointCloud& cloud) {
  std::vector<Point2> places;
  if (cloud.rows() < 3) return places;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) places.push_back(frame(cloud.point(i).xyz()));
  return places;
}

/// The fitted curve; none if the edge was not looked for on the profile.
std::vector<Point2> Curve(const Traced& edge, const Frame& frame) {
  std::vector<Point2> curve;
  const auto& profile = edge._profile;
  if (!(profile.reach > 0.0)) return curve;
  const double root = std::sqrt(0.5);
  const Vector3d direction = profile.surface_direction.xyz();
  const Vector3d normal = profile.surface_normal.xyz();
  const Vector3d u = (direction - normal) * root;
  const Vector3d v = -(direction + normal) * root;
  for (int i = 0; i <= kCurveSteps; ++i) {
    // Along the axis the curve is at most as long as along itself.
    const double at = profile.reach * root * (2.0 * i / kCurveSteps - 1.0);
    curve.push_back(frame(profile.middle.xyz() + u * at + v * profile.polynomial.Evaluate(at)));
  }
  return curve;
}

std::vector<Point2> Scaled(std::vector<Point2> points, double scale) {
  for (Point2& p : points) p *= scale;
  return points;
}

/// What both pictures show, in the unit of `plot`.
void Draw(Plot& plot, const Traced& edge, const Frame& frame, double scale, double radius) {
  const auto& profile = edge._profile;
  const std::vector<Point2> raw = Scaled(Places(frame, profile.selected), scale);
  plot.Line(Scaled(Places(frame, profile.smoothed), scale), "plan");
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const bool straight =
        profile.split_index < 0 || static_cast<long long>(i) < profile.split_index;
    plot.Dot(raw[i], straight ? "sample" : "odd", radius);
  }
  if (profile.surface_direction.norm() > 0.0) {
    plot.Level(0.0, "nominal", "surface");
    plot.Level(-scale * profile.level, "level", "depth of the edge");
  }
  plot.Line(Scaled(Curve(edge, frame), scale), "measured");
}

Figure ProfileFigure(const Traced& edge, const Frame& frame, const std::optional<Vector3d>& found) {
  Extent x, y;
  for (const Point2& p : Places(frame, edge._profile.selected)) {
    x.Add(p.x());
    y.Add(p.y());
  }
  y.Add(0.05 * x.Size());
  const LengthUnit unit = UnitFor(x.Size());
  const std::string name = std::string(" / ") + unit.name;
  Plot plot(kWidth, 320.0, {"along the surface" + name, unit.scale * x.low, unit.scale * x.high},
            {"above it" + name, unit.scale * y.low, unit.scale * y.high}, true);
  Draw(plot, edge, frame, unit.scale, 1.4);
  if (found) plot.Cross(unit.scale * frame(*found), "measured");
  const long long split = edge._profile.split_index;
  const Eigen::Index count = edge._profile.selected.cols();
  std::string words =
      "The samples of the line in its cross section, and the same smoothed (thin "
      "line). " +
      std::to_string(count) + " samples";
  if (split >= 0 && split < count) {
    words += "; " + std::to_string(split) +
             " of them (blue) lie along the surface by a degree, the rest (orange) comes after the "
             "split";
  } else {
    words += "; no split was found";
  }
  words += found ? ". The red cross is the measured edge point." : ".";
  return {"Profile of the border", plot.Svg("Profile of the border"), words};
}

Figure EdgeFigure(const Traced& edge, const Frame& frame, const std::optional<Vector3d>& found) {
  const Point2 nominal = frame(edge._edge_point.xyz());
  const Point2 middle = found ? frame(*found) : nominal;
  const LengthUnit unit = UnitFor(2.0 * kAround);
  const std::string name = std::string(" / ") + unit.name;
  const auto axis = [&](const char* label, double at, double half) {
    return Plot::Axis{label + name, unit.scale * (at - half), unit.scale * (at + half)};
  };
  // With the surface above, unless that is far.
  const double low = middle.y() - 0.5 * kAround;
  const double high = middle.y() < -2.0 * kAround ? middle.y() + 0.5 * kAround : 0.2 * kAround;
  Plot plot(kWidth, 420.0, axis("along the surface", middle.x(), kAround),
            axis("above it", 0.5 * (low + high), 0.5 * (high - low)), true);
  Draw(plot, edge, frame, unit.scale, 2.6);
  plot.Cross(unit.scale * nominal, "nominal");
  std::string words = "The surroundings of the edge. Dashed cross: the nominal edge point";
  if (found) {
    plot.Cross(unit.scale * middle, "measured");
    words += "; red cross: the measured one, " +
             NumberText(1e6 * (*found - edge._edge_point.xyz()).norm(), 3) + " \xC2\xB5m from it";
  }
  words += edge._use_nominal_offset ? ". The edge is the sample nearest to the depth."
           : edge._profile.reach > 0.0
               ? ". Red line: the curve through the samples on which the edge is looked for."
               : ". No curve was fitted.";
  return {"At the edge", plot.Svg("At the edge"), words};
}

std::vector<Figure> Pictures(const Measured& measured) {
  if (!measured.request.is_object() || measured.exchanges.empty()) return {};
  Traced edge(measured.request.dump());
  edge.UpdateRawData(measured.exchanges.back().samples);
  edge.AnalyzeFeature();
  if (edge._profile.selected.cols() < 2) return {};
  const Frame frame(edge);
  std::optional<Vector3d> found;
  if (measured.successful) found = Triple(measured.result, "Location");
  return {ProfileFigure(edge, frame, found), EdgeFigure(edge, frame, found)};
}

const TypeFigures kEdge("EdgeTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
