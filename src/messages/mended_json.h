#pragma once

#include <string>
#include <string_view>

/// \file
/// Values of a JSON text that are in order to its author and on which the parser gives up.

namespace libmfx::messages {

/// Whether this is a JSON number beyond the largest double.
bool Overflows(std::string_view number);

/// The text with such values mended, and nothing else changed. Bytes that are no UTF-8 and lone
/// surrogates become U+FFFD. A number that overflows becomes a string of its digits: a double has
/// no literal for infinity, and as a string it still tells which number was asked for. Takes time
/// in proportion to the text, whatever stands in it.
std::string MendedJson(std::string_view text);

}  // namespace libmfx::messages
