#include "log/wide_text.h"

#include <utf8.h>

#include <iterator>
#include <stdexcept>

namespace libmfx::log {

std::wstring WideText(const std::string& text) {
  std::u16string units;
  try {
    utf8::utf8to16(text.begin(), text.end(), std::back_inserter(units));
  } catch (const utf8::exception&) {
    throw std::range_error("bad conversion");
  }
  return {units.begin(), units.end()};
}

}  // namespace libmfx::log
