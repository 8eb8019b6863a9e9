#include "halving_cuts.h"

#include <algorithm>
#include <cmath>

#include "column_sums.h"
#include "lanes.h"
#include "libmfx/data_structures/point_cloud.h"
#include "plane_of_moments.h"
#include "squared_limit.h"

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

/// Sets the weights of candidates to 1, of the others to 0, and counts the candidates.
class RingWeights {
 public:
  explicit RingWeights(const CandidateRing& ring)
      : _ring(ring),
        _too_near(SquareBelow(ring.min_distance)),
        _farthest(SquareWithin(ring.max_distance)) {}

  /// \param points from the first one on
  /// \param first of the qualities
  Eigen::Index Set(const CoordinateView& points, Eigen::Index first, double* weights) const {
    const Pair cx = Both(_ring.center.x()), cy = Both(_ring.center.y()),
               cz = Both(_ring.center.z());
    const Pair too_near = Both(_too_near), farthest = Both(_farthest);
    const Pair least = Both(_ring.min_quality);
    const double* const q = _ring.qualities == nullptr ? nullptr : _ring.qualities->data() + first;
    PairMask inside{};
    Eigen::Index i = 0;
    for (; i + 1 < points.columns; i += 2) {
      const Pair x = cx - Load(points.x + i);
      const Pair y = cy - Load(points.y + i);
      const Pair z = cz - Load(points.z + i);
      const Pair squared = x * x + y * y + z * z;  // in the order of squaredNorm
      PairMask mask = (too_near < squared) & (squared <= farthest);
      if (q != nullptr) mask &= least < Load(q + i);
      inside += mask;
      Store(mask ? Both(1.0) : Pair{}, weights + i);
    }
    Eigen::Index count = -(inside[0] + inside[1]);
    if (i < points.columns) {
      const Eigen::Vector3d p(points.x[i], points.y[i], points.z[i]);
      const double squared = (_ring.center - p).squaredNorm();
      const bool in_ring =
          _too_near < squared && squared <= _farthest && (q == nullptr || _ring.min_quality < q[i]);
      weights[i] = in_ring ? 1.0 : 0.0;
      count += in_ring ? 1 : 0;
    }
    return count;
  }

 private:
  const CandidateRing& _ring;
  double _too_near;
  double _farthest;
};

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

void HalvingCuts::WeighAround(const CandidateRing& ring, double sigma) {
  const RingWeights in_ring(ring);
  const CoordinateView all = CoordinatesOf(_points);
  WeighLines(sigma, [&](Eigen::Index own, Eigen::Index place, Eigen::Index columns) {
    const Eigen::Index first = ring.own_distance ? own : place;
    return in_ring.Set({all.x + first, all.y + first, all.z + first, columns}, own,
                       _weights.data() + place);
  });
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
