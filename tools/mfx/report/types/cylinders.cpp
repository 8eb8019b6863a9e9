// Studs and threaded holes: the samples from the side, along the axis and away from it, and what
// the fit leaves of those in its window, unrolled.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;

constexpr double kDegrees = 180.0 / 3.14159265358979323846;

/// Samples of the last scan that lie in the window of the request; where they are not told, none.
std::vector<Vector3d> InWindow(const Measured& m) {
  std::vector<Vector3d> points;
  if (m.exchanges.empty() || !m.request.is_object()) return points;
  const nlohmann::json feature = m.request.value("Feature", nlohmann::json());
  const auto center = Triple(feature, "Location");
  const auto direction = Triple(feature, "Axis");
  const auto radius = Number(feature, "Radius");
  const auto bottom = Number(feature, "Offset");
  const auto top = Number(feature, "Height");
  if (!center || !direction || !radius || !bottom || !top || !(direction->norm() > 0.0)) return {};
  const double tolerance = Number(feature, "RadiusTolerance").value_or(0.005);
  const Vector3d axis = direction->normalized();
  for (const RawDataPoint& sample : m.exchanges.back().samples) {
    if (!(sample.quality >= m.quality_threshold.value_or(50.0))) continue;
    const Vector3d out = Cartesian(sample) - *center;
    const double height = out.dot(axis);
    if (!(height >= *bottom && height <= *top)) continue;
    if (!(std::abs(out.cross(axis).norm() - *radius) <= tolerance)) continue;
    points.push_back(Cartesian(sample));
  }
  return points;
}

/// Blue inside of the wall, orange outside, pale on it; `share` from -1 to 1.
std::string ResidualColour(double share) {
  const double s = std::clamp(share, -1.0, 1.0);
  const int ends[2][3] = {{0xd9, 0x6b, 0x12}, {0x1b, 0x4f, 0x8f}};
  const int* end = ends[s < 0.0 ? 1 : 0];
  char text[8];
  const auto channel = [&](int k) {
    return static_cast<unsigned>(std::lround(0xe8 + (end[k] - 0xe8) * std::abs(s))) & 0xffU;
  };
  std::snprintf(text, sizeof text, "#%02x%02x%02x", channel(0), channel(1), channel(2));
  return text;
}

std::vector<Figure> Unrolled(const Measured& m, const Vector3d& center, const Vector3d& axis,
                             double radius) {
  constexpr std::size_t kMostMarks = 8000;
  const std::vector<Vector3d> points = InWindow(m);
  const Vector3d forward = (-center - (-center).dot(axis) * axis).normalized();
  if (points.size() < 3 || !(forward.norm() > 0.5)) return {};
  const Vector3d aside = axis.cross(forward);
  std::vector<Vector3d> marks;  // turn / degrees, along the axis / m, residual / m
  std::vector<double> sizes;
  Extent turn, along;
  // A bore shows the wall behind its axis, a stud the one before it.
  double facing = 0.0;
  for (const Vector3d& p : points) facing += (p - center).dot(forward);
  const double side = facing < 0.0 ? -1.0 : 1.0;
  for (const Vector3d& p : points) {
    const Vector3d out = side * (p - center);
    marks.emplace_back(kDegrees * std::atan2(out.dot(aside), out.dot(forward)),
                       (p - center).dot(axis), out.cross(axis).norm() - radius);
    turn.Add(marks.back().x());
    along.Add(marks.back().y());
    sizes.push_back(std::abs(marks.back().z()));
  }
  const auto most = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() * 19 / 20);
  std::nth_element(sizes.begin(), most, sizes.end());
  const double full = std::max(*most, 1e-7);
  const LengthUnit unit = UnitFor(along.Size());
  const LengthUnit fine = UnitFor(full);
  Plot plot(640.0, 360.0, {"around the axis / \xC2\xB0", turn.low, turn.high},
            {std::string("along the axis / ") + unit.name, unit.scale * along.low,
             unit.scale * along.high},
            false);
  const std::size_t step = (marks.size() + kMostMarks - 1) / kMostMarks;
  for (std::size_t i = 0; i < marks.size(); i += step) {
    plot.Dot({marks[i].x(), unit.scale * marks[i].y()}, "sample", 2.2,
             ResidualColour(marks[i].z() / full));
  }
  return {
      {"Unrolled wall", plot.Svg("Unrolled wall"),
       "The " + std::to_string(points.size()) +
           " samples in the window of the last scan, the wall laid flat; 0\xC2\xB0 is the middle "
           "of the side in sight. Blue: nearer to the axis than the measured radius, orange: "
           "farther, full colour at " +
           NumberText(fine.scale * full, 3) + " " + fine.name +
           ". A thread shows as slanted stripes; of a smooth wall stripes or patches mean that "
           "the fit is not the wall."}};
}

std::vector<Figure> Pictures(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  const auto direction = Triple(m.result, "Axis");
  const auto radius = Number(m.result, "Radius");
  const std::vector<Vector3d> points = ResultPoints(m.result);
  if (!center || !direction || !radius || points.empty() || !(direction->norm() > 0.0)) return {};

  const Vector3d axis = direction->normalized();
  std::vector<Point2> sides;  // along the axis, away from it / m
  Extent along;
  for (const Vector3d& p : points) {
    const Vector3d out = p - *center;
    const Point2 side(out.dot(axis), out.cross(axis).norm());
    if (side.y() > 2.0 * *radius) continue;
    sides.push_back(side);
    along.Add(side.x());
  }
  const LengthUnit unit = UnitFor(std::max(along.Size(), 2.0 * *radius));
  const std::string name = std::string(" / ") + unit.name;
  Plot plot(640.0, 300.0,
            {"along the axis" + name, unit.scale * along.low, unit.scale * along.high},
            {"distance from the axis" + name, 0.0, 2.0 * unit.scale * *radius}, false);
  plot.Level(unit.scale * *radius, "level", "measured radius");
  for (const Point2& side : sides) plot.Dot(unit.scale * side, "sample", 1.6);
  std::vector<Figure> figures = {
      {"From the side", plot.Svg("From the side"),
       "The samples in the result by their place along the measured axis, from the measured "
       "location on, and their distance from it. " +
           std::to_string(sides.size()) + " samples within two radii."}};
  for (Figure& figure : Unrolled(m, *center, axis, *radius)) figures.push_back(std::move(figure));
  return figures;
}

const TypeFigures kStud("StudTargetResult", Pictures);
const TypeFigures kThreadedHole("ThreadedHoleTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
