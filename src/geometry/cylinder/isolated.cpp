#include "geometry/cylinder/isolated.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "geometry/cylinder/neighbour_cells.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr Eigen::Index kFewestSpacings = 50;
constexpr std::size_t kSpacingNeighbours = 9;  // with the point itself
constexpr double kMostSpacings = 4.0;

// Spacings are kept as squares, and the middle one of n is number n / 2 in their order.
double TakeNumber(std::size_t number, std::vector<double>& values) {
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(number);
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

bool IsIsolated(double squared, double middle) {
  return std::sqrt(squared) > kMostSpacings * std::sqrt(middle);
}

// Whether no square of a distance overflows. Where one does, a spacing counts the neighbours that
// are found, and a count of those nearer than a bound doesn't tell it.
bool SquaresFit(const Points& points) {
  constexpr double kMost = 1e150;
  return points.x.abs().maxCoeff() < kMost && points.y.abs().maxCoeff() < kMost &&
         points.z.abs().maxCoeff() < kMost;
}

// By the spacing of each point.
void MarkAll(NeighbourCells& cells, std::vector<bool>& marked) {
  std::vector<double> spacings(marked.size());
  for (const std::uint32_t i : cells.order()) {
    spacings[i] = cells.SquaredReach(static_cast<Eigen::Index>(i));
  }
  std::vector<double> sorted = spacings;
  const double middle = TakeNumber(sorted.size() / 2, sorted);
  for (std::size_t i = 0; i < marked.size(); ++i) marked[i] = IsIsolated(spacings[i], middle);
}

// Bounds that the middle spacing lies within all but surely, as some of the points tell it.
struct Bounds {
  double lower, upper;
};

Bounds BoundMiddle(NeighbourCells& cells) {
  constexpr std::size_t kShare = 16, kFewest = 50, kMost = 4096;
  constexpr double kDeviations = 3.3;
  const std::vector<std::uint32_t>& order = cells.order();
  const std::size_t count = std::clamp(order.size() / kShare, kFewest, kMost);
  std::vector<double> spacings;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t place = order[i * order.size() / count];
    spacings.push_back(cells.SquaredReach(static_cast<Eigen::Index>(place)));
  }
  // The place of the middle one among so many drawn ones spreads by half of their root.
  const double off = 0.5 * kDeviations * std::sqrt(static_cast<double>(count));
  const auto lower = static_cast<std::size_t>(0.5 * static_cast<double>(count) - off);
  const auto upper = static_cast<std::size_t>(0.5 * static_cast<double>(count) + off);
  return {TakeNumber(lower, spacings), TakeNumber(upper, spacings)};
}

// What the points around one say of its spacing.
struct Verdict {
  bool below = false;             // at most the lower bound
  std::optional<double> between;  // the spacing, when it lies within the bounds
  bool near = false;              // it is far from isolated
};

Verdict Judge(NeighbourCells& cells, std::size_t number, const Bounds& bounds,
              std::vector<double>& within) {
  // Nearer than this is not isolated, wherever the middle lies in its bounds.
  const double far = (1.0 - 1e-9) * kMostSpacings * kMostSpacings * bounds.lower;
  const double lower = bounds.lower, upper = bounds.upper;
  std::size_t below = 0, up_to_upper = 0, near = 0;
  const bool seen = cells.SeeAround(number, [&](double squared, Eigen::Index) {
    below += squared <= lower ? 1 : 0;
    up_to_upper += squared <= upper ? 1 : 0;
    near += squared <= far ? 1 : 0;
  });
  Verdict verdict;
  if (!seen) {
    const double spacing = cells.SquaredReach(static_cast<Eigen::Index>(cells.order()[number]));
    verdict.below = spacing <= lower;
    verdict.near = spacing <= far;
    if (!verdict.below && spacing <= upper) verdict.between = spacing;
    return verdict;
  }
  verdict.below = below >= kSpacingNeighbours;
  verdict.near = near >= kSpacingNeighbours;
  if (verdict.below || up_to_upper < kSpacingNeighbours) return verdict;
  within.clear();
  cells.SeeAround(number, [&](double squared, Eigen::Index) {
    if (squared > lower && squared <= upper) within.push_back(squared);
  });
  verdict.between = TakeNumber(kSpacingNeighbours - 1 - below, within);
  return verdict;
}

// The same, mostly without the spacings: a count of the neighbours up to a bound tells on which
// side of it a spacing is, and the few between the bounds have the middle one among them.
// \return false when they don't
bool MarkByCounts(NeighbourCells& cells, std::vector<bool>& marked) {
  if (cells.squared_view() == 0.0) return false;
  const Bounds bounds = BoundMiddle(cells);
  if (!(bounds.upper <= cells.squared_view())) return false;
  std::size_t below = 0;
  std::vector<double> between, within;
  std::vector<std::uint32_t> doubtful;
  for (std::size_t number = 0; number < marked.size(); ++number) {
    const Verdict verdict = Judge(cells, number, bounds, within);
    below += verdict.below ? 1 : 0;
    if (verdict.between) between.push_back(*verdict.between);
    if (!verdict.near) doubtful.push_back(cells.order()[number]);
  }
  const std::size_t half = marked.size() / 2;
  if (half < below || half >= below + between.size()) return false;
  const double middle = TakeNumber(half - below, between);
  for (const std::uint32_t i : doubtful) {
    marked[i] = IsIsolated(cells.SquaredReach(static_cast<Eigen::Index>(i)), middle);
  }
  return true;
}

}  // namespace

std::vector<bool> MarkIsolated(const Points& points) {
  std::vector<bool> marked(static_cast<std::size_t>(points.size()), false);
  if (points.size() < kFewestSpacings) return marked;
  NeighbourCells cells(points, kSpacingNeighbours);
  if (!SquaresFit(points) || !MarkByCounts(cells, marked)) MarkAll(cells, marked);
  return marked;
}

}  // namespace libmfx::geometry::cylinder
