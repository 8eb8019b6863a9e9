#include <utility>

#include "features/cylinder/request.h"
#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "libmfx/features/cylinder_feature.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {

VectorXYZW CylinderFeature::NominalAxis() const {
  return VectorXYZW(_nominal_cylinder._axis.xyz());
}

double CylinderFeature::FacingOfAxis() const {
  return shared::UnitFromTo(_nominal_cylinder._center, _scan_origin).dot(NominalAxis());
}

shared::PlanChecks CylinderFeature::PlanTable() {
  using C = CylinderFeature;
  return shared::PlanChecks()
      .Finite("The nominal centre", &Parts::Center, "The nominal axis", &Parts::Axis, "Radius",
              &Parts::Radius, "Height", &C::_height, "Offset", &C::_bottom_offset)
      .Positive("LineSpacing", &C::_line_spacing)
      .Finite("PointSpacing", &C::_point_spacing)
      .Count(
          "LineSpacing",
          +[](const C& c) { return 4.0 * c._nominal_cylinder._radius / c._line_spacing; });
}

VectorXYZW CylinderFeature::AcrossDirection() const {
  const PointXYZW& center = _nominal_cylinder._center;
  const VectorXYZW axis = NominalAxis();
  const geometry::Plane plane(center, axis);
  // The line of sight to the far end, laid into the plane; none is left when it runs along the
  // axis.
  const VectorXYZW sight = shared::UnitFromTo(PointXYZW(), center + axis * _height);
  VectorXYZW t = plane.Project(center + sight * _height) - center;
  t = t.isZero(shared::kZeroDirection) ? plane.Tangent() : t.normalized();
  const VectorXYZW b = t.cross(axis).normalized();
  return b.isZero(shared::kZeroDirection) ? plane.Bitangent() : b;
}

std::queue<Position> CylinderFeature::GenerateDrivePoints() {
  if (auto path = PlanWithoutPattern()) return *std::move(path);
  const PointXYZW& center = _nominal_cylinder._center;
  const VectorXYZW axis = NominalAxis();
  const double radius = _nominal_cylinder._radius;
  const VectorXYZW b = AcrossDirection();
  const int lines = static_cast<int>(2.0 * radius / _line_spacing + _kind.rounding);
  std::queue<Position> raster;
  for (int i = 0; i < lines; ++i) {
    const PointXYZW p = center - axis * (0.5 * _height) + b * (i * _line_spacing - radius);
    const PointXYZW e = p + axis * (2.0 * _height);
    raster.emplace(AzElRange(i % 2 == 0 ? p : e), 0.0);
    raster.emplace(AzElRange(i % 2 == 0 ? e : p), _point_spacing);
  }
  return HandOut(std::move(raster), center);
}

}  // namespace libmfx::features
