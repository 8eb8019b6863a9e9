#include "json_text.h"

#include <algorithm>

namespace libmfx::host {

int Nesting(std::string_view text) {
  int depth = 0;
  int deepest = 0;
  bool in_string = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (in_string && c == '\\') ++i;
    if (c == '"') in_string = !in_string;
    if (in_string) continue;
    if (c == '{' || c == '[') deepest = std::max(deepest, ++depth);
    if (c == '}' || c == ']') --depth;
  }
  return deepest;
}

std::string_view FirstKey(std::string_view text) {
  const auto skip = [&text](std::string_view what) {
    text.remove_prefix(std::min(text.find_first_not_of(what), text.size()));
  };
  skip(" \t");
  if (!text.starts_with('{')) return {};
  text.remove_prefix(1);
  skip(" \t");
  if (!text.starts_with('"')) return {};
  return text.substr(1, text.find('"', 1) - 1);
}

}  // namespace libmfx::host
