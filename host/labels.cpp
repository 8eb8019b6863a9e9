#include "host/labels.h"

#include <utf8.h>

#include "host/errors.h"

namespace libmfx::host {

Labels::value_type LabelOf(const std::string& text) {
  const std::size_t end = text.find('=');
  if (end == std::string::npos || text.find_first_not_of(" \t") >= end) {
    throw CallError("a label has the form KEY=VALUE, not " + Excerpt(text));
  }
  if (!utf8::is_valid(text.begin(), text.end()) || OneLine(text) != text) {
    throw CallError("a label is one line of UTF-8 text, not " + Excerpt(text));
  }
  return {text.substr(0, end), text.substr(end + 1)};
}

}  // namespace libmfx::host
