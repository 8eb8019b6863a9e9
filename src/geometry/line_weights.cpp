#include "line_weights.h"

#include <algorithm>
#include <vector>

#include "lanes.h"
#include "libmfx/math/gaussian_window.h"

namespace libmfx::geometry {

namespace {

/// Sets what is below kLeastWeight to 0, and counts the rest.
Eigen::Index DropAndCount(double* w, Eigen::Index count) {
  PairMask kept{};
  Eigen::Index i = 0;
  for (; i + 1 < count; i += 2) {
    const Pair all{w[i], w[i + 1]};
    const Pair weights = all < kLeastWeight ? Pair{} : all;
    kept += weights > 0.0;
    w[i] = weights[0];
    w[i + 1] = weights[1];
  }
  Eigen::Index total = -(kept[0] + kept[1]);
  if (i < count) {
    if (w[i] < kLeastWeight) w[i] = 0.0;
    if (w[i] > 0.0) ++total;
  }
  return total;
}

}  // namespace

void SetWhereAtMost(const Eigen::VectorXd& values, double limit, Eigen::VectorXd& weights) {
  const double* v = values.data();
  double* w = weights.data();
  Eigen::Index i = 0;
  for (; i + 1 < values.size(); i += 2) {
    const Pair weight = Pair{v[i], v[i + 1]} <= limit ? Both(1.0) : Pair{};
    w[i] = weight[0];
    w[i + 1] = weight[1];
  }
  if (i < values.size()) w[i] = v[i] <= limit ? 1.0 : 0.0;
}

Eigen::Index ApplyGaussianWindow(Eigen::Ref<Eigen::VectorXd> weights, double sigma, bool reversed) {
  double* const w = weights.data();
  const Eigen::Index columns = weights.size();
  const Eigen::Index kept = DropAndCount(w, columns);
  if (kept == 0) return 0;
  std::vector<double> window = math::GaussianWindow(static_cast<unsigned>(kept), sigma);
  if (reversed) std::reverse(window.begin(), window.end());
  if (kept == columns) {
    weights.array() *= Eigen::Map<const Eigen::ArrayXd>(window.data(), kept);
    return kept;
  }
  auto next = window.cbegin();
  for (Eigen::Index i = 0; i < columns; ++i) {
    if (w[i] > 0.0) w[i] *= *next++;
  }
  return kept;
}

}  // namespace libmfx::geometry
