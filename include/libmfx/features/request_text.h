#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "libmfx/export.h"

/// \file
/// The text of a request as JSON on which every parser agrees, for a host that looks into requests
/// with a parser of its own.

namespace libmfx::features {

/// How deep objects and arrays of a request may nest, the root counted.
inline constexpr int kRequestNesting = 50;

/// What may stand in a text besides one object.
enum REQUEST_SURROUNDINGS : int {
  SURROUNDINGS_TOLERATED = 0,  ///< comments, and anything after the object, as in a request
  SURROUNDINGS_BLANK = 1,      ///< nothing but blanks, as in a line that holds one object
};

/// The first object of a text, as the library reads it, on one line: comments are gone, bytes that
/// are no UTF-8 and lone surrogates are U+FFFD, and a number too large for a double is a string of
/// its digits, which the library reads as infinity with its sign. Every other number keeps its
/// value, and members keep their order, equal keys among them. Reading this text as a request gives
/// what reading the original gives.
/// \param nesting how deep objects and arrays may nest, the root counted
/// \return nothing if the text is no such object, or nests deeper
LIBMFX_EXPORT std::optional<std::string> StrictJson(
    std::string_view text, int nesting = kRequestNesting,
    REQUEST_SURROUNDINGS surroundings = SURROUNDINGS_TOLERATED);

}  // namespace libmfx::features
