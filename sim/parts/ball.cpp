#include <algorithm>
#include <cmath>
#include <vector>

#include "sim/faces/face_part.h"
#include "sim/faces/outline_wall.h"
#include "sim/faces/planar_face.h"
#include "sim/faces/sphere_face.h"
#include "sim/parts/parts.h"

namespace libmfx::sim::parts {

PartPtr MakeBall(const BallSpec& spec) {
  std::vector<std::unique_ptr<Face>> faces;
  faces.push_back(std::make_unique<SphereFace>(spec.radius));
  double reach = spec.radius;
  if (spec.stem_radius > 0.0) {
    const Outline stem = Outline::Circle(spec.stem_radius);
    const double neck = std::sqrt(spec.radius * spec.radius - spec.stem_radius * spec.stem_radius);
    faces.push_back(std::make_unique<OutlineWall>(stem, -spec.stem_length, -neck));
    faces.push_back(std::make_unique<PlanarFace>(-spec.stem_length, stem));
    reach = std::max(spec.radius, spec.stem_length + spec.stem_radius);
  }
  Truth truth;
  truth.points["center"] = Vec3::Zero();
  truth.values["radius"] = spec.radius;
  return std::make_shared<FacePart>(std::move(faces), reach + kSeam, std::move(truth), false);
}

}  // namespace libmfx::sim::parts
