#include "messages/text.h"

#include <charconv>
#include <cmath>
#include <numbers>

namespace libmfx::messages {
namespace {

std::string TextOf(const Eigen::Vector4d& v) {
  return "(" + messages::TextOf(v[0]) + ", " + messages::TextOf(v[1]) + ", " +
         messages::TextOf(v[2]) + ", " + messages::TextOf(v[3]) + ")";
}

}  // namespace

std::string TextOf(double value) {
  char digits[40];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  return {digits, result.ptr};
}

std::string RoundedText(double value) {
  char digits[352];
  // Above three digits before the point the format would turn to powers of ten.
  const bool large = std::abs(value) >= 999.5;
  const auto result =
      large ? std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 0)
            : std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 3);
  return {digits, result.ptr};
}

std::string MillimetreText(double metres) { return RoundedText(1e3 * metres) + " mm"; }

std::string DegreesText(double radians) {
  return RoundedText(radians * 180.0 / std::numbers::pi) + " degrees";
}

std::string PercentText(double share) { return RoundedText(std::round(100.0 * share)) + " %"; }

std::string TextOf(const data_structures::PointXYZW& point) { return TextOf(point.eigen()); }

std::string TextOf(const data_structures::VectorXYZW& vector) { return TextOf(vector.eigen()); }

}  // namespace libmfx::messages
