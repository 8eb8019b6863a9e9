// Rectangles, polygons and slots: how far centre, size, normal and direction lie from the truth.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

/// The variant of a condition without the wall behind the plate.
const char* const kNothingBehind = "nothing behind";

/// The lines a side or an arc that a condition asks for.
int LinesOf(const Condition& condition, int usual) {
  int lines = usual;
  const std::string& text = condition.variant;
  std::from_chars(text.data(), text.data() + text.size(), lines);
  return lines;
}

/// A request and a scene for an opening; the caller adds the type's own keys.
Job Frame(const Condition& condition, const Placement& p, const char* type, const char* direction,
          json opening) {
  Job job;
  job.request = {{"Feature",
                  {{"$type", type},
                   {"Location", ToJson(p.nominal_place)},
                   {"Normal", ToJson(p.nominal_normal)},
                   {direction, ToJson(p.nominal_tangent)}}}};
  job.scene = {{"part", {{"type", "plate"}, {"opening", std::move(opening)}}}, {"pose", p.Pose()}};
  if (condition.variant != kNothingBehind) job.scene["behind"] = 0.05;
  return job;
}

Job DrawRectangle(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const double length = rng.Uniform(0.02, 0.06);
  const double width = rng.Uniform(0.012, 0.02);
  Job job = Frame(condition, p, "RectangleFeature", "Tangent",
                  {{"shape", "rectangle"}, {"length", length}, {"width", width}});
  job.request["ScansPerSide"] = LinesOf(condition, 10);
  job.request["Feature"]["Length"] = length;
  job.request["Feature"]["Width"] = width;
  return job;
}

Job DrawPolygon(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const int sides = static_cast<int>(rng.Uniform(3.0, 7.0));
  const double radius = rng.Uniform(0.012, 0.025);
  Job job = Frame(condition, p, "PolygonFeature", "Axis",
                  {{"shape", "polygon"}, {"sides", sides}, {"radius", radius}});
  job.request["ScansPerSide"] = LinesOf(condition, 5);
  // Many lines need short ones, or those close to the corner of a triangle cross the next side too.
  if (LinesOf(condition, 5) > 5) job.request["ClearanceZone"] = 0.002;
  job.request["Feature"]["Sides"] = sides;
  job.request["Feature"]["Radius"] = radius;
  return job;
}

Job DrawSlot(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const double width = rng.Uniform(0.01, 0.02);
  const double length = width + rng.Uniform(0.01, 0.05);
  Job job = Frame(condition, p, "SlotFeature", "Tangent",
                  {{"shape", "obround"}, {"length", length}, {"width", width}});
  job.request["ScanPassesPerArc"] = LinesOf(condition, 30);
  job.request["Feature"]["Length"] = length;
  job.request["Feature"]["Width"] = width;
  return job;
}

double CentreError(const Result& r) { return (r.Measured("Location") - r.True("center")).norm(); }

double NormalError(const Result& r) { return Angle(r.Measured("Normal"), r.True("normal")); }

std::vector<double> OblongErrors(const Result& r) {
  const double length = std::abs(r.MeasuredNumber("Length") - r.TrueNumber("length"));
  const double width = std::abs(r.MeasuredNumber("Width") - r.TrueNumber("width"));
  return {CentreError(r),          length,         width,
          std::max(length, width), NormalError(r), Angle(r.Measured("Tangent"), r.True("tangent"))};
}

std::vector<double> PolygonErrors(const Result& r) {
  return {CentreError(r), r.MeasuredNumber("Radius") - r.TrueNumber("radius"), NormalError(r),
          Angle(r.Measured("Axis"), r.True("axis"))};
}

/// \param other the lines of a condition that has not the usual number of them, and its label
std::vector<Condition> Conditions(const char* other, const char* other_label) {
  constexpr double kDegree = 0.017453292519943295;
  Condition all;
  all.label = "1 to 5 m, up to 45°";
  all.nearest = 1.0;
  all.most_tilt = 45.0 * kDegree;
  Condition level = all;
  level.label = "1 to 5 m, up to 15°";
  level.most_tilt = 15.0 * kDegree;
  Condition tilted = all;
  tilted.label = "1 to 5 m, 30° to 45°";
  tilted.least_tilt = 30.0 * kDegree;
  Condition lines = all;
  lines.label = other_label;
  lines.variant = other;
  Condition open = all;
  open.label = "1 to 5 m, up to 45°, nothing behind";
  open.variant = kNothingBehind;
  return {all, level, tilted, lines, open};
}

const Quantity kCentre{"centre", "µm", 1e6, 500e-6};
const Quantity kNormal{"normal", "mrad", 1e3, 20e-3};
const Quantity kDirection{"direction", "mrad", 1e3, 50e-3};

std::vector<Quantity> OblongQuantities() {
  return {kCentre,
          {"size", "µm", 1e6, 500e-6, 2},
          {"larger size", "µm", 1e6, 500e-6},
          kNormal,
          kDirection};
}

const char* const kTwoSizes =
    " An opening has two sizes: \"size\" holds the errors of all lengths and widths, \"larger "
    "size\" for each opening the larger of its two.";

const Registered kRectangle({
    "rectangle",
    "Rectangle",
    std::string("Openings of 20 to 60 mm by 12 to 20 mm in a plate of 10 mm, a wall 50 mm behind, "
                "ten lines a side.") +
        kTwoSizes,
    Conditions("4", "1 to 5 m, up to 45°, 4 lines a side"),
    OblongQuantities(),
    DrawRectangle,
    OblongErrors,
    {"1 to 5 m, up to 45°"},
});

const Registered kPolygon({
    "polygon",
    "Polygon",
    "Openings of 3 to 6 sides and a radius of 12 to 25 mm in a plate of 10 mm, a wall 50 mm "
    "behind, five lines a side.",
    Conditions("10", "1 to 5 m, up to 45°, 10 lines a side of 2 mm clearance"),
    {kCentre, {"size", "µm", 1e6, 500e-6}, kNormal, kDirection},
    DrawPolygon,
    PolygonErrors,
    {"1 to 5 m, up to 45°"},
});

const Registered kSlot({
    "slot",
    "Slot",
    std::string("Openings of 10 to 20 mm width, 10 to 50 mm longer than wide, in a plate of 10 mm, "
                "a wall 50 mm behind, 30 lines an arc.") +
        kTwoSizes,
    Conditions("15", "1 to 5 m, up to 45°, 15 lines an arc"),
    OblongQuantities(),
    DrawSlot,
    OblongErrors,
    {"1 to 5 m, up to 45°"},
});

}  // namespace
}  // namespace libmfx::accuracy
