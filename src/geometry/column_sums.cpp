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

/// Sums over `columns` columns, an even number, of which the first stands at `p`.
void AddBlock(const double* p, Eigen::Index stride, Eigen::Index columns,
              const Eigen::Vector3d& reference, Sums& sums) {
  const Pair rx = Both(reference.x());
  const Pair ry = Both(reference.y());
  const Pair rz = Both(reference.z());
  Pair sx{}, sy{}, sz{};
  PairProducts products;
  for (Eigen::Index i = 0; i < columns; i += 2, p += 2 * stride) {
    const Pair x = Pair{p[0], p[stride]} - rx;
    const Pair y = Pair{p[1], p[stride + 1]} - ry;
    const Pair z = Pair{p[2], p[stride + 2]} - rz;
    sx += x;
    sy += y;
    sz += z;
    products.Add(x, y, z);
  }
  sums.first += Eigen::Vector3d(Sum(sx), Sum(sy), Sum(sz));
  sums.scatter += products.Total();
}

/// The same with the weights that stand at `w`.
void AddBlock(const double* p, Eigen::Index stride, Eigen::Index columns, const double* w,
              const Eigen::Vector3d& reference, Sums& sums) {
  const Pair rx = Both(reference.x());
  const Pair ry = Both(reference.y());
  const Pair rz = Both(reference.z());
  Pair sx{}, sy{}, sz{}, tx{}, ty{}, tz{}, ww{};
  PairProducts products;
  for (Eigen::Index i = 0; i < columns; i += 2, p += 2 * stride, w += 2) {
    const Pair weight{w[0], w[1]};
    const Pair x = weight * (Pair{p[0], p[stride]} - rx);
    const Pair y = weight * (Pair{p[1], p[stride + 1]} - ry);
    const Pair z = weight * (Pair{p[2], p[stride + 2]} - rz);
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
void AddLast(const double* p, double weight, const Eigen::Vector3d& reference, Sums& sums) {
  const Eigen::Vector3d d = weight * (Eigen::Vector3d::Map(p) - reference);
  sums.first += d;
  sums.second += weight * d;
  sums.squared_weights += weight * weight;
  sums.scatter += d * d.transpose();
}

Sums SumAll(const ColumnView& points, const double* weights, const Eigen::Vector3d& reference) {
  Sums sums;
  const Eigen::Index even = points.columns / 2 * 2;
  for (Eigen::Index begin = 0; begin < even; begin += kBlock) {
    const Eigen::Index columns = std::min(kBlock, even - begin);
    const double* p = points.data + begin * points.stride;
    if (weights == nullptr) {
      AddBlock(p, points.stride, columns, reference, sums);
    } else {
      AddBlock(p, points.stride, columns, weights + begin, reference, sums);
    }
  }
  if (even < points.columns) {
    AddLast(points.data + even * points.stride, weights == nullptr ? 1.0 : weights[even], reference,
            sums);
  }
  if (weights == nullptr) {
    sums.second = sums.first;
    sums.squared_weights = static_cast<double>(points.columns);
  }
  return sums;
}

Moments About(const ColumnView& points, const Eigen::VectorXd& weights,
              const Eigen::Vector3d& reference, Eigen::Vector3d& shift) {
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

}  // namespace

Moments FindMoments(const ColumnView& points, const Eigen::VectorXd& weights) {
  Eigen::Vector3d shift;
  const Moments moments = About(points, weights, Eigen::Vector3d::Map(points.data), shift);
  // Moving the scatter from the first column to the centroid takes off what is about as large as
  // the scatter itself: a bit or two is lost, not more. When the first column is far from the
  // others it would be digits, and the sums are made again about the centroid.
  constexpr double kLargestLoss = 8.0;
  if (moments.squared_weights * shift.squaredNorm() <= kLargestLoss * moments.scatter.trace()) {
    return moments;
  }
  return About(points, weights, moments.centroid, shift);
}

double FindResiduals(const ColumnView& points, const Eigen::Vector3d& origin,
                     const Eigen::Vector3d& normal, const Eigen::VectorXd& weights,
                     Eigen::VectorXd& residuals) {
  const Pair ox = Both(origin.x()), oy = Both(origin.y()), oz = Both(origin.z());
  const Pair nx = Both(normal.x()), ny = Both(normal.y()), nz = Both(normal.z());
  const Eigen::Index stride = points.stride;
  const double* p = points.data;
  const double* w = weights.data();
  double* r = residuals.data();
  const Eigen::Index even = points.columns / 2 * 2;
  Pair worst{};
  for (Eigen::Index i = 0; i < even; i += 2, p += 2 * stride) {
    const Pair x = nx * (Pair{p[0], p[stride]} - ox);
    const Pair y = ny * (Pair{p[1], p[stride + 1]} - oy);
    const Pair z = nz * (Pair{p[2], p[stride + 2]} - oz);
    const Pair distance = Magnitude(x + (y + z));
    Store(distance, r + i);
    const Pair in_use = Load(w + i) > 0.0 ? distance : Pair{};
    worst = in_use > worst ? in_use : worst;
  }
  double largest = std::max(worst[0], worst[1]);
  if (even < points.columns) {
    r[even] = std::abs((Eigen::Vector3d::Map(p) - origin).dot(normal));
    if (w[even] > 0.0) largest = std::max(largest, r[even]);
  }
  return largest;
}

}  // namespace libmfx::geometry
