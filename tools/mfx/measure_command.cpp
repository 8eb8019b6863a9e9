#include <memory>
#include <optional>
#include <stdexcept>

#include "commands.h"
#include "errors.h"
#include "files.h"
#include "process_driver.h"
#include "recording.h"
#include "report/report.h"
#include "scene_driver.h"

namespace libmfx::host {
namespace {

std::unique_ptr<Driver> MakeDriver(const MeasureCall& call) {
  if (call.scene && call.instrument) {
    throw CallError("give --scene or --instrument, not both");
  }
  if (call.scene) return SceneDriver::FromFile(*call.scene, call.seed);
  if (!call.instrument) {
    throw CallError("nothing to measure with: give --scene SCENE or --instrument 'COMMAND'");
  }
  if (call.seed) throw CallError("--seed is for the virtual instrument of --scene");
  return std::make_unique<ProcessDriver>(*call.instrument, call.timeout);
}

/// Prints the outcome of a measurement.
/// \param strict a doubtful success counts as failed
int Tell(const Conversation& outcome, bool strict, Console& console) {
  console.Result(outcome.result);
  for (const std::string& warning : outcome.warnings) console.Note("warning: " + warning);
  if (!outcome.successful) {
    console.Note("the measurement failed: " + outcome.error);
    return kNotMeasured;
  }
  if (strict && outcome.IsDoubtful()) {
    console.Note("the measurement is doubtful, and --strict counts that as failed");
    return kNotMeasured;
  }
  return kMeasured;
}

/// The quality below which a request's feature drops a sample, if it has such a setting.
std::optional<double> QualityThreshold(const std::string& request) {
  const std::unique_ptr<features::Feature> feature(features::Feature::Create(request));
  try {
    return feature->GetSetting<double>(L"QualityThreshold");
  } catch (const std::logic_error&) {  // no such setting, or not a number
    return std::nullopt;
  }
}

/// Keeps what a report needs, and writes it in the end. The file is made beforehand, so that one
/// that cannot be written ends the call before anything is driven.
class ReportWriter {
 public:
  explicit ReportWriter(const std::string& path) {
    if (!path.empty()) _file.emplace(path, "report");
  }
  void Take(const Exchange& exchange) {
    if (_file) _data.exchanges.push_back(exchange);
  }
  void Finish(const std::string& request, const std::string& request_name,
              const std::string& instrument, const Conversation& outcome) {
    if (!_file) return;
    _data.request = request;
    _data.request_name = request_name == "-" ? "standard input" : request_name;
    _data.instrument = instrument;
    _data.quality_threshold = QualityThreshold(request);
    _data.outcome = outcome;
    _file->Write(report::HtmlReport(_data));
    _file->Commit();
  }

 private:
  std::optional<WholeFile> _file;
  report::ReportData _data;
};

}  // namespace

int RunMeasure(const MeasureCall& call, Console& console) {
  const std::string request = ReadText(call.request, "request");
  std::optional<RecordingWriter> recording;
  if (!call.record.empty()) recording.emplace(call.record, request, call.options);
  ReportWriter report(call.report);

  const std::unique_ptr<Driver> driver = MakeDriver(call);
  ObservedDriver observed(*driver, [&](const Exchange& exchange) {
    if (recording) recording->Write(exchange);
    report.Take(exchange);
  });
  const Conversation outcome = Measure(request, observed, call.options);
  if (recording) recording->Finish(outcome.result);
  // The report asks the request for its threshold, and what the library says to it was told before.
  console.ShowLibraryLines(false);
  report.Finish(request, call.request, driver->Name(), outcome);
  return Tell(outcome, call.strict, console);
}

int RunReplay(const ReplayCall& call, Console& console) {
  const Recording recording = ReadRecording(call.recording);
  ConversationOptions options = recording.options;
  options.search = options.search || call.search;
  options.max_passes = call.max_passes.value_or(options.max_passes);
  options.scan_data = call.scan_data.value_or(options.scan_data);

  ReportWriter report(call.report);
  ReplayDriver driver(recording);
  ObservedDriver observed(driver, [&](const Exchange& exchange) { report.Take(exchange); });
  const Conversation outcome = Measure(recording.request, observed, options);
  if (driver.deviations() > 0) {
    console.Note("note: the library now asks for other drive points than were recorded");
  }
  if (driver.answered() < recording.exchanges.size()) {
    console.Note("note: the measurement ended after " + std::to_string(driver.answered()) + " of " +
                 std::to_string(recording.exchanges.size()) + " recorded exchanges");
  }
  // The report asks the request for its threshold, and what the library says to it was told before.
  console.ShowLibraryLines(false);
  report.Finish(recording.request, "in recording " + call.recording, driver.Name(), outcome);
  return Tell(outcome, call.strict, console);
}

}  // namespace libmfx::host
