#include "inspection/flatness.h"

#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>

namespace libmfx::inspection {
namespace {

using Eigen::Matrix4d;
using Eigen::Vector3d;
using Eigen::Vector4d;

/// Points whose width is less than this share of their length lie on a line.
constexpr double kLine = 1e-6;
/// Exchanges take about ten steps, whatever the number of points; more than this never end.
constexpr int kMostExchanges = 1000;
constexpr int kMostTurns = 8;
/// What the weights of the first basis have more than they should: none of them is zero then, so
/// that each exchange gains something and none comes back. It moves the result by as small a share.
constexpr std::array<double, 4> kExtra = {1.0e-10, 1.3e-10, 1.7e-10, 2.3e-10};

/// A height over a place in a plane: (1, u, v) and h.
struct Height {
  Vector3d at;
  double h;
};

/// Heights within e of a + b u + c v: (a, b, c), and e.
struct Band {
  Vector3d plane;
  double half = 0.0;
};

/// Three heights whose places span a large triangle.
std::array<std::size_t, 3> WideTriangle(const std::vector<Height>& heights) {
  const auto farthest = [&](const auto& distance) {
    std::size_t best = 0;
    for (std::size_t i = 1; i < heights.size(); ++i) {
      if (distance(heights[i].at) > distance(heights[best].at)) best = i;
    }
    return best;
  };
  const std::size_t a = farthest([](const Vector3d& p) { return p.tail<2>().squaredNorm(); });
  const Vector3d& pa = heights[a].at;
  const std::size_t b = farthest([&](const Vector3d& p) { return (p - pa).squaredNorm(); });
  const Vector3d& pb = heights[b].at;
  const std::size_t c = farthest([&](const Vector3d& p) { return std::fabs(pa.cross(pb).dot(p)); });
  return {a, b, c};
}

/// Four heights, each on one of the band's borders.
class Basis {
 public:
  explicit Basis(const std::vector<Height>& heights) {
    const auto [a, b, c] = WideTriangle(heights);
    // The plane through three of them, one of which lies on both borders.
    Put(0, heights[a], 1.0);
    Put(1, heights[a], -1.0);
    Put(2, heights[b], 1.0);
    Put(3, heights[c], 1.0);
    _sums = _columns * (Vector4d(0.5, 0.5, 0.0, 0.0) + Eigen::Map<const Vector4d>(kExtra.data()));
  }

  /// The band whose borders the four lie on; not finite where they span none.
  Band Solve() const {
    const Vector4d found = _columns.transpose().partialPivLu().solve(_signed);
    return {found.head<3>(), found[3]};
  }

  /// Takes a height in that lies beyond a border, for the one whose weight is the first to vanish.
  /// \returns whether there is one
  bool Exchange(const Height& height, double sign) {
    Vector4d column;
    column << sign * height.at, 1.0;
    const Eigen::PartialPivLU<Matrix4d> solver(_columns);
    const Vector4d weights = solver.solve(_sums);
    const Vector4d fall = solver.solve(column);
    Eigen::Index leaves = -1;
    for (Eigen::Index i = 0; i < 4; ++i) {
      if (!(fall[i] > 1e-11)) continue;
      if (leaves < 0 || weights[i] * fall[leaves] < weights[leaves] * fall[i]) leaves = i;
    }
    if (leaves < 0) return false;
    Put(leaves, height, sign);
    return true;
  }

 private:
  void Put(Eigen::Index i, const Height& height, double sign) {
    _columns.col(i) << sign * height.at, 1.0;
    _signed[i] = sign * height.h;
  }

  Matrix4d _columns;  ///< s (1, u, v) and 1, where s is 1 on the upper border and -1 on the lower
  Vector4d _signed;   ///< s h
  Vector4d _sums;     ///< what the columns times their weights, none negative, come to
};

/// The narrowest band of heights, linear Chebyshev approximation: exchanges of one height against
/// one of four, which is the simplex method on the dual problem (Stiefel 1959). A step looks once
/// at every height.
std::optional<Band> NarrowestBand(const std::vector<Height>& heights) {
  double largest = 0.0;
  for (const Height& height : heights) largest = std::max(largest, std::fabs(height.h));
  // Coordinates are of the size of 1, and rounded to DBL_EPSILON.
  const double open = 1e-12 * largest + 8.0 * DBL_EPSILON;
  Basis basis(heights);
  for (int step = 0; step < kMostExchanges; ++step) {
    Band band = basis.Solve();
    const Height* worst = nullptr;
    double off = 0.0;
    for (const Height& height : heights) {
      const double here = height.h - height.at.dot(band.plane);
      if (std::isnan(here)) return std::nullopt;
      if (worst != nullptr && std::fabs(here) <= std::fabs(off)) continue;
      worst = &height;
      off = here;
    }
    if (std::fabs(off) <= band.half + open) {
      band.half = std::fabs(off);
      return band;
    }
    if (!basis.Exchange(*worst, off > 0.0 ? 1.0 : -1.0)) return std::nullopt;
  }
  return std::nullopt;
}

/// Points about their mean, of an extent of 1.
struct UnitPoints {
  std::vector<Vector3d> points;
  double extent = 0.0;  ///< m
};

std::optional<UnitPoints> UnitOf(const std::vector<Vector3d>& points) {
  if (points.size() < 3) return std::nullopt;
  UnitPoints unit{points, 0.0};
  Vector3d mean = Vector3d::Zero();
  for (const Vector3d& point : points) mean += point / static_cast<double>(points.size());
  for (Vector3d& point : unit.points) {
    if (!point.allFinite()) return std::nullopt;
    point -= mean;
    unit.extent = std::max(unit.extent, point.norm());
  }
  if (!std::isfinite(unit.extent) || !(unit.extent > 0.0)) return std::nullopt;
  for (Vector3d& point : unit.points) point /= unit.extent;
  return unit;
}

PlaneSpread SpreadOf(const std::vector<Vector3d>& points) {
  Eigen::Matrix3d squares = Eigen::Matrix3d::Zero();
  for (const Vector3d& p : points) squares += p * p.transpose();
  squares /= static_cast<double>(points.size());
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(squares);
  const Vector3d spread = solver.eigenvalues().cwiseMax(0.0).cwiseSqrt();
  return {solver.eigenvectors().col(0), spread[2], spread[1], spread[0]};
}

/// What a plane makes of points: their heights, and places whose scatter is 1 either way.
struct Frame {
  Vector3d normal, u, v;  ///< `u` and `v` over the scatter along them
  std::vector<Height> heights;
};

Frame FrameOf(const std::vector<Vector3d>& points, const Vector3d& normal) {
  Frame frame{normal, normal.unitOrthogonal(), Vector3d::Zero(), {}};
  frame.v = normal.cross(frame.u);
  Eigen::Matrix2d squares = Eigen::Matrix2d::Zero();
  for (const Vector3d& p : points) {
    const Eigen::Vector2d place(frame.u.dot(p), frame.v.dot(p));
    squares += place * place.transpose() / static_cast<double>(points.size());
  }
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix2d> solver(squares);
  const Eigen::Vector2d scatter = solver.eigenvalues().cwiseMax(kLine * kLine * 1e-2).cwiseSqrt();
  const Eigen::Matrix<double, 3, 2> axes =
      (Eigen::Matrix<double, 3, 2>() << frame.u, frame.v).finished() * solver.eigenvectors();
  frame.u = axes.col(0) / scatter[0];
  frame.v = axes.col(1) / scatter[1];
  frame.heights.reserve(points.size());
  for (const Vector3d& p : points) {
    frame.heights.push_back({{1.0, frame.u.dot(p), frame.v.dot(p)}, normal.dot(p)});
  }
  return frame;
}

}  // namespace

std::optional<PlaneSpread> SpreadAboutPlane(const std::vector<Vector3d>& points) {
  const std::optional<UnitPoints> unit = UnitOf(points);
  if (!unit) return std::nullopt;
  PlaneSpread spread = SpreadOf(unit->points);
  spread.length *= unit->extent;
  spread.width *= unit->extent;
  spread.height *= unit->extent;
  return spread;
}

// A zone's planes h = b u + c v + constant, whose heights differ by W, are W / sqrt(1 + b^2 + c^2)
// apart; exchanges find the least W. Of the thinnest zone, with the slope s, W is no less, so that
// the one found is thicker by a share of s^2 / 2 at most: s is about the zone over the points'
// width, and for 0.05 mm over 50 mm that is 0.03 nm. It vanishes when the heights are told over the
// zone that was found, and the slope is then zero: so the frame is turned until it is.
std::optional<double> MinimumZone(const std::vector<Vector3d>& points) {
  const std::optional<UnitPoints> unit = UnitOf(points);
  if (!unit) return std::nullopt;
  const PlaneSpread spread = SpreadOf(unit->points);
  if (!(spread.width > kLine * spread.length)) return std::nullopt;
  Vector3d normal = spread.normal;
  std::optional<double> least;
  for (int turn = 0; turn < kMostTurns; ++turn) {
    const Frame frame = FrameOf(unit->points, normal);
    const std::optional<Band> band = NarrowestBand(frame.heights);
    if (!band) return least;
    const Vector3d slope = band->plane[1] * frame.u + band->plane[2] * frame.v;
    const double zone = 2.0 * band->half / std::sqrt(1.0 + slope.squaredNorm());
    if (!least || zone * unit->extent < *least) least = zone * unit->extent;
    if (slope.norm() < 1e-6) break;  // a share of 5e-13
    normal = (normal - slope).normalized();
  }
  return least;
}

}  // namespace libmfx::inspection
