#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace libmfx::host {

/// The candidate that was probably meant by a word that is none of them, for a "did you mean".
/// Upper and lower case count as the same. At most a third of the candidate's characters may be
/// mistyped (missing, too many, wrong, or swapped with the next), at least one; or one of the two
/// begins with the other, which has at least three letters. Of several the fewest mistypes count,
/// then the first in the list. Time and memory hang on the candidates, not on the word's length.
/// \returns empty if none is near
std::string Nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace libmfx::host
