#include "geometry/cylinder/usual_profile.h"

#include <algorithm>
#include <array>

namespace libmfx::geometry::cylinder {
namespace {

// Pitches.
constexpr double kWider = 0.02;  // half a crest than that of the basic profile, mostly
constexpr double kCrestNarrower = 0.02, kCrestWider = 0.12;
constexpr double kRootDeviation = 0.03;

struct Off {
  int column;
  double value, deviation;
};

std::array<Off, 2> OffBy(const Profile& profile, const Profile& basic) {
  const double wider = profile.crest - basic.crest - kWider;
  return {{{kCrest, wider, wider < 0.0 ? kCrestNarrower : kCrestWider},
           {kRoot, profile.root - basic.root, kRootDeviation}}};
}

}  // namespace

double UsualProfile::Cost(const Profile& profile, double deviation) const {
  double cost = 0.0;
  for (const Off& off : OffBy(profile, _basic)) {
    const double residual = off.value / off.deviation * deviation;
    cost += 0.5 * _samples * residual * residual;
  }
  return cost;
}

void UsualProfile::Add(const Profile& profile, const std::vector<int>& columns, double deviation,
                       Eigen::MatrixXd& matrix, Eigen::VectorXd& right) const {
  for (const Off& off : OffBy(profile, _basic)) {
    const auto at = std::find(columns.begin(), columns.end(), off.column);
    if (at == columns.end()) continue;
    const Eigen::Index i = at - columns.begin();
    const double weight = _samples * deviation * deviation / (off.deviation * off.deviation);
    matrix(i, i) += weight;
    right[i] -= weight * off.value;
  }
}

}  // namespace libmfx::geometry::cylinder
