#include "scatter.h"

#include <algorithm>

namespace libmfx::geometry {
namespace {

using Pair = Eigen::Array2d;

constexpr Eigen::Index kBlock = 512;  // columns summed before they join the total; even

/// Sums over two columns at a time, one column a lane.
struct PairSums {
  Pair x = Pair::Zero(), y = Pair::Zero(), z = Pair::Zero();

  Eigen::Vector3d Total() const { return {x.sum(), y.sum(), z.sum()}; }
};

struct PairProducts {
  Pair xx = Pair::Zero(), xy = Pair::Zero(), xz = Pair::Zero();
  Pair yy = Pair::Zero(), yz = Pair::Zero(), zz = Pair::Zero();

  void Add(const Pair& x, const Pair& y, const Pair& z) {
    xx += x * x;
    xy += x * y;
    xz += x * z;
    yy += y * y;
    yz += y * z;
    zz += z * z;
  }
  Eigen::Matrix3d Total() const {
    Eigen::Matrix3d m;
    m << xx.sum(), xy.sum(), xz.sum(), xy.sum(), yy.sum(), yz.sum(), xz.sum(), yz.sum(), zz.sum();
    return m;
  }
};

/// Sums `body(i)` over the pairs of columns (i, i + 1) and `last(i)` over an odd last column, block
/// by block. `Sums` is what one block accumulates.
template <typename Sums, typename Body>
auto SumInBlocks(Eigen::Index columns, Body body) {
  decltype(Sums().Total()) total = decltype(Sums().Total())::Zero();
  for (Eigen::Index begin = 0; begin < columns; begin += kBlock) {
    const Eigen::Index end = std::min(begin + kBlock, columns);
    Sums sums;
    Eigen::Index i = begin;
    for (; i + 1 < end; i += 2) body(sums, i, i + 1, 1.0);
    if (i < end) body(sums, i, i, 0.0);
    total += sums.Total();
  }
  return total;
}

}  // namespace

Eigen::Vector3d Centroid(const ColumnView& points) {
  const Eigen::Vector3d first = Eigen::Vector3d::Map(points.data);
  const double fx = first.x(), fy = first.y(), fz = first.z();
  const auto add = [&](PairSums& sums, Eigen::Index i, Eigen::Index j, double second) {
    const double* a = points.data + i * points.stride;
    const double* b = points.data + j * points.stride;
    sums.x += Pair(a[0] - fx, second * (b[0] - fx));
    sums.y += Pair(a[1] - fy, second * (b[1] - fy));
    sums.z += Pair(a[2] - fz, second * (b[2] - fz));
  };
  return first + SumInBlocks<PairSums>(points.columns, add) / static_cast<double>(points.columns);
}

Eigen::Vector3d Centroid(const ColumnView& points, const Eigen::VectorXd& weights) {
  const Eigen::Vector3d first = Eigen::Vector3d::Map(points.data);
  const double fx = first.x(), fy = first.y(), fz = first.z();
  const auto add = [&](PairSums& sums, Eigen::Index i, Eigen::Index j, double second) {
    const double* a = points.data + i * points.stride;
    const double* b = points.data + j * points.stride;
    const Pair w(weights[i], second * weights[j]);
    sums.x += w * Pair(a[0] - fx, b[0] - fx);
    sums.y += w * Pair(a[1] - fy, b[1] - fy);
    sums.z += w * Pair(a[2] - fz, b[2] - fz);
  };
  return first + SumInBlocks<PairSums>(points.columns, add) / weights.sum();
}

Eigen::Matrix3d Scatter(const ColumnView& points, const Eigen::Vector3d& centroid) {
  const double cx = centroid.x(), cy = centroid.y(), cz = centroid.z();
  const auto add = [&](PairProducts& sums, Eigen::Index i, Eigen::Index j, double second) {
    const double* a = points.data + i * points.stride;
    const double* b = points.data + j * points.stride;
    sums.Add(Pair(a[0] - cx, second * (b[0] - cx)), Pair(a[1] - cy, second * (b[1] - cy)),
             Pair(a[2] - cz, second * (b[2] - cz)));
  };
  return SumInBlocks<PairProducts>(points.columns, add);
}

Eigen::Matrix3d Scatter(const ColumnView& points, const Eigen::Vector3d& centroid,
                        const Eigen::VectorXd& weights) {
  const double cx = centroid.x(), cy = centroid.y(), cz = centroid.z();
  const auto add = [&](PairProducts& sums, Eigen::Index i, Eigen::Index j, double second) {
    const double* a = points.data + i * points.stride;
    const double* b = points.data + j * points.stride;
    const Pair w(weights[i], second * weights[j]);
    sums.Add(w * Pair(a[0] - cx, b[0] - cx), w * Pair(a[1] - cy, b[1] - cy),
             w * Pair(a[2] - cz, b[2] - cz));
  };
  return SumInBlocks<PairProducts>(points.columns, add);
}

}  // namespace libmfx::geometry
