// Cylinder fits against published least-squares results; the source stands in
// tests/data/geometry/README.md.

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "csv.h"
#include "cylinder_points.h"

namespace libmfx::geometry {
namespace {

using Eigen::Vector3d;
using test::AxisAngle;
using test::DistanceFromAxis;
using tests::CsvTable;

constexpr double kLengthDemand = 1e-9;  // mm, the unit of the tables
constexpr double kAngleDemand = 1e-10;  // rad
constexpr double kDegree = std::numbers::pi / 180.0;

struct Pair {
  std::string name;
  std::vector<Vector3d> points;
  Vector3d point, axis;
  double diameter = 0.0;

  double Height(const Vector3d& p) const { return (p - point).dot(axis); }
  Vector3d Middle() const {
    double low = std::numeric_limits<double>::max(), high = -low;
    for (const Vector3d& p : points) {
      low = std::min(low, Height(p));
      high = std::max(high, Height(p));
    }
    return point + 0.5 * (low + high) * axis;
  }
  double Size() const {
    double size = 0.0;
    for (const Vector3d& p : points) size = std::max(size, (p - Middle()).norm());
    return size;
  }
};

std::vector<Pair> Pairs() {
  const CsvTable table("geometry/cylinder_points.csv");
  const CsvTable reference("geometry/cylinder_reference.csv");
  std::vector<Pair> pairs;
  for (std::size_t i = 0; i < reference.rows(); ++i) {
    const auto triple = [&](const CsvTable& t, std::size_t row, const std::string& prefix) {
      return Vector3d(t.Number(row, prefix + "x"), t.Number(row, prefix + "y"),
                      t.Number(row, prefix + "z"));
    };
    Pair pair;
    pair.name = reference.Text(i, "case");
    pair.point = triple(reference, i, "p");
    pair.axis = triple(reference, i, "a").normalized();
    pair.diameter = reference.Number(i, "diameter");
    for (std::size_t k = 0; k < table.rows(); ++k)
      if (table.Text(k, "case") == pair.name) pair.points.push_back(triple(table, k, ""));
    EXPECT_EQ(pair.points.size(), reference.Number(i, "n_points"));
    pairs.push_back(std::move(pair));
  }
  return pairs;
}

/// The fit from a start whose axis is turned by `tilt` about the middle of the points and moved by
/// `off`, and whose radius is off by `off`, in radii.
ThreadedCylinderFitter::Cylinder FitFrom(const Pair& pair, double tilt, double off, int side) {
  const Vector3d aside = Eigen::AngleAxisd(2.0 * side, pair.axis) * pair.axis.unitOrthogonal();
  const double radius = 0.5 * pair.diameter;
  ThreadedCylinderFitter::Cylinder nominal;
  nominal.point = pair.Middle() + off * radius * aside;
  nominal.axis = Eigen::AngleAxisd(tilt, aside) * pair.axis;
  nominal.radius = radius * (side % 2 == 0 ? 1.0 + off : 1.0 - off);
  const double half = 2.0 * pair.Size();
  return ThreadedCylinderFitter::Fit(pair.points, nominal, -half, half, 0.9 * radius + half * tilt,
                                     0.1 * radius, 0.02, 0.05, false, false, nullptr);
}

TEST(NistReference, CylindersFromAStartOffByTwoPercentAndTwoDegrees) {
  const std::vector<Pair> pairs = Pairs();
  ASSERT_EQ(pairs.size(), 10u);
  int fitted_pairs = 0;
  for (const Pair& pair : pairs) {
    if (pair.points.size() <= 9) {  // three of the pairs are too small to be fitted here
      EXPECT_THROW(FitFrom(pair, 0.0, 0.0, 0), std::runtime_error) << pair.name;
      continue;
    }
    ++fitted_pairs;
    for (int side = 0; side < 4; ++side) {
      SCOPED_TRACE(pair.name + " from side " + std::to_string(side));
      const auto fitted = FitFrom(pair, 2.0 * kDegree, 0.02, side);
      EXPECT_EQ(fitted.inliers, static_cast<int>(pair.points.size()));
      EXPECT_LT(DistanceFromAxis(pair.Middle(), fitted.point, fitted.axis), kLengthDemand);
      EXPECT_LT(AxisAngle(fitted.axis, pair.axis), kAngleDemand);
      EXPECT_NEAR(2.0 * fitted.radius, pair.diameter, kLengthDemand);
    }
  }
  EXPECT_EQ(fitted_pairs, 7);
}

}  // namespace
}  // namespace libmfx::geometry
