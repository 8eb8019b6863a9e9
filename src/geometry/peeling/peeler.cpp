#include "geometry/peeling/peeler.h"

#include <Eigen/Jacobi>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <utility>
#include <vector>

#include "geometry/column_sums.h"
#include "geometry/sweep/expansion.h"

namespace libmfx::geometry::peeling {
namespace {

constexpr int kMostSweeps = 12;
constexpr double kOutgrown = 1.0 / 64.0;  // digits lost until then: fewer than two

/// Makes a scatter matrix diagonal by turning it pair by pair, and returns the axes as columns. The
/// spreads keep their digits each relative to itself, which a bound on the largest wouldn't give.
Eigen::Matrix3d Diagonalize(Eigen::Matrix3d& scatter) {
  Eigen::Matrix3d axes = Eigen::Matrix3d::Identity();
  bool turned = true;
  for (int sweep = 0; turned && sweep < kMostSweeps; ++sweep) {
    turned = false;
    for (const auto& [p, q] : {std::pair{0, 1}, {0, 2}, {1, 2}}) {
      const double both = std::sqrt(std::abs(scatter(p, p) * scatter(q, q)));
      Eigen::JacobiRotation<double> rotation;
      if (std::abs(scatter(p, q)) <= DBL_EPSILON * both) continue;
      if (!rotation.makeJacobi(scatter, p, q)) continue;
      scatter.applyOnTheLeft(p, q, rotation.adjoint());
      scatter.applyOnTheRight(p, q, rotation);
      axes.applyOnTheRight(p, q, rotation);
      turned = true;
    }
  }
  return axes;
}

Eigen::Vector3d Ascending(Eigen::Vector3d v) {
  std::sort(v.begin(), v.end());
  return v;
}

}  // namespace

void RunningSum::Add(double x) {
  double error;
  geometry::sweep::TwoSum(_high, x, _high, error);
  _low += error;
}

Peeler::Peeler(Eigen::Matrix3Xd points)
    : _points(std::move(points)), _left(_points.cols()), _farthest(_points.cols()) {
  // So that squares neither overflow nor vanish.
  std::frexp(_points.cwiseAbs().maxCoeff(), &_exponent);
  for (double& v : _points.reshaped()) v = std::ldexp(v, -_exponent);
  LayFrame();
  Fit();
}

double Peeler::Deviation() const { return std::ldexp(_deviation, _exponent); }

Eigen::Index Peeler::RemoveFarthest() {
  const Eigen::Index column = _farthest.Find(_plane);
  AddToSums(ToFrame(column), -1.0);
  _farthest.Remove(column);
  --_left;
  if (_left >= 3) Fit();
  return column;
}

void Peeler::AddToSums(const Eigen::Vector3d& p, double sign) {
  for (int i = 0, k = 0; i < 3; ++i) {
    _sums[i].Add(sign * p[i]);
    for (int j = i; j < 3; ++j) _products[k++].Add(sign * (p[i] * p[j]));
  }
}

void Peeler::LayFrame() {
  Eigen::MatrixXd left(3, _left);
  std::vector<Candidate> candidates;
  candidates.reserve(static_cast<std::size_t>(_left));
  for (Eigen::Index i = 0; i < _points.cols(); ++i) {
    if (_farthest.IsGone(i)) continue;
    left.col(static_cast<Eigen::Index>(candidates.size())) = _points.col(i);
    candidates.push_back({Eigen::Vector3d::Zero(), i});
  }
  geometry::Moments moments = geometry::FindMoments(geometry::TopRows(left), Eigen::VectorXd());
  _centre = moments.centroid;
  _axes = Diagonalize(moments.scatter);
  std::fill(std::begin(_sums), std::end(_sums), RunningSum());
  std::fill(std::begin(_products), std::end(_products), RunningSum());
  for (Candidate& candidate : candidates) {
    candidate.at = ToFrame(candidate.column);
    AddToSums(candidate.at, 1.0);
  }
  Eigen::Vector3d mean;
  Eigen::Matrix3d scatter = Scatter(mean);
  _laid_along_axes = scatter.diagonal();
  Diagonalize(scatter);
  _laid_principal = Ascending(scatter.diagonal());
  _rounding = geometry::RoundingAt(_centre);
  _plane = LocalPlane();
  _farthest.Reset(std::move(candidates));
}

Eigen::Matrix3d Peeler::Scatter(Eigen::Vector3d& mean) const {
  const double n = static_cast<double>(_left);
  mean = Eigen::Vector3d(_sums[0].Value(), _sums[1].Value(), _sums[2].Value()) / n;
  Eigen::Matrix3d scatter;
  for (int i = 0, k = 0; i < 3; ++i) {
    for (int j = i; j < 3; ++j) {
      scatter(i, j) = scatter(j, i) = _products[k++].Value() - n * mean[i] * mean[j];
    }
  }
  return scatter;
}

/// A spread that is no more than rounding gains nothing by another frame.
bool Peeler::HasOutgrownFrame(const Eigen::Vector3d& along_axes,
                              const Eigen::Vector3d& principal) const {
  const double noise = static_cast<double>(_left) * _rounding * _rounding;
  const auto outgrown = [noise](const Eigen::Vector3d& now, const Eigen::Vector3d& then) {
    return ((then.array() > noise) && (now.array() < kOutgrown * then.array())).any();
  };
  return outgrown(along_axes, _laid_along_axes) || outgrown(Ascending(principal), _laid_principal);
}

void Peeler::Fit() {
  Eigen::Vector3d mean;
  Eigen::Matrix3d scatter = Scatter(mean);
  const Eigen::Vector3d along_axes = scatter.diagonal();
  Eigen::Matrix3d axes = Diagonalize(scatter);
  int least;
  scatter.diagonal().minCoeff(&least);
  if (HasOutgrownFrame(along_axes, scatter.diagonal())) {
    LayFrame();
    scatter = Scatter(mean);
    axes = Diagonalize(scatter);
    scatter.diagonal().minCoeff(&least);
  }
  const double n = static_cast<double>(_left);
  if (geometry::Coincide(_centre + _axes * mean, n, scatter.diagonal().maxCoeff())) {
    _plane = LocalPlane();
    _deviation = 0.0;
    return;
  }
  // The same side as before: a plane that has hardly moved is to have hardly moved in its numbers.
  const Eigen::Vector3d normal = axes.col(least);
  const double side = normal.dot(_plane.normal) < 0.0 ? -1.0 : 1.0;
  _plane.normal = side * normal;
  _plane.offset = _plane.normal.dot(mean);
  _deviation = std::sqrt(std::abs(scatter(least, least)) / n);
}

}  // namespace libmfx::geometry::peeling
