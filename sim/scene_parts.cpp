#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

#include "sim/number_text.h"
#include "sim/parts/parts.h"
#include "sim/portable_math.h"
#include "sim/scene_blocks.h"

namespace libmfx::sim {

namespace {

using parts::PartPtr;

PartPtr ReadPlane(SceneSection& s) {
  parts::PlaneSpec spec;
  spec.length = s.Length("length", spec.length);
  spec.width = s.Length("width", spec.width);
  return parts::MakePlane(spec);
}

double ReadCornerRadius(SceneSection& s, double largest) {
  const double radius = s.LengthOrZero("corner_radius", 0.0);
  if (radius > largest) s.Refuse("corner_radius", "does not fit into the outline");
  return radius;
}

parts::OpeningPlateSpec ReadOutline(SceneSection& s) {
  const std::string shape = s.Choice("shape", {"round", "rectangle", "polygon", "obround"});
  if (shape == "round") return parts::RoundOpening(s.Length("radius"));
  if (shape == "polygon") {
    const int sides = static_cast<int>(s.Integer("sides", 3, 64));
    const double radius = s.Length("radius");
    const double inner = radius * portable::SinCos(kPi / sides).cosine;
    return parts::PolygonalOpening(sides, radius, ReadCornerRadius(s, 0.999 * inner));
  }
  const double length = s.Length("length");
  const double width = s.Length("width");
  if (shape == "obround") {
    if (length < width) s.Refuse("length", "of an obround is below its width");
    return parts::ObroundOpening(length, width);
  }
  const double corner = ReadCornerRadius(s, 0.5 * std::min(length, width));
  return parts::RectangularOpening(length, width, corner);
}

PartPtr ReadPlate(SceneSection& s) {
  SceneSection opening = s.Child("opening");
  parts::OpeningPlateSpec spec = ReadOutline(opening);
  spec.thickness = s.Length("thickness", spec.thickness);
  spec.length = s.Length("length", spec.length);
  spec.width = s.Length("width", spec.width);
  spec.border_radius = s.LengthOrZero("border_radius", 0.0);
  const double shorter = 0.5 * std::min(spec.length, spec.width);
  if (spec.border_radius > shorter) s.Refuse("border_radius", "does not fit into the plate");

  spec.depth = opening.LengthOrZero("depth", 0.0);
  if (spec.depth >= spec.thickness) opening.Refuse("depth", "reaches through the plate");
  spec.chamfer_depth = opening.LengthOrZero("chamfer_depth", 0.0);
  spec.chamfer_angle = opening.Degrees("chamfer_angle_deg", 1.0, 85.0, spec.chamfer_angle);
  const double wall = spec.depth > 0.0 ? spec.depth : spec.thickness;
  if (spec.chamfer_depth >= wall) opening.Refuse("chamfer_depth", "leaves no wall");
  const auto [sine, cosine] = portable::SinCos(spec.chamfer_angle);
  const Vec2 extent = spec.opening.HalfExtent().array() + spec.chamfer_depth * sine / cosine;
  if (2.0 * extent.x() >= spec.length || 2.0 * extent.y() >= spec.width) {
    s.Refuse("opening", "is wider than the plate of " + NumberText(spec.length) + " m by " +
                            NumberText(spec.width) + " m");
  }
  opening.Finish();
  return parts::MakeOpeningPlate(std::move(spec));
}

PartPtr ReadBall(SceneSection& s) {
  parts::BallSpec spec;
  spec.radius = s.Length("radius", spec.radius);
  spec.stem_radius = s.LengthOrZero("stem_radius", 0.3 * spec.radius);
  if (spec.stem_radius >= spec.radius) s.Refuse("stem_radius", "is not below the ball's radius");
  spec.stem_length = s.Length("stem_length", 4.0 * spec.radius);
  if (spec.stem_length <= spec.radius) s.Refuse("stem_length", "ends inside the ball");
  return parts::MakeBall(spec);
}

}  // namespace

std::shared_ptr<const Part> ReadPart(SceneSection section, const std::filesystem::path& folder) {
  (void)folder;
  using Reader = PartPtr (*)(SceneSection&);
  static const std::map<std::string, Reader, std::less<>> readers = {
      {"plane", ReadPlane}, {"plate", ReadPlate}, {"ball", ReadBall}};
  const std::string type = section.Text("type");
  const auto found = readers.find(type);
  if (found == readers.end()) {
    std::string listed;
    for (const auto& [name, reader] : readers) listed += (listed.empty() ? "" : ", ") + name;
    section.Refuse("type", "is not a known part (known: " + listed + ")");
  }
  auto part = found->second(section);
  section.Finish();
  return part;
}

}  // namespace libmfx::sim
