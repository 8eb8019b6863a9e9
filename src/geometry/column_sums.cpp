#include "column_sums.h"

#include <algorithm>
#include <cmath>

#include "lanes.h"

namespace libmfx::geometry {
namespace {

constexpr Eigen::Index kBlock = 512;  // columns summed before they join the total; even

/// Sums over weights w and columns d, taken relative to a reference point.
struct Sums {
  Eigen::Vector3d first = Eigen::Vector3d::Zero();    ///< of w d
  Eigen::Vector3d second = Eigen::Vector3d::Zero();   ///< of w^2 d
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();  ///< of (w d) (w d)^T
  double squared_weights = 0.0;                       ///< of w^2
};

/// The six products of a symmetric 3 by 3 sum.
struct PairProducts {
  Pair xx{}, xy{}, xz{}, yy{}, yz{}, zz{};

  void Add(Pair x, Pair y, Pair z) {
    xx += x * x;
    xy += x * y;
    xz += x * z;
    yy += y * y;
    yz += y * z;
    zz += z * z;
  }
  Eigen::Matrix3d Total() const {
    Eigen::Matrix3d m;
    m << Sum(xx), Sum(xy), Sum(xz), Sum(xy), Sum(yy), Sum(yz), Sum(xz), Sum(yz), Sum(zz);
    return m;
  }
};

/// Two neighbouring columns at once, from the first two on. The columns stand one after the other.
class ColumnPairs {
 public:
  explicit ColumnPairs(const ColumnView& points, Eigen::Index begin)
      : _p(points.data + begin * points.stride), _stride(points.stride) {}

  Pair x() const { return Pair{_p[0], _p[_stride]}; }
  Pair y() const { return Pair{_p[1], _p[_stride + 1]}; }
  Pair z() const { return Pair{_p[2], _p[_stride + 2]}; }
  void Next() { _p += 2 * _stride; }

 private:
  const double* _p;
  Eigen::Index _stride;
};

/// The same of points whose coordinates stand apart.
class CoordinatePairs {
 public:
  explicit CoordinatePairs(const CoordinateView& points, Eigen::Index begin)
      : _x(points.x + begin), _y(points.y + begin), _z(points.z + begin) {}

  Pair x() const { return Load(_x); }
  Pair y() const { return Load(_y); }
  Pair z() const { return Load(_z); }
  void Next() {
    _x += 2;
    _y += 2;
    _z += 2;
  }

 private:
  const double* _x;
  const double* _y;
  const double* _z;
};

ColumnPairs PairsFrom(const ColumnView& points, Eigen::Index begin) {
  return ColumnPairs(points, begin);
}
CoordinatePairs PairsFrom(const CoordinateView& points, Eigen::Index begin) {
  return CoordinatePairs(points, begin);
}

Eigen::Vector3d PointAt(const ColumnView& points, Eigen::Index i) {
  return Eigen::Vector3d::Map(points.data + i * points.stride);
}
Eigen::Vector3d PointAt(const CoordinateView& points, Eigen::Index i) {
  return {points.x[i], points.y[i], points.z[i]};
}

/// Whether two columns of weight 0 are passed over. That adds nothing to any sum as long as the
/// points are of moderate size: among all others 0 times infinity has to spoil the sums.
constexpr bool PassesOverUnweighted(const ColumnView& /*points*/) { return false; }
constexpr bool PassesOverUnweighted(const CoordinateView& /*points*/) { return true; }

/// Sums over `columns` columns, an even number.
template <typename Pairs>
void AddBlock(Pairs p, Eigen::Index columns, const Eigen::Vector3d& reference, Sums& sums) {
  const Pair rx = Both(reference.x());
  const Pair ry = Both(reference.y());
  const Pair rz = Both(reference.z());
  Pair sx{}, sy{}, sz{};
  PairProducts products;
  for (Eigen::Index i = 0; i < columns; i += 2, p.Next()) {
    const Pair x = p.x() - rx;
    const Pair y = p.y() - ry;
    const Pair z = p.z() - rz;
    sx += x;
    sy += y;
    sz += z;
    products.Add(x, y, z);
  }
  sums.first += Eigen::Vector3d(Sum(sx), Sum(sy), Sum(sz));
  sums.scatter += products.Total();
}

/// The same with the weights that stand at `w`.
template <bool kPassOver, typename Pairs>
void AddBlock(Pairs p, Eigen::Index columns, const double* w, const Eigen::Vector3d& reference,
              Sums& sums) {
  const Pair rx = Both(reference.x());
  const Pair ry = Both(reference.y());
  const Pair rz = Both(reference.z());
  Pair sx{}, sy{}, sz{}, tx{}, ty{}, tz{}, ww{};
  PairProducts products;
  for (Eigen::Index i = 0; i < columns; i += 2, p.Next(), w += 2) {
    const Pair weight = Load(w);
    if (kPassOver && BothZero(weight)) continue;
    const Pair x = weight * (p.x() - rx);
    const Pair y = weight * (p.y() - ry);
    const Pair z = weight * (p.z() - rz);
    sx += x;
    sy += y;
    sz += z;
    tx += weight * x;
    ty += weight * y;
    tz += weight * z;
    ww += weight * weight;
    products.Add(x, y, z);
  }
  sums.first += Eigen::Vector3d(Sum(sx), Sum(sy), Sum(sz));
  sums.second += Eigen::Vector3d(Sum(tx), Sum(ty), Sum(tz));
  sums.squared_weights += Sum(ww);
  sums.scatter += products.Total();
}

/// An odd last column.
void AddLast(const Eigen::Vector3d& p, double weight, const Eigen::Vector3d& reference,
             Sums& sums) {
  const Eigen::Vector3d d = weight * (p - reference);
  sums.first += d;
  sums.second += weight * d;
  sums.squared_weights += weight * weight;
  sums.scatter += d * d.transpose();
}

template <typename View>
Sums SumAll(const View& points, const double* weights, const Eigen::Vector3d& reference) {
  Sums sums;
  const Eigen::Index even = points.columns / 2 * 2;
  for (Eigen::Index begin = 0; begin < even; begin += kBlock) {
    const Eigen::Index columns = std::min(kBlock, even - begin);
    if (weights == nullptr) {
      AddBlock(PairsFrom(points, begin), columns, reference, sums);
    } else {
      AddBlock<PassesOverUnweighted(View{})>(PairsFrom(points, begin), columns, weights + begin,
                                             reference, sums);
    }
  }
  if (even < points.columns) {
    AddLast(PointAt(points, even), weights == nullptr ? 1.0 : weights[even], reference, sums);
  }
  if (weights == nullptr) {
    sums.second = sums.first;
    sums.squared_weights = static_cast<double>(points.columns);
  }
  return sums;
}

template <typename View>
Moments About(const View& points, const Eigen::VectorXd& weights, const Eigen::Vector3d& reference,
              Eigen::Vector3d& shift) {
  const bool weighted = weights.size() != 0;
  const Sums sums = SumAll(points, weighted ? weights.data() : nullptr, reference);
  shift = sums.first / (weighted ? weights.sum() : static_cast<double>(points.columns));
  const Eigen::Matrix3d cross = sums.second * shift.transpose();
  Moments moments;
  moments.centroid = reference + shift;
  moments.scatter =
      sums.scatter - cross - cross.transpose() + sums.squared_weights * shift * shift.transpose();
  moments.squared_weights = sums.squared_weights;
  return moments;
}

template <typename View>
Moments MomentsOf(const View& points, const Eigen::VectorXd& weights) {
  Eigen::Vector3d shift;
  const Moments moments = About(points, weights, PointAt(points, 0), shift);
  // Moving the scatter from the first column to the centroid takes off what is about as large as
  // the scatter itself: a bit or two is lost, not more. When the first column is far from the
  // others it would be digits, and the sums are made again about the centroid.
  constexpr double kLargestLoss = 8.0;
  if (moments.squared_weights * shift.squaredNorm() <= kLargestLoss * moments.scatter.trace()) {
    return moments;
  }
  return About(points, weights, moments.centroid, shift);
}

}  // namespace

Moments FindMoments(const ColumnView& points, const Eigen::VectorXd& weights) {
  return MomentsOf(points, weights);
}

Moments FindMoments(const CoordinateView& points, const Eigen::VectorXd& weights) {
  return MomentsOf(points, weights);
}

double FindResiduals(const CoordinateView& points, const Eigen::Vector3d& origin,
                     const Eigen::Vector3d& normal, const Eigen::VectorXd& weights,
                     Eigen::VectorXd& residuals) {
  const Pair ox = Both(origin.x()), oy = Both(origin.y()), oz = Both(origin.z());
  const Pair nx = Both(normal.x()), ny = Both(normal.y()), nz = Both(normal.z());
  const double* w = weights.data();
  double* r = residuals.data();
  const Eigen::Index even = points.columns / 2 * 2;
  CoordinatePairs p(points, 0);
  Pair worst{};
  for (Eigen::Index i = 0; i < even; i += 2, p.Next()) {
    const Pair x = nx * (p.x() - ox);
    const Pair y = ny * (p.y() - oy);
    const Pair z = nz * (p.z() - oz);
    const Pair distance = Magnitude(x + (y + z));
    Store(distance, r + i);
    const Pair in_use = Load(w + i) > 0.0 ? distance : Pair{};
    worst = in_use > worst ? in_use : worst;
  }
  double largest = std::max(worst[0], worst[1]);
  if (even < points.columns) {
    r[even] = std::abs((PointAt(points, even) - origin).dot(normal));
    if (w[even] > 0.0) largest = std::max(largest, r[even]);
  }
  return largest;
}

}  // namespace libmfx::geometry
