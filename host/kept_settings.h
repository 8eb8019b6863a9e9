#pragma once

#include <memory>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/win32_support/feature_descriptor.h"

namespace libmfx::host {

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

/// `Reset(false, search)` that leaves the settings, the nominal among them, as they are.
/// \returns whether the next pattern is a search
bool ResetKeepingSettings(features::Feature& feature, bool search);

/// Whether a search may follow a failed measurement of this request. Asked of a feature of its
/// own, since asking clears the error and the samples.
bool SearchIsEnabled(const std::string& request);

}  // namespace libmfx::host
