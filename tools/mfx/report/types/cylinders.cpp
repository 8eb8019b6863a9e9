// Studs and threaded holes: the samples from the side, along the axis and away from it.

#include <cmath>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;

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
  return {{"From the side", plot.Svg("From the side"),
           "The samples in the result by their place along the measured axis, from the measured "
           "location on, and their distance from it. " +
               std::to_string(sides.size()) + " samples within two radii."}};
}

const TypeFigures kStud("StudTargetResult", Pictures);
const TypeFigures kThreadedHole("ThreadedHoleTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
