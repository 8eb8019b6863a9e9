#include "host/utf8.h"

#include <utf8.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace libmfx::host {

std::string Utf8Of(const wchar_t* text) {
  const auto unit = [](wchar_t c) { return static_cast<std::uint32_t>(c); };
  const auto is_high = [](std::uint32_t c) { return c >= 0xD800 && c < 0xDC00; };
  const auto is_low = [](std::uint32_t c) { return c >= 0xDC00 && c < 0xE000; };
  // Most texts are plain ASCII, one unit a character.
  const wchar_t* plain = text;
  while (*plain > 0 && *plain < 0x80) ++plain;
  std::string out(static_cast<std::size_t>(plain - text), '\0');
  std::transform(text, plain, out.begin(), [](wchar_t c) { return static_cast<char>(c); });
  text = plain;
  for (; *text != 0; ++text) {
    std::uint32_t code = unit(*text);
    if (is_high(code) && is_low(unit(text[1]))) {
      code = 0x10000 + ((code - 0xD800) << 10) + (unit(*++text) - 0xDC00);
    } else if (is_high(code) || is_low(code)) {
      code = 0xFFFD;
    }
    utf8::append(code, std::back_inserter(out));
  }
  return out;
}

}  // namespace libmfx::host
