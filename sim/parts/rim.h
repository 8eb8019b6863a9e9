#pragma once

#include <memory>
#include <vector>

#include "sim/faces/face.h"
#include "sim/faces/outline.h"
#include "sim/faces/ridge_face.h"

namespace libmfx::sim::parts {

/// What a tool pushed up around an opening. Its cross-section is a triangle on the front: straight
/// up above the rim, then down to the front.
struct BurrSpec {
  double height = 0.0;  ///< metres; 0: none
  double width = 0.0;   ///< metres on the front
  int patches = 1;      ///< around the rim, evenly
  double share = 1.0;   ///< of its division that each patch covers, from +x towards +y

  bool IsOff() const { return height == 0.0; }
};

/// Adds the burr around `rim`, the outline of the opening in the front z = 0.
inline void AddBurr(const BurrSpec& burr, const Outline& rim,
                    std::vector<std::unique_ptr<Face>>& faces) {
  if (burr.IsOff()) return;
  faces.push_back(
      std::make_unique<RidgeFace>(rim, burr.height, burr.width, burr.patches, burr.share));
}

}  // namespace libmfx::sim::parts
