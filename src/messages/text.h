#pragma once

#include <string>

#include "libmfx/data_structures/point.h"

/// \file
/// Numbers in messages. They read the same under every locale.

namespace libmfx::messages {

/// The shortest text that reads back as the same double.
std::string TextOf(double value);
/// Three significant digits, for people.
std::string RoundedText(double value);
/// Metres as "0.123 mm", to three significant digits.
std::string MillimetreText(double metres);
/// Radians as "1.23 degrees", to three significant digits.
std::string DegreesText(double radians);
/// A share of 1 as "12 %".
std::string PercentText(double share);
/// "(x, y, z, w)".
std::string TextOf(const data_structures::PointXYZW& point);
std::string TextOf(const data_structures::VectorXYZW& vector);

}  // namespace libmfx::messages
