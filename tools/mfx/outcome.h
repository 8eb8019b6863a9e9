#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console.h"
#include "host/conversation.h"
#include "host/files.h"
#include "host/labels.h"
#include "host/recording.h"
#include "report/report.h"
#include "report/spread.h"

/// \file
/// What a measurement leaves behind: a line on standard output, notes, a report.

namespace libmfx::host {

/// How an outcome is told.
struct Telling {
  bool strict = false;          ///< a doubtful success counts as failed
  std::optional<bool> as_text;  ///< a text for people; if not told, on a terminal alone

  /// Whether the result is told as a text. The library's lines are then in its way.
  bool IsText(const Console& console) const { return as_text.value_or(console.OutputIsTerminal()); }
};

/// Prints the outcome of a measurement: the result, and as notes its warnings, what was fitted and
/// stands in no result, and what was not measured; of a failed one what its samples look like. A
/// text tells the outcome itself, and on a terminal that shows both nothing is told twice. Log
/// lines of the library are to be off: the request is read once more.
/// \param last the scan that was driven last; it has no points where nothing was driven
/// \param spread how sure the numbers of a text are
/// \returns the exit status
int Tell(const std::string& request, const Conversation& outcome, const Exchange& last,
         const Telling& telling, Console& console,
         const std::optional<report::Spread>& spread = std::nullopt);

/// Takes every step, whatever became of the ones before: a full disk costs the file that it is to
/// hold, and neither the result nor another file. Throws the first failure in the end, and tells
/// the others.
void TakeAll(const std::vector<std::function<void()>>& steps, Console& console);

/// Keeps what a report needs, and writes it in the end. The file is made beforehand, so that one
/// that cannot be written ends the call before anything is driven.
class ReportWriter {
 public:
  /// \param path empty: no report
  /// \throws CallError
  ReportWriter(const std::string& path, const Labels& labels);
  void Take(const Exchange& exchange);
  /// \param spread how sure the numbers are
  void Finish(const std::string& request, const std::string& request_name,
              const std::string& instrument, const Conversation& outcome,
              const std::optional<report::Spread>& spread = std::nullopt);

 private:
  std::optional<WholeFile> _file;
  report::ReportData _data;
};

}  // namespace libmfx::host
