#include "halving_cuts.h"

#include <algorithm>
#include <cmath>

#include "column_sums.h"
#include "lanes.h"
#include "libmfx/data_structures/point_cloud.h"
#include "plane_of_moments.h"

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

bool AllModerate(const Eigen::MatrixX3d& points) {
  const double* const values = points.data();
  const Eigen::Index size = points.size();
  PairMask moderate{-1, -1};
  Eigen::Index i = 0;
  for (; i + 1 < size; i += 2) moderate &= Magnitude(Load(values + i)) <= kModerate;
  return moderate[0] != 0 && moderate[1] != 0 && (i == size || std::abs(values[i]) <= kModerate);
}

}  // namespace

Eigen::Index MarkInUse(const double* weights, Eigen::Index columns, bool neighbours, char* marks) {
  std::fill_n(marks, columns, '\0');
  Eigen::Index marked = 0;  // up to here, all are settled
  Eigen::Index count = 0;
  for (Eigen::Index i = 0; i < columns;) {
    if (!(weights[i] > kLeastWeight)) {
      ++i;
      continue;
    }
    // A run of samples in use, with a neighbour on either side.
    Eigen::Index first = i;
    while (i < columns && weights[i] > kLeastWeight) ++i;
    Eigen::Index end = i;
    if (neighbours) {
      first = std::max(first - 1, marked);
      end = std::min(end + 1, columns);
    }
    std::fill_n(marks + first, end - first, '\1');
    count += end - first;
    marked = end;
  }
  return count;
}

HalvingCuts::HalvingCuts(Eigen::MatrixX3d points, std::vector<CutLine> lines)
    : _points(std::move(points)),
      _moderate(AllModerate(_points)),
      _lines(std::move(lines)),
      _weights(Eigen::VectorXd::Zero(_points.rows())) {}

bool HalvingCuts::Fit(Plane& plane) const {
  constexpr Eigen::Index kFewest = 3;
  if (_moderate && _points.rows() >= kFewest) {
    const Moments moments = FindMoments(CoordinatesOf(_points), _weights);
    if (moments.scatter.allFinite()) {
      plane = PlaneOf(moments);
      return true;
    }
  }
  return plane.LeastSquares(data_structures::PointCloud(_points.transpose()), _weights);
}

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
  LineWindows& windows = WindowsOf(sigma);
  CutsEnd failure = CutsEnd::kNoFirstFit;
  _residuals.resize(_points.rows());
  const auto fit = [&] {
    if (!Fit(plane)) return false;
    // Nothing leads on from a plane that is not valid: no sample has a distance to it.
    failure = plane.IsValid() ? CutsEnd::kNoLaterFit : CutsEnd::kNotValid;
    return plane.IsValid();
  };
  const auto worst = [&] {
    return FindResiduals(CoordinatesOf(_points), plane.Point().xyz(), plane.Normal().xyz(),
                         _weights, _residuals);
  };
  const auto cut = [&](double limit) { WeighNear(limit, windows); };
  return HalveResiduals(tolerance, fit, worst, cut) ? CutsEnd::kFound : failure;
}

}  // namespace libmfx::geometry
