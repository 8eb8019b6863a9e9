#pragma once

#include <string>
#include <string_view>

/// \file
/// Looks at JSON text before it is parsed, and writes values as text.

namespace libmfx::host {

/// How deep the containers of a text nest; what stands in strings does not count. A deeper text
/// than a reader expects is refused before it is parsed: handling it would recurse as deep.
int Nesting(std::string_view text);

/// The name of the first member of an object's text; empty if there is none.
std::string_view FirstKey(std::string_view text);

/// A value on one line. Bytes that are no UTF-8 are replaced, so that every value can be written.
/// \tparam Json nlohmann::json or nlohmann::ordered_json
template <typename Json>
std::string Dump(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// How deep a request may nest to be read by the library, the root counted.
inline constexpr int kRequestNesting = 50;

}  // namespace libmfx::host
