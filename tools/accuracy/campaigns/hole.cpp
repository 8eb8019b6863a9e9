// Round holes in a plate: how far the measured centre and normal lie from the true ones.

#include <charconv>
#include <cmath>
#include <numbers>
#include <string>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

/// What the variants of the conditions stand for: "<kind>" or "<kind> <number>".
struct Variant {
  std::string kind;
  double number = 0.0;
};

Variant VariantOf(const Condition& condition) {
  const auto space = condition.variant.find(' ');
  if (space == std::string::npos) return {condition.variant};
  Variant variant{condition.variant.substr(0, space)};
  const char* end = condition.variant.data() + condition.variant.size();
  std::from_chars(condition.variant.data() + space + 1, end, variant.number);
  return variant;
}

/// A hole of 2.5 to 10 mm radius through a plate of 10 mm; every other one has a wall somewhere
/// behind it.
Job Draw(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const Variant variant = VariantOf(condition);
  const double radius = rng.Uniform(0.0025, 0.01);
  const bool bright = rng.Uniform() < 0.5;
  const double behind = rng.Uniform(0.015, 0.5);
  Job job;
  job.request = {{"Feature",
                  {{"$type", "HoleFeature"},
                   {"Location", ToJson(p.nominal_place)},
                   {"Normal", ToJson(p.nominal_normal)},
                   {"Radius", radius}}}};
  json opening = {{"shape", "round"}, {"radius", radius}};
  double thickness = 0.01;
  if (variant.kind == "spacing") job.request["PointSpacing"] = variant.number;
  if (variant.kind == "sheet") thickness = variant.number;
  if (variant.kind == "chamfer") {
    const double depth = 0.1 * radius;
    job.request["ChamferDepth"] = depth;
    opening["chamfer_depth"] = depth;
  }
  if (variant.kind == "bore") opening["radius"] = radius + variant.number;
  job.scene = {{"part", {{"type", "plate"}, {"thickness", thickness}, {"opening", opening}}},
               {"pose", p.Pose()}};
  if (bright) job.scene["behind"] = behind;
  return job;
}

/// The same with the nominal off along the surface by up to a multiple of the radius, and a search
/// allowed; the plate reaches farther than the spiral.
Job DrawLost(const Condition& condition, sim::Rng& rng) {
  Job job = Draw(condition, rng);
  const double radius = job.request["Feature"]["Radius"];
  const double off = rng.Uniform(0.0, VariantOf(condition).number * radius);
  const double turn = rng.Uniform(0.0, 2.0 * std::numbers::pi);
  const auto vector = [&](const char* key) {
    const json& v = job.scene["pose"][key];
    return Vector3d(v[0], v[1], v[2]);
  };
  const Vector3d along = vector("tangent");
  const Vector3d across = vector("normal").cross(along);
  job.request["Feature"]["Location"] =
      ToJson(vector("position") + off * (std::cos(turn) * along + std::sin(turn) * across));
  job.request["SearchEnabled"] = true;
  job.request["RescanThreshold"] = 0.0005;
  job.scene["part"]["length"] = job.scene["part"]["width"] = 0.2;
  return job;
}

std::vector<double> Errors(const Result& r) {
  return {(r.Measured("Location") - r.True("center")).norm(),
          Angle(r.Measured("Normal"), r.True("normal"))};
}

Condition Tilted(const char* label, double least, double most, const char* variant = "") {
  Condition c;
  c.label = label;
  c.nearest = 1.0;
  c.farthest = 5.0;
  c.least_tilt = least * kDegree;
  c.most_tilt = most * kDegree;
  c.offset = 0.001;
  c.variant = variant;
  return c;
}

const Registered kHole({
    "hole",
    "Hole",
    "Holes of 2.5 to 10 mm radius through a plate of 10 mm, at 1 to 5 m, the nominal off by up to "
    "1 mm, with default request parameters; behind every other hole stands a wall, 15 mm to 0.5 m "
    "from the surface. Chamfers are 45°, a tenth of the radius deep.",
    {Tilted("up to 45°", 0, 45), Tilted("45° to 60°", 45, 60),
     Tilted("up to 45°, spacing 0.05 mm", 0, 45, "spacing 0.00005"),
     Tilted("up to 45°, spacing 0.2 mm", 0, 45, "spacing 0.0002"),
     Tilted("up to 20°, chamfer", 0, 20, "chamfer"),
     Tilted("30° to 45°, chamfer", 30, 45, "chamfer"),
     Tilted("up to 45°, sheet of 0.5 mm", 0, 45, "sheet 0.0005"),
     Tilted("up to 45°, bore 50 µm wider than its nominal", 0, 45, "bore 0.00005"),
     Tilted("up to 20°", 0, 20)},
    {{"centre", "µm", 1e6, 500e-6}, {"normal", "mrad", 1e3, 20e-3}},
    Draw,
    Errors,
    {"up to 45°"},
});

const Registered kSearch({
    "hole-search",
    "Search of a hole",
    "Holes as above whose nominal is off along the surface by up to a multiple of the radius, with "
    "the search enabled and a re-scan from 0.5 mm on. By default the search radius is 2 radii and "
    "the spiral reaches 4 radii, so that it holds a hole off by up to 3 radii whole.",
    {Tilted("up to 45°, off by up to 2 radii", 0, 45, "lost 2"),
     Tilted("up to 45°, off by up to 3 radii", 0, 45, "lost 3"),
     Tilted("up to 45°, off by up to 4 radii", 0, 45, "lost 4")},
    {{"centre", "µm", 1e6, 500e-6}, {"normal", "mrad", 1e3, 20e-3}},
    DrawLost,
    Errors,
});

}  // namespace
}  // namespace libmfx::accuracy
