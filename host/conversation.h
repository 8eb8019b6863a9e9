#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/driver.h"
#include "libmfx/features/feature.h"
#include "libmfx/measurement/measurement.h"

namespace libmfx::host {

/// What the result holds of its samples. Only that of a scan path can hold them in binary.
enum class ScanData { kJson, kBinary, kNone };

std::string ScanDataName(ScanData form);
std::optional<ScanData> ScanDataOf(std::string_view name);

using measurement::kMostPasses;
using measurement::PointsOf;
using measurement::ResetKeepingSettings;
using measurement::WhyNothingToDrive;

/// How a measurement is held.
struct ConversationOptions {
  bool search = false;  ///< search once, when the first analysis fails and the request allows it
  int max_passes = 3;   ///< most re-scans around a moved nominal
  ScanData scan_data = ScanData::kJson;

  friend bool operator==(const ConversationOptions&, const ConversationOptions&) = default;
};

/// The same as the library tells it.
measurement::MeasurementOptions OptionsOf(const ConversationOptions& options);

/// How a measurement went.
struct Conversation {
  std::string result;        ///< the result message, with its samples as the options want them
  std::string with_samples;  ///< the same with all its samples, where the options want none
  bool successful = false;
  std::string error;                  ///< why not, for people; empty on success
  std::vector<std::string> warnings;  ///< what the last analysis doubts of its result, for people
  features::Stages stages;            ///< what the last analysis made of the last scan's samples
  bool searched = false;
  int rescans = 0;

  /// A success that the library itself does not fully trust.
  bool IsDoubtful() const { return successful && !warnings.empty(); }
};

/// Holds the whole conversation with a feature made from `request`. Every exchange of the driver
/// is one of a bounded number.
/// \throws CallError if the instrument cannot be used any further
Conversation Measure(const std::string& request, Driver& driver,
                     const ConversationOptions& options);

/// The same, but a conversation that breaks off, since nothing comes back from where the instrument
/// looks, is a measurement that failed.
/// \throws CallError if the instrument cannot be used any further
Conversation MeasureOrBreakOff(const std::string& request, Driver& driver,
                               const ConversationOptions& options);

/// The same with a feature that was made elsewhere and has driven nothing yet.
/// \param search_enabled asked, at most once, whether a search may follow a failure
Conversation Measure(features::Feature& feature, Driver& driver, const ConversationOptions& options,
                     const std::function<bool()>& search_enabled);

}  // namespace libmfx::host
