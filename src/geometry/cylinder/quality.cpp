#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "geometry/cylinder/neighbourhood.h"
#include "libmfx/geometry/cylinder_fitter.h"

namespace libmfx::geometry {
namespace {

// A sample is judged against its neighbours and not against the whole scan: the wall of a bore seen
// at 20 degrees returns a third of the signal of the plate around it, all of it good. It has to
// stand out alone: the crests of a thread return half of what its flanks do, but there is always
// another sample of a crest nearby, while stray and mixed echoes come one at a time.
constexpr std::size_t kNeighbours = 17;  // with the sample itself
constexpr std::size_t kFewest = 5;       // neighbours that allow a verdict
constexpr std::size_t kPassedOver = 1;   // poorest neighbours that don't count
constexpr double kLeastShare = 0.8;      // of the poorest neighbour that counts

// Which of the samples stand out from their neighbours by a poor quality.
std::vector<bool> MarkPoor(const std::vector<Eigen::Vector3d>& points,
                           const std::vector<double>& qualities) {
  std::vector<bool> poor(points.size(), false);
  if (points.size() <= kFewest) return poor;
  cylinder::Points cloud(static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    cloud.set(static_cast<Eigen::Index>(i), points[i]);
  cylinder::Neighbourhood neighbourhood(cloud);
  neighbourhood.Build();
  std::vector<Eigen::Index> found;
  std::vector<double> around;
  for (std::size_t i = 0; i < points.size(); ++i) {
    neighbourhood.Nearest(points[i], kNeighbours, std::numeric_limits<double>::infinity(), found);
    around.clear();
    for (const Eigen::Index j : found)
      if (static_cast<std::size_t>(j) != i)
        around.push_back(qualities[static_cast<std::size_t>(j)]);
    std::nth_element(around.begin(), around.begin() + kPassedOver, around.end());
    poor[i] = qualities[i] < kLeastShare * around[kPassedOver];
  }
  return poor;
}

}  // namespace

std::size_t ThreadedCylinderFitter::RemoveLowQuality(std::vector<Eigen::Vector3d>& points,
                                                     std::vector<double>& qualities,
                                                     std::vector<std::size_t>* numbers) {
  const std::size_t before = points.size();
  const std::size_t count = std::min(points.size(), qualities.size());
  const auto keep_if = [&](std::size_t size, auto keeps) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < size; ++i) {
      if (!keeps(i)) continue;
      points[kept] = points[i];
      if (numbers != nullptr) (*numbers)[kept] = (*numbers)[i];
      qualities[kept++] = qualities[i];
    }
    points.resize(kept);
    if (numbers != nullptr) numbers->resize(kept);
    qualities.resize(kept);
  };
  keep_if(count,
          [&](std::size_t i) { return points[i].allFinite() && std::isfinite(qualities[i]); });
  const std::vector<bool> poor = MarkPoor(points, qualities);
  keep_if(points.size(), [&](std::size_t i) { return !poor[i]; });
  return before - points.size();
}

}  // namespace libmfx::geometry
