#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "alignment_cases.h"
#include "inspection/alignment.h"
#include "tests/support/random_cases.h"

namespace libmfx::inspection::test {
namespace {

using libmfx::test::Draws;
using sim::Rng;

const Matrix3d kAll = Matrix3d::Identity();
const Vector3d kX = Vector3d::UnitX();
const Vector3d kY = Vector3d::UnitY();
const Vector3d kZ = Vector3d::UnitZ();

/// A place that is `off` its nominal, seen from an instrument whose frame is the part's.
AlignedPlace Here(const Vector3d& nominal, const Matrix3d& directions, const Vector3d& off) {
  return Exact(Isometry3d::Identity(), nominal, directions, off);
}

/// A: four points of a plane, B: a line of two holes, C: the first of these holes again.
/// \param standard m, of each place
std::vector<DatumPlaces> PlaneLinePoint(Rng& rng, const Isometry3d& truth, double standard) {
  std::vector<DatumPlaces> datums(3);
  const auto covariance = [&] { return RandomCovariance(rng, standard); };
  for (const Vector3d& nominal : {Vector3d(0.0, -0.05, 0.0), Vector3d(0.2, -0.05, 0.0),
                                  Vector3d(0.2, 0.1, 0.0), Vector3d(0.02, 0.1, 0.0)}) {
    datums[0].places.push_back(Measured(rng, truth, nominal, covariance(), Along(kZ),
                                        {0.001 * rng.Normal(), 0.001 * rng.Normal(), 0.0}));
  }
  datums[1].places.push_back(Measured(rng, truth, {0.03, 0.02, 0.0}, covariance(), Across(kX)));
  datums[1].places.push_back(Measured(rng, truth, {0.18, 0.02, 0.0}, covariance(), Across(kX)));
  datums[2].places.push_back(datums[1].places[0]);
  datums[2].places[0].directions = kAll;
  return datums;
}

Isometry3d Off(Rng& rng, const Isometry3d& truth) {
  return Moved(truth, Degrees(5.0) * UnitVector(rng), 0.02 * UnitVector(rng), Vector3d::Zero());
}

TEST(FitDatums, AreAPlaneALineAndAPointByHand) {
  // A: three points, the plane of which is 0.3 mm high. B: two holes along x, the second 0.2 mm
  // more to y than the first, so that the part is turned by asin(0.2 / 100). C: the first hole,
  // which is 0.5 mm off in x and 0.1 mm in y.
  const double y = 0.0002;
  const double along = std::sqrt(0.1 * 0.1 - y * y);
  std::vector<DatumPlaces> datums(3);
  for (const Vector3d& at :
       {Vector3d(-0.1, -0.1, 0.0), Vector3d(0.2, 0.0, 0.0), Vector3d(0.0, 0.15, 0.0)}) {
    datums[0].places.push_back(Here(at, Along(kZ), 0.0003 * kZ));
  }
  const Vector3d first(0.0005, 0.0001, 0.0007);
  datums[1].places.push_back(Here({0.0, 0.0, 0.0}, Across(kX), first));
  datums[1].places.push_back(
      Here({0.1, 0.0, 0.0}, Across(kX), first + Vector3d(along - 0.1, y, 0.0)));
  datums[2].places.push_back(Here({0.0, 0.0, 0.0}, kAll, first));
  std::string why;
  const auto fit = FitDatums(datums, Isometry3d::Identity(), why);
  ASSERT_TRUE(fit) << why;
  Isometry3d expected = Isometry3d::Identity();
  expected.linear() = Eigen::AngleAxisd(std::asin(y / 0.1), kZ).toRotationMatrix();
  expected.translation() = Vector3d(0.0005, 0.0001, 0.0003);
  // Rounding of coordinates of 0.2 m.
  EXPECT_LT((fit->pose.matrix() - expected.matrix()).cwiseAbs().maxCoeff(), 1e-14);
  EXPECT_EQ(fit->redundancy, 3 + 2 * 2 + 3 - 6);
  // What no datum asks for stays as a residual: the holes are 0.4 mm above the plane.
  ASSERT_EQ(fit->residuals.size(), 6u);
  EXPECT_LT(fit->residuals[0].norm(), 1e-14);
  EXPECT_LT((fit->residuals[3] - 0.0004 * kZ).norm(), 1e-14);
  EXPECT_LT((fit->residuals[5] - 0.0004 * kZ).norm(), 1e-14);
}

/// Points on the faces z = 0 and x = 0 of a block, which lean against each other: x of the side
/// grows by `slope` times z.
std::vector<DatumPlaces> LeaningFaces(double slope) {
  std::vector<DatumPlaces> datums(2);
  for (const Vector3d& at :
       {Vector3d(0.0, 0.0, 0.0), Vector3d(0.2, 0.0, 0.0), Vector3d(0.0, 0.1, 0.0)}) {
    datums[0].places.push_back(Here(at, Along(kZ), Vector3d::Zero()));
  }
  for (const Vector3d& at :
       {Vector3d(0.0, 0.0, -0.01), Vector3d(0.0, 0.1, -0.01), Vector3d(0.0, 0.05, -0.07)}) {
    datums[1].places.push_back(Here(at, Along(kX), slope * at.z() * kX));
  }
  return datums;
}

TEST(FitDatums, TheFirstOneIsFitAsWellAsCanBeWhateverComesAfter) {
  const double slope = 0.001;
  std::vector<DatumPlaces> datums = LeaningFaces(slope);
  std::string why;
  const auto base_first = FitDatums(datums, Isometry3d::Identity(), why);
  ASSERT_TRUE(base_first) << why;
  std::swap(datums[0], datums[1]);
  const auto side_first = FitDatums(datums, Isometry3d::Identity(), why);
  ASSERT_TRUE(side_first) << why;
  // With the base first the part is not turned, and the side gets the shift of least squares:
  // its x are 0.001 times z of -10, -10 and -70 mm, their mean -0.03 mm.
  for (int i = 0; i < 3; ++i) {
    EXPECT_LT(base_first->residuals[static_cast<std::size_t>(i)].norm(), 1e-14);
  }
  EXPECT_NEAR(base_first->residuals[3].x(), 0.00002, 1e-14);
  EXPECT_NEAR(base_first->residuals[4].x(), 0.00002, 1e-14);
  EXPECT_NEAR(base_first->residuals[5].x(), -0.00004, 1e-14);
  EXPECT_TRUE(base_first->pose.linear().isIdentity(1e-14));
  // With the side first the part is turned about y by the slope, and the base leans.
  for (int i = 0; i < 3; ++i) {
    EXPECT_LT(side_first->residuals[static_cast<std::size_t>(i)].norm(), 1e-14);
  }
  const Vector3d normal = Vector3d(1.0, 0.0, -slope).normalized();
  EXPECT_LT((side_first->pose.linear().col(0) - normal).norm(), 1e-14);
  // Heights over the turned base: sin(slope) times x of 0, 200 and 0 mm. The base still has its
  // height and a turn about x: the third point, which alone lies aside, is met, and the first two
  // share what is left. That turn, of 1 mrad, takes the second one aside by that share of its
  // height, 2e-6 of the third one's distance.
  const double lean = std::sin(std::atan(slope)) * 0.2;
  EXPECT_NEAR(side_first->residuals[3].z(), -lean / 2.0, 2e-6 * lean);
  EXPECT_NEAR(side_first->residuals[4].z(), lean / 2.0, 2e-6 * lean);
  EXPECT_NEAR(side_first->residuals[5].z(), 0.0, 2e-6 * lean);
}

TEST(FitDatums, WithinADatumIsLeastSquares) {
  // The plane of least squares of a square with one corner 0.4 mm high leaves a quarter of that at
  // every corner, up and down in turn.
  std::vector<DatumPlaces> datums(1);
  const std::vector<Vector3d> corners = {
      {-0.1, -0.1, 0.0}, {0.1, -0.1, 0.0}, {0.1, 0.1, 0.0}, {-0.1, 0.1, 0.0}};
  for (const Vector3d& at : corners) {
    datums[0].places.push_back(Here(at, Along(kZ), Vector3d::Zero()));
  }
  datums[0].places[2].measured.z() = 0.0004;
  // How sure a place is does not count: a datum is a thing of the part.
  datums[0].places[1].covariance *= 1e4;
  std::string why;
  const auto fit = FitDatums(datums, Isometry3d::Identity(), why);
  ASSERT_TRUE(fit) << why;
  EXPECT_EQ(fit->redundancy, 1);
  for (std::size_t i = 0; i < 4; ++i) {
    // The turn of 1.4 mrad makes the heights shorter by the square of that, 2e-6 of 0.4 mm.
    EXPECT_NEAR(fit->residuals[i].z(), i % 2 == 0 ? 1e-4 : -1e-4, 1e-9);
  }
}

TEST(FitDatums, WhatStaysFreeStaysAsTheStartHasIt) {
  Isometry3d start = Isometry3d::Identity();
  start.linear() = Eigen::AngleAxisd(0.3, kZ).toRotationMatrix();
  start.translation() = Vector3d(0.07, -0.05, 0.002);
  std::vector<DatumPlaces> datums(1);
  for (const Vector3d& at :
       {Vector3d(0.0, 0.0, 0.0), Vector3d(0.2, 0.0, 0.0), Vector3d(0.0, 0.1, 0.0)}) {
    datums[0].places.push_back(Exact(start, at, Along(kZ), -0.002 * kZ));
  }
  std::string why;
  const auto fit = FitDatums(datums, start, why);
  ASSERT_TRUE(fit) << why;
  EXPECT_LT((fit->pose.linear() - start.linear()).cwiseAbs().maxCoeff(), 1e-14);
  EXPECT_LT((fit->pose.translation() - Vector3d(0.07, -0.05, 0.0)).norm(), 1e-14);
  // It counts as known: only the height and two turns are open, of points of 10 um.
  EXPECT_LT(fit->covariance.row(2).norm(), 1e-24);
  EXPECT_LT(fit->covariance.row(3).norm(), 1e-24);
  EXPECT_NEAR(fit->covariance(5, 5), 1e-10 / 3.0, 1e-20);
}

TEST(FitDatums, ComesToTheTruthFromAStartThatIsFarOff) {
  Rng rng(1);
  for (int i = 0; i < 100; ++i) {
    const Isometry3d truth = RandomPose(rng);
    std::string why;
    const auto fit = FitDatums(PlaneLinePoint(rng, truth, 1e-14), Off(rng, truth), why);
    ASSERT_TRUE(fit) << why;
    // Noise of 1e-14 m, which is little more than the rounding of coordinates of 3 m, over 0.15 m.
    EXPECT_LT(ErrorOf(fit->pose, truth, fit->middle).norm(), 1e-12);
  }
}

TEST(FitDatums, ErrAsTheirCovarianceTells) {
  Rng rng(2);
  const int draws = Draws(2000, 200);
  double squares = 0.0;
  for (int i = 0; i < draws; ++i) {
    const Isometry3d truth = RandomPose(rng);
    std::string why;
    const auto fit = FitDatums(PlaneLinePoint(rng, truth, 1e-5), Off(rng, truth), why);
    ASSERT_TRUE(fit) << why;
    squares += SquareOf(*fit, truth) / draws;
  }
  // Mean 6 and variance 12, four standard deviations of the mean.
  EXPECT_NEAR(squares, 6.0, 4.0 * std::sqrt(12.0 / draws));
}

TEST(FitDatums, APlaceOfTwoDatumsErrsOnce) {
  // The line puts the first hole where it is across x, the point where it is along x: there the
  // part is as uncertain as this hole, whose x and y hang together.
  std::vector<DatumPlaces> datums(3);
  for (const Vector3d& at :
       {Vector3d(0.0, 0.0, 0.0), Vector3d(0.2, 0.0, 0.0), Vector3d(0.0, 0.1, 0.0)}) {
    datums[0].places.push_back(Here(at, Along(kZ), Vector3d::Zero()));
  }
  const Vector3d hole(0.05, 0.02, 0.0);
  datums[1].places.push_back(Here(hole, Across(kX), Vector3d::Zero()));
  datums[1].places.push_back(Here(hole + 0.1 * kX, Across(kX), Vector3d::Zero()));
  datums[1].places[0].covariance(0, 1) = datums[1].places[0].covariance(1, 0) = 0.9e-10;
  datums[2].places.push_back(datums[1].places[0]);
  datums[2].places[0].directions = kAll;
  std::string why;
  const auto fit = FitDatums(datums, Isometry3d::Identity(), why);
  ASSERT_TRUE(fit) << why;
  const Vector3d arm = hole - fit->middle;
  Eigen::Matrix<double, 3, 6> lever;
  lever << 0.0, arm.z(), -arm.y(), 1.0, 0.0, 0.0,  //
      -arm.z(), 0.0, arm.x(), 0.0, 1.0, 0.0,       //
      arm.y(), -arm.x(), 0.0, 0.0, 0.0, 1.0;
  const Matrix3d spread = lever * fit->covariance * lever.transpose();
  // Rounding of a few products, of 1e-10 m^2.
  EXPECT_NEAR(spread(0, 0), 1e-10, 1e-22);
  EXPECT_NEAR(spread(1, 1), 1e-10, 1e-22);
  EXPECT_NEAR(spread(0, 1), 0.9e-10, 1e-22);
}

TEST(FitDatums, OneOfAllPlacesIsTheFitOfEqualWeights) {
  Rng rng(3);
  for (int i = 0; i < 20; ++i) {
    const Isometry3d truth = RandomPose(rng);
    std::vector<DatumPlaces> datums(1);
    for (int k = 0; k < 5; ++k) {
      const Vector3d nominal = 0.2 * NormalVector(rng);
      datums[0].places.push_back(Measured(rng, truth, nominal, 1e-8 * kAll));
    }
    std::string why;
    const auto datum = FitDatums(datums, Off(rng, truth), why);
    const auto pose = FitPose(datums[0].places, std::nullopt, 0.0, why);
    ASSERT_TRUE(datum && pose) << why;
    EXPECT_EQ(datum->redundancy, pose->redundancy);
    // Both settle where a step is no more than what is left of 3 m by rounding.
    EXPECT_LT(ErrorOf(datum->pose, pose->pose, pose->middle).norm(), 1e-12);
    // The one knows what residuals do to its derivatives, the other does not: 0.1 mm on 0.3 m.
    EXPECT_LT((datum->covariance - pose->covariance).norm(), 0.01 * pose->covariance.norm());
    EXPECT_NEAR(datum->chi_squared, pose->chi_squared, 1e-6 * pose->chi_squared);
  }
}

TEST(FitDatums, ADatumThatTakesNothingIsRefused) {
  std::vector<DatumPlaces> datums = LeaningFaces(0.0);
  datums.insert(datums.begin() + 1, datums[0]);
  std::string why;
  EXPECT_FALSE(FitDatums(datums, Isometry3d::Identity(), why));
  EXPECT_EQ(why, "datum 2 holds nothing that those before it leave free");
  datums[1].name = "B";
  EXPECT_FALSE(FitDatums(datums, Isometry3d::Identity(), why));
  EXPECT_EQ(why, "datum 'B' holds nothing that those before it leave free");
  // Its direction is that of the first but for the fifth decimal of a plan.
  for (AlignedPlace& place : datums[1].places) {
    place.directions = Along(Vector3d(0.00002, 0.0, 1.0).normalized());
  }
  EXPECT_FALSE(FitDatums(datums, Isometry3d::Identity(), why));
  // Nor is anything left after all three whole places.
  std::vector<DatumPlaces> over(2);
  for (const Vector3d& at : {Vector3d(0.0, 0.0, 0.0), kX, kY}) {
    over[0].places.push_back(Here(at, kAll, Vector3d::Zero()));
  }
  over[1].places.push_back(Here(kZ, kAll, Vector3d::Zero()));
  EXPECT_FALSE(FitDatums(over, Isometry3d::Identity(), why));
  EXPECT_EQ(why, "datum 2 holds nothing that those before it leave free");
}

TEST(FitDatums, RefusesBadInputInWords) {
  const Isometry3d start = Isometry3d::Identity();
  std::string why;
  EXPECT_FALSE(FitDatums({}, start, why));
  EXPECT_EQ(why, "there is no datum");
  std::vector<DatumPlaces> datums = LeaningFaces(0.0);
  datums[1].name = "B";
  datums[1].places[2].measured.x() = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(FitDatums(datums, start, why));
  EXPECT_EQ(why, "datum 'B': place 3 was measured as what is no number");
  datums[1].places.clear();
  EXPECT_FALSE(FitDatums(datums, start, why));
  EXPECT_EQ(why, "datum 'B' holds no place in any direction");
  Isometry3d bad = start;
  bad.linear()(0, 0) = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(FitDatums(LeaningFaces(0.0), bad, why));
  EXPECT_EQ(why, "the pose to start from is no rigid motion");
}

}  // namespace
}  // namespace libmfx::inspection::test
