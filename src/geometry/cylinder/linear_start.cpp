#include "geometry/cylinder/linear_start.h"

#include <Eigen/Geometry>

#include "geometry/decompositions.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kScaledRankRatio = 1e-12;

}  // namespace

std::optional<Model> LinearStart(const Points& points, const Model& nominal, bool fix_axis,
                                 bool fix_radius) {
  // In a frame whose third axis is the nominal direction through its axis point:
  // (x - a - m z)^2 + (y - b - n z)^2 = r^2, that is, x^2 + y^2 is linear in
  // x, y, 1 and, with a tilt (m, n), in x z, y z, z, z^2.
  const Eigen::Vector3d base(nominal.offset.x(), nominal.offset.y(), nominal.reference_height);
  const Eigen::Matrix3d turn =
      Eigen::Quaterniond::FromTwoVectors(nominal.direction, Eigen::Vector3d::UnitZ())
          .toRotationMatrix();
  const int n = fix_axis ? 3 : 7;
  Eigen::MatrixXd normal = Eigen::MatrixXd::Zero(n, n);
  Eigen::VectorXd right = Eigen::VectorXd::Zero(n);
  Eigen::VectorXd row(7);
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const Eigen::Vector3d q = turn * (points.at(i) - base);
    row << q.x(), q.y(), 1.0, q.x() * q.z(), q.y() * q.z(), q.z(), q.z() * q.z();
    normal.selfadjointView<Eigen::Lower>().rankUpdate(row.head(n));
    right += (q.x() * q.x() + q.y() * q.y()) * row.head(n);
  }
  normal.triangularView<Eigen::StrictlyUpper>() = normal.transpose();
  const Eigen::VectorXd scale = normal.diagonal().cwiseSqrt();
  if (!(scale.minCoeff() > 0.0)) return std::nullopt;
  const Eigen::VectorXd inverse = scale.cwiseInverse();
  const Eigen::MatrixXd scaled = inverse.asDiagonal() * normal * inverse.asDiagonal();
  const Svd svd = ThinSvd(scaled);
  if (!(svd.singularValues()[n - 1] > kScaledRankRatio * svd.singularValues()[0]))
    return std::nullopt;
  const Eigen::VectorXd solution =
      inverse.cwiseProduct(SolveWith(svd, inverse.cwiseProduct(right)));

  const Eigen::Vector2d center = 0.5 * solution.head<2>();
  const double squared = solution[2] + center.squaredNorm();
  Model model = nominal;
  Eigen::Vector3d direction = Eigen::Vector3d::UnitZ();
  if (!fix_axis) direction.head<2>() = 0.5 * solution.segment<2>(3);
  model.direction = (turn.transpose() * direction).normalized();
  const Eigen::Vector3d on_axis =
      base + turn.transpose() * Eigen::Vector3d(center.x(), center.y(), 0.0);
  if (!(squared > 0.0) || !(model.direction.z() > 0.1)) return std::nullopt;
  const double along = (nominal.reference_height - on_axis.z()) / model.direction.z();
  model.offset = (on_axis + along * model.direction).head<2>();
  if (!fix_radius) model.radius = std::sqrt(squared);
  return model;
}

}  // namespace libmfx::geometry::cylinder
