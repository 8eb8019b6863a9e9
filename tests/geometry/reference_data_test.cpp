// Fits against certified and published results; the sources stand in tests/data/README.md.

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <functional>

#include "csv.h"
#include "libmfx/geometry/circle.h"
#include "libmfx/geometry/line.h"
#include "libmfx/geometry/plane.h"
#include "libmfx/geometry/polynomial_2d.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using Eigen::Vector3d;
using tests::CsvTable;

constexpr double kLengthDemand = 1e-9;  // mm, the unit of the tables
constexpr double kAngleDemand = 1e-10;  // rad

/// x and y of a regression set, y times `factor`.
PointCloud Regression(const std::string& name, double factor = 1.0) {
  const CsvTable table("strd/" + name + ".csv");
  Eigen::MatrixXd data(2, static_cast<Eigen::Index>(table.rows()));
  for (std::size_t i = 0; i < table.rows(); ++i) {
    data(0, static_cast<Eigen::Index>(i)) = table.Number(i, "x");
    data(1, static_cast<Eigen::Index>(i)) = table.Number(i, "y") * factor;
  }
  return PointCloud(data);
}

double Certified(const std::string& name, int power) {
  const CsvTable table("strd/certified.csv");
  for (std::size_t i = 0; i < table.rows(); ++i) {
    if (table.Text(i, "case") == name && table.Number(i, "power") == power) {
      return table.Number(i, "beta");
    }
  }
  throw std::runtime_error("no certified value");
}

void ExpectDigits(double value, double certified, double relative) {
  EXPECT_LE(std::abs(value - certified), relative * std::abs(certified))
      << value << " is not " << certified;
}

PointCloud Points(const CsvTable& table, const std::string& name) {
  std::vector<Vector3d> points;
  for (std::size_t i = 0; i < table.rows(); ++i) {
    if (table.Text(i, "case") != name) continue;
    points.emplace_back(table.Number(i, "x"), table.Number(i, "y"), table.Number(i, "z"));
  }
  Eigen::MatrixXd data(3, static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    data.col(static_cast<Eigen::Index>(i)) = points[i];
  return PointCloud(data);
}

/// The columns `prefix`x, `prefix`y and `prefix`z.
Vector3d Triple(const CsvTable& table, std::size_t row, const std::string& prefix) {
  return {table.Number(row, prefix + "x"), table.Number(row, prefix + "y"),
          table.Number(row, prefix + "z")};
}

/// Angle of two axes, whatever their signs.
double AxisAngle(const Vector3d& a, const Vector3d& b) {
  return std::atan2(a.cross(b).norm(), std::abs(a.dot(b)));
}

TEST(StrdReference, NorrisLine) {
  Line line;
  ASSERT_TRUE(line.LinearRegression2D(Regression("norris"), false));
  ExpectDigits(line.Point().y(), Certified("norris", 0), 1e-11);
  ExpectDigits(line.Vector().y() / line.Vector().x(), Certified("norris", 1), 1e-11);
}

TEST(StrdReference, LineThroughTheOrigin) {
  Line line;
  ASSERT_TRUE(line.LinearRegression2D(Regression("noint1"), true));
  EXPECT_EQ(line.Point().y(), 0.0);
  ExpectDigits(line.Vector().y() / line.Vector().x(), Certified("noint1", 1), 1e-13);
}

TEST(StrdReference, PontiusQuadratic) {
  Polynomial2D polynomial;
  polynomial.Order(2);
  ASSERT_TRUE(polynomial.LeastSquares(Regression("pontius")));
  for (int k = 0; k <= 2; ++k) {
    ExpectDigits(polynomial.Coefficients()[k], Certified("pontius", k), 1e-9);
  }
}

TEST(StrdReference, WamplerFifthOrder) {
  // The scale takes y in, and y reaches 4 million where x reaches 20: unscaled, the powers of x
  // would vanish beside it. A power of two changes no digit of the data.
  constexpr double kFactor = 1.0 / 4194304.0;
  Polynomial2D polynomial;
  polynomial.Order(5);
  ASSERT_TRUE(polynomial.LeastSquares(Regression("wampler1", kFactor)));
  for (int k = 0; k <= 5; ++k) {
    ExpectDigits(polynomial.Coefficients()[k] / kFactor, Certified("wampler1", k), 1e-5);
  }
}

/// Fits a T to the points of every case of a shape, and hands it over with the case's row.
template <typename T>
void FitCases(const std::string& shape, std::size_t cases,
              const std::function<void(const T&, const CsvTable&, std::size_t)>& compare) {
  const CsvTable points("geometry/" + shape + "_points.csv");
  const CsvTable reference("geometry/" + shape + "_reference.csv");
  ASSERT_EQ(reference.rows(), cases);
  for (std::size_t i = 0; i < cases; ++i) {
    SCOPED_TRACE(reference.Text(i, "case"));
    const PointCloud cloud = Points(points, reference.Text(i, "case"));
    ASSERT_EQ(cloud.cols(), reference.Number(i, "n_points"));
    T fitted;
    ASSERT_TRUE(fitted.LeastSquares(cloud));
    compare(fitted, reference, i);
  }
}

data_structures::PointXYZW PointOf(const CsvTable& reference, std::size_t i) {
  return data_structures::PointXYZW(Triple(reference, i, "p"));
}

TEST(NistReference, Planes) {
  FitCases<Plane>("plane", 10, [](const Plane& plane, const CsvTable& reference, std::size_t i) {
    EXPECT_NEAR(plane.SignedDistanceTo(PointOf(reference, i)), 0.0, kLengthDemand);
    EXPECT_LT(AxisAngle(plane.Normal().xyz(), Triple(reference, i, "n")), kAngleDemand);
  });
}

TEST(NistReference, Lines) {
  FitCases<Line>("line3d", 1, [](const Line& line, const CsvTable& reference, std::size_t i) {
    EXPECT_NEAR(line.Distance(PointOf(reference, i)), 0.0, kLengthDemand);
    EXPECT_LT(AxisAngle(line.Vector().xyz(), Triple(reference, i, "d")), kAngleDemand);
  });
}

TEST(NistReference, CirclesInAPlane) {
  FitCases<Circle>(
      "circle2d", 10, [](const Circle& circle, const CsvTable& reference, std::size_t i) {
        const Vector3d center = Triple(reference, i, "c");
        EXPECT_NEAR((circle.Center().xyz() - center).norm(), 0.0, kLengthDemand);
        EXPECT_NEAR(2 * circle.Radius(), reference.Number(i, "diameter"), kLengthDemand);
        EXPECT_LT(AxisAngle(circle.Normal().xyz(), Triple(reference, i, "n")), kAngleDemand);
      });
}

TEST(PublishedReference, GeometricCircleOfSixPoints) {
  const CsvTable points("circle/six_points.csv");
  ASSERT_EQ(points.rows(), 6u);
  Eigen::MatrixXd data = Eigen::MatrixXd::Zero(3, 6);
  for (std::size_t i = 0; i < 6; ++i) {
    data(0, static_cast<Eigen::Index>(i)) = points.Number(i, "x");
    data(1, static_cast<Eigen::Index>(i)) = points.Number(i, "y");
  }
  Circle circle;
  ASSERT_TRUE(circle.LeastSquares(PointCloud(data)));
  EXPECT_NEAR(circle.Center().x(), 4.739782, 1e-6);
  EXPECT_NEAR(circle.Center().y(), 2.983533, 1e-6);
  EXPECT_NEAR(circle.Radius(), 4.714226, 1e-6);
}

}  // namespace
}  // namespace libmfx::geometry
