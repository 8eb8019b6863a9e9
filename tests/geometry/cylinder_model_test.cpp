// The residuals of smooth and threaded walls and their derivatives.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <Eigen/Geometry>

#include <cmath>
#include <numbers>

#include "geometry/cylinder/model.h"
#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kStep = 1e-6;

double Draw(double low, double high) {
  return low + (high - low) * 1e-6 * *rc::gen::inRange(0, 1000001);
}

Model DrawModel() {
  Model model;
  model.offset = {Draw(-0.3, 0.3), Draw(-0.3, 0.3)};
  model.direction = {Draw(-0.3, 0.3), Draw(-0.3, 0.3), Draw(0.5, 2.0)};
  model.radius = Draw(0.5, 1.5);
  model.reference_height = Draw(-1.0, 3.0);
  return model;
}

Eigen::Vector3d DrawPoint() {
  const double turn = Draw(0.0, 2.0 * std::numbers::pi), distance = Draw(0.6, 1.8);
  return {distance * std::cos(turn), distance * std::sin(turn), Draw(-2.0, 5.0)};
}

double ResidualAt(const Model& model, const Eigen::Vector3d& p) {
  return EvaluateRow<double>(p.x(), p.y(), p.z(), model).residual;
}

/// Central difference of f(model) by one double of the model.
template <typename M, typename F>
double Difference(M& model, double& parameter, F f) {
  const double at = parameter;
  parameter = at + kStep;
  const double above = f(model);
  parameter = at - kStep;
  const double below = f(model);
  parameter = at;
  return (above - below) / (2.0 * kStep);
}

RC_GTEST_PROP(CylinderModel, JacobianIsThatOfFiniteDifferences, ()) {
  Model model = DrawModel();
  const Eigen::Vector3d p = DrawPoint();
  const Row<double> row = EvaluateRow<double>(p.x(), p.y(), p.z(), model);
  const FreeParameters free = ListFreeParameters(model, false, false);
  RC_ASSERT(free.values.size() == std::size_t{kColumns});
  for (std::size_t k = 0; k < free.values.size(); ++k) {
    const double slope =
        Difference(model, *free.values[k], [&p](const Model& m) { return ResidualAt(m, p); });
    RC_ASSERT(std::abs(slope - row.jacobian[free.columns[k]]) < 1e-8);
  }
}

RC_GTEST_PROP(CylinderModel, ResidualIsTheDistanceFromTheWall, ()) {
  const Model model = DrawModel();
  const Eigen::Vector3d p = DrawPoint();
  const Eigen::Vector3d q =
      p - Eigen::Vector3d(model.offset.x(), model.offset.y(), model.reference_height);
  const double distance = q.cross(model.direction).norm() / model.direction.norm();
  RC_ASSERT(std::abs(ResidualAt(model, p) - (distance - model.radius)) < 1e-12);
}

RC_GTEST_PROP(CylinderModel, BlocksOfPointsGiveTheSumsOfTheirRows, ()) {
  const Model model = DrawModel();
  const int count = *rc::gen::inRange(1, 300);
  Points points(count);
  Eigen::Matrix<double, kColumns, kColumns> matrix;
  Eigen::Matrix<double, kColumns, 1> gradient;
  matrix.setZero();
  gradient.setZero();
  double cost = 0.0;
  for (int i = 0; i < count; ++i) {
    const Eigen::Vector3d p = DrawPoint();
    points.set(i, p);
    const Row<double> row = EvaluateRow<double>(p.x(), p.y(), p.z(), model);
    const Eigen::Map<const Eigen::Matrix<double, kColumns, 1>> j(row.jacobian);
    matrix += j * j.transpose();
    gradient += row.residual * j;
    cost += 0.5 * row.residual * row.residual;
  }
  const NormalEquations sums = Evaluate(points, model);
  RC_ASSERT((sums.matrix - matrix).cwiseAbs().maxCoeff() < 1e-9 * count);
  RC_ASSERT((sums.gradient - gradient).cwiseAbs().maxCoeff() < 1e-9 * count);
  RC_ASSERT(std::abs(sums.cost - cost) < 1e-9 * count);
}

TEST(CylinderModel, TheAxisItselfHasAFiniteRow) {
  const Model model;
  const Row<double> row = EvaluateRow<double>(0.0, 0.0, 0.5, model);
  EXPECT_EQ(row.residual, -1.0);
  for (int k = 0; k < kColumns; ++k) EXPECT_TRUE(std::isfinite(row.jacobian[k])) << k;
}

TEST(CylinderModel, FixedPartsAreNotFree) {
  Model model;
  EXPECT_EQ(ListFreeParameters(model, false, false).columns,
            (std::vector<int>{kOffsetX, kOffsetY, kDirectionX, kDirectionY, kDirectionZ, kRadius}));
  EXPECT_EQ(ListFreeParameters(model, true, false).columns,
            (std::vector<int>{kOffsetX, kOffsetY, kRadius}));
  EXPECT_EQ(ListFreeParameters(model, false, true).columns,
            (std::vector<int>{kOffsetX, kOffsetY, kDirectionX, kDirectionY, kDirectionZ}));
  const FreeParameters free = ListFreeParameters(model, true, true);
  EXPECT_EQ(free.values, (std::vector<double*>{&model.offset.x(), &model.offset.y()}));
}

TEST(ThreadModel, ProfileIsThatOfTheStandard) {
  for (const bool bore : {false, true}) {
    const Profile profile = Profile::Basic(bore);
    const double half_crest = bore ? 1.0 / 8.0 : 1.0 / 16.0;
    const double depth = 5.0 / 16.0 * std::sqrt(3.0);
    EXPECT_EQ(DepthOfProfile(0.0, profile).depth, 0.0);
    EXPECT_EQ(DepthOfProfile(0.99 * half_crest, profile).depth, 0.0);
    EXPECT_NEAR(DepthOfProfile(half_crest + 5.0 / 32.0, profile).depth, 0.5 * depth, 1e-15);
    EXPECT_NEAR(DepthOfProfile(0.5, profile).depth, depth, 1e-15);
    EXPECT_NEAR(DepthOfProfile(-0.2, profile).depth, DepthOfProfile(3.2, profile).depth, 1e-12);
  }
}

TEST(ThreadModel, MeanDepthSeenIsThatOfTracedLines) {
  constexpr int kLines = 2000;
  constexpr double kStride = 2e-4;
  for (const bool bore : {false, true}) {
    const Profile profile = Profile::Basic(bore);
    for (const double tangent : {0.3, 1.0, 3.0}) {
      double sum = 0.0;
      for (int i = 0; i < kLines; ++i) {
        double along = (i + 0.5) / kLines, depth = 0.0;
        while (depth < DepthOfProfile(along, profile).depth) {
          along += kStride;
          depth += kStride * tangent;
        }
        sum += depth;
      }
      EXPECT_NEAR(MeanDepthSeen(tangent, profile), sum / kLines, 1e-3) << tangent << bore;
    }
  }
}

RC_GTEST_PROP(ThreadModel, JacobianIsThatOfFiniteDifferences, ()) {
  ThreadModel model;
  model.cylinder = DrawModel();
  // A tilted axis that is turned further turns the place where angles begin; that is left out of
  // the derivative, so next to no tilt is drawn.
  model.cylinder.direction = {Draw(-1e-5, 1e-5), Draw(-1e-5, 1e-5), 1.0};
  model.pitch = (*rc::gen::arbitrary<bool>() ? 1.0 : -1.0) * Draw(0.1, 0.5);
  model.phase = Draw(0.0, 1.0);
  model.profile = Profile::Basic(*rc::gen::arbitrary<bool>());
  model.profile.crest += Draw(0.0, 0.1);
  const Eigen::Vector3d p = DrawPoint();
  Model& c = model.cylinder;
  double* const parameters[kThreadColumns] = {
      &c.offset.x(), &c.offset.y(), &c.direction.x(), &c.direction.y(),     &c.direction.z(),
      &c.radius,     &model.phase,  &model.pitch,     &model.profile.crest, &model.profile.root};
  const auto residual = [&p](const ThreadModel& m) { return ThreadEvaluator(m).Residual(p); };
  const ThreadRow row = ThreadEvaluator(model)(p);
  RC_ASSERT(row.residual == residual(model));
  for (int k = 0; k < kThreadColumns; ++k) {
    // A corner of the profile has no derivative.
    const double at = *parameters[k];
    *parameters[k] = at + 10.0 * kStep;
    const auto above = ThreadEvaluator(model)(p).jacobian;
    *parameters[k] = at - 10.0 * kStep;
    const auto below = ThreadEvaluator(model)(p).jacobian;
    *parameters[k] = at;
    RC_PRE(std::abs(above[kPhase] - below[kPhase]) < 1e-3);
    const double slope = Difference(model, *parameters[k], residual);
    RC_ASSERT(std::abs(slope - row.jacobian[k]) < 1e-4 * (1.0 + std::abs(row.jacobian[k])));
  }
}

}  // namespace
}  // namespace libmfx::geometry::cylinder
