#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/conversation.h"
#include "host/labels.h"
#include "host/recording.h"
#include "report/spread.h"

namespace libmfx::host::report {

/// What a report is made from.
struct ReportData {
  std::string request;       ///< the request's text
  std::string request_name;  ///< where it came from
  Labels labels;             ///< what a person noted beside it
  std::string instrument;    ///< what was driven, in words, with its seed where it has one
  std::optional<double> quality_threshold;  ///< below which the feature drops a sample
  Conversation outcome;
  std::vector<Exchange> exchanges;
  std::optional<Spread> spread = {};  ///< how sure the numbers are, where that is known
};

/// The report as one HTML document, with its pictures inside: it needs no network and no script.
/// The same measurement gives the same bytes.
std::string HtmlReport(const ReportData& data);

/// The pictures of it alone, for a page that has kPlotStyle and kPageStyle.
std::string HtmlPictures(const ReportData& data);

}  // namespace libmfx::host::report
