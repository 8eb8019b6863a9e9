#pragma once

#include <memory>
#include <vector>

#include "libmfx/export.h"
#include "libmfx/log/logger.h"
#include "libmfx/win32_support/feature_descriptor.h"

/// \file
/// The plain functions for a host that works by name and settings.

extern "C" {

/// The library's feature types, in a fixed order. The vector belongs to the library and lives for
/// the life of the process. The first call must not race with another.
LIBMFX_EXPORT const std::vector<std::shared_ptr<libmfx::win32_support::FeatureDescriptor>>*
GetFeatureDescriptors();

/// A new feature that the caller owns, or null for an unknown name. Finds nothing before the first
/// call of GetFeatureDescriptors.
LIBMFX_EXPORT libmfx::features::Feature* InstantiateFeature(const wchar_t* name);

/// Stores the callback that receives every log line of the process; null turns delivery off.
LIBMFX_EXPORT void RegisterLogCallbackFunction(libmfx::log::LogCallback callback);

}  // extern "C"
