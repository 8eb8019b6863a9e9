#include <algorithm>
#include <cmath>

#include "sim/parts/thread.h"
#include "uncertainty/twin.h"

namespace libmfx::uncertainty {
namespace {

using nlohmann::json;

json ToJson(const Vector3d& v) { return {v.x(), v.y(), v.z()}; }

/// A plate is as large as the built-in one, and reaches beyond what a scan around the feature sees.
double PlateFor(double extent) { return std::max(0.2, 4.0 * extent + 0.06); }

json OpeningOf(const Twin& twin, double growth) {
  json opening = json::object();
  if (twin.type == "RobustHole") {
    opening = {{"shape", "round"}, {"radius", twin.radius * growth}};
  } else if (twin.type == "Polygon") {
    opening = {{"shape", "polygon"}, {"sides", twin.sides}, {"radius", twin.radius * growth}};
  } else {
    opening = {{"shape", twin.type == "Slot" ? "obround" : "rectangle"},
               {"length", twin.length * growth},
               {"width", twin.width * growth}};
  }
  if (twin.chamfer_depth > 0.0) {
    opening["chamfer_depth"] = twin.chamfer_depth * growth;
    opening["chamfer_angle_deg"] = twin.chamfer_angle * 180.0 / sim::kPi;
  }
  return opening;
}

/// The scene's thread with its crests at the radius.
json ThreadAt(const json& told, double radius, bool is_bore, double growth) {
  json thread = told;
  sim::Thread sizes;
  const auto number = [&told](const char* key, double usual) {
    return told.contains(key) ? told[key].get<double>() : usual;
  };
  sizes.pitch = number("pitch", sizes.pitch);
  sizes.depth = number("depth", 1.0);
  sizes.flank_angle = number("flank_angle_deg", 60.0) * sim::kPi / 180.0;
  thread["pitch"] = sizes.pitch * growth;
  thread["major_diameter"] = 2.0 * (is_bore ? radius + sizes.Depth() : radius) * growth;
  return thread;
}

json WallOf(const Twin& twin, double growth) {
  const bool is_bore = twin.type == "ThreadedHole";
  // What the window does not reach is there all the same: the end of a stud, the floor of a bore.
  const double end = twin.window + std::max(0.0015, 0.25 * twin.radius);
  json part = {{"type", is_bore ? "bore" : "stud"}, {is_bore ? "depth" : "height", end * growth}};
  if (twin.thread.is_object()) {
    part["thread"] = ThreadAt(twin.thread, twin.radius, is_bore, growth);
  } else {
    part["radius"] = twin.radius * growth;
  }
  if (twin.form.is_object()) part["form"] = twin.form;
  part["length"] = part["width"] = PlateFor(2.0 * twin.radius);
  return part;
}

json EdgeOf(const Twin& twin, double growth) {
  json part = {{"type", "edge"},
               {"thickness", twin.thickness * growth},
               {"wall_angle_deg", twin.wall_angle * 180.0 / sim::kPi}};
  if (twin.fillet > 0.0) part["fillet"] = twin.fillet * growth;
  if (twin.chamfer > 0.0) part["chamfer"] = twin.chamfer * growth;
  return part;
}

struct Stand {
  json part;
  Vector3d position;
  Vector3d normal;
};

Stand StandOf(const Twin& twin, double growth) {
  if (twin.type == "MatteSphere") {
    return {{{"type", "ball"}, {"radius", twin.radius * growth}}, twin.place, twin.normal};
  }
  if (twin.type == "Stud" || twin.type == "ThreadedHole") {
    const double sense = twin.type == "Stud" ? 1.0 : -1.0;
    return {WallOf(twin, growth), twin.place - twin.height * twin.normal, sense * twin.normal};
  }
  if (twin.type == "Edge") {
    return {EdgeOf(twin, growth),
            twin.place + twin.height * twin.normal - OutwardsAt(twin, twin.height) * twin.tangent,
            twin.normal};
  }
  if (twin.type == "PVI" || twin.type == "CustomScan") {
    const double size = std::max({0.5, twin.length, twin.width});
    return {{{"type", "plane"}, {"length", size}, {"width", size}}, twin.place, twin.normal};
  }
  json plate = {{"type", "plate"},
                {"thickness", twin.thickness * growth},
                {"opening", OpeningOf(twin, growth)}};
  plate["length"] = plate["width"] =
      PlateFor(std::max({2.0 * twin.radius, twin.length, twin.width}));
  return {std::move(plate), twin.place, twin.normal};
}

}  // namespace

sim::Scene SceneOf(const Twin& twin, double growth) {
  Stand stand = StandOf(twin, growth);
  json scene = {{"part", std::move(stand.part)},
                {"pose",
                 {{"position", ToJson(stand.position)},
                  {"normal", ToJson(stand.normal)},
                  {"tangent", ToJson(twin.tangent)}}},
                {"noise", false},
                {"full_circle", true}};
  if (twin.behind) scene["behind"] = *twin.behind;
  if (twin.relief.is_object()) scene["relief"] = twin.relief;
  return sim::Scene::FromJson(scene);
}

}  // namespace libmfx::uncertainty
