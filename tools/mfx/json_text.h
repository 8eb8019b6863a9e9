#pragma once

#include <string>
#include <string_view>

/// \file
/// Looks at JSON text before it is parsed.

namespace libmfx::host {

/// How deep the containers of a text nest; what stands in strings does not count. A deeper text
/// than a reader expects is refused before it is parsed: handling it would recurse as deep.
int Nesting(std::string_view text);

/// The name of the first member of an object's text; empty if there is none.
std::string_view FirstKey(std::string_view text);

/// How deep a request may nest to be read by the library, the root counted.
inline constexpr int kRequestNesting = 50;

}  // namespace libmfx::host
