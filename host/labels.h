#pragma once

#include <string>
#include <utility>
#include <vector>

/// \file
/// What a person notes beside a measurement: part, operator, date. The library never sees it.

namespace libmfx::host {

/// Keys with their values, in the order in which they were given. A key may come twice.
using Labels = std::vector<std::pair<std::string, std::string>>;

/// The label that "KEY=VALUE" spells. The first "=" ends the key; the value may be empty.
/// \throws CallError if there is no "=", the key is blank, or the text is not one line of UTF-8
Labels::value_type LabelOf(const std::string& text);

}  // namespace libmfx::host
