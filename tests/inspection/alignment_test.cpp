#include "inspection/alignment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "alignment_cases.h"
#include "tests/support/random_cases.h"

namespace libmfx::inspection::test {
namespace {

using libmfx::test::Draws;
using sim::Rng;
using testing::HasSubstr;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const Matrix3d kAll = Matrix3d::Identity();

Vector3d InBox(Rng& rng) {
  return {rng.Uniform(-0.3, 0.3), rng.Uniform(-0.2, 0.2), rng.Uniform(-0.1, 0.1)};
}

std::vector<AlignedPlace> FourBalls(const Isometry3d& truth) {
  std::vector<AlignedPlace> places;
  for (const Vector3d& nominal : {Vector3d(0.0, 0.0, 0.0), Vector3d(0.3, 0.0, 0.0),
                                  Vector3d(0.0, 0.2, 0.0), Vector3d(0.1, 0.1, 0.15)}) {
    places.push_back(Exact(truth, nominal));
  }
  return places;
}

/// Three surface points, two on a side and one on the third, each measured somewhat beside its
/// nominal within its surface.
std::vector<AlignedPlace> SixPoints(Rng& rng, const Isometry3d& truth, double standard) {
  const std::vector<std::pair<Vector3d, Vector3d>> points = {
      {{0.02, 0.02, 0.0}, Vector3d::UnitZ()},  {{0.28, 0.03, 0.0}, Vector3d::UnitZ()},
      {{0.15, 0.18, 0.0}, Vector3d::UnitZ()},  {{0.05, 0.0, -0.03}, Vector3d::UnitY()},
      {{0.25, 0.0, -0.03}, Vector3d::UnitY()}, {{0.0, 0.1, -0.03}, Vector3d::UnitX()}};
  std::vector<AlignedPlace> places;
  for (const auto& [nominal, normal] : points) {
    const Vector3d beside = Across(normal) * (0.002 * NormalVector(rng));
    places.push_back(
        Measured(rng, truth, nominal, standard * standard * kAll, Along(normal), beside));
  }
  return places;
}

Isometry3d Off(Rng& rng, const Isometry3d& truth, double shift, double turn) {
  return Moved(truth, turn * UnitVector(rng), shift * UnitVector(rng), Vector3d::Zero());
}

TEST(FitPose, ErrsAsItsCovarianceTells) {
  Rng rng(1);
  const int draws = Draws(2000, 200);
  double squares = 0.0;
  double left = 0.0;
  for (int i = 0; i < draws; ++i) {
    const Isometry3d truth = RandomPose(rng);
    std::vector<AlignedPlace> places;
    for (int k = 0; k < 4; ++k) {
      places.push_back(Measured(rng, truth, InBox(rng), RandomCovariance(rng, 2e-5)));
    }
    const Vector3d axis = UnitVector(rng);
    places.push_back(
        Measured(rng, truth, InBox(rng), RandomCovariance(rng, 1e-5), Across(axis), 0.005 * axis));
    for (int k = 0; k < 2; ++k) {
      const Vector3d normal = UnitVector(rng);
      places.push_back(
          Measured(rng, truth, InBox(rng), RandomCovariance(rng, 1e-5), Along(normal)));
    }
    std::string why;
    const auto fit = FitPose(places, std::nullopt, 0.0, why);
    ASSERT_TRUE(fit) << why;
    ASSERT_EQ(fit->redundancy, 4 * 3 + 2 + 2 - 6);
    squares += SquareOf(*fit, truth) / draws;
    left += fit->chi_squared / draws;
  }
  // Squares of n normal deviates have the mean n and the variance 2 n; four standard deviations of
  // the mean of all draws.
  EXPECT_NEAR(squares, 6.0, 4.0 * std::sqrt(12.0 / draws));
  EXPECT_NEAR(left, 10.0, 4.0 * std::sqrt(20.0 / draws));
}

TEST(FitPose, CountsTheFloorAsADeviationOfThePlaces) {
  Rng rng(2);
  const int draws = Draws(2000, 200);
  double squares = 0.0;
  for (int i = 0; i < draws; ++i) {
    const Isometry3d truth = RandomPose(rng);
    std::vector<AlignedPlace> places;
    std::vector<double> floors;
    for (int k = 0; k < 5; ++k) {
      floors.push_back(rng.Uniform(1e-5, 1e-4));
      places.push_back(Measured(rng, truth, InBox(rng), RandomCovariance(rng, 2e-5), kAll,
                                floors.back() * NormalVector(rng)));
    }
    std::string why;
    const auto fit = FitPose(places, std::nullopt, floors, why);
    ASSERT_TRUE(fit) << why;
    squares += SquareOf(*fit, truth) / draws;
  }
  EXPECT_NEAR(squares, 6.0, 4.0 * std::sqrt(12.0 / draws));
}

TEST(FitPose, OneFloorIsThatOfEachPlace) {
  Rng rng(3);
  const Isometry3d truth = RandomPose(rng);
  std::vector<AlignedPlace> places;
  for (int k = 0; k < 5; ++k) {
    places.push_back(Measured(rng, truth, InBox(rng), RandomCovariance(rng, 2e-5)));
  }
  std::string why;
  const auto one = FitPose(places, std::nullopt, 5e-5, why);
  const auto each = FitPose(places, std::nullopt, std::vector<double>(5, 5e-5), why);
  ASSERT_TRUE(one && each) << why;
  EXPECT_EQ(one->pose.matrix(), each->pose.matrix());
}

TEST(FitPose, FindsSixPointConditionsFromAStartThatIsFarOff) {
  Rng rng(4);
  for (int i = 0; i < 100; ++i) {
    const Isometry3d truth = RandomPose(rng);
    // A covariance, and yet no noise.
    auto places = SixPoints(rng, truth, 1e-5);
    for (AlignedPlace& place : places) {
      const Vector3d there = truth.inverse() * place.measured;
      place.measured = truth * Vector3d(there + place.directions * (place.nominal - there));
    }
    std::string why;
    const auto fit = FitPose(places, Off(rng, truth, 0.02, Degrees(5.0)), 0.0, why);
    ASSERT_TRUE(fit) << why;
    EXPECT_EQ(fit->redundancy, 0);
    // What doubles leave of coordinates of 3 m, 1e-15 m, times how poorly six conditions tell a
    // pose, some 100.
    EXPECT_LT(ErrorOf(fit->pose, truth, fit->middle).norm(), 1e-12);
  }
}

TEST(FitPose, OfSixPointConditionsErrsAsItsCovarianceTells) {
  Rng rng(5);
  const int draws = Draws(2000, 200);
  double squares = 0.0;
  for (int i = 0; i < draws; ++i) {
    const Isometry3d truth = RandomPose(rng);
    std::string why;
    const auto fit =
        FitPose(SixPoints(rng, truth, 1e-5), Off(rng, truth, 0.02, Degrees(5.0)), 0.0, why);
    ASSERT_TRUE(fit) << why;
    squares += SquareOf(*fit, truth) / draws;
  }
  EXPECT_NEAR(squares, 6.0, 4.0 * std::sqrt(12.0 / draws));
}

TEST(FitPose, WithoutAStartNeedsThreeWholePlaces) {
  Rng rng(6);
  std::string why;
  EXPECT_FALSE(FitPose(SixPoints(rng, RandomPose(rng), 1e-5), std::nullopt, 0.0, why));
  EXPECT_THAT(why, HasSubstr("no pose to start from is known"));
}

TEST(FitPose, APlaceOfAHundredTimesTheUncertaintyMovesLittle) {
  Rng rng(7);
  for (int i = 0; i < 50; ++i) {
    const Isometry3d truth = RandomPose(rng);
    std::vector<AlignedPlace> places = FourBalls(truth);  // 10 um
    std::string why;
    const auto before = FitPose(places, std::nullopt, 0.0, why);
    ASSERT_TRUE(before) << why;
    // The fifth, 1 mm off with 1 mm of uncertainty, as far from the middle as the others.
    const Vector3d off = 0.001 * UnitVector(rng);
    places.push_back(Exact(truth, {-0.05, -0.05, 0.1}, kAll, off));
    places.back().covariance *= 1e4;
    const auto after = FitPose(places, std::nullopt, 0.0, why);
    ASSERT_TRUE(after) << why;
    // It pulls the place where it is by P W times what it is off, where P is the covariance of a
    // place of the part as the others tell it.
    const Vector3d arm = truth.linear() * (places.back().nominal - before->middle);
    Matrix3d cross;
    cross << 0.0, arm.z(), -arm.y(), -arm.z(), 0.0, arm.x(), arm.y(), -arm.x(), 0.0;
    Eigen::Matrix<double, 3, 6> lever;
    lever << cross, kAll;
    const Matrix3d spread = lever * before->covariance * lever.transpose();
    const double bound = spread.trace() / 1e-6 * 0.001;
    const Vector3d moved = after->pose * places.back().nominal - truth * places.back().nominal;
    EXPECT_LT(bound, 1e-6);
    EXPECT_LT(moved.norm(), 1.01 * bound);  // 1 %: the fifth place also lessens P
    EXPECT_GT(moved.norm(), 0.0);
  }
}

TEST(FitPose, TellsResidualsInThePartsFrameAndInMeasuredDirectionsAlone) {
  Rng rng(8);
  const Isometry3d truth = RandomPose(rng);
  std::vector<AlignedPlace> places = FourBalls(truth);
  // Of 1 m uncertainty: where the others put the part, it stays off by what it is off.
  places.push_back(Exact(truth, {0.1, 0.0, 0.1}, Along(Vector3d::UnitY()), {0.004, 0.003, -0.005}));
  places.back().covariance = kAll;
  std::string why;
  const auto fit = FitPose(places, std::nullopt, 0.0, why);
  ASSERT_TRUE(fit) << why;
  ASSERT_EQ(fit->residuals.size(), 5u);
  // Its weight beside the others' is 1e-10.
  EXPECT_LT((fit->residuals[4] - Vector3d(0.0, 0.003, 0.0)).norm(), 3e-12);
  EXPECT_LT(fit->residuals[0].norm(), 3e-12);
}

TEST(FitPose, TellsWhichFreedomIsOpen) {
  const Isometry3d pose = Isometry3d::Identity();
  const auto why_of = [&](const std::vector<AlignedPlace>& places) {
    std::string why;
    EXPECT_FALSE(FitPose(places, pose, 1e-4, why));
    return why;
  };
  const std::string free = "what was measured leaves the part free to ";
  const auto at = [&](double x, double y, double z, const Matrix3d& directions = kAll) {
    return Exact(pose, {x, y, z}, directions);
  };
  EXPECT_EQ(why_of({}), "no place was measured");
  EXPECT_EQ(why_of({at(0.1, 0, 0, Matrix3d::Zero())}), "no place was measured");
  EXPECT_EQ(why_of({at(0.1, 0, 0)}), free + "turn about every axis");
  EXPECT_EQ(why_of({at(0, 0.05, 0), at(0.2, 0.05, 0)}),
            free + "turn about the line through (100, 50, 0) mm along (1, 0, 0)");
  // Three on a line but for the digits of a plan.
  EXPECT_EQ(why_of({at(0, 0, 0), at(0.2, 0, 1e-6), at(0.1, 0, 0)}),
            free + "turn about the line through (100, 0, 0) mm along (1, 0, 0)");
  const Matrix3d z = Along(Vector3d::UnitZ());
  EXPECT_EQ(why_of({at(0, 0, 0, z), at(0.3, 0, 0, z), at(0, 0.3, 0, z)}),
            free +
                "be shifted across (0, 0, 1) and to turn about the line through (100, 100, 0) mm "
                "along (0, 0, 1)");
  // Two holes hold it across their axes, two surface points along them: these lie on a line.
  const Matrix3d xy = Across(Vector3d::UnitZ());
  EXPECT_EQ(why_of({at(0, 0, 0, xy), at(0.3, 0, 0, xy), at(0, 0.3, 0, z), at(0, 0, 0, z)}),
            free + "turn about the line through (0, 75, 0) mm along (0, 1, 0)");
}

TEST(FitPose, RefusesInWordsWhatIsNoMeasurement) {
  const Isometry3d truth = Isometry3d::Identity();
  const std::vector<std::function<void(AlignedPlace&)>> spoil = {
      [](AlignedPlace& p) { p.nominal.x() = kNaN; },
      [](AlignedPlace& p) { p.nominal.z() = -kInfinity; },
      [](AlignedPlace& p) { p.measured.y() = kNaN; },
      [](AlignedPlace& p) { p.measured.y() = 1e200; },
      [](AlignedPlace& p) { p.covariance(0, 1) = kNaN; },
      [](AlignedPlace& p) { p.covariance(2, 2) = kInfinity; },
      [](AlignedPlace& p) { p.covariance(1, 1) = -1e-10; },
      [](AlignedPlace& p) { p.covariance(0, 1) = p.covariance(1, 0) = 1e-9; },
      [](AlignedPlace& p) { p.covariance(0, 1) = 1e-10; },
      [](AlignedPlace& p) { p.directions(0, 0) = kNaN; },
      [](AlignedPlace& p) { p.directions *= 0.5; },
      [](AlignedPlace& p) { p.directions *= 1e300; },
      [](AlignedPlace& p) { p.directions(0, 1) = 1.0; }};
  for (std::size_t i = 0; i < spoil.size(); ++i) {
    auto places = FourBalls(truth);
    spoil[i](places[1]);
    std::string why;
    EXPECT_FALSE(FitPose(places, truth, 0.0, why)) << i;
    EXPECT_THAT(why, testing::StartsWith("place 2 ")) << i;
  }
}

TEST(FitPose, RefusesInWordsFloorsAndStartsThatAreNone) {
  const auto places = FourBalls(Isometry3d::Identity());
  for (const double floor : {kNaN, kInfinity, -1e-6}) {
    std::string why;
    EXPECT_FALSE(FitPose(places, std::nullopt, floor, why));
    EXPECT_THAT(why, HasSubstr("tolerance"));
  }
  std::string why;
  EXPECT_FALSE(FitPose(places, std::nullopt, std::vector<double>(3, 1e-6), why));
  EXPECT_EQ(why, "there are 4 places and 3 tolerances");
  Isometry3d start = Isometry3d::Identity();
  start.translation().x() = kNaN;
  EXPECT_FALSE(FitPose(places, start, 0.0, why));
  EXPECT_EQ(why, "the pose to start from is no rigid motion");
  start = Isometry3d::Identity();
  start.linear() *= -1.0;
  EXPECT_FALSE(FitPose(places, start, 0.0, why));
  EXPECT_EQ(why, "the pose to start from is no rigid motion");
}

TEST(FitPose, WithoutAnyUncertaintyIsThePlainLeastSquares) {
  const Isometry3d truth(Eigen::Translation3d(0.1, -0.2, 2.0));
  auto places = FourBalls(truth);
  for (AlignedPlace& place : places) place.covariance.setZero();
  places[0].measured.x() += 4e-4;
  std::string why;
  const auto fit = FitPose(places, std::nullopt, 0.0, why);
  ASSERT_TRUE(fit) << why;
  Vector3d sum = Vector3d::Zero();
  for (const Vector3d& residual : fit->residuals) sum += residual;
  EXPECT_LT(sum.norm(), 1e-14);  // rounding of four coordinates of 2 m
  EXPECT_LT((fit->pose * fit->middle - truth * fit->middle - Vector3d(1e-4, 0.0, 0.0)).norm(),
            1e-14);
}

}  // namespace
}  // namespace libmfx::inspection::test
