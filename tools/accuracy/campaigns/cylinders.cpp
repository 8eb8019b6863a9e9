// Studs and bores, smooth and with a thread: how far axis, centre and radius lie from the truth.

#include <cmath>
#include <limits>
#include <numbers>
#include <string>

#include "sim/parts/thread.h"
#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

struct Wall {
  json keys;            ///< of the part: "radius" or "thread", and "form"
  double radius;        ///< of the wall, or of the thread's crests: what the request names
  double major_radius;  ///< nothing of the cylinder lies farther out
};

bool Has(const Condition& condition, const char* what) {
  return condition.variant.find(what) != std::string::npos;
}

/// 0.2 to 1 % of a radius, and either sign.
double DrawError(double radius, sim::Rng& rng) {
  const double size = rng.Uniform(0.002, 0.01) * radius;
  return rng.Uniform() < 0.5 ? size : -size;
}

/// Errors of form, each kind in every other run; lobes where there is no other.
json DrawForm(double radius, sim::Rng& rng) {
  json form = json::object();
  if (rng.Uniform() < 0.5) form["taper"] = DrawError(radius, rng);
  if (rng.Uniform() < 0.5) form["barrel"] = DrawError(radius, rng);
  if (rng.Uniform() < 0.5) {
    form["bend"] = DrawError(radius, rng);
    form["bend_deg"] = rng.Uniform(0.0, 360.0);
  }
  if (rng.Uniform() < 0.5 || form.empty()) {
    json lobes;
    lobes["count"] = static_cast<int>(rng.Uniform(2.0, 8.999));
    lobes["amplitude"] = std::abs(DrawError(radius, rng));
    lobes["crest_deg"] = rng.Uniform(0.0, 360.0);
    form["lobes"] = json::array({lobes});
  }
  return form;
}

/// A coarse thread. One that is cut less deep has its crests farther out in a bore; the request
/// names those of the basic profile, as a drawing does.
Wall DrawThread(const Condition& condition, bool bore, sim::Rng& rng) {
  constexpr const char* kNames[] = {"M4", "M5", "M6", "M8", "M10", "M12", "M16", "M20", "M24"};
  const bool whole = condition.least_depth == condition.most_depth;
  const char* name = kNames[static_cast<int>(rng.Uniform(0.0, whole ? 7.999 : 8.999))];
  const sim::Thread thread = *sim::Thread::Metric(name);
  json key = name;
  if (!whole) {
    key = {{"name", name}, {"depth", rng.Uniform(condition.least_depth, condition.most_depth)}};
  }
  return {
      {{"thread", key}}, bore ? thread.MinorRadius() : thread.major_radius, thread.major_radius};
}

/// A radius of 2 to 10 mm, or a coarse thread: of the whole depth M4 to M20, else M4 to M24.
Wall DrawWall(const Condition& condition, bool bore, sim::Rng& rng) {
  if (Has(condition, "thread")) return DrawThread(condition, bore, rng);
  const double radius = rng.Uniform(0.002, 0.01);
  Wall wall{{{"radius", radius}}, radius, radius};
  if (Has(condition, "form")) wall.keys["form"] = DrawForm(radius, rng);
  return wall;
}

/// The samples lie densely enough for about 40 lines a diameter.
json Request(const char* type, const Placement& p, double sense, double radius, double height) {
  json request = {{"LineSpacing", 0.05 * radius},
                  {"Feature",
                   {{"$type", type},
                    {"Location", ToJson(p.nominal_place)},
                    {"Axis", ToJson(sense * p.nominal_normal)},
                    {"Radius", radius},
                    {"Offset", 0.2 * radius + 0.0006},
                    {"Height", height},
                    {"RadiusTolerance", 0.003},
                    {"PlaneTolerance", 0.001}}}};
  return request;
}

/// A stud of 5 radii on a plate; the window ends where its chamfer begins.
Job DrawStud(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const Wall wall = DrawWall(condition, false, rng);
  const double height = 5.0 * wall.major_radius;
  Job job;
  job.request = Request("StudFeature", p, 1.0, wall.radius, height - 0.25 * wall.major_radius);
  job.scene = {{"part", {{"type", "stud"}, {"height", height}}}, {"pose", p.Pose()}};
  job.scene["part"].update(wall.keys);
  return job;
}

/// A blind bore of 4 radii; the window ends above its floor.
Job DrawBore(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const Wall wall = DrawWall(condition, true, rng);
  const double depth = 4.0 * wall.major_radius;
  Job job;
  job.request = Request("ThreadedHoleFeature", p, -1.0, wall.radius, depth - 0.0015);
  if (Has(condition, "faint")) job.request["ScanQualityThreshold"] = 20.0;
  job.scene = {{"part", {{"type", "bore"}, {"depth", depth}}}, {"pose", p.Pose()}};
  job.scene["part"].update(wall.keys);
  return job;
}

/// How far a place is from the true axis.
double FromAxis(const Result& r, const Vector3d& place) {
  const Vector3d axis = r.True("axis");
  const Vector3d off = place - r.True("center");
  return (off - off.dot(axis) * axis).norm();
}

double RadiusError(const Result& r) {
  const bool bore = r.truth.contains("mouth_radius");
  const char* radius = !r.truth.contains("pitch") ? "radius"
                       : bore                     ? "minor_radius"
                                                  : "major_radius";
  return std::abs(r.MeasuredNumber("Radius") - r.TrueNumber(radius));
}

/// The height of the window, metres.
double HeightOf(const Result& r) {
  const json& feature = r.request.at("Feature");
  return Result::Number(feature, "Height") - Result::Number(feature, "Offset");
}

/// The centre's error is its distance from the true axis: along the axis it lies where the request
/// puts it.
std::vector<double> Errors(const Result& r) {
  const double axis = Angle(r.Measured("Axis"), r.True("axis"));
  return {FromAxis(r, r.Measured("Location")), axis, axis * HeightOf(r), RadiusError(r)};
}

/// The fit states the uncertainty of the centre at mid-height, where it is the least.
std::vector<double> InUncertainties(const Result& r) {
  const auto stated = [&r](const char* key) { return Result::Number(r.uncertainty, key); };
  const Vector3d middle = r.Measured("Location") + stated("height") * r.Measured("Axis");
  const double axis = Angle(r.Measured("Axis"), r.True("axis")) / stated("axis");
  return {FromAxis(r, middle) / stated("center"), axis, axis, RadiusError(r) / stated("radius")};
}

Condition Tilted(const char* label, double least, double most, const char* variant,
                 double offset = 0.0, double misalignment = 0.0) {
  Condition c;
  c.label = label;
  c.nearest = 1.0;
  c.farthest = 5.0;
  c.least_tilt = least * kDegree;
  c.most_tilt = most * kDegree;
  c.offset = offset;
  c.misalignment = misalignment;
  c.variant = variant;
  return c;
}

/// A thread that is cut less deep than its basic profile.
Condition Shallow(const char* label, double least_depth, double most_depth, double least,
                  double most, const char* variant = "thread") {
  Condition c = Tilted(label, least, most, variant);
  c.least_depth = least_depth;
  c.most_depth = most_depth;
  return c;
}

constexpr double kUnlimited = std::numeric_limits<double>::infinity();

// An axis that is off counts by what it moves over the height of the window.
const std::vector<Quantity> kQuantities = {{"centre", "µm", 1e6, 200e-6},
                                           {"axis", "mrad", 1e3, kUnlimited},
                                           {"axis over the height", "µm", 1e6, 200e-6},
                                           {"radius", "µm", 1e6, 200e-6}};

// Runs draw by the number of their condition: new ones stand at the end.
const Registered kStud({
    "stud",
    "Stud",
    "Studs of 2 to 10 mm radius, smooth, or with a coarse thread of the whole depth, M4 to M20, 5 "
    "radii high, at 1 to 5 m, the axis 30° to 75° from the line of sight. Threads of less depth, "
    "told as a share of the basic profile's, are M4 to M24; their crests stay on the major radius, "
    "which the request names. Errors of form are taper, barrel, bend and 2 to 8 lobes, each in "
    "every other run and of 0.2 to 1 % of the radius (of lobes from the mean to a crest); the "
    "truth is the mean radius and the least squares axis of the whole wall.",
    {Tilted("smooth", 30, 75, "smooth"), Tilted("thread", 30, 75, "thread"),
     Tilted("smooth, nominal off by up to 0.5 mm and 2°", 30, 75, "smooth", 0.0005, 2 * kDegree),
     Tilted("thread, nominal off by up to 0.5 mm and 2°", 30, 75, "thread", 0.0005, 2 * kDegree),
     Shallow("thread, depth 0.75 to 1, 15° to 75°", 0.75, 1.0, 15, 75),
     Shallow("thread, depth 0.5 to 0.75, 15° to 75°", 0.5, 0.75, 15, 75),
     Tilted("smooth, errors of form", 30, 75, "smooth form")},
    kQuantities,
    DrawStud,
    Errors,
    {"smooth", "thread", "thread, depth 0.75 to 1, 15° to 75°"},
    InUncertainties,
    true,
});

const Registered kBore({
    "threaded-hole",
    "Threaded hole",
    "Blind bores of 2 to 10 mm radius, smooth, or with a coarse thread of the whole depth, M4 to "
    "M20, 4 radii deep, at 1 to 5 m, the axis as far from the line of sight as told. Smooth bores, "
    "and threads seen within 25°, with a quality threshold of 20. Threads of less depth, told as a "
    "share of the basic profile's, are M4 to M24. Their crests are farther out, and the wall as it "
    "is cut is what they are held against, while the request names the crests' radius of the basic "
    "profile, as a drawing does. Errors of form are those of the studs.",
    {Tilted("smooth, 25° to 50°", 25, 50, "smooth faint"),
     Tilted("smooth, 15° to 25°", 15, 25, "smooth faint"),
     Tilted("thread, 25° to 50°", 25, 50, "thread"),
     Tilted("thread, 10° to 25°", 10, 25, "thread faint"),
     Tilted("smooth, 25° to 50°, nominal off by up to 0.5 mm and 2°", 25, 48, "smooth faint",
            0.0005, 2 * kDegree),
     Tilted("thread, 25° to 50°, nominal off by up to 0.5 mm and 2°", 25, 48, "thread", 0.0005,
            2 * kDegree),
     Shallow("thread, depth 0.75 to 1, 25° to 50°", 0.75, 1.0, 25, 50),
     Shallow("thread, depth 0.75 to 1, 10° to 25°", 0.75, 1.0, 10, 25, "thread faint"),
     Shallow("thread, depth 0.6 to 0.75, 25° to 50°", 0.6, 0.75, 25, 50),
     Shallow("thread, depth 0.6 to 0.75, 10° to 25°", 0.6, 0.75, 10, 25, "thread faint"),
     Shallow("thread, depth 0.5 to 0.6, 25° to 50°", 0.5, 0.6, 25, 50),
     Shallow("thread, depth 0.5 to 0.6, 10° to 25°", 0.5, 0.6, 10, 25, "thread faint"),
     Tilted("smooth, errors of form, 25° to 50°", 25, 50, "smooth faint form")},
    kQuantities,
    DrawBore,
    Errors,
    {"smooth, 25° to 50°", "thread, 25° to 50°", "thread, depth 0.75 to 1, 25° to 50°"},
    InUncertainties,
    true,
});

}  // namespace
}  // namespace libmfx::accuracy
