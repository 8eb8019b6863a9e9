// Values that are read as they stand, and can hardly be meant: sizes that are no sizes,
// millimetres, degrees, counts that measure nothing, values that do not fit together.

#include <cmath>
#include <numbers>

#include "host/check_context.h"
#include "host/numbers.h"

namespace libmfx::host::check {
namespace {

using namespace win32_support;

/// A size or a spacing above this is taken for one in millimetres, metres.
constexpr double kLargestSize = 1.0;
/// An angle above this is taken for one in degrees, radians.
constexpr double kLargestAngle = std::numbers::pi;

std::string Text(double number) {
  std::string text;
  AppendNumber(text, number);
  return text;
}

std::string Quoted(std::string_view key) { return "\"" + std::string(key) + "\""; }

/// A length of which 0 has a meaning: no chamfer, or a re-scan always.
bool MayBeZero(std::string_view key) { return key == "ChamferDepth" || key == "RescanThreshold"; }

void CheckLength(Context& context, const RequestKey& row, double value) {
  const std::string is = Quoted(row.key) + " is " + Text(value);
  // What the class refuses by its table, or passes over, has been told.
  if (row.rule == REQUEST_ANY && (value < 0.0 || (value == 0.0 && !MayBeZero(row.key)))) {
    context.Tell(Severity::kError, row.place, row.key, is + " m: it has to be above 0");
  }
  // A threshold that nothing exceeds is a way to say never.
  if (value > kLargestSize && row.key != "RescanThreshold") {
    context.Tell(Severity::kWarning, row.place, row.key,
                 is + " m; lengths are metres, and this looks like millimetres");
  }
}

void CheckUnits(Context& context) {
  for (const RequestKey& row : context.type()->_request) {
    const bool given = context.ValueOf(row.place, row.key) != nullptr;
    if (!given || row.kind != REQUEST_NUMBER) continue;
    const std::optional<double> value = context.NumberOf(row.key);
    if (!value || !std::isfinite(*value)) continue;
    if (row.unit == "m") CheckLength(context, row, *value);
    if (row.unit == "rad" && std::abs(*value) > kLargestAngle) {
      context.Tell(Severity::kWarning, row.place, row.key,
                   Quoted(row.key) + " is " + Text(*value) +
                       " rad; angles are radians, and this looks like degrees");
    }
    const bool is_share = row.key == "SearchRadiusMultiplier" || row.key == "BoxDimensionRatio";
    if (is_share && !(*value > 0.0)) {
      context.Tell(Severity::kError, row.place, row.key,
                   Quoted(row.key) + " is " + Text(*value) + ": it has to be above 0");
    }
  }
}

/// A number of lines, sides or samples below which the type measures nothing.
struct Least {
  std::string_view type;
  std::string_view key;
  double least;
  std::string_view why;
};

constexpr Least kLeast[] = {
    {"SurfaceNormalFeature", "NumberOfPoints", 6, "a plane through fewer samples is refused"},
    {"MatteSphereFeature", "NumPointsPerLine", 1, "the spacing is then none"},
    {"PolygonFeature", "Sides", 3, "nothing is measured with fewer"},
    {"PolygonFeature", "ScansPerSide", 2, "a side needs two edge points"},
    {"RectangleFeature", "ScansPerSide", 2, "a side needs two edge points"},
    {"SlotFeature", "ScanPassesPerArc", 4, "an arc needs four edge points"},
};

void CheckCounts(Context& context) {
  for (const Least& row : kLeast) {
    if (row.type != context.type_name()) continue;
    const std::optional<double> value = context.NumberOf(row.key);
    if (!value || *value >= row.least) continue;
    context.Tell(Severity::kError, row.key,
                 Quoted(row.key) + " is " + Text(*value) + ", and " + Text(row.least) +
                     " are the least: " + std::string(row.why));
  }
  const bool has_lines =
      context.type_name() == "HoleFeature" || context.type_name() == "MatteSphereFeature";
  const std::optional<double> lines = context.NumberOf("ScanLines");
  if (has_lines && lines && *lines < 2.0) {
    context.Tell(Severity::kWarning, "ScanLines",
                 "\"ScanLines\" is " + Text(*lines) + ", which counts as 2");
  }
}

void CheckCylinder(Context& context) {
  const std::optional<double> offset = context.NumberOf("Offset");
  const std::optional<double> height = context.NumberOf("Height");
  if (!offset || !height) return;
  if (*height > 0.0 && *offset >= *height) {
    context.Tell(Severity::kError, "Offset",
                 "\"Offset\" is " + Text(*offset) + " and \"Height\" " + Text(*height) +
                     ": no sample lies between them");
  }
  const std::optional<double> threshold = context.NumberOf("RescanThreshold");
  if (threshold && *threshold < *offset) {
    context.Tell(Severity::kWarning, "RescanThreshold",
                 "\"RescanThreshold\" is " + Text(*threshold) + ", below an \"Offset\" of " +
                     Text(*offset) +
                     ": the measured centre lies \"Offset\" up the axis, and a re-scan is always "
                     "asked for");
  }
  const RequestKey* tolerance = context.RowOf(REQUEST_FEATURE, "RadiusTolerance");
  const std::optional<double> used = context.NumberOf("RadiusTolerance");
  if (context.ValueOf(REQUEST_FEATURE, "RadiusTolerance") == nullptr && used &&
      *used > kLargestSize) {
    context.Tell(Severity::kWarning, tolerance->key,
                 "\"RadiusTolerance\" is missing, and is then " + Text(*used) +
                     " m: every sample counts as one of the wall");
  }
}

void CheckSphere(Context& context) {
  if (context.ValueOf(REQUEST_FEATURE, "Radius") != nullptr) return;
  context.Tell(Severity::kError, "Radius",
               "\"Radius\" is missing in \"Feature\": no pattern can be scanned without it");
}

void CheckSearch(Context& context) {
  if (!context.options().search || context.RowOf(REQUEST_ROOT, "SearchEnabled") == nullptr) return;
  const bool enabled = context.FlagOf("SearchEnabled");
  if (enabled && !*context.options().search) {
    context.Tell(Severity::kWarning, "SearchEnabled",
                 "\"SearchEnabled\" allows a search, and the call asks for none (--search)");
  }
  if (!enabled && *context.options().search) {
    context.Tell(Severity::kWarning, "SearchEnabled",
                 "the call asks for a search (--search), and \"SearchEnabled\" does not allow one");
  }
}

}  // namespace

void CheckValues(Context& context) {
  if (context.type() == nullptr) return;
  CheckUnits(context);
  CheckCounts(context);
  if (context.RowOf(REQUEST_FEATURE, "Offset") != nullptr) CheckCylinder(context);
  if (context.type_name() == "MatteSphereFeature") CheckSphere(context);
  CheckSearch(context);
}

}  // namespace libmfx::host::check
