#include "libmfx/data_structures/point_cloud.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <string>

namespace libmfx::data_structures {
namespace {

std::vector<RawDataPoint> Samples(std::initializer_list<double> qualities) {
  std::vector<RawDataPoint> raw;
  for (const double q : qualities) raw.emplace_back(0.1, 0.2, 3.0, q, 7);
  return raw;
}

TEST(PointCloud, NoSampleReachesTheThresholdGivesZeroColumns) {
  const PointCloud cloud(Samples({10.0, 49.999}), EMBEDDING_XYZ, 50.0, true);
  EXPECT_EQ(cloud.cols(), 0);
  EXPECT_EQ(cloud.rows(), 5);
  EXPECT_TRUE(cloud.embeddings().contains(EMBEDDING_XYZ));
}

TEST(PointCloud, QualityEqualToTheThresholdIsKept) {
  const PointCloud cloud(Samples({50.0, 49.0, 51.0}), EMBEDDING_AER, 50.0, true);
  ASSERT_EQ(cloud.cols(), 2);
  EXPECT_EQ(cloud.data()(3, 0), 50.0);
  EXPECT_EQ(cloud.data()(4, 0), 7.0);
}

TEST(PointCloud, SamplesThatAreNotFiniteAreDropped) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<RawDataPoint> raw{{nan, 0, 1, 90, 0}, {0, inf, 1, 90, 0}, {0, 0, -inf, 90, 0},
                                {0, 0, 1, inf, 0},  {0, 0, 1, nan, 0},  {0, 0, 1, 90, 3}};
  const PointCloud cloud(raw, EMBEDDING_XYZ, 50.0, true);
  ASSERT_EQ(cloud.cols(), 1);
  EXPECT_EQ(cloud.data()(4, 0), 3.0);
}

TEST(PointCloud, WithoutExtraRowsThereAreThree) {
  const PointCloud cloud(Samples({60.0}), EMBEDDING_XYZ, 50.0, false);
  EXPECT_EQ(cloud.rows(), 3);
  EXPECT_NEAR(cloud.point(0).y(), std::sin(0.2) * 3.0, 1e-15);
}

TEST(PointCloud, ConvertingToTheEmbeddingItHasDoesNothing) {
  PointCloud cloud(Samples({60.0}), EMBEDDING_XYZ, 50.0, true);
  const Eigen::MatrixXd before = cloud.data();
  cloud.Convert(EMBEDDING_XYZ);
  EXPECT_EQ(cloud.data(), before);
}

TEST(PointCloud, TwoRowsCannotBecomeXyz) {
  PointCloud cloud(Eigen::MatrixXd::Zero(2, 4), {{EMBEDDING_XY, {0}}});
  try {
    cloud.Convert(EMBEDDING_XYZ);
    FAIL() << "no exception";
  } catch (const std::string& text) {
    EXPECT_EQ(text, "Point cloud is not an appropriate n-space embedding for the conversion type!");
  }
}

TEST(PointCloud, RowOffsetPastTheEndIsDroppedByValidation) {
  PointCloud cloud(Eigen::MatrixXd::Zero(5, 2), {{EMBEDDING_AER, {0, 3}}, {EMBEDDING_XY, {4}}});
  cloud.Convert(EMBEDDING_XYZ);
  EXPECT_EQ(cloud.embeddings(), (PointCloud::Embeddings{{EMBEDDING_XYZ, {0}}}));
}

TEST(PointCloud, WithoutEmbeddingATargetItCannotHoldIsNotReported) {
  PointCloud cloud(Eigen::MatrixXd::Zero(1, 2), {{EMBEDDING_XYZ, {0}}});
  EXPECT_NO_THROW(cloud.Convert(EMBEDDING_AER));
  EXPECT_TRUE(cloud.embeddings().empty());
}

TEST(PointCloud, SourcesLimitTheConversion) {
  PointCloud cloud(Eigen::MatrixXd::Ones(6, 1), {{EMBEDDING_AER, {0, 3}}});
  cloud.Convert({EMBEDDING_XY}, EMBEDDING_XYZ);
  EXPECT_EQ(cloud.data(), Eigen::MatrixXd::Ones(6, 1));
  cloud.Convert({EMBEDDING_AER}, EMBEDDING_XYZ);
  EXPECT_EQ(cloud.embeddings(), (PointCloud::Embeddings{{EMBEDDING_XYZ, {0, 3}}}));
  EXPECT_EQ(cloud.data()(0, 0), cloud.data()(3, 0));
  EXPECT_NEAR(cloud.data()(0, 0), -std::sin(1.0) * std::cos(1.0), 1e-15);
}

TEST(Point, NormalisationOfAZeroVectorIsZero) {
  EXPECT_EQ(VectorXYZW().normalized(), VectorXYZW());
}

TEST(Point, ArithmeticKeepsW) {
  const PointXYZW p(1, 2, 3, 5.0);
  EXPECT_EQ((p - PointXYZW(0, 0, 0, 1)).w(), 0.0);
  EXPECT_EQ((p + VectorXYZW(1, 1, 1, 4.0)).w(), 1.0);
  EXPECT_EQ(VectorXYZW(1, 0, 0, 9).cross(VectorXYZW(0, 1, 0, 9)), VectorXYZW(0, 0, 1, 0));
}

TEST(AzElRange, Straight) {
  const AzElRange aer(PointXYZW(0, 0, 5));
  EXPECT_EQ(aer.azimuth, 0.0);
  EXPECT_EQ(aer.elevation, 0.0);
  EXPECT_EQ(aer.range, 5.0);
  EXPECT_EQ(aer.ToPoint(), PointXYZW(0, 0, 5, 1));
}

TEST(AzElRange, PositiveXIsNegativeAzimuth) {
  EXPECT_EQ(AzElRange(PointXYZW(1, 0, 0)).azimuth, -std::numbers::pi / 2);
}

TEST(AzElRange, BehindIsPiWithTheSignOfZeroX) {
  EXPECT_EQ(AzElRange(PointXYZW(0.0, 0, -1)).azimuth, -std::numbers::pi);
  EXPECT_EQ(AzElRange(PointXYZW(-0.0, 0, -1)).azimuth, std::numbers::pi);
}

TEST(AzElRange, DefaultIsTwoMetresAhead) { EXPECT_EQ(AzElRange().range, 2.0); }

TEST(AzElRange, TheOriginIsAcceptedWithoutComplaint) {
  const AzElRange aer{PointXYZW()};
  EXPECT_TRUE(aer.azimuth == 0.0 && std::signbit(aer.azimuth));
  EXPECT_EQ(aer.elevation, 0.0);
  EXPECT_EQ(aer.range, 0.0);
}

TEST(AzElRange, AVectorOfAnotherShapeThrowsTheText) {
  EXPECT_EQ(AzElRange(Eigen::Vector3d(1, 2, 3)).range, 3.0);
  try {
    AzElRange aer(Eigen::VectorXd::Zero(4));
    FAIL() << "no exception";
  } catch (const std::string& text) {
    EXPECT_EQ(text, "AzElRange constructor requires a (3,1)-(row,col) vector!");
  }
}

}  // namespace
}  // namespace libmfx::data_structures
