#include "features/shared/text.h"

#include <charconv>

namespace libmfx::features::shared {
namespace {

std::string TextOf(const Eigen::Vector4d& v) {
  return "(" + shared::TextOf(v[0]) + ", " + shared::TextOf(v[1]) + ", " + shared::TextOf(v[2]) +
         ", " + shared::TextOf(v[3]) + ")";
}

}  // namespace

std::string TextOf(double value) {
  char digits[40];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  return {digits, result.ptr};
}

std::string TextOf(const data_structures::PointXYZW& point) { return TextOf(point.eigen()); }

std::string TextOf(const data_structures::VectorXYZW& vector) { return TextOf(vector.eigen()); }

}  // namespace libmfx::features::shared
