#pragma once

#include "features/shared/feature_class.h"
#include "libmfx/features/cylinder_feature.h"

namespace libmfx::features {

/// The parts of the two cylinders, as the tables name them.
struct CylinderFeature::Parts {
  static PointXYZW& Center(CylinderFeature& c) { return c._nominal_cylinder._center; }
  static PointXYZW& Axis(CylinderFeature& c) { return c._nominal_cylinder._axis; }
  static double& Radius(CylinderFeature& c) { return c._nominal_cylinder._radius; }
  static PointXYZW& FittedCenter(CylinderFeature& c) { return c._fitted_cylinder._center; }
  static PointXYZW& FittedAxis(CylinderFeature& c) { return c._fitted_cylinder._axis; }
  static double& FittedRadius(CylinderFeature& c) { return c._fitted_cylinder._radius; }
};

template <typename T>
shared::FeatureClass CylinderFeature::TablesOf(const CylinderKind& kind) {
  return shared::MakeClass<T>(SettingsTable(kind), RequestTable(kind), PlanTable(),
                              ResultTable(kind), SearchTable(kind));
}

}  // namespace libmfx::features
