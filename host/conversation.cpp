#include "host/conversation.h"

#include <memory>
#include <utility>

#include "host/errors.h"
#include "host/json_text.h"

namespace libmfx::host {
namespace {

using features::Feature;
using measurement::Measurement;

Conversation Hold(Measurement& measurement, Driver& driver, const ConversationOptions& options,
                  bool may_break_off = false) {
  while (!measurement.done()) {
    measurement.take(driver.Drive(measurement.drive(), StepName(measurement.step())));
  }
  if (measurement.broken_off() && !may_break_off) throw CallError(measurement.error());
  driver.Finish();
  const bool omit = options.scan_data == ScanData::kNone;
  std::string result = measurement.result();
  return {.result = omit ? WithoutSamples(result) : result,
          .with_samples = omit ? std::move(result) : std::string(),
          .successful = measurement.successful(),
          .error = measurement.error(),
          .warnings = measurement.feature().GetWarnings(),
          .stages = measurement.feature().GetStages(),
          .searched = measurement.searched(),
          .rescans = measurement.rescans()};
}

}  // namespace

measurement::MeasurementOptions OptionsOf(const ConversationOptions& options) {
  return {.search = options.search,
          .max_passes = options.max_passes,
          .omit_samples = options.scan_data == ScanData::kNone,
          .binary_samples = options.scan_data == ScanData::kBinary};
}

std::string ScanDataName(ScanData form) {
  if (form == ScanData::kNone) return "none";
  return form == ScanData::kBinary ? "binary" : "json";
}

std::optional<ScanData> ScanDataOf(std::string_view name) {
  for (const ScanData form : {ScanData::kJson, ScanData::kBinary, ScanData::kNone}) {
    if (name == ScanDataName(form)) return form;
  }
  return std::nullopt;
}

Conversation Measure(const std::string& request, Driver& driver,
                     const ConversationOptions& options) {
  Measurement measurement(request, OptionsOf(options));
  return Hold(measurement, driver, options);
}

Conversation MeasureOrBreakOff(const std::string& request, Driver& driver,
                               const ConversationOptions& options) {
  Measurement measurement(request, OptionsOf(options));
  return Hold(measurement, driver, options, true);
}

Conversation Measure(Feature& feature, Driver& driver, const ConversationOptions& options,
                     const std::function<bool()>& search_enabled) {
  Measurement measurement(feature, OptionsOf(options), search_enabled);
  return Hold(measurement, driver, options);
}

}  // namespace libmfx::host
