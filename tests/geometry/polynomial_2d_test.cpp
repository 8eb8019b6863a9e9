#include "libmfx/geometry/polynomial_2d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;

/// Rows x, y and a third that must not matter.
PointCloud Profile(const Eigen::VectorXd& x, const Eigen::VectorXd& y) {
  Eigen::MatrixXd data = Eigen::MatrixXd::Constant(3, x.size(), 1e9);
  data.row(0) = x;
  data.row(1) = y;
  return PointCloud(data);
}

TEST(Polynomial2D, TheDefaultIsAShortZero) {
  const Polynomial2D polynomial;
  EXPECT_EQ(polynomial.Order(), 1);
  EXPECT_EQ(polynomial.Coefficients(), Eigen::VectorXd::Zero(1));
}

TEST(Polynomial2D, BeforeAFitMissingCoefficientsCountAsZero) {
  Polynomial2D polynomial;
  EXPECT_EQ(polynomial.Evaluate(3.0), 0.0);
  polynomial.Order(7);
  EXPECT_EQ(polynomial.Coefficients(), Eigen::VectorXd::Zero(7));
  EXPECT_EQ(polynomial.Evaluate(3.0), 0.0);
}

TEST(Polynomial2D, OneColumnOrOneRowCannotBeFitted) {
  Polynomial2D polynomial;
  polynomial.Order(2);
  EXPECT_FALSE(polynomial.LeastSquares(PointCloud(Eigen::MatrixXd::Ones(3, 1))));
  EXPECT_FALSE(polynomial.LeastSquares(PointCloud(Eigen::MatrixXd::Ones(1, 9))));
  EXPECT_EQ(polynomial.Coefficients(), Eigen::VectorXd::Zero(2));
}

TEST(Polynomial2D, AStraightLineAtAnyScale) {
  for (const double scale : {1e-6, 1e-3, 1.0, 1e3, 1e6}) {
    const Eigen::VectorXd x = Eigen::VectorXd::LinSpaced(11, -1, 4) * scale;
    Polynomial2D polynomial;
    ASSERT_TRUE(polynomial.LeastSquares(Profile(x, (2.0 * scale + 3.0 * x.array()).matrix())));
    ASSERT_EQ(polynomial.Coefficients().size(), 2);
    EXPECT_NEAR(polynomial.Coefficients()[0] / scale, 2.0, 1e-13);
    EXPECT_NEAR(polynomial.Coefficients()[1], 3.0, 1e-13);
  }
}

TEST(Polynomial2D, OrderSevenOnEightPointsInterpolates) {
  const Eigen::VectorXd x = Eigen::VectorXd::LinSpaced(8, -1, 1);
  Eigen::VectorXd y(8);
  y << 0.3, -0.1, 0.25, 0.4, -0.2, 0.1, 0.05, -0.3;
  Polynomial2D polynomial;
  polynomial.Order(7);
  ASSERT_TRUE(polynomial.LeastSquares(Profile(x, y)));
  for (int i = 0; i < 8; ++i) EXPECT_NEAR(polynomial.Evaluate(x[i]), y[i], 1e-9);
}

TEST(Polynomial2D, OrderSevenOnThreePointsTakesTheLeastNorm) {
  const Eigen::Vector3d x(-1, 0.5, 1);
  const Eigen::Vector3d y(0.2, 0.1, 0.3);
  Polynomial2D polynomial;
  polynomial.Order(7);
  ASSERT_TRUE(polynomial.LeastSquares(Profile(x, y)));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(polynomial.Evaluate(x[i]), y[i], 1e-9);
  // Least norm in the scaled coordinates: V^T (V V^T)^-1 y with the rows of V the powers.
  const double scale = std::hypot(1.0, 0.3);
  Eigen::MatrixXd v(3, 8);
  for (int i = 0; i < 3; ++i) {
    for (int k = 0; k < 8; ++k) v(i, k) = std::pow(x[i] / scale, k);
  }
  Eigen::VectorXd expected = v.transpose() * (v * v.transpose()).inverse() * (y / scale).eval();
  for (int k = 0; k < 8; ++k) expected[k] *= std::pow(scale, 1 - k);
  EXPECT_NEAR((polynomial.Coefficients() - expected).norm(), 0.0, 1e-9);
}

TEST(Polynomial2D, ACloudOfZerosHasZeroCoefficients) {
  for (const int order : {0, 1, 7}) {
    Polynomial2D polynomial;
    polynomial.Order(order);
    ASSERT_TRUE(polynomial.LeastSquares(PointCloud(Eigen::MatrixXd::Zero(2, 5))));
    EXPECT_EQ(polynomial.Coefficients(), Eigen::VectorXd::Zero(order + 1));
  }
}

TEST(Polynomial2D, AtZeroTheValueIsTheFirstCoefficient) {
  Polynomial2D polynomial;
  polynomial.Order(3);
  const Eigen::VectorXd x = Eigen::VectorXd::LinSpaced(9, -1, 2);
  ASSERT_TRUE(polynomial.LeastSquares(Profile(x, (0.5 - 0.1 * x.array().cube()).matrix())));
  EXPECT_EQ(polynomial.Evaluate(0.0), polynomial.Coefficients()[0]);
  EXPECT_NEAR(polynomial.Evaluate(2.0), -0.3, 1e-12);
}

TEST(Polynomial2D, ANegativeOrderIsZeroAndHasNoFit) {
  Polynomial2D polynomial;
  polynomial.Order(-2);
  EXPECT_EQ(polynomial.Coefficients().size(), 0);
  EXPECT_EQ(polynomial.Evaluate(2.0), 0.0);
  EXPECT_FALSE(polynomial.LeastSquares(PointCloud(Eigen::MatrixXd::Ones(2, 5))));
}

TEST(Polynomial2D, PointsThatAreNotFiniteAreRefused) {
  for (const double bad :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    Eigen::MatrixXd data = Eigen::MatrixXd::Random(3, 6);
    data(0, 3) = bad;
    EXPECT_FALSE(Polynomial2D().LeastSquares(PointCloud(data)));
  }
}

}  // namespace
}  // namespace libmfx::geometry
