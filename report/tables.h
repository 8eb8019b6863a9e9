#pragma once

#include <string>
#include <vector>

#include "host/quantities.h"
#include "libmfx/geometry/wall_form.h"
#include "report/report.h"
#include "report/spread.h"

/// \file
/// The parts of a page that are words and numbers. All that comes from outside is escaped.

namespace libmfx::host::report {

/// An element with what is inside, which is HTML. `name` may hold attributes.
std::string Element(const std::string& name, const std::string& inside);

/// What was measured, in a word or a few: the feature's name, else its type in words. Plain text.
std::string TitleOf(const std::string& request);

/// The title, the verdict, what a person noted, and where the numbers come from.
std::string Head(const ReportData& data);

/// Nominal, measured and deviation of each quantity; empty where there are none.
/// \param spread how sure they are, which gets a column and a sentence; null if it is not known
std::string QuantityTable(const std::vector<Quantity>& quantities, bool successful,
                          const Spread* spread);

/// The errors of form of a wall, each with its standard uncertainty.
std::string FormTable(const geometry::WallForm& form);

/// The result message as it is, without its samples.
std::string ResultTable(const std::string& result);

std::string ScanTable(const std::vector<Exchange>& exchanges);

/// The request as the library read it.
std::string RequestText(const std::string& request);

}  // namespace libmfx::host::report
