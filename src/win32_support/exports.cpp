#include "libmfx/win32_support/exports.h"

#include <string>

#include "features/shared/feature_types.h"
#include "libmfx/features/feature.h"

namespace {

using Descriptors = std::vector<std::shared_ptr<libmfx::win32_support::FeatureDescriptor>>;

Descriptors& TheDescriptors() {
  static Descriptors descriptors;
  return descriptors;
}

}  // namespace

const Descriptors* GetFeatureDescriptors() {
  static bool filled = false;
  if (!filled) {
    filled = true;
    for (const libmfx::features::shared::FeatureType& type :
         libmfx::features::shared::FeatureTypes()) {
      TheDescriptors().push_back(type.descriptor());
      if (type.request_type != nullptr) TheDescriptors().back()->_request_type = type.request_type;
    }
  }
  return &TheDescriptors();
}

libmfx::features::Feature* InstantiateFeature(const wchar_t* name) {
  if (name == nullptr) return nullptr;
  const std::wstring wanted(name);
  for (const auto& descriptor : TheDescriptors()) {
    if (descriptor->_name == wanted) return descriptor->Instantiate().release();
  }
  return nullptr;
}

void RegisterLogCallbackFunction(libmfx::log::LogCallback callback) {
  libmfx::log::SetLogCallback(callback);
}
