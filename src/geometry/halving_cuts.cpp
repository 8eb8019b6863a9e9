#include "halving_cuts.h"

#include "column_sums.h"
#include "lanes.h"

namespace libmfx::geometry {
namespace {

/// Sets the weight of each sample whose value is at or below `limit` to 1, of the others to 0 (also
/// of a value that is NaN).
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

}  // namespace

HalvingCuts::HalvingCuts(data_structures::PointCloud points, std::vector<CutLine> lines)
    : _points(std::move(points)),
      _lines(std::move(lines)),
      _weights(Eigen::VectorXd::Zero(_points.cols())) {}

void HalvingCuts::WeighNear(double limit, LineWindows& windows) {
  SetWhereAtMost(_residuals, limit, _weights);
  Eigen::Index place = 0;
  for (const CutLine& line : _lines) {
    if (windows.Apply(_weights.data() + place, line.columns, line.reversed) > 0)
      place += line.columns;
  }
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
