#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Where things stand in a JSON text that may hold comments, as a request may. Places are bytes
/// from the start of the text. What is found here is not converted: `features::StrictJson` and a
/// parser do that.

namespace libmfx::host {

/// A place for people: lines and columns count from 1. A line ends in LF, CR LF or CR; a column is
/// a character, however many bytes it has, and a mark of the byte order is none.
struct TextPlace {
  int line = 1;
  int column = 1;
};
TextPlace PlaceOf(std::string_view text, std::size_t at);

/// Why a text is no request, and where.
struct JsonFault {
  std::size_t at = 0;
  std::string text;  ///< what stands there and what was expected
};

/// The first thing that keeps `text` from beginning with a JSON object; nothing if it does. Bytes
/// that are no UTF-8, lone surrogates and numbers beyond a double are none: a request may hold
/// them.
/// \param nesting how deep objects and arrays may nest, the root counted
std::optional<JsonFault> FaultOf(std::string_view text, int nesting);

/// A member of an object: where its key stands, and its value.
struct MemberPlace {
  std::size_t key = 0;
  std::size_t value = 0;
};

/// The members of the object that begins at `object`, in order, equal keys among them. Of a text
/// without a fault; what is no object has none.
std::vector<MemberPlace> MembersAt(std::string_view text, std::size_t object);

/// Where the element of the array that begins at `array` stands; `array` where there is none.
std::size_t ElementAt(std::string_view text, std::size_t array, std::size_t index);

/// Where each element of the array that begins at `array` stands, of a text without a fault; what
/// is no array has none.
std::vector<std::size_t> ElementsAt(std::string_view text, std::size_t array);

/// Where the root of a text without a fault begins.
std::size_t RootOf(std::string_view text);

/// The first thing that follows the root and is no blank and no comment; nothing if nothing does.
std::optional<std::size_t> AfterRoot(std::string_view text);

/// The key that stands at a place, in quotes; as the library reads it, without them.
std::string KeyAt(std::string_view text, std::size_t key);

}  // namespace libmfx::host
