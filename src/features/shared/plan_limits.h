#pragma once

#include <cstddef>
#include <queue>
#include <string>
#include <string_view>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/records.h"

/// \file
/// What keeps planning within bounded time and memory, whatever a request asks for. Each function
/// returns the words of a refusal for SetError, or an empty text when the value is fit to plan
/// with.

namespace libmfx::features::shared {

/// The largest plan that is handed out, drive points.
inline constexpr std::size_t kMaxDrivePoints = 1'000'000;

/// Refuses a plan of more than kMaxDrivePoints, and a count that is not a number.
/// \param what names what the count follows from, for instance "ScanLines"
std::string RefuseCount(std::string_view what, double drive_points);
/// Refuses a value that is zero, negative or not finite.
std::string RefuseNotPositive(std::string_view what, double value);
std::string RefuseNotFinite(std::string_view what, double value);
std::string RefuseNotFinite(std::string_view what, const data_structures::PointXYZW& value);
std::string RefuseNotFinite(std::string_view what, const data_structures::VectorXYZW& value);
/// Refuses a plan with a drive point that is not finite, as a nominal of 1e300 m makes it: its
/// range is beyond the largest double.
std::string RefuseUndrivable(const std::queue<data_structures::Position>& path);

/// Collects the checks of a plan: what it tells is the first refusal that applies.
class PlanCheck {
 public:
  /// \param value a number, a point or a direction
  template <typename T>
  PlanCheck& Finite(std::string_view what, const T& value) {
    return _refusal.empty() ? Also(RefuseNotFinite(what, value)) : *this;
  }
  PlanCheck& Positive(std::string_view what, double value) {
    return _refusal.empty() ? Also(RefuseNotPositive(what, value)) : *this;
  }
  PlanCheck& Count(std::string_view what, double drive_points) {
    return _refusal.empty() ? Also(RefuseCount(what, drive_points)) : *this;
  }
  PlanCheck& Also(const std::string& refusal) {
    if (_refusal.empty()) _refusal = refusal;
    return *this;
  }

  /// Empty when nothing is refused.
  const std::string& refusal() const { return _refusal; }

 private:
  std::string _refusal;
};

}  // namespace libmfx::features::shared
