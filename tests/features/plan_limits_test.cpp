#include "features/shared/plan_limits.h"

#include <gtest/gtest.h>

#include <limits>

namespace libmfx::features::shared {
namespace {

using data_structures::PointXYZW;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(PlanLimits, RefusalsNameTheValue) {
  EXPECT_EQ(RefuseCount("ScanLines", 1e6), "");
  EXPECT_EQ(RefuseCount("ScanLines", 2e6),
            "ScanLines asks for a plan of 2e+06 drive points; the limit is 1000000");
  EXPECT_NE(RefuseCount("ScanLines", kNan), "");
  EXPECT_EQ(RefuseNotPositive("PointSpacing", 1e-4), "");
  EXPECT_EQ(RefuseNotPositive("PointSpacing", 0.0),
            "PointSpacing has to be positive and finite: 0");
  EXPECT_NE(RefuseNotPositive("PointSpacing", kNan), "");
  EXPECT_NE(RefuseNotPositive("PointSpacing", kInf), "");
  EXPECT_EQ(RefuseNotFinite("Location", PointXYZW(1, 2, 3)), "");
  EXPECT_EQ(RefuseNotFinite("Location", PointXYZW(1, kNan, kInf)),
            "Location is not finite: (1, nan, inf)");
  EXPECT_EQ(RefuseNotFinite("Radius", 1e300), "");
  EXPECT_EQ(RefuseNotFinite("Radius", -kInf), "Radius is not finite: -inf");
}

}  // namespace
}  // namespace libmfx::features::shared
