#include "libmfx/math/alignment.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

namespace libmfx::math {
namespace {

using data_structures::PointXYZW;
using Eigen::Matrix3d;
using Eigen::Matrix4d;
using Eigen::Vector3d;

// A value of two vectors: nothing is told through a pointer to it, and a copy is a copy of both.
static_assert(!std::is_polymorphic_v<Alignment> && !std::has_virtual_destructor_v<Alignment>);
static_assert(std::is_copy_constructible_v<Alignment> && std::is_copy_assignable_v<Alignment>);

struct OpenAlignment : Alignment {
  void AddMeasuredOnly(const PointXYZW& p) { _measured.push_back(p); }
};

Matrix4d Solve(Alignment& alignment) {
  Matrix4d transform = Matrix4d::Constant(9.0);
  EXPECT_TRUE(alignment.MeasuredToNominalTransform(transform));
  return transform;
}

/// A rotation of any angle and a translation of up to `reach` metres.
Matrix4d RandomMotion(std::mt19937_64& engine, double reach) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Matrix4d motion = Matrix4d::Identity();
  Eigen::Quaterniond q(u(engine), u(engine), u(engine), u(engine));
  motion.topLeftCorner<3, 3>() = q.normalized().toRotationMatrix();
  motion.topRightCorner<3, 1>() = reach * Vector3d(u(engine), u(engine), u(engine));
  return motion;
}

Vector3d Apply(const Matrix4d& motion, const Vector3d& p) {
  return motion.topLeftCorner<3, 3>() * p + motion.topRightCorner<3, 1>();
}

void ExpectProperRotation(const Matrix4d& transform) {
  const Matrix3d r = transform.topLeftCorner<3, 3>();
  EXPECT_NEAR((r * r.transpose() - Matrix3d::Identity()).norm(), 0.0, 1e-13);
  EXPECT_NEAR(r.determinant(), 1.0, 1e-13);
  EXPECT_EQ(transform.row(3), Eigen::RowVector4d(0, 0, 0, 1));
}

TEST(Alignment, NoCorrespondencesGiveTheIdentityWhateverTheMatrixHeld) {
  Alignment alignment;
  EXPECT_EQ(Solve(alignment), Matrix4d::Identity());
}

TEST(Alignment, OnePairIsATranslation) {
  Alignment alignment;
  alignment.AddCorrespondence({1, 2, 3}, {11, 22, 33});
  Matrix4d expected = Matrix4d::Identity();
  expected.topRightCorner<3, 1>() = Vector3d(10, 20, 30);
  EXPECT_EQ(Solve(alignment), expected);
}

TEST(Alignment, ThreePairsOfAPureTranslation) {
  Alignment alignment;
  for (const Vector3d& p : {Vector3d(0, 0, 0), Vector3d(1, 0, 2), Vector3d(0, 3, 1)}) {
    alignment.AddCorrespondence(PointXYZW(p), PointXYZW(Vector3d(p + Vector3d(5, 6, 7))));
  }
  Matrix4d expected = Matrix4d::Identity();
  expected.topRightCorner<3, 1>() = Vector3d(5, 6, 7);
  EXPECT_NEAR((Solve(alignment) - expected).norm(), 0.0, 1e-14);
}

TEST(Alignment, AMirroredSetGivesARotation) {
  Alignment alignment;
  for (const Vector3d& p :
       {Vector3d(0, 0, 0), Vector3d(1, 0, 2), Vector3d(0, 3, 1), Vector3d(2, 1, -1)}) {
    alignment.AddCorrespondence(PointXYZW(p), PointXYZW(-p.x(), p.y(), p.z()));
  }
  ExpectProperRotation(Solve(alignment));
}

TEST(Alignment, ExtraMeasuredPointsShiftTheCentroidButNotTheRotation) {
  OpenAlignment alignment;
  const Matrix3d turn = Eigen::AngleAxisd(0.3, Vector3d::UnitZ()).toRotationMatrix();
  const Vector3d points[] = {{1, 1, 0}, {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0}};
  for (const Vector3d& p : points) {
    alignment.AddCorrespondence(PointXYZW(p), PointXYZW(Vector3d(turn * p)));
  }
  alignment.AddMeasuredOnly({0, 0, 10});
  const Matrix4d transform = Solve(alignment);
  // The nominal centroid is 0, so the sum over the pairs is that of the centred ones.
  EXPECT_NEAR((transform.topLeftCorner<3, 3>() - turn).norm(), 0.0, 1e-14);
  EXPECT_NEAR((transform.topRightCorner<3, 1>() - Vector3d(0, 0, -2)).norm(), 0.0, 1e-14);
}

TEST(Alignment, ResetForgetsAllPairs) {
  Alignment alignment;
  alignment.AddCorrespondence({1, 2, 3}, {11, 22, 33});
  alignment.Reset();
  EXPECT_EQ(Solve(alignment), Matrix4d::Identity());
}

TEST(Alignment, APointThatIsNotFiniteIsRefused) {
  for (const double bad :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    Alignment alignment;
    alignment.AddCorrespondence({1, bad, 3}, {11, 22, 33});
    alignment.AddCorrespondence({1, 2, 3}, {11, 22, 33});
    Matrix4d transform = Matrix4d::Constant(9.0);
    EXPECT_FALSE(alignment.MeasuredToNominalTransform(transform));
    EXPECT_EQ(transform, Matrix4d::Constant(9.0));
  }
}

TEST(Alignment, CoincidentPointsAreATranslation) {
  Alignment alignment;
  for (int i = 0; i < 4; ++i) alignment.AddCorrespondence({1, 2, 3}, {2, 2, 2});
  const Matrix4d transform = Solve(alignment);
  EXPECT_EQ((transform.topLeftCorner<3, 3>()), Matrix3d::Identity());
}

/// Two pairs, or several along one line, with the angle between the lines.
void ExpectSmallestTurn(const Vector3d& from, const Vector3d& to, int pairs) {
  Alignment alignment;
  for (int i = 0; i < pairs; ++i) {
    const double t = i * i - 1.0;
    alignment.AddCorrespondence(PointXYZW(Vector3d(Vector3d(1, 2, 3) + t * from)),
                                PointXYZW(Vector3d(Vector3d(-4, 0, 2) + t * to)));
  }
  const Matrix4d transform = Solve(alignment);
  ExpectProperRotation(transform);
  const Matrix3d r = transform.topLeftCorner<3, 3>();
  EXPECT_NEAR((r * from - to).norm(), 0.0, 1e-13);
  const double angle = std::atan2(from.cross(to).norm(), from.dot(to));
  EXPECT_NEAR(Eigen::AngleAxisd(r).angle(), angle, 2e-8);
  EXPECT_EQ(Solve(alignment), transform);
}

TEST(Alignment, TwoPairsAndCollinearOnesTakeTheSmallestRotation) {
  const Vector3d from = Vector3d(1, 2, -2) / 3.0;
  for (const int pairs : {2, 5}) {
    for (const double angle : {0.0, 1e-9, 1e-3, 1.0, 2.0, 3.1, std::numbers::pi - 1e-3,
                               std::numbers::pi - 1e-7, std::numbers::pi - 1e-12}) {
      const Vector3d to = Eigen::AngleAxisd(angle, from.unitOrthogonal()) * from;
      ExpectSmallestTurn(from, to, pairs);
    }
    ExpectSmallestTurn(from, -from, pairs);
    ExpectSmallestTurn(Vector3d::UnitX(), -Vector3d::UnitX(), pairs);
  }
}

TEST(AlignmentProperty, RecoversRandomRigidMotions) {
  rc::check("a random motion of random points comes back to 1e-12", [](std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    const Matrix4d motion = RandomMotion(engine, 1.0);
    Alignment alignment;
    // Four corners that cannot lie near one line, and some more points.
    std::vector<Vector3d> points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (int i = *rc::gen::inRange(0, 20); i > 0; --i) {
      points.emplace_back(u(engine), u(engine), u(engine));
    }
    for (const Vector3d& p : points) {
      alignment.AddCorrespondence(PointXYZW(p), PointXYZW(Apply(motion, p)));
    }
    RC_ASSERT((Solve(alignment) - motion).cwiseAbs().maxCoeff() < 1e-12);
  });
}

TEST(AlignmentProperty, RecoversCoplanarMotionsWithoutReflection) {
  rc::check("flat sets leave the third axis to the determinant", [](std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    const Matrix4d motion = RandomMotion(engine, 1.0);
    Alignment alignment;
    for (const Vector3d& p : {Vector3d(0, 0, 0), Vector3d(1, 0, 0), Vector3d(0, 2, 0)}) {
      alignment.AddCorrespondence(PointXYZW(p), PointXYZW(Apply(motion, p)));
    }
    RC_ASSERT((Solve(alignment) - motion).cwiseAbs().maxCoeff() < 1e-12);
  });
}

TEST(AlignmentProperty, NeverReflects) {
  rc::check("any pairing gives a proper rotation", [](std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    Alignment alignment;
    for (int i = *rc::gen::inRange(1, 12); i > 0; --i) {
      alignment.AddCorrespondence({u(engine), u(engine), u(engine)},
                                  {u(engine), u(engine), u(engine)});
    }
    const Matrix3d r = Solve(alignment).topLeftCorner<3, 3>();
    RC_ASSERT((r * r.transpose() - Matrix3d::Identity()).norm() < 1e-13);
    RC_ASSERT(std::abs(r.determinant() - 1.0) < 1e-13);
  });
}

}  // namespace
}  // namespace libmfx::math
