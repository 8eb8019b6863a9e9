// Damped least squares on problems whose costs are known in closed form.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "geometry/cylinder/damped_descent.h"

namespace libmfx::geometry::cylinder {
namespace {

/// One parameter x, one residual r(x), and a constant cost beside it.
struct Curve {
  std::function<double(double)> residual;
  std::function<double(double)> slope;
  double x;
  double least = 0.0;
  double tried = 0.0;
  int linearised = 0;

  double CostAt(double at) const { return least + 0.5 * residual(at) * residual(at); }
  double cost() const { return CostAt(x); }
  StepEquations Linearise() {
    ++linearised;
    const double j = slope(x);
    return {Eigen::MatrixXd::Constant(1, 1, j * j), Eigen::VectorXd::Constant(1, -j * residual(x))};
  }
  double Try(const Eigen::VectorXd& step) {
    tried = x + step[0];
    return CostAt(tried);
  }
  void Keep() { x = tried; }
};

constexpr DescentLimits kLimits = {100, 1e-12};

TEST(DampedDescent, FollowsALineToItsZero) {
  Curve line{[](double x) { return 3.0 * x - 6.0; }, [](double) { return 3.0; }, 100.0};
  const Descent descent = DampedDescent(line, Damping(9.0), {100, 1e-30});
  EXPECT_TRUE(descent.settled);
  EXPECT_NEAR(line.x, 2.0, 1e-12);
}

TEST(DampedDescent, TakesBackWhatRaisesTheCostAndLinearisesAgainOnlyAfterAStepKept) {
  // From far out a full step on the arc tangent overshoots by more than it came from.
  Curve arc{[](double x) { return std::atan(x); }, [](double x) { return 1.0 / (1.0 + x * x); },
            5.0};
  const Descent descent = DampedDescent(arc, Damping(1e-9), kLimits);
  EXPECT_TRUE(descent.settled);
  EXPECT_NEAR(arc.x, 0.0, 1e-6);
  EXPECT_LT(arc.linearised, descent.rounds);
}

TEST(DampedDescent, SettlesWhereNothingCanFall) {
  Curve flat{[](double x) { return x; }, [](double) { return 1.0; }, 1e-20, 1.0};
  const Descent descent = DampedDescent(flat, Damping(1.0), kLimits);
  EXPECT_TRUE(descent.settled);
  EXPECT_EQ(descent.rounds, 1);
  Curve found{[](double x) { return x; }, [](double) { return 1.0; }, 0.0};
  EXPECT_TRUE(DampedDescent(found, Damping(1.0), kLimits).settled);
  EXPECT_EQ(found.linearised, 0);
}

TEST(DampedDescent, TellsWhenItRunsOutOfRounds) {
  Curve line{[](double x) { return x; }, [](double) { return 1.0; }, 1.0};
  const Descent descent = DampedDescent(line, Damping(1e6), {3, 1e-12});
  EXPECT_FALSE(descent.settled);
  EXPECT_EQ(descent.rounds, 3);
  EXPECT_LT(line.x, 1.0);
}

TEST(DampedDescent, GoesNowhereWithNumbersThatAreNotFinite) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Curve broken{[&](double) { return nan; }, [](double) { return 1.0; }, 1.0};
  EXPECT_FALSE(DampedDescent(broken, Damping(1.0), kLimits).settled);
  EXPECT_EQ(broken.x, 1.0);
  Curve steep{[](double x) { return x; }, [&](double) { return nan; }, 1.0};
  EXPECT_FALSE(DampedDescent(steep, Damping(1.0), kLimits).settled);
  EXPECT_EQ(steep.x, 1.0);
}

}  // namespace
}  // namespace libmfx::geometry::cylinder
