#include "tools/accuracy/disturbances.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sim/parts/thread.h"
#include "sim/portable_math.h"

namespace libmfx::accuracy {
namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;
constexpr double kMicro = 1e-6;

std::string TypeOf(const json& job) { return job.at("scene").at("part").at("type"); }

bool IsWall(const json& job) { return TypeOf(job) == "stud" || TypeOf(job) == "bore"; }
bool Always(const json& /*job*/) { return true; }
/// A free path passes on what it meets: what lifts a surface, or stands in front of it, is no
/// error.
bool IsFitted(const json& job) { return !job.at("request").at("Feature").contains("Path"); }
bool IsOf(const Spoilt& it, const char* type) { return it.Part().value("type", "") == type; }
bool IsSheet(const Spoilt& it) {
  return IsOf(it, "plane") || IsOf(it, "plate") || IsOf(it, "edge");
}
bool IsFlat(const json& job) { return IsFitted(job) && TypeOf(job) != "ball" && !IsWall(job); }
bool IsPlate(const json& job) { return TypeOf(job) == "plate"; }
bool HasFront(const json& job) { return IsFitted(job) && TypeOf(job) != "ball"; }
bool HasBorder(const json& job) { return IsPlate(job) || TypeOf(job) == "edge"; }
bool IsThreaded(const json& job) { return job.at("scene").at("part").contains("thread"); }
bool HasRim(const json& job) { return IsPlate(job) || TypeOf(job) == "bore"; }

/// A direction along the front, and what lies so far from the origin that way.
struct Aside {
  double x, y;
  json At(double distance, double height) const { return {distance * x, distance * y, height}; }
};

Aside DrawAside(sim::Rng& rng) {
  const auto turn = sim::portable::SinCos(rng.Uniform(0.0, kTurn));
  return {turn.cosine, turn.sine};
}

/// A draw from half of a figure to all of it.
double About(double figure, sim::Rng& rng) { return figure * rng.Uniform(0.5, 1.0); }

json& ArrayOf(json& object, const char* key) {
  if (!object.contains(key)) object[key] = json::array();
  return object[key];
}

json& InstrumentOf(const Spoilt& it) { return it.Scene()["instrument"]; }

/// The thread's keys, where the part named it by its designation alone too.
json& ThreadOf(const Spoilt& it) {
  json& thread = it.Part()["thread"];
  if (thread.is_string()) thread = {{"name", thread}};
  return thread;
}

// --- The part.

void Wave(const Spoilt& it) {
  const Aside aside = DrawAside(it.rng);
  // A wave along the axis lifts the wall of a stud, a bore or a ball, one along the front a plate.
  const double along = IsSheet(it) ? 0.0 : it.rng.Uniform(-1.0, 1.0);
  ArrayOf(it.Scene()["relief"], "waves")
      .push_back({{"amplitude", About(it.Of(3, 15, 100), it.rng) * kMicro},
                  {"wavelength", it.rng.Uniform(0.005, 0.03)},
                  {"direction", {aside.x, aside.y, along}},
                  {"phase_deg", it.rng.Uniform(0.0, 360.0)}});
}

void Dish(const Spoilt& it) {
  it.Scene()["relief"]["flatness"] = {{"dish", it.Either(20, 80, 300) * kMicro},
                                      {"twist", it.Either(20, 80, 300) * kMicro},
                                      {"span", 0.1}};
}

void Round(const Spoilt& it) {
  if (it.Part().contains("burr")) return;  // none stands around a mouth that is out of round
  const auto share = [&] { return it.Either(0.0015, 0.008, 0.03) * it.reach; };
  it.Part()["form"] = {{"taper", share()},
                       {"barrel", share()},
                       {"bend", std::abs(share())},
                       {"bend_deg", it.rng.Uniform(0.0, 360.0)},
                       {"lobes",
                        {{{"count", static_cast<int>(it.rng.Uniform(2.0, 5.999))},
                          {"amplitude", std::abs(share())},
                          {"crest_deg", it.rng.Uniform(0.0, 360.0)}}}}};
}

void Burr(const Spoilt& it) {
  json& edge = IsOf(it, "plate") ? it.Part()["opening"] : it.Part();
  if (edge.contains("edge_radius") || it.Part().contains("form")) return;
  json burr = {{"height", About(it.Of(40, 120, 300), it.rng) * kMicro},
               {"width", About(it.Of(40, 120, 300), it.rng) * kMicro}};
  if (it.rng.Uniform() < 0.5) {
    burr["patches"] = static_cast<int>(it.rng.Uniform(2.0, 12.0));
    burr["share"] = it.rng.Uniform(0.2, 0.8);
  }
  edge["burr"] = burr;
}

void Break(const Spoilt& it) {
  const double size = About(it.Of(100, 250, 500), it.rng) * kMicro;
  if (!IsOf(it, "plate")) {
    // The border's other shape would be a second truth beside the request's.
    if (it.Part().value("wall_angle_deg", 0.0) == 0.0) it.Part()["fillet"] = size;
    return;
  }
  json& opening = it.Part()["opening"];
  if (opening.contains("burr") || opening.contains("chamfer_depth")) return;
  opening[it.rng.Uniform() < 0.5 ? "edge_radius" : "chamfer_depth"] = size;
}

void Mark(const Spoilt& it) {
  const Aside aside = DrawAside(it.rng);
  const double width = it.Of(0.0004, 0.001, 0.004);
  it.Scene()["relief"]["marks"] = {{"depth", About(it.Of(3, 15, 80), it.rng) * kMicro},
                                   {"width", width},
                                   {"spacing", 3.0 * width},
                                   {"across", {aside.x, aside.y, 0.0}},
                                   {"seed", static_cast<int>(it.rng.Uniform(1.0, 1e6))}};
}

void Spatter(const Spoilt& it) {
  ArrayOf(it.Scene(), "obstacles")
      .push_back({{"type", "spatter"},
                  {"center", {0.0, 0.0, 0.0}},
                  {"reach", 2.0 * it.reach + 0.005},
                  {"count", static_cast<int>(it.Of(3, 10, 40))},
                  {"grain", About(it.Of(0.1, 0.2, 0.4), it.rng) * 1e-3},
                  {"seed", static_cast<int>(it.rng.Uniform(1.0, 1e6))}});
}

void Wear(const Spoilt& it) {
  json& thread = ThreadOf(it);
  sim::Thread cut = *sim::Thread::Metric(thread["name"].get<std::string>());
  cut.depth = thread.value("depth", cut.depth);
  const auto kind = IsOf(it, "bore") ? sim::WallKind::kBore : sim::WallKind::kStud;
  const double least = cut.SmallestCrestRadius(kind);
  thread["crest_radius"] = least + it.Of(0.1, 0.3, 0.7) * (cut.LargestCrestRadius(kind) - least);
  thread["run_out"] = it.Of(0.2, 0.5, 1.5) * it.reach;
}

void Hand(const Spoilt& it) {
  ThreadOf(it)["left_handed"] = true;
  if (it.strength > 0) ThreadOf(it)["starts"] = 1 + it.strength;
}

void CutLess(const Spoilt& it) {
  json& thread = ThreadOf(it);
  if (thread.contains("crest_radius")) return;  // it fits the depth that there was
  thread["depth"] = it.rng.Uniform(it.Of(0.8, 0.6, 0.3), it.Of(0.95, 0.8, 0.6));
}

// --- The surface.

json& SurfaceOf(const Spoilt& it) {
  json& surface = it.Scene()["surface"];
  if (!surface.contains("seed")) surface["seed"] = static_cast<int>(it.rng.Uniform(1.0, 1e6));
  return surface;
}

void Roughen(const Spoilt& it) {
  SurfaceOf(it)["roughness"] = {{"range", About(it.Of(4, 12, 50), it.rng) * kMicro},
                                {"size", it.rng.Uniform(0.0001, 0.0004)}};
}

void Paint(const Spoilt& it) {
  ArrayOf(SurfaceOf(it), "patches")
      .push_back({{"share", it.Of(0.2, 0.4, 0.5)},
                  {"size", it.rng.Uniform(0.002, 0.01)},
                  {"factor", it.Of(0.5, 0.2, 0.03)}});
}

void Oil(const Spoilt& it) {
  ArrayOf(SurfaceOf(it), "patches")
      .push_back({{"share", it.Of(0.1, 0.3, 0.5)},
                  {"size", it.rng.Uniform(0.002, 0.01)},
                  {"nearer", About(it.Of(8, 30, 150), it.rng) * kMicro}});
}

void Machine(const Spoilt& it) {
  const Aside aside = DrawAside(it.rng);
  SurfaceOf(it)["lay"] = {{"direction", {aside.x, aside.y, 0.0}},
                          {"factor", it.Of(0.6, 0.3, 0.05)}};
}

void Polish(const Spoilt& it) {
  SurfaceOf(it)["gloss"] = {{"factor", it.Of(3, 15, 100)}, {"width_deg", it.rng.Uniform(2.0, 8.0)}};
}

void Mirror(const Spoilt& it) { SurfaceOf(it)["mirror"] = it.Of(0.1, 0.3, 0.7); }

// --- What stands in the way.

/// The direction to the instrument in the part's frame, of length 1 along its normal.
Vector3d TowardsInstrument(const Spoilt& it) {
  const auto vector = [&](const char* key) {
    const json& v = it.Scene().at("pose").at(key);
    return Vector3d(v[0], v[1], v[2]);
  };
  const Vector3d x = vector("tangent"), z = vector("normal"), view = -vector("position");
  return Vector3d(view.dot(x), view.dot(z.cross(x)), view.dot(z)) / view.dot(z);
}

void Cable(const Spoilt& it) {
  const Aside along = DrawAside(it.rng);
  // Daily it hangs beside the feature; one that hangs in its middle is absurd.
  const double share = it.strength == 0   ? it.rng.Uniform(1.2, 2.0)
                       : it.strength == 1 ? it.rng.Uniform(0.3, 1.2)
                                          : it.rng.Uniform(-0.3, 0.3);
  const double aside = share * it.reach;
  const double height = it.top + it.rng.Uniform(0.005, 0.05);
  // What counts is where the beam passes it: it hangs on the way to the instrument.
  const Vector3d before = height * TowardsInstrument(it);
  const auto at = [&](double way) -> json {
    return {way * along.x - aside * along.y + before.x(),
            way * along.y + aside * along.x + before.y(), height};
  };
  ArrayOf(it.Scene(), "obstacles")
      .push_back({{"type", "cylinder"},
                  {"from", at(-0.2)},
                  {"to", at(0.2)},
                  {"radius", About(it.Of(0.4, 1.5, 4.0), it.rng) * 1e-3}});
}

void Clamp(const Spoilt& it) {
  constexpr double kLength = 0.03, kHeight = 0.01;
  Aside aside = DrawAside(it.rng);
  // Daily it stands behind the feature, and hides nothing.
  const Vector3d towards = TowardsInstrument(it);
  const bool is_before = aside.x * towards.x() + aside.y * towards.y() > 0.0;
  if (it.strength == 0 && is_before) aside = {-aside.x, -aside.y};
  const double from = it.Of(1.3, 0.85, 0.3) * it.reach;
  ArrayOf(it.Scene(), "obstacles")
      .push_back({{"type", "box"},
                  {"center", aside.At(from + 0.5 * kLength, 0.5 * kHeight)},
                  {"length", kLength},
                  {"width", it.Of(0.3, 0.6, 1.5) * it.reach + 0.002},
                  {"height", kHeight},
                  {"direction", aside.At(1.0, 0.0)}});
}

void Label(const Spoilt& it) {
  const Aside aside = DrawAside(it.rng);
  const double length = it.Of(0.3, 0.6, 1.2) * it.reach + 0.002;
  const double height = it.Of(50, 100, 300) * kMicro;
  ArrayOf(it.Scene(), "obstacles")
      .push_back({{"type", "box"},
                  {"center", aside.At(it.reach + it.rng.Uniform(0.0, 0.5) * length, 0.5 * height)},
                  {"length", length},
                  {"width", 0.7 * length},
                  {"height", height},
                  {"direction", aside.At(1.0, 0.0)}});
}

void Dust(const Spoilt& it) {
  ArrayOf(it.Scene(), "obstacles")
      .push_back({{"type", "dust"},
                  {"center", {0.0, 0.0, it.top + 0.01}},
                  {"reach", it.reach + 0.005},
                  {"count", static_cast<int>(it.Of(20, 200, 2000))},
                  {"grain", it.rng.Uniform(20, 60) * kMicro},
                  {"seed", static_cast<int>(it.rng.Uniform(1.0, 1e6))}});
}

// --- The instrument.

void Drift(const Spoilt& it) {
  InstrumentOf(it)["drift"] = {{"range_um_per_s", it.Either(2, 10, 60)},
                               {"azimuth_urad_per_s", it.Either(0.5, 3, 20)},
                               {"elevation_urad_per_s", it.Either(0.5, 3, 20)},
                               {"range_walk_um", it.Of(1, 5, 30)},
                               {"angle_walk_urad", it.Of(0.3, 1.5, 10)}};
}

void Vibrate(const Spoilt& it) {
  InstrumentOf(it)["vibration"] = {{"amplitude", About(it.Of(3, 15, 80), it.rng) * kMicro},
                                   {"frequency", it.rng.Uniform(8.0, 60.0)}};
}

void Misjudge(const Spoilt& it) {
  InstrumentOf(it)["range_offset"] = it.Either(8, 25, 400) * kMicro;
  InstrumentOf(it)["range_scale_ppm"] = it.Either(1, 4, 100);
}

void Misalign(const Spoilt& it) {
  const auto angle = [&] { return it.Either(2, 6, 80); };
  const auto encoder = [&]() -> json {
    return {{"first_urad", std::abs(angle())},
            {"first_deg", it.rng.Uniform(0.0, 360.0)},
            {"second_urad", 0.5 * std::abs(angle())},
            {"second_deg", it.rng.Uniform(0.0, 360.0)}};
  };
  json& instrument = InstrumentOf(it);
  instrument["collimation_urad"] = angle();
  instrument["axis_tilt_urad"] = angle();
  instrument["azimuth_encoder"] = encoder();
  instrument["elevation_encoder"] = encoder();
}

void Defocus(const Spoilt& it) {
  const json& p = it.Scene().at("pose").at("position");
  const double range = Vector3d(p[0], p[1], p[2]).norm();
  InstrumentOf(it)["focus"] = {{"distance", range * (1.0 + it.Either(0.02, 0.06, 0.4))},
                               {"aperture", 0.012}};
}

void Lose(const Spoilt& it) {
  InstrumentOf(it)["bursts"] = {{"share", it.Of(0.01, 0.05, 0.25)}, {"length", it.Of(5, 10, 30)}};
}

void Stray(const Spoilt& it) {
  it.Scene()["noise"] = {{"stray", it.Of(0.002, 0.01, 0.05)}, {"stray_span", 0.005}};
}

}  // namespace

double Spoilt::Either(double daily, double bad, double absurd) const {
  const double size = About(Of(daily, bad, absurd), rng);
  return rng.Uniform() < 0.5 ? size : -size;
}

const std::vector<Disturbance>& Disturbances() {
  static const std::vector<Disturbance> all = {
      {"waves", "3, 15, 100 µm, 5 to 30 mm long", IsFitted, Wave},
      {"dished and twisted", "20, 80, 300 µm over 100 mm", IsFlat, Dish},
      {"out of round, tapered, barrelled, bent", "0.15, 0.8, 3 % of the radius each", IsWall,
       Round},
      {"burr", "40, 120, 300 µm", HasRim, Burr},
      {"broken edge", "0.1, 0.25, 0.5 mm, round or cut", HasBorder, Break},
      {"drag marks", "3, 15, 80 µm deep", IsFitted, Mark},
      {"spatter", "3, 10, 40 drops of 0.1, 0.2, 0.4 mm radius", HasFront, Spatter},
      {"worn crests, run-out", "a little, half a radius, 1.5 radii long", IsThreaded, Wear},
      {"left-handed thread", "one, two, three starts", IsThreaded, Hand},
      {"thread cut less deep", "0.8 to 0.95, 0.6 to 0.8, 0.3 to 0.6 of its depth", IsThreaded,
       CutLess},
      {"rough", "speckle of 4, 12, 50 µm", Always, Roughen},
      {"painted", "patches that return 0.5, 0.2, 0.03", Always, Paint},
      {"oil", "patches that read 8, 30, 150 µm nearer", Always, Oil},
      {"machined", "0.6, 0.3, 0.05 of the power along the lay", Always, Machine},
      {"glossy", "highlights of 3, 15, 100 times", Always, Polish},
      {"mirroring", "0.1, 0.3, 0.7 of the power", Always, Mirror},
      {"cable", "0.4, 1.5, 4 mm radius, in front of the part", IsFitted, Cable},
      {"clamp", "from 1.3, 0.85, 0.3 of the feature's reach on", IsFitted, Clamp},
      {"label", "50, 100, 300 µm thick, on the border", HasFront, Label},
      {"dust", "20, 200, 2000 grains in front of the part", IsFitted, Dust},
      {"drift", "2, 10, 60 µm and 0.5, 3, 20 µrad a second", Always, Drift},
      {"vibration", "3, 15, 80 µm", Always, Vibrate},
      {"range off", "8, 25, 400 µm and 1, 4, 100 ppm", Always, Misjudge},
      {"axes and encoders", "2, 6, 80 µrad each", Always, Misalign},
      {"out of focus", "2, 6, 40 % of the range", Always, Defocus},
      {"lost in bursts", "1, 5, 25 % of the samples", Always, Lose},
      {"stray samples", "0.2, 1, 5 %, by up to 5 mm", Always, Stray},
  };
  return all;
}

}  // namespace libmfx::accuracy
