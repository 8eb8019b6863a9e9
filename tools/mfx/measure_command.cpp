#include <memory>
#include <optional>

#include "commands.h"
#include "errors.h"
#include "files.h"
#include "process_driver.h"
#include "recording.h"

namespace libmfx::host {
namespace {

std::unique_ptr<Driver> MakeDriver(const MeasureCall& call) {
  if (call.instrument) return std::make_unique<ProcessDriver>(*call.instrument, call.timeout);
  throw CallError("no instrument: give --instrument 'COMMAND'");
}

/// Prints the outcome of a measurement.
int Tell(const Conversation& outcome, Console& console) {
  console.Result(outcome.result);
  if (outcome.successful) return kMeasured;
  console.Note("the measurement failed: " + outcome.error);
  return kNotMeasured;
}

}  // namespace

int RunMeasure(const MeasureCall& call, Console& console) {
  const std::string request = ReadText(call.request, "request");
  std::optional<RecordingWriter> recording;
  if (!call.record.empty()) recording.emplace(call.record, request, call.options);

  const std::unique_ptr<Driver> driver = MakeDriver(call);
  ObservedDriver observed(*driver, [&](const Exchange& exchange) {
    if (recording) recording->Write(exchange);
  });
  const Conversation outcome = Measure(request, observed, call.options);
  if (recording) recording->Finish(outcome.result);
  return Tell(outcome, console);
}

int RunReplay(const ReplayCall& call, Console& console) {
  const Recording recording = ReadRecording(call.recording);
  ConversationOptions options = recording.options;
  options.search = options.search || call.search;
  options.max_passes = call.max_passes.value_or(options.max_passes);
  options.scan_data = call.scan_data.value_or(options.scan_data);

  ReplayDriver driver(recording);
  const Conversation outcome = Measure(recording.request, driver, options);
  if (driver.deviations() > 0) {
    console.Note("note: the library now asks for other drive points than were recorded");
  }
  if (driver.answered() < recording.exchanges.size()) {
    console.Note("note: the measurement ended after " + std::to_string(driver.answered()) + " of " +
                 std::to_string(recording.exchanges.size()) + " recorded exchanges");
  }
  return Tell(outcome, console);
}

}  // namespace libmfx::host
