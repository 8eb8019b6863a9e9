#include "geometry/cylinder/neighbour_cells.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace libmfx::geometry::cylinder {
namespace {

constexpr Eigen::Index kSamples = 12;     // points that tell how large the cells have to be
constexpr double kCellShare = 1.2;        // side of a cell over the middle sample's reach
constexpr double kUsualShare = 0.92;      // of a side, within which neighbours mostly lie
constexpr double kLeastSide = 1e-140;     // whose square is far from underflow
constexpr double kFarthestCell = 0x1p30;  // where rounding is still far below `kSure`
constexpr double kSure = 1.0 - 1e-6;      // of what a block holds in truth
constexpr int kMostLooksAtAll = 32;       // which cost less than a tree

double Middle(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

NeighbourCells::NeighbourCells(const Points& points, std::size_t count, double radius)
    : _points(points),
      _count(count),
      _most_squared(std::min(radius * radius, std::numeric_limits<double>::max())) {
  const auto all = static_cast<std::size_t>(points.size());
  if (all > _count && all <= CellTable::kMostPoints) ChooseCells();
  if (_side == 0.0) {
    _order.resize(all);
    std::iota(_order.begin(), _order.end(), 0U);
    return;
  }
  _table = CellTable(
      all, [this](std::size_t i) { return CellOf(_points.at(static_cast<Eigen::Index>(i))); });
  _entries.reserve(all);
  for (const std::uint32_t i : _table.places()) {
    _entries.push_back({_points.x[i], _points.y[i], _points.z[i], static_cast<Eigen::Index>(i)});
  }
}

// Cells are as large as the points need around some of them, which strays and crowds don't move.
void NeighbourCells::ChooseCells() {
  const Eigen::Index samples = std::min(kSamples, _points.size());
  std::vector<double> reaches;
  std::array<std::vector<double>, 3> coordinates;
  for (Eigen::Index i = 0; i < samples; ++i) {
    const Eigen::Vector3d p = _points.at(_points.size() / samples * i);
    LookAtAll(p, _found);
    reaches.push_back(_found.empty() ? 0.0 : std::sqrt(_found.back().squared));
    for (int k = 0; k < 3; ++k) coordinates[static_cast<std::size_t>(k)].push_back(p[k]);
  }
  const double side = std::min(kCellShare * Middle(reaches), std::sqrt(_most_squared) / kSure);
  if (!(side >= kLeastSide)) return;
  _side = side;
  _cells_a_length = 1.0 / side;
  _usual_squared = std::pow(kUsualShare * side, 2);
  _squared_view = kSure * side * (kSure * side);
  for (int k = 0; k < 3; ++k) _origin[k] = Middle(coordinates[static_cast<std::size_t>(k)]);
}

// Points beyond the farthest cells count as lying in these. Neighbouring points still lie in the
// same or in neighbouring cells.
CellTable::Cell NeighbourCells::CellOf(const Eigen::Vector3d& p) const {
  const auto cell = [this](double from_origin) {
    const double at =
        std::max(-kFarthestCell, std::min(kFarthestCell, from_origin * _cells_a_length));
    const auto towards_zero = static_cast<std::int64_t>(at);
    return towards_zero - (at < static_cast<double>(towards_zero) ? 1 : 0);
  };
  return {cell(p.x() - _origin.x()), cell(p.y() - _origin.y()), cell(p.z() - _origin.z())};
}

void NeighbourCells::EnterBlock(const CellTable::Cell& middle) {
  if (_middle == middle) return;
  _middle = middle;
  _in_block = _table.FindBlock(middle, 1, _block);
  _gathered = false;
}

void NeighbourCells::GatherBlock() {
  if (_gathered) return;
  _gathered = true;
  if (_block_places.size() < _in_block) {
    for (std::vector<double>* column : {&_block_x, &_block_y, &_block_z}) column->resize(_in_block);
    _block_places.resize(_in_block);
  }
  std::size_t at = 0;
  for (const CellTable::Run& run : _block) {
    for (std::size_t i = run.first; i < run.last; ++i, ++at) {
      const Entry& entry = _entries[i];
      _block_x[at] = entry.x;
      _block_y[at] = entry.y;
      _block_z[at] = entry.z;
      _block_places[at] = entry.place;
    }
  }
}

std::span<Neighbour> NeighbourCells::Of(Eigen::Index place) {
  const Eigen::Vector3d p = _points.at(place);
  if (const auto found = FindInCells(p)) return *found;
  FindElsewhere(p);
  return _found;
}

double NeighbourCells::SquaredReach(Eigen::Index place) {
  double reach = 0.0;
  for (const Neighbour& near : Of(place)) reach = std::max(reach, near.squared);
  return reach;
}

// The neighbours, or nothing when the cells around a point don't hold all that counts. A block
// reaches from any point of its middle cell as many sides as it has rings, so what lies nearer than
// that stands in it.
std::optional<std::span<Neighbour>> NeighbourCells::FindInCells(const Eigen::Vector3d& p) {
  if (_side == 0.0) return std::nullopt;
  const CellTable::Cell cell = CellOf(p);
  EnterBlock(cell);
  const std::vector<CellTable::Run>* block = &_block;
  std::size_t candidates = _in_block;
  // Mostly a narrower look finds enough, and leaves less to be compared.
  if (_usual_squared < _most_squared && !IsCrowd(candidates)) {
    const std::span<Neighbour> near = KeepNear(p, _usual_squared, *block, candidates);
    if (near.size() > _count) return TakeFirst(near, _usual_squared);
    if (near.size() == _count) return near;
  }
  for (int reach = 1;; ++reach) {
    if (IsCrowd(candidates)) return std::nullopt;
    const double sure = kSure * reach * _side;
    const double limit = std::min(sure * sure, _most_squared);
    const std::span<Neighbour> near = KeepNear(p, limit, *block, candidates);
    if (near.size() > _count) return TakeFirst(near, limit);
    if (near.size() == _count || limit == _most_squared) return near;
    if (reach == CellTable::kMostReach) return std::nullopt;
    block = &_wider_block;
    candidates = _table.FindBlock(cell, reach + 1, _wider_block);
  }
}

std::span<Neighbour> NeighbourCells::KeepNear(const Eigen::Vector3d& p, double limit,
                                              const std::vector<CellTable::Run>& block,
                                              std::size_t candidates) {
  // What isn't kept is written as well, and over by the next one.
  if (_near.size() < candidates + 1) _near.resize(candidates + 1);
  std::size_t kept = 0;
  for (const CellTable::Run& run : block) {
    for (std::size_t i = run.first; i < run.last; ++i) {
      const Entry& entry = _entries[i];
      const double squared = entry.SquaredDistance(p);
      _near[kept] = {squared, entry.place};
      kept += squared <= limit ? 1 : 0;
    }
  }
  return std::span(_near).first(kept);
}

// The first `_count` of more, moved to the front. Squares of distances in a surface are spread
// evenly, so after a count by size few are left to be compared.
std::span<Neighbour> NeighbourCells::TakeFirst(std::span<Neighbour> near, double limit) {
  constexpr std::size_t kSizes = 64;
  const double sizes_a_square = 0.999 * static_cast<double>(kSizes) / limit;
  const auto size_of = [&](const Neighbour& neighbour) {
    return static_cast<std::size_t>(static_cast<int>(neighbour.squared * sizes_a_square));
  };
  std::array<std::uint32_t, kSizes> counts = {};
  for (const Neighbour& neighbour : near) ++counts[size_of(neighbour)];
  std::size_t last = 0, smaller = 0;
  while (smaller + counts[last] < _count) smaller += counts[last++];
  if (_alike.size() < near.size()) _alike.resize(near.size());
  std::size_t kept = 0, alike = 0;
  for (const Neighbour neighbour : near) {
    const std::size_t size = size_of(neighbour);
    near[kept] = _alike[alike] = neighbour;
    kept += size < last ? 1 : 0;
    alike += size == last ? 1 : 0;
  }
  const auto middle = _alike.begin() + static_cast<std::ptrdiff_t>(_count - kept);
  std::nth_element(_alike.begin(), middle - 1, _alike.begin() + static_cast<std::ptrdiff_t>(alike));
  std::copy(_alike.begin(), middle, near.begin() + static_cast<std::ptrdiff_t>(kept));
  return near.first(_count);
}

void NeighbourCells::LookAtAll(const Eigen::Vector3d& p, std::vector<Neighbour>& found) const {
  found.clear();
  for (Eigen::Index i = 0; i < _points.size(); ++i) {
    const double squared = Entry{_points.x[i], _points.y[i], _points.z[i], i}.SquaredDistance(p);
    if (!(squared <= _most_squared)) continue;
    if (found.size() < _count || squared < found.back().squared)
      InsertFirst({squared, i}, _count, found);
  }
}

void NeighbourCells::FindElsewhere(const Eigen::Vector3d& p) {
  if (_looks_at_all < kMostLooksAtAll) {
    ++_looks_at_all;
    LookAtAll(p, _found);
    return;
  }
  if (!_tree) _tree.emplace(_points);
  _tree->First(p, _count, _found);
  while (!_found.empty() && !(_found.back().squared <= _most_squared)) _found.pop_back();
}

}  // namespace libmfx::geometry::cylinder
