#pragma once

#include <string>

namespace libmfx::host {

/// UTF-16 code units, which the library hands out in wide characters, as UTF-8. Half a surrogate
/// pair gives the replacement character.
std::string Utf8Of(const wchar_t* text);

}  // namespace libmfx::host
