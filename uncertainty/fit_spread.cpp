#include "uncertainty/fit_spread.h"

#include <Eigen/QR>
#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <tuple>
#include <utility>

namespace libmfx::uncertainty {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

MatrixXd Jacobian(const ParameterFunction& function, Index parameters) {
  MatrixXd jacobian;
  for (Index i = 0; i < parameters; ++i) {
    VectorXd p = VectorXd::Zero(parameters);
    p[i] = kParameterStep;
    const VectorXd after = function(p);
    p[i] = -kParameterStep;
    if (i == 0) jacobian.resize(after.size(), parameters);
    jacobian.col(i) = (after - function(p)) / (2.0 * kParameterStep);
  }
  return jacobian;
}

namespace {

/// The mean square that the means of groups tell, and its degrees of freedom: none where it says
/// no more than the single residuals do.
std::optional<std::pair<double, double>> BetweenGroups(const VectorXd& residuals, Index parameters,
                                                       const std::vector<int>& groups,
                                                       double variance) {
  std::map<int, std::pair<double, double>> sums;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    auto& [sum, count] = sums[groups[i]];
    sum += residuals[static_cast<Index>(i)];
    count += 1.0;
  }
  const double freedom = static_cast<double>(sums.size()) - static_cast<double>(parameters);
  if (freedom < 1.0 || sums.size() == groups.size()) return std::nullopt;
  double between = 0.0;
  for (const auto& [group, line] : sums) between += line.first * line.first / line.second;
  between /= freedom;
  // Beyond the standard deviation of such a mean square, so that accidents hardly count.
  if (between <= variance * (1.0 + std::sqrt(2.0 / freedom))) return std::nullopt;
  return std::pair(between, freedom);
}

}  // namespace

std::optional<FitSpread> SpreadOfFit(const ParameterFunction& residuals, Index parameters,
                                     const std::vector<int>& groups,
                                     std::optional<double> scatter) {
  constexpr double kOpen = 1e-9;  // of the singular values of columns of length 1
  if (parameters < 1) return std::nullopt;
  const VectorXd found = residuals(VectorXd::Zero(parameters));
  const Index over = found.size() - parameters;
  if (over < 1 || !found.allFinite()) return std::nullopt;
  MatrixXd jacobian = Jacobian(residuals, parameters);
  if (jacobian.rows() != found.size() || !jacobian.allFinite()) return std::nullopt;
  const VectorXd lengths = jacobian.colwise().norm();
  if (!(lengths.minCoeff() > 0.0)) return std::nullopt;
  jacobian.array().rowwise() /= lengths.transpose().array();
  // J = Q R, and the singular values of R are those of J.
  const Eigen::HouseholderQR<MatrixXd> qr(jacobian);
  const MatrixXd triangle = qr.matrixQR().topRows(parameters).triangularView<Eigen::Upper>();
  const Eigen::JacobiSVD<MatrixXd> svd(triangle, Eigen::ComputeFullU | Eigen::ComputeFullV);
  const VectorXd& values = svd.singularValues();
  if (!(values[parameters - 1] > kOpen * values[0])) return std::nullopt;

  const VectorXd left = found - jacobian * qr.solve(found);
  FitSpread spread;
  spread.freedom = static_cast<double>(over);
  double variance = left.squaredNorm() / spread.freedom;
  if (scatter) {
    variance = *scatter * *scatter;
  } else if (groups.size() == static_cast<std::size_t>(found.size())) {
    if (const auto lines = BetweenGroups(left, parameters, groups, variance)) {
      std::tie(variance, spread.freedom) = *lines;
    }
  }
  spread.scatter = std::sqrt(variance);
  // (J^T J)^-1 = V S^-2 V^T, and the columns' lengths undone.
  const MatrixXd root =
      lengths.cwiseInverse().asDiagonal() * svd.matrixV() * values.cwiseInverse().asDiagonal();
  spread.covariance = variance * root * root.transpose();
  if (!spread.covariance.allFinite()) return std::nullopt;
  return spread;
}

double CoverageFactor(double freedom) {
  if (freedom < 1.5) return 12.706;
  if (freedom < 2.5) return 4.303;
  // Cornish and Fisher's expansion about the normal quantile z: right to 1 % from 3 on.
  constexpr double z = 1.959963984540054;
  constexpr double z3 = z * z * z;
  constexpr double z5 = z3 * z * z;
  constexpr double z7 = z5 * z * z;
  const double n = freedom;
  return z + (z3 + z) / (4.0 * n) + (5.0 * z5 + 16.0 * z3 + 3.0 * z) / (96.0 * n * n) +
         (3.0 * z7 + 19.0 * z5 + 17.0 * z3 - 15.0 * z) / (384.0 * n * n * n);
}

double CostOfCut(std::size_t kept, std::size_t cut) {
  constexpr double kLeastShare = 0.1;
  if (cut == 0) return 1.0;
  const double share =
      std::max(kLeastShare,
               static_cast<double>(kept) / (static_cast<double>(kept) + static_cast<double>(cut)));
  double low = 0.0;
  double high = 6.0;
  for (int i = 0; i < 60; ++i) {
    const double z = 0.5 * (low + high);
    (std::erf(z / std::numbers::sqrt2) < share ? low : high) = z;
  }
  const double density = std::exp(-0.5 * low * low) / std::sqrt(2.0 * std::numbers::pi);
  const double k = 1.0 - 2.0 * low * density / share;
  return share * (1.0 - k * k + k / share) / k;
}

double ScatterOfMost(std::vector<double> distances) {
  constexpr double kMedianOfNormal = 0.6744897501960817;
  if (distances.empty()) return 0.0;
  const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
  std::nth_element(distances.begin(), middle, distances.end());
  return *middle / kMedianOfNormal;
}

}  // namespace libmfx::uncertainty
