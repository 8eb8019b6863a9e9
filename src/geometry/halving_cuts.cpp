#include "halving_cuts.h"

#include "column_sums.h"
#include "lanes.h"

namespace libmfx::geometry {
namespace {

/// Sets the weights of the samples whose values are at or below `limit` to 1, of the others to 0
/// (also of a value that is NaN).
/// \returns how many are 1
Eigen::Index SetWhereAtMost(const double* values, Eigen::Index columns, double limit,
                            double* weights) {
  PairMask near{};
  Eigen::Index i = 0;
  for (; i + 1 < columns; i += 2) {
    const PairMask at_most = Load(values + i) <= limit;
    near += at_most;
    Store(at_most ? Both(1.0) : Pair{}, weights + i);
  }
  Eigen::Index count = -(near[0] + near[1]);
  if (i < columns) {
    weights[i] = values[i] <= limit ? 1.0 : 0.0;
    count += values[i] <= limit ? 1 : 0;
  }
  return count;
}

}  // namespace

HalvingCuts::HalvingCuts(data_structures::PointCloud points, std::vector<CutLine> lines)
    : _points(std::move(points)),
      _lines(std::move(lines)),
      _weights(Eigen::VectorXd::Zero(_points.cols())) {}

void HalvingCuts::WeighNear(double limit, LineWindows& windows) {
  const double* const residuals = _residuals.data();
  double* const weights = _weights.data();
  Eigen::Index place = 0;
  for (const CutLine& line : _lines) {
    const Eigen::Index near =
        SetWhereAtMost(residuals + place, line.columns, limit, weights + place);
    windows.Apply(weights + place, line.columns, near, line.reversed);
    if (near > 0) place += line.columns;
  }
  SetWhereAtMost(residuals + place, _weights.size() - place, limit, weights + place);
}

CutsEnd HalvingCuts::Run(double sigma, double tolerance, Plane& plane) {
  LineWindows windows(sigma);
  CutsEnd failure = CutsEnd::kNoFirstFit;
  _residuals.resize(_points.cols());
  const auto fit = [&] {
    if (!plane.LeastSquares(_points, _weights)) return false;
    // Nothing leads on from a plane that is not valid: no sample has a distance to it.
    failure = plane.IsValid() ? CutsEnd::kNoLaterFit : CutsEnd::kNotValid;
    return plane.IsValid();
  };
  const auto worst = [&] {
    return FindResiduals(TopRows(_points.data()), plane.Point().xyz(), plane.Normal().xyz(),
                         _weights, _residuals);
  };
  const auto cut = [&](double limit) { WeighNear(limit, windows); };
  return HalveResiduals(tolerance, fit, worst, cut) ? CutsEnd::kFound : failure;
}

}  // namespace libmfx::geometry
