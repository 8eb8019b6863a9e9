#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "ball_scene.h"
#include "paths.h"
#include "protected.h"
#include "random_cases.h"

namespace libmfx::features {
namespace {

using test::PlaceOf;
using test::PointsOf;

constexpr double kPi = std::numbers::pi;

Eigen::VectorXd Towards(const PointXYZW& center) {
  Eigen::VectorXd normal(4);
  normal << -center.xyz(), 0.0;
  return normal;
}

SphereFit At(const PointXYZW& nominal) {
  SphereFit s;
  s.SetSetting<PointXYZW>(L"NominalPoint", nominal);
  return s;
}

std::vector<Position> Star(SphereFit& s, const PointXYZW& center, double box, int lines) {
  return PointsOf(PROTECTED(s, ScanStar)(center, Towards(center), box, lines));
}

std::vector<Position> W(SphereFit& s, const PointXYZW& center, double box, int lines) {
  return PointsOf(PROTECTED(s, ScanW)(center, Towards(center), box, lines));
}

/// How far a point lies from the centre along azimuth and along elevation, metres; both are
/// perpendicular to the line of sight.
Eigen::Vector2d OffsetOf(const Position& p, const PointXYZW& center) {
  const AzElRange aer(center);
  const Eigen::Vector3d sight = center.xyz().normalized();
  const Eigen::Vector3d along_azimuth(-std::cos(aer.azimuth), 0.0, -std::sin(aer.azimuth));
  const Eigen::Vector3d along_elevation = along_azimuth.cross(sight).normalized();
  const Eigen::Vector3d d = PlaceOf(p).xyz() - center.xyz();
  EXPECT_NEAR(d.dot(sight), 0.0, 1e-12);
  return {d.dot(along_azimuth), d.dot(along_elevation)};
}

TEST(SphereStroke, TwoPositionsAMillimetreToEitherSideOfTheNominal) {
  const PointXYZW nominal(0.4, 0.3, 2.5);
  SphereFit s = At(nominal);
  PROTECTED(s, _scan_origin) = PointXYZW(0.1, -0.2, 0.3);
  const std::vector<Position> stroke = PointsOf(s.GetDrivePoints(false));
  ASSERT_EQ(stroke.size(), 2u);
  EXPECT_EQ(stroke[0].point_spacing, 0.0);
  EXPECT_EQ(stroke[1].point_spacing, 0.001);
  EXPECT_EQ(s.GetDriveStep(), SURFACE_RANGE);
  EXPECT_EQ(PointsOf(s.GetLastDrivePoints()), stroke);
  // The tangent of the plane that faces the scan origin.
  const Eigen::Vector3d view = (PROTECTED(s, _scan_origin) - nominal).xyz().normalized();
  const Eigen::Vector3d tangent = view.cross(Eigen::Vector3d::UnitX()).normalized();
  EXPECT_LT((PlaceOf(stroke[0]).xyz() - nominal.xyz() - 0.001 * tangent).norm(), 1e-15);
  EXPECT_LT((PlaceOf(stroke[1]).xyz() - nominal.xyz() + 0.001 * tangent).norm(), 1e-15);
}

TEST(SphereStroke, AcrossTheSeamTheAzimuthStaysOnTheSideOfTheNominal) {
  for (const double side : {-1.0, 1.0}) {
    // Seen from above, the stroke runs along azimuth and through the seam.
    SphereFit s = At(PointXYZW(-side * 1e-4, 0.0, -2.0));
    PROTECTED(s, _scan_origin) =
        s.GetSetting<PointXYZW>(L"NominalPoint") + VectorXYZW(0.0, 1.0, 0.0);
    const std::vector<Position> stroke = PointsOf(s.GetDrivePoints(false));
    ASSERT_EQ(stroke.size(), 2u);
    EXPECT_LT(std::abs(stroke[0].azimuth - stroke[1].azimuth), 0.01);
    EXPECT_GT(side * stroke[0].azimuth, 3.0);
  }
}

TEST(SphereStroke, TheDefaultNominalHasNoDirectionAndStaysPut) {
  SphereFit s;
  const std::vector<Position> stroke = PointsOf(s.GetDrivePoints(false));
  ASSERT_EQ(stroke.size(), 2u);
  EXPECT_EQ(stroke[0].range, 0.0);
  EXPECT_EQ(stroke[1].range, 0.0);
  EXPECT_EQ(s.GetError(), "");
}

TEST(SphereStar, NineLinesAreEighteenPositionsOfAlternatingStep) {
  SphereFit s;
  const PointXYZW center(0.3, -0.4, 3.0);
  const double box = 0.019;
  const std::vector<Position> star = Star(s, center, box, 9);
  ASSERT_EQ(star.size(), 18u);
  for (std::size_t i = 0; i < star.size(); ++i) {
    if (i % 2 == 0) {
      EXPECT_EQ(star[i].point_spacing, 0.0);
    } else {
      EXPECT_NEAR(star[i].point_spacing, box / 190, 1e-15);
      EXPECT_NEAR((OffsetOf(star[i], center) + OffsetOf(star[i - 1], center)).norm(), 0.0, 1e-14);
    }
    EXPECT_NEAR(OffsetOf(star[i], center).norm(), box / 2, 1e-14);
  }
}

TEST(SphereStar, DiametersAreEvenlyTurnedAndEnteredNextToTheLastExit) {
  SphereFit s;
  const PointXYZW center(-0.3, 0.8, 2.0);
  const int lines = 7;
  const std::vector<Position> star = Star(s, center, 0.02, lines);
  for (int k = 1; k < lines; ++k) {
    const Eigen::Vector2d exit = OffsetOf(star[2 * k - 1], center);
    const Eigen::Vector2d entry = OffsetOf(star[2 * k], center);
    EXPECT_NEAR(std::acos(exit.normalized().dot(entry.normalized())), kPi / lines, 1e-9);
  }
}

TEST(SphereStar, TheFirstDiameterFollowsElevationOrAzimuth) {
  const PointXYZW center(0.5, 0.4, 2.0);
  SphereFit s;
  s.SetSetting<bool>(L"ScanElevation", true);
  const Eigen::Vector2d up = OffsetOf(Star(s, center, 0.02, 9)[0], center);
  EXPECT_NEAR(std::abs(up[1]), 0.01, 1e-14);
  EXPECT_NEAR(up[0], 0.0, 1e-14);
  s.SetSetting<bool>(L"ScanElevation", false);
  const Eigen::Vector2d across = OffsetOf(Star(s, center, 0.02, 9)[0], center);
  EXPECT_NEAR(std::abs(across[0]), 0.01, 1e-14);
  EXPECT_NEAR(across[1], 0.0, 1e-14);
}

TEST(SphereStar, TheSignsOfTheFirstTwoEnds) {
  // Straight ahead: v = +Z, u is raised towards +Y, v x u = -X, v x (-X) = -Y.
  SphereFit s;
  const PointXYZW center(0.0, 0.0, 2.0);
  s.SetSetting<bool>(L"ScanElevation", false);
  EXPECT_NEAR(PlaceOf(Star(s, center, 0.02, 2)[0]).x(), -0.01, 1e-15);
  s.SetSetting<bool>(L"ScanElevation", true);
  const std::vector<Position> star = Star(s, center, 0.02, 2);
  EXPECT_NEAR(PlaceOf(star[0]).y(), -0.01, 1e-15);
  EXPECT_NEAR(PlaceOf(star[1]).y(), 0.01, 1e-15);
  // A quarter turn about +Z takes -Y to +X; the second diameter is run the other way round.
  EXPECT_NEAR(PlaceOf(star[2]).x(), -0.01, 1e-15);
  EXPECT_NEAR(PlaceOf(star[3]).x(), 0.01, 1e-15);
}

TEST(SphereW, NineLinesAreTenPositionsAllButTheFirstWithAStep) {
  SphereFit s;
  const PointXYZW center(0.3, -0.4, 3.0);
  const double box = 0.018;
  const std::vector<Position> legs = W(s, center, box, 9);
  ASSERT_EQ(legs.size(), 10u);
  EXPECT_EQ(legs[0].point_spacing, 0.0);
  for (std::size_t i = 1; i < legs.size(); ++i) {
    EXPECT_NEAR(legs[i].point_spacing, std::hypot(box, box / 9) / 190, 1e-15);
  }
}

TEST(SphereW, LegsCrossTheBoxAlongTheFirstAxisWhileTheyAdvanceAlongTheOther) {
  for (const bool elevation : {true, false}) {
    SphereFit s;
    s.SetSetting<bool>(L"ScanElevation", elevation);
    const PointXYZW center(0.3, 0.2, 1.5);
    const double box = 0.02;
    const std::vector<Position> legs = W(s, center, box, 4);
    ASSERT_EQ(legs.size(), 5u);
    const int along = elevation ? 1 : 0;
    const Eigen::Vector2d start = OffsetOf(legs[0], center);
    EXPECT_NEAR(start.cwiseAbs().minCoeff(), box / 2, 1e-14) << "a corner of the box";
    for (int i = 1; i <= 4; ++i) {
      const Eigen::Vector2d p = OffsetOf(legs[i], center);
      EXPECT_NEAR(p[along], (i % 2 == 0 ? 1 : -1) * start[along], 1e-14);
      EXPECT_NEAR(p[1 - along], start[1 - along] * (1 - i / 2.0), 1e-14);
    }
  }
}

TEST(SpherePattern, FewerThanTwoLinesScanAsTwo) {
  SphereFit s;
  const PointXYZW center(0.1, 0.2, 2.0);
  for (const int lines : {0, 1, -1, -1'000'000'000, 2}) {
    EXPECT_EQ(Star(s, center, 0.02, lines), Star(s, center, 0.02, 2));
    EXPECT_EQ(W(s, center, 0.02, lines), W(s, center, 0.02, 2));
  }
  EXPECT_EQ(Star(s, center, 0.02, 1).size(), 4u);
  EXPECT_EQ(W(s, center, 0.02, 1).size(), 3u);
}

TEST(SpherePattern, NoPointsPerLineMakeInfiniteSteps) {
  SphereFit s;
  s.SetSetting<int>(L"NumPointsPerLine", 0);
  const PointXYZW center(0.1, 0.2, 2.0);
  EXPECT_EQ(Star(s, center, 0.02, 3)[1].point_spacing, std::numeric_limits<double>::infinity());
  EXPECT_EQ(Star(s, center, 0.02, 3)[2].point_spacing, 0.0);
  EXPECT_EQ(W(s, center, 0.02, 3)[3].point_spacing, std::numeric_limits<double>::infinity());
}

TEST(SpherePattern, ANormalAlongTheLineOfSightIsAnError) {
  const PointXYZW center(0.1, 0.2, 2.0);
  const char* text = "Error, Normal Vector is in the wrong direction! ERROR_SF_NORMAL_DIR";
  SphereFit star;
  EXPECT_TRUE(PROTECTED(star, ScanStar)(center, -Towards(center), 0.02, 9).empty());
  EXPECT_EQ(star.GetError(), text);
  SphereFit w;
  EXPECT_TRUE(PROTECTED(w, ScanW)(center, -Towards(center), 0.02, 9).empty());
  EXPECT_EQ(w.GetError(), text);
}

TEST(SpherePattern, ANormalAcrossTheLineOfSightPasses) {
  SphereFit s;
  Eigen::VectorXd across(4);
  across << 1.0, 0.0, 0.0, 0.0;
  EXPECT_EQ(PROTECTED(s, ScanStar)(PointXYZW(0, 0, 2), across, 0.02, 9).size(), 18u);
  EXPECT_EQ(s.GetError(), "");
}

TEST(SpherePattern, AbsurdPlansAreRefusedInWords) {
  const PointXYZW center(0.1, 0.2, 2.0);
  SphereFit lines;
  EXPECT_TRUE(PROTECTED(lines, ScanStar)(center, Towards(center), 0.02, 2147483647).empty());
  EXPECT_EQ(lines.GetError(),
            "ScanLines asks for a plan of 4294967294 drive points; the limit is 1000000");
  SphereFit box;
  EXPECT_TRUE(PROTECTED(box, ScanStar)(center, Towards(center), 1e300, 9).empty());
  EXPECT_NE(box.GetError().find("not finite"), std::string::npos) << box.GetError();
  SphereFit w;
  EXPECT_TRUE(PROTECTED(w, ScanW)(center, Towards(center), std::nan(""), 9).empty());
  EXPECT_NE(w.GetError().find("not finite"), std::string::npos) << w.GetError();
}

TEST(SpherePattern, TheLargestPlanIsPlanned) {
  SphereFit s;
  const PointXYZW center(0.1, 0.2, 2.0);
  if (!test::kSanitized) {  // a million points take a sanitizer half a minute
    EXPECT_EQ(PROTECTED(s, ScanStar)(center, Towards(center), 0.02, 500'000).size(), 1'000'000u);
  }
  EXPECT_EQ(s.GetError(), "");
  EXPECT_TRUE(PROTECTED(s, ScanStar)(center, Towards(center), 0.02, 500'001).empty());
}

TEST(SphereStroke, ANominalThatIsNotFiniteIsRefused) {
  for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    SphereFit s = At(PointXYZW(0.0, bad, 2.0));
    EXPECT_TRUE(s.GetDrivePoints(true).empty());
    EXPECT_NE(s.GetError().find("Nominal point is not finite"), std::string::npos);
    EXPECT_EQ(s.GetDriveStep(), INITIAL);
    EXPECT_TRUE(s.GetLastDrivePoints().empty());
  }
  SphereFit far = At(PointXYZW(0.0, 1e300, 2.0));
  EXPECT_TRUE(far.GetDrivePoints(true).empty());
  EXPECT_NE(far.GetError(), "");
  SphereFit origin = At(PointXYZW(0.0, 0.0, 2.0));
  PROTECTED(origin, _scan_origin) = PointXYZW(1e300, 0.0, 0.0);
  EXPECT_TRUE(origin.GetDrivePoints(true).empty());
  EXPECT_EQ(origin.GetError(), "Distance of ScanOrigin is not finite: inf");
}

}  // namespace
}  // namespace libmfx::features
