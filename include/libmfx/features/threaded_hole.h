#pragma once

#include <memory>
#include <string>

#include "libmfx/features/cylinder_feature.h"

namespace libmfx::features {

/// Measures a bore, smooth or with a screw thread, in a surface. Its axis points into the part,
/// away from the instrument.
class LIBMFX_EXPORT ThreadedHole : public CylinderFeature {
 public:
  /// The defaults of this class are in no metres: they are a filling of its settings table.
  ThreadedHole();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit ThreadedHole(std::string json);
  explicit ThreadedHole(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  /// The angle between the axis and the line of sight has to be within `_min_incident_angle` and
  /// `_max_incident_angle`, both included: seen too steeply or too flatly no wall shows.
  bool ValidateNominals() override;

  double _max_incident_angle = 0.8726646259971648;

 private:
  const shared::FeatureClass& Class() const override;
};

}  // namespace libmfx::features
