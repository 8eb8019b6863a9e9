// The pictures of an edge: its profile with the split, and the surroundings of the edge with the
// fitted curve.

#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using data_structures::PointCloud;
using Eigen::Vector3d;
using features::StageProfile;

/// Half of the width of the picture around the edge, metres.
constexpr double kAround = 0.0012;
constexpr int kCurveSteps = 80;

/// Where the pictures stand: on the measured surface, or on the nominal one if the analysis did not
/// get that far.
struct Frame {
  Vector3d origin;
  Vector3d along;
  Vector3d up;

  Point2 operator()(const Vector3d& p) const { return {along.dot(p - origin), up.dot(p - origin)}; }
};

std::optional<Frame> FrameOf(const Measured& m, const StageProfile& profile) {
  if (profile.surface_direction.norm() > 0.0) {
    return Frame{profile.surface_point.xyz(), profile.surface_direction.xyz(),
                 profile.surface_normal.xyz()};
  }
  const nlohmann::json feature =
      m.request.is_object() ? m.request.value("Feature", nlohmann::json()) : nlohmann::json();
  const auto origin = Triple(feature, "SurfacePoint");
  const auto normal = Triple(feature, "SurfaceNormal");
  if (!origin || !normal || !(normal->norm() > 0.0)) return std::nullopt;
  const Vector3d up = normal->normalized();
  const Vector3d way = profile.nominal.xyz() - *origin;
  return Frame{*origin, (way - way.dot(up) * up).normalized(), up};
}

std::vector<Point2> Places(const Frame& frame, const PointCloud& cloud) {
  std::vector<Point2> places;
  if (cloud.rows() < 3) return places;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) places.push_back(frame(cloud.point(i).xyz()));
  return places;
}

/// The fitted curve; none if the edge was not looked for on the profile.
std::vector<Point2> Curve(const StageProfile& profile, const Frame& frame) {
  std::vector<Point2> curve;
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

/// What both pictures show, in the unit of `plot`.
void Draw(Plot& plot, const StageProfile& profile, const Frame& frame, double scale,
          double radius) {
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
  plot.Line(Scaled(Curve(profile, frame), scale), "measured");
}

Figure ProfileFigure(const StageProfile& profile, const Frame& frame,
                     const std::optional<Vector3d>& found) {
  Extents shown;
  shown.Add(Places(frame, profile.selected));
  shown.y.Add(0.05 * shown.x.Size());
  const LengthUnit unit = UnitFor(shown.x.Size());
  Plot plot(kWidth, 320.0, LengthAxis("along the surface", unit, shown.x.low, shown.x.high),
            LengthAxis("above it", unit, shown.y.low, shown.y.high), true);
  Draw(plot, profile, frame, unit.scale, 1.4);
  if (found) plot.Cross(unit.scale * frame(*found), "measured");
  const long long split = profile.split_index;
  const Eigen::Index count = profile.selected.cols();
  std::string words =
      "The samples of the line in its cross section, and the same smoothed (thin line). " +
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

Figure EdgeFigure(const StageProfile& profile, const Frame& frame,
                  const std::optional<Vector3d>& found) {
  const Point2 nominal = frame(profile.nominal.xyz());
  const Point2 middle = found ? frame(*found) : nominal;
  const LengthUnit unit = UnitFor(2.0 * kAround);
  // With the surface above, unless that is far.
  const double low = middle.y() - 0.5 * kAround;
  const double high = middle.y() < -2.0 * kAround ? middle.y() + 0.5 * kAround : 0.2 * kAround;
  Plot plot(kWidth, 420.0,
            LengthAxis("along the surface", unit, middle.x() - kAround, middle.x() + kAround),
            LengthAxis("above it", unit, low, high), true);
  Draw(plot, profile, frame, unit.scale, 2.6);
  plot.Cross(unit.scale * nominal, "nominal");
  std::string words =
      "The surroundings of the edge. Dashed cross: the edge point that this pass looked for";
  if (found) {
    plot.Cross(unit.scale * middle, "measured");
    words += "; red cross: the measured one, " +
             NumberText(1e6 * (*found - profile.nominal.xyz()).norm(), 3) + " \xC2\xB5m from it";
  }
  words += profile.reach > 0.0
               ? ". Red line: the curve through the samples on which the edge is looked for."
           : found ? ". The edge is the sample nearest to the depth."
                   : ". No curve was fitted.";
  return {"At the edge", plot.Svg("At the edge"), words};
}

std::vector<Figure> Pictures(const Measured& m) {
  if (!m.stages.profile || m.stages.profile->selected.cols() < 2) return {};
  const StageProfile& profile = *m.stages.profile;
  const auto frame = FrameOf(m, profile);
  if (!frame) return {};
  std::optional<Vector3d> found;
  if (m.successful) found = Triple(m.result, "Location");
  return {ProfileFigure(profile, *frame, found), EdgeFigure(profile, *frame, found)};
}

const TypeFigures kEdge("EdgeTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
