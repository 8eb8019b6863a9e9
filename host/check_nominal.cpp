// Where the nominal stands, and how it is seen.

#include <cmath>

#include "host/check_context.h"
#include "host/numbers.h"

namespace libmfx::host::check {
namespace {

using namespace win32_support;
using Eigen::Vector3d;

/// A nominal nearer to the instrument than this is taken for a mistake, metres.
constexpr double kNearest = 0.1;
/// One farther away is taken for one in millimetres, metres.
constexpr double kFarthest = 100.0;

std::string Rounded(double number, int decimals) {
  const double scale = std::pow(10.0, decimals);
  std::string text;
  AppendNumber(text, std::round(number * scale) / scale);
  return text;
}

/// \param range of a point from the instrument, metres
/// \returns false where a finding was told
bool CheckRange(Context& context, std::string_view key, const std::string& what, double range) {
  if (range < kNearest) {
    context.Tell(
        Severity::kWarning, key,
        what + " lies " + Rounded(range, 4) + " m from the instrument, which stands at (0, 0, 0)");
  } else if (range > kFarthest) {
    context.Tell(
        Severity::kWarning, key,
        what + " lies " + Rounded(range, 1) + " m from the instrument; lengths are metres");
  }
  return range >= kNearest && range <= kFarthest;
}

void CheckDistances(Context& context) {
  for (const RequestKey& row : context.type()->_request) {
    if (row.kind != REQUEST_POINT || row.key == "ScanOrigin") continue;
    const std::optional<Vector3d> point = context.TripleOf(row.key);
    if (point) CheckRange(context, row.key, "\"" + row.key + "\"", point->norm());
  }
  const json* segments = context.ValueOf(REQUEST_PATH, "Segments");
  if (segments == nullptr || !segments->is_array()) return;
  // The first of the points speaks for them all.
  for (const json& segment : *segments) {
    if (!segment.is_array()) continue;
    for (const json& point : segment) {
      const std::optional<Vector3d> place = TripleOfValue(point);
      if (place && !CheckRange(context, "Segments", "a point of \"Segments\"", place->norm()))
        return;
    }
  }
}

/// An opening's normal is told on the side of the nominal one, and the heights that its edge points
/// are found by count from there.
void CheckFacing(Context& context) {
  const std::string type = context.type_name();
  if (type != "RectangleFeature" && type != "PolygonFeature" && type != "SlotFeature") return;
  const std::optional<Vector3d> location = context.TripleOf("Location");
  const std::optional<Vector3d> normal = context.TripleOf("Normal");
  const std::optional<Vector3d> origin = context.TripleOf("ScanOrigin");
  if (!location || !normal || !origin || normal->dot(*origin - *location) >= 0.0) return;
  context.Tell(Severity::kWarning, "Normal",
               "\"Normal\" points away from the instrument, and the measured one will too");
}

void CheckEdge(Context& context) {
  const std::optional<Vector3d> surface = context.TripleOf("SurfacePoint");
  const std::optional<Vector3d> normal = context.TripleOf("SurfaceNormal");
  const std::optional<Vector3d> edge = context.TripleOf("EdgePoint");
  if (!surface || !normal || !edge || normal->norm() <= 1e-12) return;
  const Vector3d up = normal->normalized();
  const double depth = -up.dot(*edge - *surface);
  const std::optional<double> spacing = context.NumberOf("PointSpacing");
  const std::optional<double> clearance = context.NumberOf("ClearanceZone");
  if (depth < 0.0) {
    context.Tell(Severity::kError, "EdgePoint",
                 "\"EdgePoint\" lies " + Rounded(-depth, 6) +
                     " m above the nominal surface, on the side to which \"SurfaceNormal\" points; "
                     "it has to lie below it");
  } else if (depth <= 1e-9) {
    context.Tell(Severity::kError, "EdgePoint",
                 "\"EdgePoint\" lies in the nominal surface; its depth below it is where the edge "
                 "is looked for, and half of it the largest deviation");
  } else if (context.FlagOf("UseNominalOffset") && spacing && depth < 5.0 * *spacing) {
    context.Tell(Severity::kWarning, "EdgePoint",
                 "\"EdgePoint\" lies " + Rounded(depth, 6) +
                     " m deep; with \"UseNominalOffset\" it takes 5 times \"PointSpacing\"");
  }
  if (spacing && clearance && *spacing > 0.0 && *clearance > 0.0 &&
      *clearance / *spacing * 0.8 < 2.0) {
    context.Tell(Severity::kError, "ClearanceZone",
                 "\"ClearanceZone\" holds too few samples: it takes 2.5 times \"PointSpacing\"");
  }
}

}  // namespace

void CheckNominal(Context& context) {
  if (context.type() == nullptr) return;
  CheckDistances(context);
  CheckFacing(context);
  if (context.type_name() == "EdgeFeature") CheckEdge(context);
}

}  // namespace libmfx::host::check
