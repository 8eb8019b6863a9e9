#include "features/shared/search.h"

#include <gtest/gtest.h>

#include "libmfx/features/search_spiral.h"
#include "opening_scene.h"
#include "paths.h"

namespace libmfx::features::shared {
namespace {

using data_structures::Distance;
using test::kPlate;

constexpr double kRadius = 0.005;

SearchRules Rules() {
  return {.boundary_limit = 2 * kRadius - 0.002,
          .max_distance = 4 * kRadius,
          .quality_threshold = 50.0,
          .point_spacing = 0.001,
          .scan_origin = PointXYZW(),
          .words = {}};
}

auto RoundOpening(double u, double v, double radius = kRadius) {
  return [=](const PointXYZW& p) { return std::hypot(kPlate.u(p) - u, kPlate.v(p) - v) < radius; };
}

std::vector<RawDataPoint> Spiral(const std::function<bool(const PointXYZW&)>& is_open) {
  geometry::Plane plane(kPlate.center, kPlate.normal);
  return test::PlateWith(is_open).Drive(
      test::PointsOf(GenerateSearchSpiral(plane, 4 * kRadius, 20, 0.001, 0.001)));
}

TEST(Search, MovesTheNominalToTheGap) {
  for (const auto& [u, v] : {std::pair{0.0, 0.0}, {0.008, 0.0}, {-0.006, 0.007}, {0.0, -0.01}}) {
    PointXYZW center = kPlate.center;
    VectorXYZW normal = -kPlate.normal;
    testing::internal::CaptureStdout();
    EXPECT_EQ(MoveNominal(Spiral(RoundOpening(u, v)), Rules(), center, normal), "");
    const std::string trace = testing::internal::GetCapturedStdout();
    // The loop has few vertices, so its mean lies well inside the gap rather than in the middle:
    // near enough for the star that follows.
    EXPECT_LT(Distance(center, kPlate.At(u, v)), 0.6 * kRadius) << u << " " << v;
    EXPECT_GT(normal.dot(kPlate.normal), 1 - 1e-9);
    EXPECT_NE(trace.find("Interior boundaries found!\nNearest centroids sorted..\n"
                         "Original _input_center_pt: "),
              std::string::npos);
    EXPECT_NE(trace.find("Input center updated..\nOriginal _input_normal: "), std::string::npos);
    EXPECT_NE(trace.find("Input normal updated..\nUpdated _input_center_pt: "), std::string::npos);
  }
}

TEST(Search, OfTwoGapsTheNearerCounts) {
  const auto two = [](const PointXYZW& p) {
    return RoundOpening(0.006, 0.0)(p) || RoundOpening(-0.0095, 0.0)(p);
  };
  PointXYZW center = kPlate.center;
  VectorXYZW normal = kPlate.normal;
  MoveNominal(Spiral(two), Rules(), center, normal);
  EXPECT_LT(Distance(center, kPlate.At(0.006, 0.0)), 0.6 * kRadius);
}

TEST(Search, WithoutAGapOnlyTheNormalMoves) {
  PointXYZW center = kPlate.center;
  VectorXYZW normal = -kPlate.normal;
  testing::internal::CaptureStdout();
  MoveNominal(Spiral([](const PointXYZW&) { return false; }), Rules(), center, normal);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("Interior boundaries not found!\n"),
            std::string::npos);
  EXPECT_EQ(center, kPlate.center);
  EXPECT_GT(normal.dot(kPlate.normal), 1 - 1e-9);
}

TEST(Search, AnAxisThatPointsAwayStaysSo) {
  SearchRules rules = Rules();
  rules.points_away = true;
  PointXYZW center = kPlate.center;
  VectorXYZW normal = kPlate.normal;
  MoveNominal(Spiral(RoundOpening(0.004, 0.0)), rules, center, normal);
  EXPECT_LT(normal.dot(kPlate.normal), -1 + 1e-9);
}

TEST(Search, TooFewSamplesMoveNothing) {
  PointXYZW center = kPlate.center;
  VectorXYZW normal = kPlate.normal;
  testing::internal::CaptureStdout();
  EXPECT_EQ(MoveNominal({{0, 0, 2, 80, 1}}, Rules(), center, normal), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "search_data.cols(): 1\nInsufficient raw data search points!\n"
            "Setup search data bins..\n"
            "search_data IterativeBinaryCuts failed! (0, 0, 0, 1)\n");
  EXPECT_EQ(center, kPlate.center);
  EXPECT_EQ(normal, kPlate.normal);
}

}  // namespace
}  // namespace libmfx::features::shared
