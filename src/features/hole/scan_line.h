#pragma once

/// \file
/// What the stages of a hole's analysis know about its scan lines.

namespace libmfx::features {

/// Whether a line runs from inside the hole outwards, so that its end lies farthest from the rim.
/// \param fast_star whether every second segment is a line, or two of three
inline bool RunsOutwards(int segment, bool fast_star) {
  return fast_star ? (segment - 1) / 2 % 2 != 0 : segment % 3 == 2;
}

}  // namespace libmfx::features
