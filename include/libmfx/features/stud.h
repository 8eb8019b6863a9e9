#pragma once

#include <memory>
#include <string>

#include "libmfx/features/cylinder_feature.h"

namespace libmfx::features {

/// Measures a stud, smooth or with a screw thread, on a surface. Its axis points out of the
/// surface, towards the instrument.
class LIBMFX_EXPORT Stud : public CylinderFeature {
 public:
  Stud();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit Stud(std::string json);
  explicit Stud(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  /// The cosine between the axis and the direction to the instrument is compared with
  /// `_min_incident_angle` as it stands; one that equals it passes.
  bool ValidateNominals() override;

 private:
  const shared::FeatureClass& Class() const override;
};

}  // namespace libmfx::features
