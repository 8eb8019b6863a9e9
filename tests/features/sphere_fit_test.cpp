// The sphere fit itself: reference data, degenerate sets, far from the origin.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "ball_scene.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

/// The rows of a comma-separated file with a header line, without it.
std::vector<std::vector<std::string>> Rows(const std::string& name) {
  std::ifstream file(LIBMFX_TEST_DATA "/sphere/" + name);
  std::vector<std::vector<std::string>> rows;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    rows.emplace_back();
    for (std::string field; std::getline(fields, field, ',');) rows.back().push_back(field);
  }
  return rows;
}

std::map<std::string, MatrixXd> ReferencePoints() {
  std::map<std::string, std::vector<double>> values;
  for (const auto& row : Rows("points.csv")) {
    for (int i = 1; i <= 3; ++i) values[row[0]].push_back(std::stod(row[i]));
  }
  std::map<std::string, MatrixXd> points;
  for (const auto& [name, list] : values) {
    points[name] = Eigen::Map<const MatrixXd>(list.data(), 3, list.size() / 3);
  }
  return points;
}

TEST(SphereFitLS, ReproducesTheAlgebraicReferenceValues) {
  const auto points = ReferencePoints();
  const auto rows = Rows("algebraic.csv");
  ASSERT_EQ(rows.size(), 10u);
  for (const auto& row : rows) {
    const MatrixXd& data = points.at(row[0]);
    ASSERT_EQ(data.cols(), std::stol(row[1]));
    PointXYZW center;
    double radius = 0.0;
    VectorXd residuals;
    ASSERT_TRUE(SphereFitLS(PointCloud(data), center, radius, residuals));
    EXPECT_NEAR(center.x(), std::stod(row[2]), 1e-9) << row[0];
    EXPECT_NEAR(center.y(), std::stod(row[3]), 1e-9) << row[0];
    EXPECT_NEAR(center.z(), std::stod(row[4]), 1e-9) << row[0];
    EXPECT_NEAR(2 * radius, std::stod(row[5]), 1e-9) << row[0];
    EXPECT_EQ(center.w(), 1.0);
    EXPECT_EQ(residuals.size(), data.cols());
  }
}

/// Points of a cap that faces the origin, as a ball shows it.
MatrixXd Cap(const Eigen::Vector3d& center, double radius, double noise, int n, unsigned seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> uniform(-0.7, 0.7);
  std::normal_distribution<double> normal(0.0, 1.0);
  MatrixXd points(3, n);
  for (int i = 0; i < n; ++i) {
    Eigen::Vector3d d(uniform(random), uniform(random), 0.0);
    d.z() = -std::sqrt(1.0 - d.squaredNorm() / 1.0);
    points.col(i) = center + (radius + noise * normal(random)) * d.normalized();
  }
  return points;
}

TEST(SphereFitLS, FindsAnExactSphereAtAnyDistance) {
  for (const double distance : {0.0, 1.0, 10.0, 100.0, 1000.0}) {
    const Eigen::Vector3d center(0.3 * distance, -0.2 * distance, distance);
    const MatrixXd points = Cap(center, 0.0127, 0.0, 200, 1);
    PointXYZW found;
    double radius = 0.0;
    VectorXd residuals;
    ASSERT_TRUE(SphereFitLS(PointCloud(points), found, radius, residuals));
    // Coordinates are rounded at 1.1e-16 of their size, which a cap of this depth magnifies.
    const double bound = 100 * 1.2e-16 * std::max(distance, 0.0127);
    EXPECT_LT((found.xyz() - center).norm(), bound) << distance;
    EXPECT_NEAR(radius, 0.0127, bound) << distance;
    EXPECT_LT(residuals.cwiseAbs().maxCoeff(), bound);
  }
}

TEST(SphereFitLS, MovesWithItsPoints) {
  const MatrixXd points = Cap(Eigen::Vector3d(0, 0, 0.2), 0.0127, 1e-5, 150, 2);
  PointXYZW center, moved_center;
  double radius = 0.0, moved_radius = 0.0;
  VectorXd residuals, moved_residuals;
  ASSERT_TRUE(SphereFitLS(PointCloud(points), center, radius, residuals));
  const Eigen::AngleAxisd turn(1.1, Eigen::Vector3d(1, 2, 3).normalized());
  const Eigen::Vector3d shift(3.0, -4.0, 5.0);
  const MatrixXd moved = ((turn.toRotationMatrix() * points).colwise() + shift).eval();
  ASSERT_TRUE(SphereFitLS(PointCloud(moved), moved_center, moved_radius, moved_residuals));
  EXPECT_LT((turn * center.xyz() + shift - moved_center.xyz()).norm(), 1e-13);
  EXPECT_NEAR(radius, moved_radius, 1e-13);
  EXPECT_LT((residuals - moved_residuals).cwiseAbs().maxCoeff(), 1e-13);
}

TEST(SphereFitLS, ResidualsArePositiveOutside) {
  MatrixXd points(3, 7);
  points << 1, -1, 0, 0, 0, 0, 1.5, 0, 0, 1, -1, 0, 0, 0, 0, 0, 0, 0, 1, -1, 0;
  PointXYZW center;
  double radius = 0.0;
  VectorXd residuals;
  ASSERT_TRUE(SphereFitLS(PointCloud(points), center, radius, residuals));
  for (int i = 0; i < 7; ++i) {
    EXPECT_NEAR(residuals[i], (points.col(i) - center.xyz()).norm() - radius, 1e-15);
  }
  EXPECT_GT(residuals[6], 0.0);
}

TEST(SphereFitLS, TooFewPointsOrAWrongShape) {
  for (const auto& [rows, cols] : {std::pair{3, 3}, {3, 0}, {0, 0}, {4, 10}, {5, 10}, {2, 10}}) {
    PointXYZW center(7, 8, 9);
    double radius = 5.0;
    VectorXd residuals = VectorXd::Ones(2);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(SphereFitLS(PointCloud(MatrixXd::Random(rows, cols)), center, radius, residuals));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Insufficient point data to do a fit!\n");
    EXPECT_EQ(center, PointXYZW(7, 8, 9));
    EXPECT_EQ(radius, 5.0);
    EXPECT_EQ(residuals.size(), 2);
  }
}

TEST(SphereFitLS, FourPointsAreMetExactly) {
  MatrixXd points(3, 4);
  points << 1, 0, 0, -1, 0, 1, 0, 0, 0, 0, 1, 0;
  PointXYZW center;
  double radius = 0.0;
  VectorXd residuals;
  ASSERT_TRUE(SphereFitLS(PointCloud(points), center, radius, residuals));
  EXPECT_LT(center.xyz().norm(), 1e-15);
  EXPECT_NEAR(radius, 1.0, 1e-15);
}

TEST(SphereFitLS, PointsInAPlaneGiveTheSmallestSphereThroughTheirCircle) {
  MatrixXd points(3, 8);
  for (int i = 0; i < 8; ++i) {
    points.col(i) << 5 + 2 * std::cos(i * 0.7), 2 * std::sin(i * 0.7), 3.0;
  }
  PointXYZW center;
  double radius = 0.0;
  VectorXd residuals;
  ASSERT_TRUE(SphereFitLS(PointCloud(points), center, radius, residuals));
  EXPECT_LT((center.xyz() - Eigen::Vector3d(5, 0, 3)).norm(), 1e-13);
  EXPECT_NEAR(radius, 2.0, 1e-13);
}

TEST(SphereFitLS, PointsInOnePlaceGiveThatPlace) {
  const MatrixXd points = Eigen::Vector3d(1, 2, 3).replicate(1, 6);
  PointXYZW center;
  double radius = 1.0;
  VectorXd residuals;
  ASSERT_TRUE(SphereFitLS(PointCloud(points), center, radius, residuals));
  EXPECT_EQ(center, PointXYZW(1, 2, 3));
  EXPECT_EQ(radius, 0.0);
}

TEST(SphereFitLS, NotANumberStaysNotANumber) {
  MatrixXd points = Cap(Eigen::Vector3d(0, 0, 2), 0.01, 0.0, 20, 3);
  points(1, 4) = std::nan("");
  PointXYZW center;
  double radius = 0.0;
  VectorXd residuals;
  ASSERT_TRUE(SphereFitLS(PointCloud(points), center, radius, residuals));
  EXPECT_TRUE(std::isnan(radius));
}

TEST(SphereQuality, TenTimesLessErrorIsWorthTenDecibels) {
  SphereFit s;
  double coarse = 0.0, fine = 0.0, half = 0.0;
  const VectorXd residuals = VectorXd::Constant(100, 1e-4);
  EXPECT_TRUE(PROTECTED(s, CalculateSFQuality)(residuals, 100, coarse));
  EXPECT_TRUE(PROTECTED(s, CalculateSFQuality)(residuals / 10, 100, fine));
  EXPECT_TRUE(PROTECTED(s, CalculateSFQuality)(residuals, 200, half));
  // The root mean square of 0.1 mm over 100 points has a standard error of 10 um.
  EXPECT_NEAR(coarse, 40.0 + 50.0, 1e-12);
  EXPECT_NEAR(fine - coarse, 10.0, 1e-12);
  EXPECT_NEAR(half, coarse / 2, 1e-12);
}

TEST(SphereQuality, Logs) {
  SphereFit s;
  double quality = 0.0;
  const test::LogCollector collector;
  PROTECTED(s, CalculateSFQuality)(VectorXd::Constant(100, 1e-4), 100, quality);
  EXPECT_EQ(collector.Texts(),
            (std::vector<std::wstring>{L"CalculateSFQuality() entered",
                                       L"CalculateSFQuality() ended. dQuality: 90"}));
}

}  // namespace
}  // namespace libmfx::features
