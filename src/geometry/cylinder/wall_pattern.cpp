#include "geometry/cylinder/wall_pattern.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <complex>

#include "geometry/decompositions.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr int kLeastLobes = 2, kMostLobes = 8;
constexpr int kFormTerms = 9 + 2 * (kMostLobes - kLeastLobes + 1);
constexpr double kRidge = 1e-9;  // of the largest diagonal: a short arc leaves some of them open

}  // namespace

int WallPattern::TakeOutForm() {
  const double middle = 0.5 * (height.maxCoeff() + height.minCoeff());
  const Eigen::ArrayXd h = (height - middle) * (2.0 / std::max(Length(), 1e-12));
  const Eigen::ArrayXd angle = kTurn * turn;
  Eigen::MatrixXd terms(size(), kFormTerms);
  const Eigen::ArrayXd c = angle.cos(), s = angle.sin();
  terms.leftCols<9>() << Eigen::ArrayXd::Ones(size()), c, s, h, h.square(), h * c, h * s,
      h.square() * c, h.square() * s;
  for (int lobes = kLeastLobes; lobes <= kMostLobes; ++lobes) {
    terms.col(9 + 2 * (lobes - kLeastLobes)) = (lobes * angle).cos();
    terms.col(10 + 2 * (lobes - kLeastLobes)) = (lobes * angle).sin();
  }
  Eigen::MatrixXd normal = terms.transpose() * terms;
  normal.diagonal().array() += kRidge * normal.diagonal().maxCoeff();
  const Eigen::VectorXd right = terms.transpose() * depth.matrix();
  depth -= (terms * SolveWith(DecomposeSymmetric(normal), right)).array();
  return kFormTerms;
}

double WallPattern::Share(const HelixTrial& trial) const {
  const Eigen::ArrayXd phase = PhaseOf(trial);
  const double c = (depth * phase.cos()).sum(), s = (depth * phase.sin()).sum();
  return 2.0 * (c * c + s * s) / (static_cast<double>(size()) * depth.square().sum());
}

HelixTrial WallPattern::Best(double lowest, double highest, double step) const {
  // The phase of a sample grows by the same angle from one frequency to the next, so that the
  // phasors turn by a multiplication and not by a sine.
  const Eigen::ArrayXcd right = (std::complex<double>(0.0, -kTurn) * turn).exp() * depth;
  const Eigen::ArrayXcd left = (std::complex<double>(0.0, kTurn) * turn).exp() * depth;
  const Eigen::ArrayXcd turning = (std::complex<double>(0.0, kTurn * step) * height).exp();
  Eigen::ArrayXcd phasors = (std::complex<double>(0.0, kTurn * lowest) * height).exp();
  HelixTrial best;
  double most = -1.0;
  for (double frequency = lowest; frequency < highest; frequency += step) {
    const double of_right = std::norm((phasors * right).sum());
    const double of_left = std::norm((phasors * left).sum());
    if (std::max(of_right, of_left) > most) {
      most = std::max(of_right, of_left);
      best = {frequency, of_right >= of_left ? 1.0 : -1.0};
    }
    phasors *= turning;
  }
  return best;
}

HelixTrial WallPattern::Refined(const HelixTrial& trial, double step) const {
  HelixTrial here = trial;
  double share = Share(here);
  for (double width = step; width > 1e-3 * step; width *= 0.5) {
    for (const double frequency : {here.frequency - width, here.frequency + width}) {
      const HelixTrial moved{frequency, here.hand};
      const double of_moved = Share(moved);
      if (of_moved <= share) continue;
      share = of_moved;
      here = moved;
    }
  }
  return here;
}

Eigen::Vector2d WallPattern::Harmonic(const HelixTrial& trial, const Eigen::ArrayXd& in) const {
  const Eigen::ArrayXd phase = PhaseOf(trial);
  const Eigen::ArrayXd c = phase.cos() * in, s = phase.sin() * in;
  Eigen::Matrix3d normal;
  normal << in.sum(), c.sum(), s.sum(), c.sum(), c.square().sum(), (c * s).sum(), s.sum(),
      (c * s).sum(), s.square().sum();
  normal.diagonal().array() += kRidge * std::max(in.sum(), 1.0);
  const Eigen::Vector3d right((depth * in).sum(), (depth * c).sum(), (depth * s).sum());
  return normal.ldlt().solve(right).tail<2>();
}

double WallPattern::Explained(const HelixTrial& trial) const {
  const Eigen::Vector2d harmonic = Harmonic(trial, Eigen::ArrayXd::Ones(size()));
  const Eigen::ArrayXd phase = PhaseOf(trial);
  const Eigen::ArrayXd explained = harmonic.x() * phase.cos() + harmonic.y() * phase.sin();
  const Eigen::ArrayXd centred = depth - depth.mean();
  const double whole = centred.square().sum();
  const double left = (centred - (explained - explained.mean())).square().sum();
  return whole > 0.0 ? 1.0 - left / whole : 0.0;
}

}  // namespace libmfx::geometry::cylinder
