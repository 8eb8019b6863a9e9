#pragma once

#include <memory>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/win32_support/feature_descriptor.h"

namespace libmfx::measurement {

/// Makes the live settings of a feature the defaults of its class, for as long as it lives:
/// `Reset(false, ...)`, which puts every setting back to its default, then leaves them as they are.
class KeptSettings {
 public:
  explicit KeptSettings(const features::Feature& feature);
  ~KeptSettings();
  KeptSettings(const KeptSettings&) = delete;
  KeptSettings& operator=(const KeptSettings&) = delete;

 private:
  std::shared_ptr<win32_support::FeatureDescriptor> _descriptor;
  std::vector<win32_support::FeatureSetting> _rows;  ///< the table as it was
};

}  // namespace libmfx::measurement
