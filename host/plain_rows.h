#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

/// \file
/// Rows of numbers in the spelling in which programs write them. Reading such a line costs a third
/// of what a parser of all of JSON takes for it; what is spelled otherwise is left to the parser.

namespace libmfx::host {

/// A row of an instrument's line: as many numbers as it has, at the front.
using PlainRow = std::array<double, 5>;

/// Reads {"KEY":[[number,...],...]}, blanks between the parts included. A number is the double next
/// to its digits, null is no number (NaN), and a "step" behind the rows is passed over.
/// \param width numbers in each row, at most 5
/// \param take is given the rows in order; false ends the reading
/// \returns false if the line is spelled in any other way, or `take` has ended it. Whether such a
/// line is in order is not said, and rows may have been given
bool ReadPlainRows(std::string_view line, std::string_view key, std::size_t width,
                   const std::function<bool(const PlainRow&)>& take);

}  // namespace libmfx::host
