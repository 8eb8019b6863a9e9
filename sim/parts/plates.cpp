#include <algorithm>
#include <cmath>
#include <vector>

#include "sim/faces/face_part.h"
#include "sim/faces/outline_wall.h"
#include "sim/faces/planar_face.h"
#include "sim/faces/rounded_rim.h"
#include "sim/parts/parts.h"
#include "sim/portable_math.h"

namespace libmfx::sim::parts {

PartPtr MakePlane(const PlaneSpec& spec) {
  const Outline border = Outline::Rectangle(spec.length, spec.width);
  std::vector<std::unique_ptr<Face>> faces;
  faces.push_back(std::make_unique<PlanarFace>(0.0, border));
  Truth truth;
  truth.points["center"] = Vec3::Zero();
  truth.directions["normal"] = Vec3::UnitZ();
  return std::make_shared<FacePart>(std::move(faces), border.Reach() + kSeam, std::move(truth));
}

PartPtr MakeOpeningPlate(OpeningPlateSpec spec) {
  const auto [sine, cosine] = portable::SinCos(spec.chamfer_angle);
  const double slope = sine / cosine;
  const bool chamfered = spec.chamfer_depth > 0.0;
  const double bore = spec.opening.rounding();
  // How much wider than the wall the opening is in the front.
  const double wider = chamfered ? slope * spec.chamfer_depth : spec.edge_radius;
  const Outline rim = wider > 0.0 ? spec.opening.WithRounding(bore + wider) : spec.opening;
  const Outline border = Outline::Rectangle(spec.length, spec.width, spec.border_radius);
  const bool blind = spec.depth > 0.0;
  const double bottom = blind ? -spec.depth : -spec.thickness;

  std::vector<std::unique_ptr<Face>> faces;
  faces.push_back(std::make_unique<PlanarFace>(0.0, border, rim));
  if (chamfered) {
    faces.push_back(std::make_unique<OutlineWall>(rim, -spec.chamfer_depth, 0.0, slope));
  }
  if (spec.edge_radius > 0.0) {
    faces.push_back(std::make_unique<RoundedRim>(spec.opening, spec.edge_radius));
  }
  AddBurr(spec.burr, rim, faces);
  const double wall_top = chamfered ? -spec.chamfer_depth : -spec.edge_radius;
  faces.push_back(std::make_unique<OutlineWall>(spec.opening, bottom, wall_top));
  if (blind) faces.push_back(std::make_unique<PlanarFace>(bottom, spec.opening));
  faces.push_back(std::make_unique<PlanarFace>(
      -spec.thickness, border, blind ? std::nullopt : std::optional<Outline>(spec.opening)));
  faces.push_back(std::make_unique<OutlineWall>(border, -spec.thickness, 0.0));

  spec.truth.points["center"] = Vec3::Zero();
  spec.truth.directions["normal"] = Vec3::UnitZ();
  spec.truth.values["depth"] = blind ? spec.depth : spec.thickness;
  if (spec.opening.core().size() == 1) spec.truth.values["rim_radius"] = rim.rounding();
  const double reach =
      std::sqrt(border.Reach() * border.Reach() + spec.thickness * spec.thickness) +
      spec.burr.height + kSeam;
  return std::make_shared<FacePart>(std::move(faces), reach, std::move(spec.truth));
}

OpeningPlateSpec RoundOpening(double radius) {
  OpeningPlateSpec spec;
  spec.opening = Outline::Circle(radius);
  spec.truth.values["radius"] = radius;
  return spec;
}

OpeningPlateSpec RectangularOpening(double length, double width, double corner_radius) {
  OpeningPlateSpec spec;
  spec.opening = Outline::Rectangle(length, width, corner_radius);
  spec.truth.values["length"] = length;
  spec.truth.values["width"] = width;
  spec.truth.directions["tangent"] = Vec3::UnitX();
  return spec;
}

OpeningPlateSpec PolygonalOpening(int sides, double radius, double corner_radius) {
  OpeningPlateSpec spec;
  spec.opening = Outline::RegularPolygon(sides, radius, corner_radius);
  spec.truth.values["sides"] = sides;
  spec.truth.values["radius"] = radius;
  spec.truth.directions["axis"] = Vec3::UnitX();
  return spec;
}

OpeningPlateSpec ObroundOpening(double length, double width) {
  OpeningPlateSpec spec = RectangularOpening(length, width);
  spec.opening = Outline::Obround(length, width);
  return spec;
}

}  // namespace libmfx::sim::parts
