#pragma once

#include <optional>
#include <string>

#include "host/conversation.h"
#include "report/spread.h"

namespace libmfx::host {

/// The outcome of a measurement for people, on lines of which the last is not ended: its name and
/// the verdict; of a success the quantities in millimetres and degrees, nominal, measured and
/// deviation; warnings, notes and the error. Reads the request once more, so that log lines of the
/// library may go out.
/// \param spread how sure the numbers are: a column "95 %" of what it tells
std::string ResultText(const std::string& request, const Conversation& outcome,
                       const std::optional<report::Spread>& spread = std::nullopt);

}  // namespace libmfx::host
