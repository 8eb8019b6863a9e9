#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "sim/faces/face_part.h"
#include "sim/obstacles/obstacle.h"
#include "sim/pose.h"

namespace libmfx::sim {

/// Faces that stand anywhere in the part's frame: they are told in a frame of their own.
class PlacedFaces : public Obstacle {
 public:
  /// \param pose from the faces' frame into the part's
  /// \param reach radius of a ball around the faces' origin that holds them
  /// \param girth radius of an endless bar along the faces' z that holds them too
  PlacedFaces(const Pose& pose, std::vector<std::unique_ptr<Face>> faces, double reach,
              double girth)
      : _pose(pose),
        _ball{pose.position, reach},
        _girth(girth),
        _faces(std::move(faces), reach, Truth(), false) {}

  bool Intersect(const Ray& ray, Hit& hit) const override;
  void Gather(const Ray& middle, double spread, std::vector<const Face*>& faces) const override;

 private:
  bool NearTo(const Ray& middle, double spread) const;

  Pose _pose;
  Ball _ball;
  double _girth;
  FacePart _faces;
};

}  // namespace libmfx::sim
