// Borders of a plate: how far the measured edge point lies from the point of the true profile at
// the nominal depth, in the plane of the cross section.

#include <algorithm>
#include <cmath>
#include <locale>
#include <numbers>
#include <sstream>
#include <string>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kDepth = 0.001;  ///< of the edge point below the surface

/// What the variants of the conditions stand for: "<mode> <shape> <least> <most> [<key> <value>]",
/// where the mode is "curve" or "sample" and the sizes are radii or widths in metres, or leans of
/// the wall in degrees.
struct Variant {
  std::string mode;
  std::string shape;
  double least = 0.0;
  double most = 0.0;
  std::string key;  ///< of the part or the request
  double value = 0.0;
};

Variant VariantOf(const Condition& condition) {
  std::istringstream words(condition.variant);
  words.imbue(std::locale::classic());
  Variant v;
  words >> v.mode >> v.shape >> v.least >> v.most >> v.key >> v.value;
  return v;
}

/// How far outwards of the theoretical corner the border is at kDepth; the corner is square but
/// where the wall leans.
double Outwards(const std::string& shape, double size) {
  if (shape == "wall") return kDepth * std::tan(size * kDegree);
  if (kDepth >= size) return 0.0;
  const double above_foot = size - kDepth;
  if (shape == "chamfer") return -above_foot;
  return std::sqrt(size * size - above_foot * above_foot) - size;  // fillet
}

/// The frame of a border that is seen from its outside.
struct Border {
  Vector3d place;  ///< of the theoretical corner
  Vector3d outward;
  Vector3d normal;
};

Border DrawBorder(const Condition& condition, sim::Rng& rng) {
  constexpr double kMostTurn = 8.0 * kDegree;  // of the border about its normal
  const Placement p = DrawPlacement(condition, rng);
  const Vector3d view = -p.place.normalized();
  const double tilt = std::acos(std::min(1.0, p.normal.dot(view)));
  // A placement's normal leans anywhere; the border's outside faces to where the view comes from.
  Vector3d side = view - view.dot(p.normal) * p.normal;
  if (tilt < 1e-6) side = p.tangent;
  side.normalize();
  const double turn = rng.Uniform(-kMostTurn, kMostTurn);
  return {p.place, std::cos(turn) * side + std::sin(turn) * p.normal.cross(side), p.normal};
}

/// A surface point 5 to 10 mm before the border and an edge point 1 mm below it; the nominal is off
/// along the surface and along the normal.
Job Draw(const Condition& condition, sim::Rng& rng) {
  const Border border = DrawBorder(condition, rng);
  const Variant variant = VariantOf(condition);
  const double size = rng.Uniform(variant.least, variant.most);
  const Vector3d edge =
      border.place + Outwards(variant.shape, size) * border.outward - kDepth * border.normal;
  const Vector3d surface = border.place - rng.Uniform(0.005, 0.01) * border.outward;
  const Vector3d off = rng.Uniform(-condition.offset, condition.offset) * border.outward +
                       rng.Uniform(-condition.offset, condition.offset) * border.normal;
  Job job;
  // No feature reads "$comment": the comparison finds the true edge there.
  job.request = {{"UseNominalOffset", variant.mode == "sample"},
                 {"$comment", ToJson(edge)},
                 {"Feature",
                  {{"$type", "EdgeFeature"},
                   {"SurfacePoint", ToJson(surface + off)},
                   {"SurfaceNormal", ToJson(border.normal)},
                   {"EdgePoint", ToJson(edge + off)}}}};
  json part = {{"type", "edge"}};
  part[variant.shape == "wall" ? "wall_angle_deg" : variant.shape] = size;
  if (variant.key == "QualityThreshold") job.request[variant.key] = variant.value;
  if (variant.key == "ledge") part[variant.key] = variant.value;
  job.scene = {{"part", part},
               {"pose",
                {{"position", ToJson(border.place)},
                 {"normal", ToJson(border.normal)},
                 {"tangent", ToJson(border.outward)}}}};
  return job;
}

std::vector<double> Errors(const Result& r) {
  const Vector3d along = r.True("along");
  Vector3d error = r.Measured("Location") - Result::Triple(r.request, "$comment");
  error -= error.dot(along) * along;
  return {error.norm(), std::abs(error.dot(r.True("outward")))};
}

Condition Seen(const char* label, double least, double most, const char* variant,
               double offset = 0.0) {
  Condition c;
  c.label = label;
  c.nearest = 1.0;
  c.farthest = 5.0;
  c.least_tilt = least * kDegree;
  c.most_tilt = most * kDegree;
  c.offset = offset;
  c.variant = variant;
  return c;
}

std::vector<Condition> Conditions() {
  return {
      Seen("sharp, square wall, 30° to 55°, curve", 30, 55, "curve wall 0 0"),
      Seen("sharp, square wall, 30° to 55°, sample", 30, 55, "sample wall 0 0"),
      Seen("sharp, wall leaning by 35° to 60°, 0 to 55°, curve", 0, 55, "curve wall 35 60"),
      Seen("sharp, wall leaning by 35° to 60°, 0 to 55°, sample", 0, 55, "sample wall 35 60"),
      Seen("sharp, 30° to 55°, nominal off by up to 0.3 mm, curve", 30, 55, "curve wall 0 0",
           0.0003),
      Seen("sharp, 30° to 55°, nominal off by up to 0.3 mm, sample", 30, 55, "sample wall 0 0",
           0.0003),
      Seen("sharp, 15° to 30°, quality threshold 20, curve", 15, 30,
           "curve wall 0 0 QualityThreshold 20"),
      Seen("sharp, 15° to 30°, quality threshold 20, sample", 15, 30,
           "sample wall 0 0 QualityThreshold 20"),
      Seen("sharp, 0 to 30°, a second surface 3 mm below, curve", 0, 30,
           "curve wall 0 0 ledge 0.003"),
      Seen("fillet of 0.2 mm, 30° to 55°, curve", 30, 55, "curve fillet 0.0002 0.0002"),
      Seen("fillet of 0.2 mm, 30° to 55°, sample", 30, 55, "sample fillet 0.0002 0.0002"),
      Seen("fillet of 0.5 mm, 30° to 55°, curve", 30, 55, "curve fillet 0.0005 0.0005"),
      Seen("fillet of 0.5 mm, 30° to 55°, sample", 30, 55, "sample fillet 0.0005 0.0005"),
      Seen("fillet of 1 mm, 30° to 55°, curve", 30, 55, "curve fillet 0.001 0.001"),
      Seen("fillet of 1 mm, 30° to 55°, sample", 30, 55, "sample fillet 0.001 0.001"),
      Seen("fillet of 2 mm, 0 to 55°, curve", 0, 55, "curve fillet 0.002 0.002"),
      Seen("fillet of 2 mm, 0 to 55°, sample", 0, 55, "sample fillet 0.002 0.002"),
      Seen("chamfer of 0.3 to 1 mm, 30° to 55°, curve", 30, 55, "curve chamfer 0.0003 0.001"),
      Seen("chamfer of 0.3 to 1 mm, 30° to 55°, sample", 30, 55, "sample chamfer 0.0003 0.001"),
      Seen("chamfer of 1.5 to 2 mm, 0 to 55°, curve", 0, 55, "curve chamfer 0.0015 0.002"),
      Seen("chamfer of 1.5 to 2 mm, 0 to 55°, sample", 0, 55, "sample chamfer 0.0015 0.002"),
  };
}

const Registered kEdge({
    "edge",
    "Edge",
    "The border of a plate, seen from its outside and turned about its normal by up to 8°, with a "
    "spacing of 0.1 mm. The surface point lies 5 to 10 mm before the border, the edge point 1 mm "
    "below the surface. \"Curve\" is the edge on the profile, \"sample\" the one at the nominal "
    "offset. The errors are those in the cross section, and their part outwards of the border. "
    "[The edge](edge.md) tells which requests are sound.",
    Conditions(),
    {{"edge point", "µm", 1e6, 500e-6}, {"outwards", "µm", 1e6, 500e-6}},
    Draw,
    Errors,
    {"sharp, square wall, 30° to 55°, curve", "sharp, square wall, 30° to 55°, sample"},
});

}  // namespace
}  // namespace libmfx::accuracy
