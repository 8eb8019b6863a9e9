#pragma once

#include <memory>
#include <span>
#include <string>

#include "libmfx/features/feature.h"

/// \file
/// The one list of the feature classes: what the factory makes, what the descriptors list.

namespace libmfx::features::shared {

/// A feature class as the factory and the descriptors know it.
struct FeatureType {
  const char* request_type;  ///< "$type" of the request's "Feature"; null: no request names it
  Feature* (*create)(const messages::Request& request);
  std::shared_ptr<win32_support::FeatureDescriptor> (*descriptor)();
};

/// All classes, in the order in which the descriptors are listed.
std::span<const FeatureType> FeatureTypes();

}  // namespace libmfx::features::shared
