#pragma once

#include <cstddef>
#include <string>

#include "inspection/sheet.h"

/// \file
/// Sheets for the tests of the page, made by hand.

namespace libmfx::inspection::page_test {

/// A bracket of 300 by 200 mm with 14 features, two of every type that measures; all four verdicts,
/// one reference left out, one feature not measured and one doubted.
Sheet Bracket();

/// A sheet with one hole (H, radius 10 mm, at the origin, towards +z) and two balls 200 mm apart
/// along x that were measured where they should be. Nothing is asked.
/// \param off m, how far the hole lies off its nominal
Sheet HoleOff(const Vector3d& off);

/// How often a text contains another one.
std::size_t CountOf(const std::string& text, const std::string& part);

/// What stands between two texts; empty if they are not there.
std::string Between(const std::string& text, const std::string& before, const std::string& after);

}  // namespace libmfx::inspection::page_test
