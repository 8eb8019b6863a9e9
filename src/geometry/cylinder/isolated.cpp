#include "geometry/cylinder/isolated.h"

#include <algorithm>
#include <limits>

#include "geometry/cylinder/neighbourhood.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr Eigen::Index kFewestSpacings = 50;
constexpr std::size_t kSpacingNeighbours = 9;  // with the point itself
constexpr double kMostSpacings = 4.0;

}  // namespace

std::vector<bool> MarkIsolated(const Points& points) {
  std::vector<bool> marked(static_cast<std::size_t>(points.size()), false);
  if (points.size() < kFewestSpacings) return marked;
  Neighbourhood neighbourhood(points);
  neighbourhood.Build();
  std::vector<double> spacings;
  spacings.reserve(marked.size());
  std::vector<Eigen::Index> found;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    neighbourhood.Nearest(points.at(i), kSpacingNeighbours, std::numeric_limits<double>::infinity(),
                          found);
    spacings.push_back((points.at(found.back()) - points.at(i)).norm());
  }
  std::vector<double> sorted = spacings;
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  for (std::size_t i = 0; i < marked.size(); ++i) marked[i] = spacings[i] > kMostSpacings * *middle;
  return marked;
}

}  // namespace libmfx::geometry::cylinder
