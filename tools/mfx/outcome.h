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

/// \file
/// What a measurement leaves behind: a line on standard output, notes, a report.

namespace libmfx::host {

/// Prints the outcome of a measurement: the result, and as notes its warnings, what was fitted and
/// stands in no result, and what was not measured; of a failed one what its samples look like. Log
/// lines of the library are to be off: the request is read once more.
/// \param strict a doubtful success counts as failed
/// \param last the scan that was driven last; it has no points where nothing was driven
/// \returns the exit status
int Tell(const std::string& request, const Conversation& outcome, const Exchange& last, bool strict,
         Console& console);

/// Keeps what a report needs, and writes it in the end. The file is made beforehand, so that one
/// that cannot be written ends the call before anything is driven.
class ReportWriter {
 public:
  /// \param path empty: no report
  /// \throws CallError
  ReportWriter(const std::string& path, const Labels& labels);
  void Take(const Exchange& exchange);
  void Finish(const std::string& request, const std::string& request_name,
              const std::string& instrument, const Conversation& outcome);

 private:
  std::optional<WholeFile> _file;
  report::ReportData _data;
};

}  // namespace libmfx::host
