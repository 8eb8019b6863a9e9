// Studs and bores, smooth and with a thread: how far axis, centre and radius lie from the truth.

#include <cmath>
#include <numbers>
#include <string>

#include "sim/parts/thread.h"
#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

struct Wall {
  json radius_keys;     ///< "radius" or "thread" of the part
  double radius;        ///< of the wall, or of the thread's crests: what the request names
  double major_radius;  ///< nothing of the cylinder lies farther out
};

/// A radius of 2 to 10 mm, or a coarse thread of M4 to M20.
Wall DrawWall(const Condition& condition, bool bore, sim::Rng& rng) {
  if (condition.variant.find("thread") == std::string::npos) {
    const double radius = rng.Uniform(0.002, 0.01);
    return {{{"radius", radius}}, radius, radius};
  }
  constexpr const char* kNames[] = {"M4", "M5", "M6", "M8", "M10", "M12", "M16", "M20"};
  const char* name = kNames[static_cast<int>(rng.Uniform(0.0, 7.999))];
  const sim::Thread thread = *sim::Thread::Metric(name);
  return {
      {{"thread", name}}, bore ? thread.MinorRadius() : thread.major_radius, thread.major_radius};
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
  job.scene["part"].update(wall.radius_keys);
  return job;
}

/// A blind bore of 4 radii; the window ends above its floor.
Job DrawBore(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const Wall wall = DrawWall(condition, true, rng);
  const double depth = 4.0 * wall.major_radius;
  Job job;
  job.request = Request("ThreadedHoleFeature", p, -1.0, wall.radius, depth - 0.0015);
  if (condition.variant.find("faint") != std::string::npos)
    job.request["ScanQualityThreshold"] = 20.0;
  job.scene = {{"part", {{"type", "bore"}, {"depth", depth}}}, {"pose", p.Pose()}};
  job.scene["part"].update(wall.radius_keys);
  return job;
}

/// The centre's error is its distance from the true axis: along the axis it lies where the request
/// puts it.
std::vector<double> Errors(const Result& r) {
  const Vector3d axis = r.True("axis");
  const Vector3d off = r.Measured("Location") - r.True("center");
  const bool bore = r.truth.contains("mouth_radius");
  const char* radius = !r.truth.contains("pitch") ? "radius"
                       : bore                     ? "minor_radius"
                                                  : "major_radius";
  return {(off - off.dot(axis) * axis).norm(), Angle(r.Measured("Axis"), axis),
          std::abs(r.MeasuredNumber("Radius") - r.TrueNumber(radius))};
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

const std::vector<Quantity> kQuantities = {
    {"centre", "µm", 1e6, 500e-6}, {"axis", "mrad", 1e3, 50e-3}, {"radius", "µm", 1e6, 500e-6}};

const Registered kStud({
    "stud",
    "Stud",
    "Studs of 2 to 10 mm radius, smooth, or M4 to M20 with a coarse thread, 5 radii high, at 1 to "
    "5 m, the axis 30° to 75° from the line of sight.",
    {Tilted("smooth", 30, 75, "smooth"), Tilted("thread", 30, 75, "thread"),
     Tilted("smooth, nominal off by up to 0.5 mm and 2°", 30, 75, "smooth", 0.0005, 2 * kDegree),
     Tilted("thread, nominal off by up to 0.5 mm and 2°", 30, 75, "thread", 0.0005, 2 * kDegree)},
    kQuantities,
    DrawStud,
    Errors,
});

const Registered kBore({
    "threaded-hole",
    "Threaded hole",
    "Blind bores of 2 to 10 mm radius, smooth, or M4 to M20 with a coarse thread, 4 radii deep, at "
    "1 to 5 m, the axis as far from the line of sight as told. Smooth bores, and threads seen "
    "within "
    "25°, with a quality threshold of 20.",
    {Tilted("smooth, 25° to 50°", 25, 50, "smooth faint"),
     Tilted("smooth, 15° to 25°", 15, 25, "smooth faint"),
     Tilted("thread, 25° to 50°", 25, 50, "thread"),
     Tilted("thread, 10° to 25°", 10, 25, "thread faint"),
     Tilted("smooth, 25° to 50°, nominal off by up to 0.5 mm and 2°", 25, 48, "smooth faint",
            0.0005, 2 * kDegree),
     Tilted("thread, 25° to 50°, nominal off by up to 0.5 mm and 2°", 25, 48, "thread", 0.0005,
            2 * kDegree)},
    kQuantities,
    DrawBore,
    Errors,
});

}  // namespace
}  // namespace libmfx::accuracy
