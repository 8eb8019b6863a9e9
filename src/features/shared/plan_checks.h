#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "features/shared/member.h"
#include "features/shared/plan_limits.h"

namespace libmfx::features::shared {

/// What makes the settings of a class fit to plan with: a list, of which the first refusal that
/// applies is told.
class PlanChecks {
 public:
  /// Words that name a value in a refusal, and its place, in turn.
  PlanChecks& Finite() { return *this; }
  template <typename M, typename... Rest>
  PlanChecks& Finite(std::string_view what, M member, const Rest&... rest) {
    const Member value(member);
    Add([what, value](const Feature& feature, PlanCheck& check) {
      value.In(const_cast<Feature&>(feature), [&](const auto& v) {
        if constexpr (requires { RefuseNotFinite(what, v); }) check.Finite(what, v);
      });
    });
    return Finite(rest...);
  }
  template <typename T>
  PlanChecks& FiniteNumber(std::string_view what, double (*value)(const T&)) {
    return Add([what, value](const Feature& feature, PlanCheck& check) {
      check.Finite(what, value(static_cast<const T&>(feature)));
    });
  }
  PlanChecks& Positive(std::string_view what, Member value) {
    return Add([what, value](const Feature& feature, PlanCheck& check) {
      value.In(const_cast<Feature&>(feature), [&](const auto& v) {
        if constexpr (requires { RefuseNotPositive(what, v); }) check.Positive(what, v);
      });
    });
  }
  /// \param drive_points of the whole plan, as what it is named after asks for
  template <typename T>
  PlanChecks& Count(std::string_view what, double (*drive_points)(const T&)) {
    return Add([what, drive_points](const Feature& feature, PlanCheck& check) {
      check.Count(what, drive_points(static_cast<const T&>(feature)));
    });
  }

  /// Empty when nothing is refused.
  std::string Refusal(const Feature& feature) const {
    PlanCheck check;
    for (const Check& each : _checks) each(feature, check);
    return check.refusal();
  }

 private:
  using Check = std::function<void(const Feature&, PlanCheck&)>;

  PlanChecks& Add(Check check) {
    _checks.push_back(std::move(check));
    return *this;
  }

  std::vector<Check> _checks;
};

}  // namespace libmfx::features::shared
