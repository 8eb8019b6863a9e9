#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "sim/faces/face_part.h"
#include "sim/pose.h"

namespace libmfx::sim {

/// Faces that stand anywhere in the part's frame: they are told in a frame of their own.
class PlacedFaces : public Face {
 public:
  /// \param pose from the faces' frame into the part's
  /// \param reach radius of a ball around the faces' origin that holds them
  PlacedFaces(const Pose& pose, std::vector<std::unique_ptr<Face>> faces, double reach)
      : _pose(pose), _faces(std::move(faces), reach, Truth(), false) {}

  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  Pose _pose;
  FacePart _faces;
};

}  // namespace libmfx::sim
