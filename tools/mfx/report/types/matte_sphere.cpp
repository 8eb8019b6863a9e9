// The matte sphere: what the fit leaves of the samples.

#include <algorithm>
#include <cmath>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;

std::vector<Figure> Pictures(const Measured& m) {
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

const TypeFigures kSphere("MatteSphereTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
