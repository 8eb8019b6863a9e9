// Holes that pass every test, and whose result says that it is doubtful.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "ideal_hole.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using namespace test;

/// A hole of 8 mm that has a groove around it, 1 mm deep, of the given radii.
Hole WithGroove(double inner, double outer) {
  const IdealHole plain;
  IdealDriver driver([&](const sim::Aim& aim) {
    const Eigen::Vector3d p = plain.Hit(aim.direction);
    const double r = p.head<2>().norm();
    return r >= inner && r <= outer ? p.norm() * 2.001 / 2.0 : p.norm();
  });
  Hole hole(HoleRequest().dump());
  Converse(hole, driver);
  return hole;
}

TEST(HoleDoubts, AGrooveFarFromTheRimMattersToNobody) {
  const Hole hole = WithGroove(0.0105, 0.012);
  EXPECT_TRUE(hole.GetIsSuccessful()) << hole.GetError();
  EXPECT_THAT(hole.GetWarnings(), testing::IsEmpty());
  EXPECT_LT((hole.GetSetting<PointXYZW>(L"MeasuredPoint") - PointXYZW(0, 0, 2)).norm(), 5e-5);
}

TEST(HoleDoubts, AGrooveBesideTheRimIsTold) {
  const Hole hole = WithGroove(0.0087, 0.0095);
  EXPECT_TRUE(hole.GetIsSuccessful()) << hole.GetError();
  EXPECT_THAT(hole.GetWarnings(),
              testing::ElementsAre(testing::AllOf(
                  testing::HasSubstr(" of the surface's samples within 2 mm of the border lie off "
                                     "the surface, half of these by 1 mm or more: a groove"),
                  testing::HasSubstr("Look at the scan there."))));
  const json result = json::parse(hole.GetResult());
  ASSERT_TRUE(result.contains("Warnings"));
  EXPECT_EQ(result["Warnings"].get<std::vector<std::string>>(), hole.GetWarnings());
  EXPECT_EQ(hole.GetResult().substr(hole.GetResult().rfind(",\"")).substr(0, 12), ",\"Warnings\":")
      << "the last key";
}

TEST(HoleDoubts, APlaneWithTheSurfaceAboveItIsDoubted) {
  Hole hole(HoleRequest().dump());
  PROTECTED(hole, _plane) = geometry::Plane(PointXYZW(0, 0, 2), VectorXYZW(0, 0, -1));
  PROTECTED(hole, _circle).Center(PointXYZW(0, 0, 2));
  const auto line = [](int points, double height) {
    Eigen::MatrixXd data(5, points);
    for (int i = 0; i < points; ++i) data.col(i) << 0.009 + 1e-5 * i, 0, 2.0 - height, 80, 1;
    return PointCloud(data, {{data_structures::EMBEDDING_XYZ, {0}}});
  };
  const std::vector<PointCloud> kept{line(90, 0.0)};
  PROTECTED(hole, TellSamplesAbove)(kept, {});
  PROTECTED(hole, TellSamplesAbove)(kept, {line(10, 0.001)});    // a tenth passes
  PROTECTED(hole, TellSamplesAbove)(kept, {line(80, -0.001)});   // what lies below is the wall
  PROTECTED(hole, TellSamplesAbove)(kept, {line(80, 0.00029)});  // within 3 spacings
  EXPECT_THAT(hole.GetWarnings(), testing::IsEmpty());
  PROTECTED(hole, TellSamplesAbove)(kept, {line(12, 0.001)});
  EXPECT_THAT(hole.GetWarnings(), testing::ElementsAre(testing::StartsWith(
                                      "12 % of the samples around the hole stand more than 0.3 mm "
                                      "above the plane")));
  EXPECT_TRUE(hole.GetError().empty());
}

TEST(HoleDoubts, ARadiusOffByMoreThanTwoPercentIsDoubted) {
  const auto warnings_at = [](double radius) {
    const Hole hole = Measure(HoleRequest(), {.radius = radius});
    EXPECT_TRUE(hole.GetIsSuccessful()) << hole.GetError();
    EXPECT_EQ(hole.GetSetting<double>(L"Radius"), 0.008) << "the nominal is repeated";
    const std::vector<StageSize>& fitted = hole.GetStages().fitted;
    EXPECT_EQ(fitted.size(), 1U);
    EXPECT_STREQ(fitted.at(0).what, "RimRadius");
    EXPECT_NEAR(fitted.at(0).value, radius, 1e-4) << "the samples stand a spacing apart";
    return hole.GetWarnings();
  };
  EXPECT_THAT(warnings_at(0.008), testing::IsEmpty());
  EXPECT_THAT(warnings_at(0.0081), testing::IsEmpty());
  EXPECT_THAT(
      warnings_at(0.0088),
      testing::ElementsAre(testing::AllOf(
          testing::StartsWith("The fitted rim has a radius of 8.8"),
          testing::HasSubstr(" mm, the nominal one 8 mm: the result repeats the nominal"))));
  EXPECT_THAT(warnings_at(0.0077), testing::SizeIs(1));
}

TEST(HoleDoubts, ARescanComesBeforeAnyDoubt) {
  json request = HoleRequest();
  request["RescanThreshold"] = 1e-9;
  const Hole hole = Measure(request, {.radius = 0.0088});
  EXPECT_EQ(hole.GetDriveStep(), RESCAN);
  EXPECT_THAT(hole.GetWarnings(), testing::IsEmpty());
}

}  // namespace
}  // namespace libmfx::features
