// Surface points: how far the measured point and normal lie from the truth.

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

constexpr const char* kDefaultBox = "default box";

Job Draw(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  Job job;
  job.request = {{"Feature",
                  {{"$type", "SurfaceNormalFeature"},
                   {"Location", ToJson(p.nominal_place)},
                   {"Normal", ToJson(p.nominal_normal)}}}};
  if (condition.variant != kDefaultBox) {
    job.request["BoxDimension"] = 0.004;
    job.request["NumberOfPoints"] = 36;
  }
  job.scene = {{"part", {{"type", "plane"}}}, {"pose", p.Pose()}};
  return job;
}

std::vector<double> Errors(const Result& r) {
  return {(r.Measured("Location") - r.True("center")).norm(),
          Angle(r.Measured("Normal"), r.True("normal"))};
}

std::vector<Condition> Conditions() {
  constexpr double kDegree = 0.017453292519943295;
  const auto condition = [](const char* label, double nearest, double farthest, double least,
                            double most) {
    Condition c;
    c.label = label;
    c.nearest = nearest;
    c.farthest = farthest;
    c.least_tilt = least * kDegree;
    c.most_tilt = most * kDegree;
    return c;
  };
  std::vector<Condition> conditions{
      condition("1 to 5 m, up to 60°", 1, 5, 0, 60), condition("1 to 5 m, up to 20°", 1, 5, 0, 20),
      condition("1 to 5 m, 40° to 60°", 1, 5, 40, 60),
      condition("1 to 5 m, up to 60°, box of 3 mm and 25 points", 1, 5, 0, 60)};
  conditions.back().variant = kDefaultBox;
  return conditions;
}

const Registered kSurfaceNormal({
    "surface_normal",
    "Surface normal",
    "One point of a flat sheet from a box of 4 mm with 36 points; the last condition takes the "
    "defaults of a request instead, 3 mm and 25 points.",
    Conditions(),
    {{"point", "µm", 1e6, 100e-6}, {"normal", "mrad", 1e3, 30e-3}},
    Draw,
    Errors,
    {"1 to 5 m, up to 60°", "1 to 5 m, up to 60°, box of 3 mm and 25 points"},
});

}  // namespace
}  // namespace libmfx::accuracy
