#include "around_rim.h"

#include <cmath>

namespace libmfx::host::report {

using Eigen::Vector3d;

std::vector<Figure> AroundTheRim(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  const auto normal = Triple(m.result, "Normal");
  const auto radius = Number(m.result, "Radius");
  const std::vector<Vector3d> points = ResultPoints(m.result);
  if (!center || !normal || !radius || points.empty() || !(normal->norm() > 0.0)) return {};

  const Vector3d axis = normal->normalized();
  const Vector3d start = (m.view.right - m.view.right.dot(axis) * axis).normalized();
  const Vector3d side = axis.cross(start);
  const double band = 0.25 * *radius;     // to either side of the rim
  const double surface = 0.05 * *radius;  // what is deeper belongs to the wall or lies behind
  const LengthUnit unit = UnitFor(2.0 * band);
  Plot plot(640.0, 300.0, {"angle around the axis / °", -180.0, 180.0},
            {std::string("distance from the axis / ") + unit.name, unit.scale * (*radius - band),
             unit.scale * (*radius + band)},
            false);
  plot.Level(unit.scale * *radius, "level", "measured radius");
  std::size_t drawn = 0;
  for (const Vector3d& p : points) {
    const Vector3d out = p - *center;
    const double height = std::abs(out.dot(axis));
    const double distance = std::hypot(out.dot(start), out.dot(side));
    if (std::abs(distance - *radius) > band) continue;
    ++drawn;
    const double angle = std::atan2(out.dot(side), out.dot(start)) * 180.0 / 3.14159265358979323846;
    plot.Dot({angle, unit.scale * distance}, height < surface ? "sample" : "odd", 1.6);
  }
  return {{"Around the rim", plot.Svg("Around the rim"),
           "The samples in the result near the rim, by their angle around the axis: blue on the "
           "surface, orange out of it. " +
               std::to_string(drawn) + " samples."}};
}

}  // namespace libmfx::host::report
