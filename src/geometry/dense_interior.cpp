#include "geometry/dense_interior.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using Eigen::Index;

/// Fewer points are meshed as quickly as they are looked at.
constexpr Index kFewest = 500;
/// A cell is as wide as so many spacings of points that spread evenly: it has a point mostly, and
/// what is kept along a gap is no wider than it need be.
constexpr double kSpacings = 3.0;
/// Cells around a cell, to either side, that have to be occupied.
constexpr Index kAround = 2;

/// Square cells over the points, with a rim of empty ones so wide that none at the edge is inside.
struct Cells {
  double left = 0.0;
  double bottom = 0.0;
  double a_unit = 0.0;  ///< cells in one metre
  Index columns = 0;
  Index rows = 0;

  std::size_t Of(double x, double y) const {
    const auto column = static_cast<Index>((x - left) * a_unit) + kAround;
    const auto row = static_cast<Index>((y - bottom) * a_unit) + kAround;
    return static_cast<std::size_t>(row * columns + column);
  }
  std::size_t size() const { return static_cast<std::size_t>(rows * columns); }
};

/// No cells where the points do not fill a plane, or lie too thin for any of them to be inside.
Cells CellsOver(const Eigen::MatrixXd& points, double gap) {
  // A disk of the diameter sqrt(8) cells around its middle's cell holds the whole of that cell,
  // which lies at most two cells from any point of the disk. The cells are a hundredth smaller.
  const double widest = 0.99 * gap / std::sqrt(8.0);
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  double left = kInfinity, right = -kInfinity, bottom = kInfinity, top = -kInfinity;
  for (Index i = 0; i < points.cols(); ++i) {
    const double x = points(0, i), y = points(1, i);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    left = std::min(left, x);
    right = std::max(right, x);
    bottom = std::min(bottom, y);
    top = std::max(top, y);
  }
  const double count = static_cast<double>(points.cols());
  const double spacing = std::sqrt((right - left) * (top - bottom) / count);
  const double width = std::min(widest, kSpacings * spacing);
  const double columns = (right - left) / width, rows = (top - bottom) / width;
  if (!(width > 0.0) || !(columns * rows < count)) return {};
  constexpr Index kRims = 2 * kAround + 1;
  return {left, bottom, 1.0 / width, static_cast<Index>(columns) + kRims,
          static_cast<Index>(rows) + kRims};
}

/// Marks the cells all of whose neighbours have a mark, in steps of `step` to either side.
std::vector<std::uint8_t> Inside(const std::vector<std::uint8_t>& marked, std::size_t step) {
  const std::size_t reach = static_cast<std::size_t>(kAround) * step;
  std::vector<std::uint8_t> inside(marked.size(), 0);
  for (std::size_t i = reach; i + reach < marked.size(); ++i) {
    inside[i] = static_cast<std::uint8_t>(marked[i - 2 * step] & marked[i - step] & marked[i] &
                                          marked[i + step] & marked[i + 2 * step]);
  }
  return inside;
}

}  // namespace

PointCloud WithoutDenseInterior(const PointCloud& points, double gap) {
  const Eigen::MatrixXd& data = points.data();
  if (data.cols() < kFewest || data.rows() < 2 || !(gap > 0.0) || !std::isfinite(gap)) {
    return points;
  }
  const Cells cells = CellsOver(data, gap);
  if (cells.size() == 0) return points;
  constexpr std::uint32_t kNowhere = std::numeric_limits<std::uint32_t>::max();
  std::vector<std::uint32_t> cell_of(static_cast<std::size_t>(data.cols()), kNowhere);
  std::vector<std::uint8_t> occupied(cells.size(), 0);
  for (Index i = 0; i < data.cols(); ++i) {
    const double x = data(0, i), y = data(1, i);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    const std::size_t cell = cells.Of(x, y);
    cell_of[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(cell);
    occupied[cell] = 1;
  }
  // A cell that is inside goes with its first point, which stays.
  const std::vector<std::uint8_t> inside =
      Inside(Inside(occupied, 1), static_cast<std::size_t>(cells.columns));
  std::vector<std::uint8_t> is_kept(cells.size(), 0);
  Eigen::MatrixXd kept(data.rows(), data.cols());
  Index count = 0;
  for (Index i = 0; i < data.cols(); ++i) {
    const std::uint32_t cell = cell_of[static_cast<std::size_t>(i)];
    if (cell != kNowhere && inside[cell] != 0 && std::exchange(is_kept[cell], 1) != 0) continue;
    kept.col(count++) = data.col(i);
  }
  kept.conservativeResize(Eigen::NoChange, count);
  return PointCloud(std::move(kept), points.embeddings());
}

}  // namespace libmfx::geometry
