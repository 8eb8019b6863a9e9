#include <algorithm>
#include <cmath>
#include <vector>

#include "sim/faces/extrusion.h"
#include "sim/faces/face_part.h"
#include "sim/parts/parts.h"
#include "sim/portable_math.h"

namespace libmfx::sim::parts {

namespace {

Vec3 InPart(const Vec2& profile_point) { return {profile_point.x(), 0.0, profile_point.y()}; }

}  // namespace

PartPtr MakeEdge(const EdgeSpec& spec) {
  // The profile in the x-z plane: the front runs to -x, the wall down from the theoretical corner
  // in the origin, leaning outwards by the wall's angle.
  const auto lean = portable::SinCos(spec.wall_angle);
  const Vec2 front(-1.0, 0.0);
  const Vec2 wall(lean.sine, -lean.cosine);
  const Vec2 wall_normal(lean.cosine, lean.sine);
  const double half = 0.5 * spec.length;
  // Between front and wall lies the body's inner angle, a right angle plus the lean.
  const auto half_inner = portable::SinCos(0.25 * kPi + 0.5 * spec.wall_angle);
  const double tangent_length = spec.fillet * half_inner.cosine / half_inner.sine;
  const double cut = spec.fillet > 0.0 ? tangent_length : spec.chamfer;
  const Vec2 front_end = cut * front;
  const Vec2 wall_start = cut * wall;
  const double depth = spec.ledge > 0.0 ? spec.ledge : spec.thickness;
  const Vec2 wall_end = wall * (depth / lean.cosine);

  std::vector<std::unique_ptr<Face>> faces;
  faces.push_back(std::make_unique<ExtrudedSegment>(front * spec.width, front_end, half));
  if (spec.fillet > 0.0) {
    const Vec2 center(front_end.x(), -spec.fillet);
    faces.push_back(
        std::make_unique<ExtrudedArc>(center, spec.fillet, Vec2(0.0, 1.0), wall_normal, half));
  } else if (spec.chamfer > 0.0) {
    faces.push_back(std::make_unique<ExtrudedSegment>(front_end, wall_start, half));
  }
  faces.push_back(std::make_unique<ExtrudedSegment>(wall_start, wall_end, half));
  if (spec.ledge > 0.0) {
    const Vec2 ledge_end = wall_end - spec.width * front;
    faces.push_back(std::make_unique<ExtrudedSegment>(wall_end, ledge_end, half));
  }

  Truth truth;
  truth.points["edge"] = Vec3::Zero();
  truth.points["front_end"] = InPart(front_end);
  truth.points["wall_start"] = InPart(wall_start);
  truth.directions["normal"] = Vec3::UnitZ();
  truth.directions["outward"] = Vec3::UnitX();
  truth.directions["along"] = Vec3::UnitY();
  truth.values["fillet"] = spec.fillet;
  truth.values["chamfer"] = spec.fillet > 0.0 ? 0.0 : spec.chamfer;
  truth.values["depth"] = depth;
  const double reach = spec.width + half + depth + std::fabs(wall_end.x());
  return std::make_shared<FacePart>(std::move(faces), reach, std::move(truth));
}

}  // namespace libmfx::sim::parts
