// What every fit owes to its user whatever the data: rigid motion commutes with it, the order of
// points does not matter, exact data has no residual, and distance from the origin costs nothing
// beyond the rounding of the coordinates themselves.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "libmfx/geometry/circle.h"
#include "libmfx/geometry/line.h"
#include "libmfx/geometry/plane.h"
#include "outlier_scene.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using Eigen::Index;
using Eigen::Matrix3d;
using Eigen::Matrix3Xd;
using Eigen::Vector3d;
using math::AccStats;
using tests::Draws;

struct Motion {
  Matrix3d rotation;
  Vector3d translation;

  Motion(Draws& draws, double reach) {
    rotation = draws.Rotation();
    translation = reach * draws.InCube();
  }
  Vector3d operator()(const Vector3d& p) const { return rotation * p + translation; }
  PointCloud operator()(const PointCloud& cloud) const {
    return PointCloud((rotation * cloud.data()).colwise() + translation);
  }
};

double AxisAngle(const Vector3d& a, const Vector3d& b) {
  return std::atan2(a.cross(b).norm(), std::abs(a.dot(b)));
}

/// Points of a box with sides of 1, 0.5 and 0.1 m, so that all three axes are well apart.
PointCloud Brick(Draws& draws, Index n) {
  Matrix3Xd data(3, n);
  for (Index i = 0; i < n; ++i) {
    data.col(i) = draws.InCube().cwiseProduct(Vector3d(0.5, 0.25, 0.05));
  }
  return PointCloud(data);
}

Eigen::VectorXd Weights(Draws& draws, Index n) {
  Eigen::VectorXd weights(n);
  for (double& w : weights) w = draws.Within(0.1, 1.0);
  return weights;
}

/// A noisy arc of at least 2 rad around the origin, radius 1, about z.
PointCloud Arc(Draws& draws, Index n, double noise) {
  const double arc = draws.Within(2.0, 6.0);
  Matrix3Xd data(3, n);
  for (Index i = 0; i < n; ++i) {
    const double angle = arc * static_cast<double>(i) / static_cast<double>(n);
    const double r = 1.0 + noise * draws.Normal();
    data.col(i) = Vector3d(r * std::cos(angle), r * std::sin(angle), noise * draws.Normal());
  }
  return PointCloud(data);
}

PointCloud Shuffled(const PointCloud& cloud, Draws& draws, std::vector<Index>& order) {
  order.resize(static_cast<std::size_t>(cloud.cols()));
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<Index>(i);
  for (std::size_t i = order.size() - 1; i > 0; --i) {
    std::swap(order[i], order[static_cast<std::size_t>(draws.Uniform() * double(i + 1))]);
  }
  return PointCloud(cloud.data()(Eigen::all, order));
}

TEST(FitProperty, RigidMotionCommutesWithPlanes) {
  rc::check([](std::uint64_t seed, bool weighted) {
    Draws draws(seed);
    const PointCloud cloud = Brick(draws, 30);
    const Eigen::VectorXd weights = weighted ? Weights(draws, 30) : Eigen::VectorXd();
    const Motion motion(draws, 1.0);
    Plane before, after;
    AccStats stats_before, stats_after;
    RC_ASSERT(before.LeastSquares(cloud, weights, stats_before));
    RC_ASSERT(after.LeastSquares(motion(cloud), weights, stats_after));
    RC_ASSERT((motion(before.Point().xyz()) - after.Point().xyz()).norm() < 1e-14);
    RC_ASSERT(AxisAngle(motion.rotation * before.Normal().xyz(), after.Normal().xyz()) < 1e-12);
    RC_ASSERT(AxisAngle(motion.rotation * before.Tangent().xyz(), after.Tangent().xyz()) < 1e-12);
    RC_ASSERT(std::abs(stats_before.sum - stats_after.sum) < 1e-12);
  });
}

TEST(FitProperty, RigidMotionCommutesWithLines) {
  rc::check([](std::uint64_t seed, bool weighted) {
    Draws draws(seed);
    const Index n = 2 + static_cast<Index>(draws.Uniform() * 20);
    const PointCloud cloud = Brick(draws, n);
    const Eigen::VectorXd weights = weighted ? Weights(draws, n) : Eigen::VectorXd();
    const Motion motion(draws, 1.0);
    Line before, after;
    RC_ASSERT(before.LeastSquares(cloud, weights));
    RC_ASSERT(after.LeastSquares(motion(cloud), weights));
    RC_ASSERT((motion(before.Point().xyz()) - after.Point().xyz()).norm() < 1e-14);
    // Few points can have two axes of nearly equal scatter, of which either may win.
    if (n == 2 || n >= 10) {
      RC_ASSERT(AxisAngle(motion.rotation * before.Vector().xyz(), after.Vector().xyz()) < 1e-11);
    }
    const PointXYZW p(draws.InCube());
    const PointXYZW moved(motion(p.xyz()));
    if (n == 2) RC_ASSERT(std::abs(before.Distance(p) - after.Distance(moved)) < 1e-14);
  });
}

TEST(FitProperty, RigidMotionCommutesWithCircles) {
  rc::check([](std::uint64_t seed, bool fixed) {
    Draws draws(seed);
    const PointCloud cloud = Arc(draws, 40, 1e-3);
    const Motion motion(draws, 1.0);
    Circle before, after;
    if (fixed) {
      RC_ASSERT(before.LeastSquaresFixedRadius(cloud, 1.01));
      RC_ASSERT(after.LeastSquaresFixedRadius(motion(cloud), 1.01));
    } else {
      RC_ASSERT(before.LeastSquares(cloud));
      RC_ASSERT(after.LeastSquares(motion(cloud)));
    }
    // Both stop at a step of 1e-10, some tenths of it short of the end.
    RC_ASSERT((motion(before.Center().xyz()) - after.Center().xyz()).norm() < 1e-10);
    RC_ASSERT(std::abs(before.Radius() - after.Radius()) < 1e-10);
    RC_ASSERT(AxisAngle(motion.rotation * before.Normal().xyz(), after.Normal().xyz()) < 1e-12);
  });
}

TEST(FitProperty, TheOrderOfPointsDoesNotMatter) {
  rc::check([](std::uint64_t seed) {
    Draws draws(seed);
    std::vector<Index> order;
    const PointCloud brick = Brick(draws, 50);
    const Eigen::VectorXd weights = Weights(draws, 50);
    const PointCloud mixed = Shuffled(brick, draws, order);
    const Eigen::VectorXd mixed_weights = weights(order);
    Plane a, b;
    RC_ASSERT(a.LeastSquares(brick, weights) && b.LeastSquares(mixed, mixed_weights));
    RC_ASSERT((a.Point() - b.Point()).norm() < 1e-15);
    RC_ASSERT(AxisAngle(a.Normal().xyz(), b.Normal().xyz()) < 1e-13);
    Line c, d;
    RC_ASSERT(c.LeastSquares(brick) && d.LeastSquares(mixed));
    RC_ASSERT(AxisAngle(c.Vector().xyz(), d.Vector().xyz()) < 1e-13);
    const PointCloud arc = Arc(draws, 50, 1e-3);
    Circle e, f;
    RC_ASSERT(e.LeastSquares(arc) && f.LeastSquares(Shuffled(arc, draws, order)));
    RC_ASSERT((e.Center() - f.Center()).norm() < 1e-12);
    RC_ASSERT(std::abs(e.Radius() - f.Radius()) < 1e-12);
  });
}

TEST(FitProperty, APlaneThroughExactPointsHasNoResidual) {
  rc::check([](std::uint64_t seed) {
    Draws draws(seed);
    PointCloud flat = Brick(draws, 25);
    flat.data().row(2).setZero();
    const Motion motion(draws, 1.0);
    Plane plane;
    AccStats stats;
    RC_ASSERT(plane.LeastSquares(motion(flat), stats));
    RC_ASSERT(stats.max < 1e-15 * 4);  // a few roundings of coordinates below 2 m
  });
}

/// The roundings of a coordinate at 100 m: half of the spacing of doubles there, 2^-46 m.
constexpr double kRounding = 0x1p-47;
constexpr double kPatch = 1e-3;

/// Offsets with the same fraction in all of them, so that the patches are truly the same.
const double kOffsets[] = {0.0, 10.0, 100.0};

/// 1 mm patch with 1 µm of noise at right angles to it, tilted.
Matrix3Xd NoisyPatch(std::uint64_t seed, double length, double width) {
  Draws draws(seed);
  const Matrix3d tilt = Eigen::AngleAxisd(0.7, Vector3d(1, 2, 3).normalized()).toRotationMatrix();
  Matrix3Xd data(3, 200);
  for (Index i = 0; i < 200; ++i) {
    data.col(i) = tilt * Vector3d(draws.Within(-length, length) / 2,
                                  draws.Within(-width, width) / 2, 1e-6 * draws.Normal());
  }
  return data;
}

/// Largest difference of the distances of the same points to the same shape, before and after.
template <typename Shape>
double LargestChange(const Shape& before, const PointCloud& points, const Shape& after,
                     const PointCloud& moved) {
  double largest = 0.0;
  for (Index i = 0; i < points.cols(); ++i) {
    largest = std::max(largest,
                       std::abs(before.Distance(points.point(i)) - after.Distance(moved.point(i))));
  }
  return largest;
}

TEST(FarFromTheOrigin, APatchHasTheSamePlane) {
  // Moving the points rounds each coordinate by up to kRounding; over the arm of the patch's
  // standard deviation that tilts the normal by no more than sqrt(3) kRounding / (kPatch /
  // sqrt(12)).
  const double angle_bound = 6.0 * kRounding / kPatch;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const Matrix3Xd patch = NoisyPatch(seed, kPatch, kPatch);
    Plane at_origin;
    AccStats stats;
    ASSERT_TRUE(at_origin.LeastSquares(PointCloud(patch), stats));
    EXPECT_LT(AxisAngle(at_origin.Normal().xyz(),
                        Eigen::AngleAxisd(0.7, Vector3d(1, 2, 3).normalized()) * Vector3d::UnitZ()),
              1e-3);
    for (const double offset : kOffsets) {
      const PointCloud moved(patch.colwise() + Vector3d(offset, -offset, offset));
      Plane plane;
      AccStats moved_stats;
      ASSERT_TRUE(plane.LeastSquares(moved, moved_stats));
      EXPECT_LE(AxisAngle(plane.Normal().xyz(), at_origin.Normal().xyz()), angle_bound);
      EXPECT_LE(LargestChange(at_origin, PointCloud(patch), plane, moved), 8.0 * kRounding);
      EXPECT_NEAR(moved_stats.max, stats.max, 8.0 * kRounding);
    }
  }
}

TEST(FarFromTheOrigin, AStripHasTheSameLine) {
  const double angle_bound = 6.0 * kRounding / kPatch;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const Matrix3Xd strip = NoisyPatch(seed, kPatch, 2e-6);
    Line at_origin;
    ASSERT_TRUE(at_origin.LeastSquares(PointCloud(strip)));
    for (const double offset : kOffsets) {
      const PointCloud moved(strip.colwise() + Vector3d(offset, -offset, offset));
      Line line;
      ASSERT_TRUE(line.LeastSquares(moved));
      EXPECT_LE(AxisAngle(line.Vector().xyz(), at_origin.Vector().xyz()), angle_bound);
      EXPECT_LE(LargestChange(at_origin, PointCloud(strip), line, moved), 8.0 * kRounding);
    }
  }
}

TEST(FarFromTheOrigin, ARegressionHasTheSameSlope) {
  const Matrix3Xd strip = NoisyPatch(3, kPatch, 2e-6);
  Line at_origin;
  ASSERT_TRUE(at_origin.LinearRegression2D(PointCloud(strip), false));
  for (const double offset : kOffsets) {
    Line line;
    ASSERT_TRUE(line.LinearRegression2D(
        PointCloud(strip.colwise() + Vector3d(offset, -offset, offset)), false));
    EXPECT_LE(AxisAngle(line.Vector().xyz(), at_origin.Vector().xyz()), 6.0 * kRounding / kPatch);
  }
}

TEST(FarFromTheOrigin, ASmallHoleHasTheSameCircle) {
  // Steps end at 1e-10 m; on points this close to their circle the last step is far shorter.
  Draws draws(5);
  const Matrix3Xd hole = 0.5 * kPatch * Arc(draws, 60, 1e-3).data();
  Circle at_origin;
  ASSERT_TRUE(at_origin.LeastSquares(PointCloud(hole)));
  EXPECT_NEAR(at_origin.Radius(), 0.5 * kPatch, 1e-6);
  for (const double offset : kOffsets) {
    const Vector3d shift(offset, -offset, offset);
    Circle circle;
    ASSERT_TRUE(circle.LeastSquares(PointCloud(hole.colwise() + shift)));
    EXPECT_NEAR((circle.Center().xyz() - shift - at_origin.Center().xyz()).norm(), 0.0, 1e-12);
    EXPECT_NEAR(circle.Radius(), at_origin.Radius(), 1e-12);
  }
}

TEST(FarFromTheOrigin, AMillionColumnsKeepTheirDigits) {
  // A naive running sum of a million coordinates near 100 m would be off by some 1e-9 m.
  Eigen::MatrixXd data(3, 1000000);
  Draws draws(11);
  for (Index i = 0; i < data.cols(); ++i) {
    data.col(i) = Vector3d(100 + draws.Within(-1, 1), 100 + draws.Within(-1, 1), 100.1);
  }
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(PointCloud(data)));
  EXPECT_NEAR(plane.Point().z(), 100.1, 64 * kRounding);
  EXPECT_NEAR(std::abs(plane.Normal().z()), 1.0, 1e-15);
}

}  // namespace
}  // namespace libmfx::geometry
