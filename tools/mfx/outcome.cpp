#include "outcome.h"

#include <exception>

#include "exit_status.h"
#include "host/quantities.h"
#include "host/sample_doubts.h"
#include "result_text.h"

namespace libmfx::host {

int Tell(const std::string& request, const Conversation& outcome, const Exchange& last,
         const Telling& telling, Console& console, const std::optional<report::Spread>& spread) {
  const bool is_text = telling.IsText(console);
  console.Result(is_text ? ResultText(request, outcome, spread) : outcome.result);
  if (!is_text || !console.OneTerminalShowsAll()) {
    for (const std::string& warning : outcome.warnings) console.Note("warning: " + warning);
    for (const std::string& note : NotesOf(QuantitiesOf(request, outcome.result, outcome.stages))) {
      console.Note("note: " + note);
    }
    if (!outcome.successful) console.Note("the measurement failed: " + outcome.error);
  }
  if (!outcome.successful) {
    if (last.points.empty()) return kNotMeasured;
    for (const std::string& doubt : SampleDoubts(QualityThreshold(request), last, outcome.stages)) {
      console.Note("samples: " + doubt);
    }
    return kNotMeasured;
  }
  if (telling.strict && outcome.IsDoubtful()) {
    console.Note("the measurement is doubtful, and --strict counts that as failed");
    return kNotMeasured;
  }
  return kMeasured;
}

void TakeAll(const std::vector<std::function<void()>>& steps, Console& console) {
  std::exception_ptr first;
  for (const auto& step : steps) {
    try {
      step();
    } catch (const std::exception& error) {
      if (first) {
        console.Note(error.what());
      } else {
        first = std::current_exception();
      }
    }
  }
  if (first) std::rethrow_exception(first);
}

ReportWriter::ReportWriter(const std::string& path, const Labels& labels) {
  _data.labels = labels;
  if (!path.empty()) _file.emplace(path, "report");
}

void ReportWriter::Take(const Exchange& exchange) {
  if (_file) _data.exchanges.push_back(exchange);
}

void ReportWriter::Finish(const std::string& request, const std::string& request_name,
                          const std::string& instrument, const Conversation& outcome,
                          const std::optional<report::Spread>& spread) {
  if (!_file) return;
  _data.request = request;
  _data.request_name = request_name == "-" ? "standard input" : request_name;
  _data.instrument = instrument;
  _data.quality_threshold = QualityThreshold(request);
  _data.outcome = outcome;
  _data.spread = spread;
  if (!outcome.with_samples.empty()) _data.outcome.result = outcome.with_samples;
  _file->Write(report::HtmlReport(_data));
  _file->Commit();
}

}  // namespace libmfx::host
