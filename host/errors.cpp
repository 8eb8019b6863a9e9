#include "host/errors.h"

#include <algorithm>

namespace libmfx::host {

std::string Excerpt(const std::string& text) {
  constexpr std::size_t kLongest = 60;
  std::string shown = text.substr(0, kLongest);
  std::replace_if(
      shown.begin(), shown.end(), [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
  return "'" + shown + (text.size() > kLongest ? "...'" : "'");
}

std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
  return text;
}

}  // namespace libmfx::host
