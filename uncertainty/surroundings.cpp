#include "uncertainty/surroundings.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "uncertainty/surroundings_seen.h"

namespace libmfx::uncertainty {
namespace {

/// What the samples that miss a ball see behind it.
void TellBehindBall(Twin& twin, const Sight& sight) {
  constexpr double kClear = 1.2;  // radii from the centre: neither the ball nor its border
  std::vector<double> depths;
  for (const Seen& seen : sight.samples) {
    const bool misses = seen.place.norm() > kClear * twin.radius;
    if (misses && seen.Depth() > 0.0) depths.push_back(seen.Depth());
  }
  twin.behind = DeepestPlane(std::move(depths));
}

/// Whether the samples lie at more places than one.
bool IsSpread(const std::vector<Seen>& samples) {
  constexpr double kOnePlace = 1e-5;  // metres
  return std::any_of(samples.begin(), samples.end(), [&](const Seen& seen) {
    return (seen.place - samples.front().place).norm() > kOnePlace;
  });
}

bool IsOpening(const std::string& type) {
  return type == "RobustHole" || type == "Slot" || type == "Rectangle" || type == "Polygon";
}

}  // namespace

Twin Surrounded(Twin twin, const host::Exchange& scan, const features::Stages& stages) {
  const Sight sight(twin, scan, stages);
  if (!IsSpread(sight.samples)) return twin;
  if (twin.type == "MatteSphere") {
    TellBehindBall(twin, sight);
  } else if (IsOpening(twin.type)) {
    TellOpening(twin, sight);
  } else if (twin.type == "Edge") {
    TellBorder(twin, sight);
  } else if (twin.type == "Stud" || twin.type == "ThreadedHole") {
    TellWall(twin, sight);
  }
  return twin;
}

}  // namespace libmfx::uncertainty
