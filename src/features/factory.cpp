#include <utility>

#include "features/shared/feature_types.h"
#include "libmfx/features/custom_scan.h"
#include "libmfx/features/feature.h"
#include "libmfx/features/unknown_feature.h"
#include "messages/request.h"

namespace libmfx::features {

Feature* Feature::Create(const std::string& json) {
  const messages::Request request(json);
  const std::string type = request.feature()["$type"].AsString();
  for (const shared::FeatureType& known : shared::FeatureTypes()) {
    if (known.request_type != nullptr && type == known.request_type) return known.create(request);
  }
  return new UnknownFeature(request);
}

Feature* Feature::Create(std::queue<Position> path, double quality_threshold) {
  return new CustomScan(std::move(path), quality_threshold);
}

}  // namespace libmfx::features
