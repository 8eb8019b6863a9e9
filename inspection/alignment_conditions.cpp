#include "inspection/alignment_conditions.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/SVD>
#include <cmath>

#include "host/numbers.h"

namespace libmfx::inspection {
namespace {

constexpr double kFarthest = 1e6;      // m, beyond which no part is measured
constexpr double kProjection = 1e-6;   // how well a projection has to be one
constexpr double kLeastShare = 1e-12;  // of a covariance's trace, that rounding may take from it

/// The basis of a projection; false if it is none.
bool TakeDirections(const Matrix3d& directions, Condition& condition) {
  const double trace = directions.trace();
  if (!(trace > -0.5 && trace < 3.5)) return false;
  if (!(std::fabs(trace - std::round(trace)) < kProjection)) return false;
  condition.count = static_cast<int>(std::round(trace));
  condition.basis.setZero();
  Eigen::Index column = 0;
  if (condition.count == 3) {
    condition.basis.setIdentity();
  } else if (condition.count == 1) {
    directions.diagonal().maxCoeff(&column);
    condition.basis.col(0) = directions.col(column).normalized();
  } else if (condition.count == 2) {
    const Matrix3d across = Matrix3d::Identity() - directions;
    across.diagonal().maxCoeff(&column);
    const Vector3d normal = across.col(column).normalized();
    condition.basis.col(0) = normal.unitOrthogonal();
    condition.basis.col(1) = normal.cross(condition.basis.col(0));
  }
  condition.directions = condition.basis * condition.basis.transpose();
  return (condition.directions - directions).cwiseAbs().maxCoeff() < kProjection;
}

bool IsCovariance(const Matrix3d& covariance) {
  const double largest = covariance.cwiseAbs().maxCoeff();
  if ((covariance - covariance.transpose()).cwiseAbs().maxCoeff() > 1e-6 * largest) return false;
  if (covariance.diagonal().minCoeff() < 0.0) return false;
  // Half of what each condition has on top, so that what passes has a weight.
  const double least = 0.5 * (kSurest * kSurest + kLeastShare * covariance.trace());
  return Eigen::LLT<Matrix3d>(covariance + least * Matrix3d::Identity()).info() == Eigen::Success;
}

/// What is wrong with a place, for people; empty if nothing is.
std::string WhyUnfit(const AlignedPlace& place) {
  if (!place.nominal.allFinite()) return "has a nominal that is no number";
  if (!place.measured.allFinite()) return "was measured as what is no number";
  if (!place.covariance.allFinite()) return "has a covariance that is no number";
  if (!place.directions.allFinite()) return "has directions that are no numbers";
  if (place.nominal.cwiseAbs().maxCoeff() > kFarthest ||
      place.measured.cwiseAbs().maxCoeff() > kFarthest ||
      place.covariance.cwiseAbs().maxCoeff() > kFarthest * kFarthest) {
    return "is told with numbers beyond 1000 km";
  }
  if (!IsCovariance(place.covariance)) return "has a covariance that no numbers can have";
  return {};
}

void SetMiddleAndExtent(Conditions& conditions, const std::vector<AlignedPlace>& places) {
  double used = 0.0;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (conditions.all[i].count == 0) continue;
    conditions.middle += places[i].nominal;
    used += 1.0;
  }
  if (used > 0.0) conditions.middle /= used;
  double squares = 0.0;
  for (std::size_t i = 0; i < places.size(); ++i) {
    conditions.all[i].nominal = places[i].nominal - conditions.middle;
    if (conditions.all[i].count > 0) squares += conditions.all[i].nominal.squaredNorm();
  }
  conditions.extent = squares > 0.0 ? std::sqrt(squares / used) : 1.0;
}

std::string VectorText(Vector3d v) {
  v = (v.array().abs() < 5e-4 * v.cwiseAbs().maxCoeff()).select(Vector3d::Zero(), v);
  return "(" + host::Rounded(v.x()) + ", " + host::Rounded(v.y()) + ", " + host::Rounded(v.z()) +
         ")";
}

/// Of a direction whose sense means nothing.
std::string AxisText(Vector3d axis) {
  Eigen::Index largest = 0;
  axis.normalize();
  axis.cwiseAbs().maxCoeff(&largest);
  return VectorText(axis[largest] < 0.0 ? Vector3d(-axis) : axis);
}

std::string ShiftsText(const Eigen::Matrix3Xd& shifts) {
  if (shifts.cols() == 3) return "be shifted in every direction";
  if (shifts.cols() == 1) return "be shifted along " + AxisText(shifts.col(0));
  const Vector3d a = shifts.col(0);
  return "be shifted across " + AxisText(a.cross(Vector3d(shifts.col(1))));
}

/// \param turns steps, of which each turns the part
std::string TurnsText(const Eigen::Matrix<double, 6, Eigen::Dynamic>& turns,
                      const Conditions& conditions) {
  if (turns.cols() == 3) return "turn about every axis";
  const Vector3d axis = turns.block<3, 1>(0, 0) / conditions.extent;
  if (turns.cols() == 2) {
    return "turn about every axis across " +
           AxisText(axis.cross(Vector3d(turns.block<3, 1>(0, 1))));
  }
  const Vector3d shift = turns.block<3, 1>(3, 0);
  const Vector3d through = conditions.middle + axis.cross(shift) / axis.squaredNorm();
  return "turn about the line through " + VectorText(through * 1000.0) + " mm along " +
         AxisText(axis);
}

}  // namespace

Stand::Stand(const Eigen::Isometry3d& pose, const Vector3d& middle)
    : _turn(Eigen::Quaterniond(pose.linear()).normalized()),
      _rotation(_turn.toRotationMatrix()),
      _middle(pose * middle) {}

Eigen::Isometry3d Stand::Pose(const Vector3d& middle) const {
  Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
  pose.linear() = _rotation;
  pose.translation() = _middle - _rotation * middle;
  return pose;
}

Stand Stand::Stepped(const Vector6d& step, double extent) const {
  const Vector3d turn = step.head<3>() / extent;
  const double angle = turn.norm();
  Stand next;
  next._turn = _turn;
  if (angle > 0.0) {
    const Eigen::AngleAxisd about(angle, turn / angle);
    next._turn = (_turn * Eigen::Quaterniond(about)).normalized();
  }
  next._rotation = next._turn.toRotationMatrix();
  next._middle = _middle + _rotation * step.tail<3>();
  return next;
}

std::string PlaceName(const std::vector<std::string>* names, std::size_t i) {
  if (names == nullptr || i >= names->size()) return "place " + std::to_string(i + 1);
  return "'" + (*names)[i] + "'";
}

std::optional<Conditions> ConditionsOf(const std::vector<AlignedPlace>& places,
                                       const std::vector<double>& floors,
                                       const std::vector<std::string>* names, std::string& why) {
  if (floors.size() != places.size() && floors.size() != 1) {
    why = "there are " + std::to_string(places.size()) + " places and " +
          std::to_string(floors.size()) + " tolerances";
    return std::nullopt;
  }
  Conditions conditions;
  conditions.all.resize(places.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    Condition& condition = conditions.all[i];
    std::string unfit = WhyUnfit(places[i]);
    const double floor = floors.size() == 1 ? floors[0] : floors[i];
    if (unfit.empty() && !TakeDirections(places[i].directions, condition)) {
      unfit = "has measured directions that are no projection";
    }
    if (unfit.empty() && !(floor >= 0.0 && floor <= kFarthest)) {
      unfit = "has a tolerance that is no length";
    }
    if (!unfit.empty()) {
      why = PlaceName(names, i) + " " + unfit;
      return std::nullopt;
    }
    condition.measured = places[i].measured;
    condition.covariance = 0.5 * (places[i].covariance + places[i].covariance.transpose());
    condition.variance =
        floor * floor + kSurest * kSurest + kLeastShare * condition.covariance.trace();
    conditions.count += condition.count;
  }
  SetMiddleAndExtent(conditions, places);
  return conditions;
}

bool IsRigid(const Eigen::Isometry3d& pose, std::string_view name, std::string& why) {
  const Matrix3d rotation = pose.linear();
  const bool is_rigid =
      pose.matrix().allFinite() && pose.translation().cwiseAbs().maxCoeff() <= kFarthest &&
      (rotation * rotation.transpose()).isIdentity(1e-6) && rotation.determinant() > 0.0;
  if (!is_rigid) why = std::string(name) + " is no rigid motion";
  return is_rigid;
}

Matrix3d WeightOf(const Condition& condition, const Matrix3d& covariance) {
  const Matrix3d& basis = condition.basis;
  if (condition.count == 3) {
    Matrix3d full = covariance;
    full.diagonal().array() += condition.variance;
    const Eigen::LLT<Matrix3d> factors(full);
    const Matrix3d root = factors.matrixL().solve(Matrix3d::Identity());
    return root.transpose() * root;
  }
  if (condition.count == 1) {
    const Vector3d b = basis.col(0);
    return b * (1.0 / (b.dot(covariance * b) + condition.variance)) * b.transpose();
  }
  if (condition.count == 0) return Matrix3d::Zero();
  const Eigen::Matrix<double, 3, 2> b = basis.leftCols<2>();
  Eigen::Matrix2d within = b.transpose() * covariance * b;
  within.diagonal().array() += condition.variance;
  return b * within.inverse() * b.transpose();
}

namespace {

/// Turns `v` into place x v, divided by the extent.
Matrix3d CrossOf(const Vector3d& place, double extent) {
  const Vector3d p = place / extent;
  Matrix3d cross;
  cross << 0.0, -p.z(), p.y(), p.z(), 0.0, -p.x(), -p.y(), p.x(), 0.0;
  return cross;
}

}  // namespace

// A place p goes to p + p x turn - shift under a small step of the pose.
void AddNormal(const Vector3d& place, const Matrix3d& weight, double extent, Matrix6d& normal) {
  const Matrix3d cross = CrossOf(place, extent);
  const Matrix3d weighted = weight * cross;
  const Matrix3d turns = cross.transpose() * weighted;
  normal.topLeftCorner<3, 3>() += turns;
  normal.bottomLeftCorner<3, 3>() -= weighted;
  normal.topRightCorner<3, 3>() -= weighted.transpose();
  normal.bottomRightCorner<3, 3>() += weight;
}

void AddGradient(const Condition& condition, const Matrix3d& weight, double extent,
                 Vector6d& gradient) {
  const Vector3d weighted = weight * condition.residual;
  gradient.head<3>() += weighted.cross(condition.place) / extent;
  gradient.tail<3>() -= weighted;
}

Matrix6d InInstrument(const Matrix6d& covariance, double extent, const Matrix3d& rotation) {
  Matrix6d turned = Matrix6d::Zero();
  turned.topLeftCorner<3, 3>() = rotation / extent;
  turned.bottomRightCorner<3, 3>() = rotation;
  const Matrix6d moved = turned * covariance * turned.transpose();
  return 0.5 * (moved + moved.transpose());
}

std::string WhatIsFree(const Conditions& conditions) {
  Matrix6d normal = Matrix6d::Zero();
  for (const Condition& condition : conditions.all) {
    AddNormal(condition.nominal, condition.directions, conditions.extent, normal);
  }
  const Eigen::SelfAdjointEigenSolver<Matrix6d> solver(normal);
  const double least = kOpen * kOpen * std::fmax(1.0, static_cast<double>(conditions.count));
  Eigen::Index open = 0;  // eigenvalues ascend
  while (open < 6 && !(solver.eigenvalues()[open] > least)) ++open;
  if (open == 0) return {};

  // Among the free steps those that only shift, and the rest, which turn.
  const Eigen::Matrix<double, 6, Eigen::Dynamic> free = solver.eigenvectors().leftCols(open);
  const Eigen::MatrixXd turned = free.topRows(3).transpose() * free.topRows(3);
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> turning(turned);
  Eigen::Index shifts = 0;
  while (shifts < open && !(turning.eigenvalues()[shifts] > 1e-6)) ++shifts;
  const Eigen::Matrix<double, 6, Eigen::Dynamic> sorted = free * turning.eigenvectors();
  std::string text;
  if (shifts > 0) text = ShiftsText(sorted.bottomRows(3).leftCols(shifts));
  if (shifts < open) {
    text +=
        (text.empty() ? "" : " and to ") + TurnsText(sorted.rightCols(open - shifts), conditions);
  }
  return "free to " + text;
}

}  // namespace libmfx::inspection
