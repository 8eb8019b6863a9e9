#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "geometry/cylinder/neighbour_cells.h"
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

// Whether enough of the nearest are about as poor, told without finding out which the nearest are:
// where no more points than these stand within some distance, they all belong to them.
bool HasPoorCompany(cylinder::NeighbourCells& cells, const std::vector<double>& qualities,
                    std::size_t number) {
  constexpr double kShare = 0.35;  // of the view, for about half of the neighbours
  const double limit = kShare * cells.squared_view();
  const std::size_t place = cells.order()[number];
  const double quality = qualities[place];
  std::size_t within = 0, poor = 0;
  const auto see = [&](double squared, Eigen::Index at) {
    if (!(squared <= limit)) return;
    const auto j = static_cast<std::size_t>(at);
    ++within;
    poor += j != place && !(quality < kLeastShare * qualities[j]) ? 1 : 0;
  };
  return cells.SeeAround(number, see) && within <= kNeighbours && poor > kPassedOver;
}

// Which of the samples stand out from their neighbours by a poor quality.
std::vector<bool> MarkPoor(const std::vector<Eigen::Vector3d>& points,
                           const std::vector<double>& qualities) {
  std::vector<bool> poor(points.size(), false);
  if (points.size() <= kFewest) return poor;
  cylinder::Points cloud(static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    cloud.set(static_cast<Eigen::Index>(i), points[i]);
  cylinder::NeighbourCells cells(cloud, kNeighbours);
  std::vector<double> around;
  for (std::size_t number = 0; number < points.size(); ++number) {
    if (HasPoorCompany(cells, qualities, number)) continue;
    const std::uint32_t i = cells.order()[number];
    around.clear();
    for (const cylinder::Neighbour& near : cells.Of(static_cast<Eigen::Index>(i))) {
      const auto j = static_cast<std::size_t>(near.place);
      if (j != i) around.push_back(qualities[j]);
    }
    if (around.size() < kFewest) continue;  // squares of distances that overflow
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
