#include "report/around_rim.h"

#include <cmath>

namespace libmfx::host::report {

using Eigen::Vector3d;
using features::SampleFate;

std::vector<Figure> AroundTheRim(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  const auto normal = Triple(m.result, "Normal");
  const auto radius = Number(m.result, "Radius");
  if (!m.successful || !m.IsRecorded() || !center || !normal || !radius ||
      !(normal->norm() > 0.0)) {
    return {};
  }
  const Vector3d axis = normal->normalized();
  const Vector3d start = (m.view.right - m.view.right.dot(axis) * axis).normalized();
  const Vector3d side = axis.cross(start);
  const double band = 0.25 * *radius;  // to either side of the rim, in the picture
  const LengthUnit unit = UnitFor(2.0 * band);
  Plot plot(kWidth, 300.0, {"angle around the axis / \xC2\xB0", -180.0, 180.0},
            LengthAxis("distance from the axis", unit, *radius - band, *radius + band), false);
  plot.Level(unit.scale * *radius, "level",
             m.radius_as_told ? "radius as told" : "measured radius");
  std::size_t drawn = 0;
  for (std::size_t i = 0; i < m.stages.fates.size(); ++i) {
    const SampleFate fate = m.stages.fates[i];
    if (fate != SampleFate::kSurface && fate != SampleFate::kWall) continue;
    const Vector3d out = Cartesian(m.exchanges.back().samples[i]) - *center;
    const double distance = std::hypot(out.dot(start), out.dot(side));
    if (std::abs(distance - *radius) > band) continue;
    ++drawn;
    const double angle = std::atan2(out.dot(side), out.dot(start)) * 180.0 / 3.14159265358979323846;
    plot.Dot({angle, unit.scale * distance}, fate == SampleFate::kSurface ? "sample" : "odd", 1.6);
  }
  return {
      {"Around the rim", plot.Svg("Around the rim"),
       "The samples near the rim that the fits rest on, by their angle around the axis: blue on "
       "the surface, orange on the wall. " +
           std::to_string(drawn) + " samples."}};
}

}  // namespace libmfx::host::report
