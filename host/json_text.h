#pragma once

#include <string>
#include <string_view>

#include "libmfx/features/request_text.h"

/// \file
/// Looks at JSON text before all of it is parsed, and writes values as text.

namespace libmfx::host {

/// The name of the first member of an object's text; empty if there is none. What follows is not
/// looked at, however long it is.
std::string FirstKey(std::string_view text);

/// A value on one line. Bytes that are no UTF-8 are replaced, so that every value can be written.
/// \tparam Json nlohmann::json or nlohmann::ordered_json
template <typename Json>
std::string Dump(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// A result message whose "ScanData" holds no rows and counts none; all else keeps its bytes. One
/// without such rows stays as it is.
std::string WithoutSamples(std::string result);

/// How deep a line that holds an object with a request as a member may nest, the root counted.
inline constexpr int kLineNesting = features::kRequestNesting + 1;

}  // namespace libmfx::host
