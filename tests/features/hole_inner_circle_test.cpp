#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "feature_probe.h"
#include "hole_request.h"
#include "libmfx/features/hole.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using namespace test;

constexpr double kPi = std::numbers::pi;

/// A hole of 8 mm around (0, 0, 2) on the surface z = 2. The instrument stands to the side of -x:
/// its foot on the surface is (-1, 0, 2), so a shift away from it leads along +x.
Hole HoleInPlane(double radius = 0.008) {
  Hole hole(HoleRequest(radius).dump());
  auto& circle = PROTECTED(hole, _circle);
  PROTECTED(hole, _scan_origin) = PointXYZW(-1, 0, 0);
  PROTECTED(hole, _plane) = geometry::Plane(PointXYZW(0, 0, 2), VectorXYZW(0, 0, -1));
  circle.Center(PointXYZW(0, 0, 2));
  circle.Normal(VectorXYZW(0, 0, -1));
  circle.Radius(radius);
  return hole;
}

/// An edge cloud of `count` points around `center`, on lines 1, 3, 5, ...
PointCloud Edges(int count, double radius, const PointXYZW& center = {0, 0, 2}) {
  Eigen::MatrixXd data(4, count);
  for (int i = 0; i < count; ++i) {
    const double turn = 2 * kPi * i / count;
    data.col(i) << center.x() + radius * std::cos(turn), center.y() + radius * std::sin(turn),
        center.z(), 2 * i + 1;
  }
  return PointCloud(std::move(data));
}

/// A wall cloud of points around (0, 0, 2) on one line.
PointCloud Wall(int segment, const std::vector<double>& turns, double radius) {
  Eigen::MatrixXd data(5, static_cast<Eigen::Index>(turns.size()));
  for (std::size_t i = 0; i < turns.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) << radius * std::cos(turns[i]),
        radius * std::sin(turns[i]), 2.0, 70.0, segment;
  }
  return PointCloud(std::move(data));
}

TEST(HoleShift, OverTheFootOfTheInstrumentNothingMoves) {
  Hole hole = HoleInPlane();
  PROTECTED(hole, _incidence_angle) = 0.5;
  const PointXYZW foot(-1, 0, 2);
  for (const double off : {0.0, 1e-12}) {
    geometry::Circle circle = PROTECTED(hole, _circle);
    const PointXYZW center(foot.x() + off, 0, 2);
    circle.Center(center);
    EXPECT_TRUE(PROTECTED(hole, LinearBiasShift)(circle));
    EXPECT_TRUE(PROTECTED(hole, LowIncidentBiasShift)(circle));
    EXPECT_TRUE(PROTECTED(hole, SigmoidBiasShift)(139.8, 3.81, -76.56, circle));
    EXPECT_EQ(circle.Center(), center);
  }
}

TEST(HoleShift, LinearAt60DegreesIs50MicrometresTowardsTheInstrument) {
  Hole hole = HoleInPlane();
  auto& circle = PROTECTED(hole, _circle);
  PROTECTED(hole, _incidence_angle) = kPi / 3;
  EXPECT_TRUE(PROTECTED(hole, LinearBiasShift)(circle));
  EXPECT_NEAR(circle.Center().x(), -4.9999999999999996e-5, 1e-18);
  EXPECT_EQ(circle.Center().y(), 0.0);
  EXPECT_EQ(circle.Center().z(), 2.0);
  circle.Center(PointXYZW(0, 0, 2));
  PROTECTED(hole, _incidence_angle) = kPi / 6;
  PROTECTED(hole, LinearBiasShift)(circle);
  EXPECT_NEAR(circle.Center().x(), -2.5e-5, 1e-18);
}

TEST(HoleShift, SigmoidFollowsItsFormula) {
  Hole hole = HoleInPlane();
  PROTECTED(hole, _incidence_angle) = 0.7;
  EXPECT_TRUE(PROTECTED(hole, SigmoidBiasShift)(139.8, 3.81, -76.56, PROTECTED(hole, _circle)));
  const double amount = (139.8 / (std::exp(-3.81 * 0.7) + 1.0) - 76.56) * 1e-6;
  EXPECT_GT(amount, 0.0);
  EXPECT_NEAR(PROTECTED(hole, _circle).Center().x(), -amount, 1e-16);
}

TEST(HoleShift, LowIncidenceMovesAwayAndLessForSmallHoles) {
  const auto shift = [](double radius, double incidence) {
    Hole hole = HoleInPlane();
    auto& circle = PROTECTED(hole, _circle);
    PROTECTED(hole, _incidence_angle) = incidence;
    circle.Radius(radius);
    EXPECT_TRUE(PROTECTED(hole, LowIncidentBiasShift)(circle));
    return circle.Center().x();
  };
  const double full = (0.2 * 610.9 - 2.333) * 1e-6;
  EXPECT_NEAR(shift(0.008, 0.2), full, 1e-15);
  EXPECT_NEAR(shift(0.0081, 0.2), full, 1e-15) << "no fall beyond 8 mm";
  EXPECT_NEAR(shift(0.5, 0.2), full, 1e-15);
  EXPECT_NEAR(shift(0.005, 0.2), full * std::exp(-(0.003 * 0.003) / (2 * 0.0017 * 0.0017)), 1e-15);
  EXPECT_NEAR(shift(0.008, 0.0), -2.333e-6, 1e-15) << "at no incidence it leads the other way";
}

TEST(HoleInnerCircle, WithoutWallTheEdgePointsAreFitted) {
  Hole hole = HoleInPlane();
  auto& circle = PROTECTED(hole, _circle);
  EXPECT_TRUE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008, {1e-4, 0, 2}), {}, circle));
  EXPECT_LT((circle.Center() - PointXYZW(1e-4, 0, 2)).norm(), 1e-12);
  EXPECT_EQ(circle.Radius(), 0.008);
  // Clouds without columns are no wall either.
  const std::vector<PointCloud> empty(8, PointCloud(Eigen::MatrixXd(5, 0)));
  circle.Center(PointXYZW(0, 0, 2));
  EXPECT_TRUE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008, {1e-4, 0, 2}), empty, circle));
  EXPECT_LT((circle.Center() - PointXYZW(1e-4, 0, 2)).norm(), 1e-12);
}

TEST(HoleInnerCircle, AWallTakesThePlaceOfTheEdgePointOfItsLine) {
  Hole hole = HoleInPlane();
  auto& circle = PROTECTED(hole, _circle);
  // The edge of line 1 is off; the wall of that line is right.
  PointCloud edges = Edges(8, 0.008);
  edges.data()(0, 0) += 5e-4;
  EXPECT_TRUE(PROTECTED(hole, FitInnerCircle)({}, edges, {Wall(1, {0.0}, 0.008)}, circle));
  EXPECT_LT((circle.Center() - PointXYZW(0, 0, 2)).norm(), 1e-12);
  // Wall on a line without edge point is not used.
  EXPECT_TRUE(
      PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008), {Wall(99, {0.0, 0.1}, 0.0095)}, circle));
  EXPECT_LT((circle.Center() - PointXYZW(0, 0, 2)).norm(), 1e-12);
}

TEST(HoleInnerCircle, TheRadiusIsFixedUnlessTheIncidenceIsLow) {
  Hole steep = HoleInPlane();
  EXPECT_TRUE(
      PROTECTED(steep, FitInnerCircle)({}, Edges(8, 0.0084), {}, PROTECTED(steep, _circle)));
  EXPECT_EQ(PROTECTED(steep, _circle).Radius(), 0.008);
  Hole low = HoleInPlane();
  PROTECTED(low, _low_incidence) = true;
  EXPECT_TRUE(PROTECTED(low, FitInnerCircle)({}, Edges(8, 0.0084), {}, PROTECTED(low, _circle)));
  EXPECT_NEAR(PROTECTED(low, _circle).Radius(), 0.0084, 1e-12);
}

TEST(HoleInnerCircle, EachCaseHasItsShift) {
  const double incidence = 0.3;
  const auto shift = [&](bool low, bool chamfer) {
    Hole hole = HoleInPlane();
    PROTECTED(hole, _incidence_angle) = incidence;
    PROTECTED(hole, _low_incidence) = low;
    PROTECTED(hole, _has_chamfer) = chamfer;
    PROTECTED(hole, _has_wall) = true;
    EXPECT_TRUE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008), {Wall(1, {0, 2, 4}, 0.008)},
                                                PROTECTED(hole, _circle)));
    return PROTECTED(hole, _circle).Center().x();
  };
  const double low = (incidence * 610.9 - 2.333) * 1e-6;
  const double sigmoid = (139.8 / (std::exp(-3.81 * incidence) + 1.0) - 76.56) * 1e-6;
  EXPECT_NEAR(shift(true, false), low, 1e-11);
  EXPECT_NEAR(shift(true, true), low, 1e-11);
  EXPECT_NEAR(shift(false, false), -incidence / (kPi / 3) * 5e-5, 1e-11);
  EXPECT_NEAR(shift(false, true), -sigmoid, 1e-11);
}

TEST(HoleInnerCircle, AChamferWithoutWallFailsUnlessTheIncidenceIsLow) {
  Hole hole = HoleInPlane();
  PROTECTED(hole, _has_chamfer) = true;
  PROTECTED(hole, _has_wall) = false;
  EXPECT_FALSE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008), {Wall(1, {0, 2, 4}, 0.008)},
                                               PROTECTED(hole, _circle)));
  EXPECT_EQ(hole.GetError(), "Hole::FitInnerCircle(): Not enough wall points to fit a circle!");
  Hole low = HoleInPlane();
  PROTECTED(low, _has_chamfer) = true;
  PROTECTED(low, _low_incidence) = true;
  EXPECT_TRUE(PROTECTED(low, FitInnerCircle)({}, Edges(8, 0.008), {}, PROTECTED(low, _circle)));
}

TEST(HoleInnerCircle, AChamferWithWallIsFittedToTheWallAlone) {
  Hole hole = HoleInPlane();
  auto& circle = PROTECTED(hole, _circle);
  PROTECTED(hole, _has_chamfer) = true;
  PROTECTED(hole, _has_wall) = true;
  PROTECTED(hole, _chamfer_offset) = 0.0005;
  hole.SetSetting<double>(L"NominalRadius", 0.0085);
  circle.Radius(0.0085);
  const std::vector<PointCloud> wall{Wall(1, {0.0, 0.2}, 0.008), Wall(99, {2.0, 4.0}, 0.008)};
  EXPECT_TRUE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.0085, {3e-4, 0, 2}), wall, circle));
  EXPECT_NEAR(circle.Center().x(), -(139.8 / 2 - 76.56) * 1e-6, 1e-11);
  EXPECT_NEAR(circle.Radius(), 0.0085, 1e-15) << "of the rim, not of the bore";
}

TEST(HoleInnerCircle, TooFewPointsFailInTheWordsOfTheFit) {
  Hole fixed = HoleInPlane();
  EXPECT_FALSE(
      PROTECTED(fixed, FitInnerCircle)({}, Edges(2, 0.008), {}, PROTECTED(fixed, _circle)));
  EXPECT_EQ(fixed.GetError(),
            "Holes::FitInnerCircle(): Failed to fit a fixed radius circle with the wall points.");
  Hole free = HoleInPlane();
  PROTECTED(free, _low_incidence) = true;
  EXPECT_FALSE(PROTECTED(free, FitInnerCircle)({}, Edges(2, 0.008), {}, PROTECTED(free, _circle)));
  EXPECT_EQ(free.GetError(),
            "Holes::FitInnerCircle(): Failed to fit a circle with the wall points.");
}

TEST(HoleInnerCircle, ARadiusOffByMoreThanHalfTheNominalFails) {
  Hole hole = HoleInPlane();
  PROTECTED(hole, _low_incidence) = true;
  EXPECT_FALSE(
      PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.01201), {}, PROTECTED(hole, _circle)));
  EXPECT_EQ(hole.GetError(),
            "Hole::FitInnerCircle(): Fit circle radius does not match input specifications. Check "
            "the nominal radius!");
  // The bound is half of the nominal radius, the comparison is with the working radius.
  Hole chamfered = HoleInPlane();
  PROTECTED(chamfered, _low_incidence) = true;
  chamfered.SetSetting<double>(L"NominalRadius", 0.009);
  EXPECT_FALSE(PROTECTED(chamfered, FitInnerCircle)({}, Edges(8, 0.00499), {},
                                                    PROTECTED(chamfered, _circle)));
  EXPECT_EQ(chamfered.GetError(),
            "Hole::FitInnerCircle(): Fit circle radius does not match input specifications. Check "
            "the nominal radius!");
}

TEST(HoleInnerCircle, AFixedRadiusThatIsNoRadiusFails) {
  // A negative nominal radius differs from nothing but is off by more than its own half.
  Hole hole = HoleInPlane();
  PROTECTED(hole, _nominal_radius) = -0.008;
  EXPECT_FALSE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008), {}, PROTECTED(hole, _circle)));
  EXPECT_EQ(hole.GetError(),
            "Hole::FitInnerCircle(): Fit inner circle radius does not match input specifications. "
            "Check the inner nominal radius!");
}

TEST(HoleInnerCircle, ADifferenceOfExactlyTheTolerancePasses) {
  constexpr const char* kText =
      "Holes::FitInnerCircle(): The inner fit circle radius differed from the prior fit circle by "
      "too much. Check the nominal center for offset!";
  // Numbers that double holds exactly: a tolerance of 2^-10 m, a radius of 2^-7.
  Hole hole = HoleInPlane(0.0078125);
  hole.SetSetting<double>(L"ClearanceZone", 0.00390625);
  PROTECTED(hole, _circle).Radius(0.0078125 - 0.0009765625);
  EXPECT_TRUE(
      PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.0078125), {}, PROTECTED(hole, _circle)))
      << hole.GetError();
  EXPECT_EQ(PROTECTED(hole, _circle).Radius(), 0.0078125);
  PROTECTED(hole, _circle).Radius(std::nextafter(0.0078125 - 0.0009765625, 0.0));
  EXPECT_FALSE(
      PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.0078125), {}, PROTECTED(hole, _circle)));
  EXPECT_EQ(hole.GetError(), kText);
  Hole wide = HoleInPlane(0.0078125);
  wide.SetSetting<double>(L"ClearanceZone", 1.0);
  PROTECTED(wide, _circle).Radius(0.0078125 - 0.001953125);
  EXPECT_TRUE(
      PROTECTED(wide, FitInnerCircle)({}, Edges(8, 0.0078125), {}, PROTECTED(wide, _circle)))
      << "the smaller of radius and clearance counts";
}

TEST(HoleInnerCircle, TheNormalIsTurnedToTheInstrument) {
  Hole hole = HoleInPlane();
  auto& circle = PROTECTED(hole, _circle);
  circle.Normal(VectorXYZW(0, 0, 1));
  EXPECT_TRUE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008), {}, circle));
  EXPECT_EQ(circle.Normal(), VectorXYZW(0, 0, -1));
  PROTECTED(hole, _scan_origin) = PointXYZW(0, 0, 5);
  EXPECT_TRUE(PROTECTED(hole, FitInnerCircle)({}, Edges(8, 0.008), {}, circle));
  EXPECT_EQ(circle.Normal(), VectorXYZW(0, 0, 1));
}

}  // namespace
}  // namespace libmfx::features
