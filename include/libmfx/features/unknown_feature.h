#pragma once

#include "libmfx/features/feature.h"

namespace libmfx::features {

/// What the factory makes of a request that it cannot recognise: a well-formed failure.
class LIBMFX_EXPORT UnknownFeature : public Feature {
 public:
  UnknownFeature();
  explicit UnknownFeature(std::string json);
  explicit UnknownFeature(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  std::string GenerateResult() const override;
  bool Analyze() override;
  std::queue<Position> GenerateDrivePoints() override;

 private:
  const shared::FeatureClass& Class() const override;

 protected:
  std::string _id;
  std::string _type;
};

}  // namespace libmfx::features
