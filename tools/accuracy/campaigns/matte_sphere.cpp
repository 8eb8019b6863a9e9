// Tooling balls: how far the measured centre lies from the true one, and what stray points do.

#include <string>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

/// The pattern, or the share of stray points, is the condition's variant.
Condition Ball(const std::string& label, const std::string& variant, bool noise = true) {
  Condition c;
  c.label = label;
  c.nearest = 1.0;
  c.farthest = 8.0;
  c.most_tilt = 1.0;
  c.offset = 0.002;
  c.noise = noise;
  c.variant = variant;
  return c;
}

std::vector<Condition> Conditions() {
  std::vector<Condition> conditions{Ball("star, no noise", "star", false), Ball("star", "star"),
                                    Ball("W", "W")};
  for (const char* percent : {"1", "2", "5", "10", "15", "20", "25", "30"}) {
    conditions.push_back(Ball(std::string(percent) + " % stray points", percent));
  }
  return conditions;
}

Job Draw(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const double radius = rng.Uniform(0.006, 0.025);
  const bool by_pattern = condition.variant == "star" || condition.variant == "W";
  const bool star = by_pattern ? condition.variant == "star" : rng.Uniform() < 0.5;
  Job job;
  job.request = {{"UseStarPattern", star ? 1 : 0},
                 {"Feature",
                  {{"$type", "MatteSphereFeature"},
                   {"Location", ToJson(p.nominal_place)},
                   {"Radius", radius}}}};
  job.scene = {
      {"part", {{"type", "ball"}, {"radius", radius}}}, {"pose", p.Pose()}, {"behind", 0.3}};
  if (!by_pattern) job.scene["noise"] = {{"stray", std::stod(condition.variant) / 100.0}};
  return job;
}

std::vector<double> Errors(const Result& r) {
  return {(r.Measured("Location") - r.True("center")).norm()};
}

const Registered kSphere({
    "matte-sphere",
    "Matte sphere",
    "Balls of 6 to 25 mm radius on a stem, 1 to 8 m away, with a wall 0.3 m behind them; the "
    "nominal "
    "centre is off by up to 2 mm in any direction. The stem leaves the line of sight by up to 57°. "
    "With stray points, star and W are drawn at random; a stray range is off by up to 50 mm. What "
    "the measurement does not get right it refuses: the table of stray points shows where that "
    "begins. [The sphere](sphere.md) tells why.",
    Conditions(),
    {{"centre", "µm", 1e6, 200e-6}},
    Draw,
    Errors,
    {"star", "W"},
});

}  // namespace
}  // namespace libmfx::accuracy
