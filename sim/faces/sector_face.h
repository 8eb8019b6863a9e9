#pragma once

#include <memory>
#include <utility>

#include "sim/faces/face.h"

namespace libmfx::sim {

/// What is left of a face around z in patches: the full turn is divided evenly, and each division
/// has the face on a share of it, from +x towards +y.
class SectorFace : public Face {
 public:
  SectorFace(std::unique_ptr<Face> face, int patches, double share)
      : _face(std::move(face)), _patches(patches), _share(share) {}

  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  bool Holds(const Vec3& p) const;

  std::unique_ptr<Face> _face;
  int _patches;
  double _share;
};

}  // namespace libmfx::sim
