#pragma once

#include <string>

namespace libmfx::log {

/// UTF-8 as UTF-16 code units, one a character of the result, also where `wchar_t` has 32 bits.
/// \throws std::range_error "bad conversion" if `text` is not valid UTF-8
std::wstring WideText(const std::string& text);

}  // namespace libmfx::log
