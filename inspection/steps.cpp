#include "inspection/steps.h"

#include <optional>
#include <utility>

#include "host/errors.h"
#include "host/interrupts.h"
#include "host/wire.h"

namespace libmfx::inspection {
namespace {

using host::CallError;
using host::Exchange;

/// A driver of one conversation among many: it stays open at the end, ends between two scans when a
/// signal came, and says what it does.
class StepDriver final : public host::Driver {
 public:
  StepDriver(host::Driver& driver, const Steps::Tell& tell) : _driver(driver), _tell(tell) {}

  std::string Name() const override { return _driver.Name(); }
  std::vector<host::RawDataPoint> Drive(const std::vector<host::Position>& points,
                                        const std::string& step) override {
    if (_tell) _tell(step);
    std::vector<host::RawDataPoint> samples = _driver.Drive(points, step);
    if (host::Uninterrupted::IsAsked()) throw Interrupted();
    return samples;
  }

 private:
  host::Driver& _driver;
  const Steps::Tell& _tell;
};

/// What a recorded conversation comes to.
HeldStep Again(host::Recording recording, const std::string& file) {
  HeldStep held;
  host::ReplayDriver driver(recording);
  held.outcome = host::MeasureOrBreakOff(recording.request, driver, recording.options);
  for (const std::string& note : host::ReplayNotes(driver, recording)) {
    held.note += (held.note.empty() ? "" : " ") + note;
  }
  held.recording = std::move(recording);
  held.file = file;
  return held;
}

}  // namespace

HeldStep Steps::Hold(std::size_t station, const std::string& step, const std::string& request,
                     const host::ConversationOptions& options) {
  const std::string file = _folder.NextRecording(step);
  std::optional<host::Recording> found = _folder.Find(file);
  if (!found && _instruments == nullptr) {
    throw CallError(file + " is missing: the inspection has not ended; --resume goes on with it");
  }
  HeldStep held =
      found ? Again(std::move(*found), file) : Drive(station, step, file, request, options);
  if (_instruments != nullptr) _folder.Ended(step, file, held.outcome.successful);
  if (_names.size() <= station) _names.resize(station + 1);
  if (_names[station].empty()) _names[station] = held.recording.instrument;
  return held;
}

HeldStep Steps::Drive(std::size_t station, const std::string& step, const std::string& file,
                      const std::string& request, const host::ConversationOptions& options) {
  host::RecordingWriter writer(_folder.File(file));
  host::Driver& instrument = _instruments->At(station, step);
  HeldStep held;
  held.file = file;
  held.recording.request = request;
  held.recording.options = options;
  held.recording.program = _program;
  held.recording.time = host::UtcNow();
  held.recording.instrument = _instruments->Name(station);
  writer.Begin(held.recording);
  StepDriver driver(instrument, _tell);
  host::ObservedDriver observed(driver, [&](const Exchange& exchange) {
    held.recording.exchanges.push_back(exchange);
    writer.Write(exchange);
  });
  held.outcome = host::MeasureOrBreakOff(request, observed, options);
  held.recording.result = held.outcome.result;
  writer.Finish(held.outcome.result);
  ++_driven;
  return held;
}

std::string Steps::InstrumentName(std::size_t station) const {
  return station < _names.size() ? _names[station] : std::string();
}

}  // namespace libmfx::inspection
