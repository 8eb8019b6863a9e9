#include "sim/parts/rim.h"

#include <utility>

#include "sim/faces/outline_wall.h"
#include "sim/faces/sector_face.h"

namespace libmfx::sim::parts {

void AddBurr(const BurrSpec& burr, const Outline& rim, std::vector<std::unique_ptr<Face>>& faces) {
  if (burr.IsOff()) return;
  const auto add = [&](double slope) {
    std::unique_ptr<Face> face = std::make_unique<OutlineWall>(rim, 0.0, burr.height, slope);
    if (burr.share < 1.0) {
      face = std::make_unique<SectorFace>(std::move(face), burr.patches, burr.share);
    }
    faces.push_back(std::move(face));
  };
  add(0.0);
  add(-burr.width / burr.height);
}

}  // namespace libmfx::sim::parts
