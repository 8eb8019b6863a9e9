#include "uncertainty/trial.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/scene_driver.h"
#include "host/wire.h"
#include "sim/instrument.h"
#include "sim/portable_math.h"
#include "sim/rng.h"

namespace libmfx::uncertainty {
namespace {

using host::RawDataPoint;
using measurement::Measurement;

/// Errors of form of a trial: a dish and a twist of a flat face, three lobes of a wall, each to
/// either side and with its crest anywhere.
void AddForm(Twin& twin, double height, sim::Rng& rng) {
  if (height == 0.0) return;
  const double turn = rng.Uniform(0.0, 360.0);
  if (twin.type == "Stud" || twin.type == "ThreadedHole") {
    nlohmann::json& lobes = twin.form["lobes"];
    lobes.push_back({{"count", 3}, {"amplitude", 0.5 * std::abs(height)}, {"crest_deg", turn}});
    return;
  }
  if (twin.type == "MatteSphere") return;  // a ball is made rounder than the instrument measures
  const auto [sine, cosine] = sim::portable::SinCos(turn * sim::kPi / 180.0);
  const double span =
      std::max({0.02, 4.0 * twin.radius, 2.0 * twin.length, 2.0 * twin.width, twin.height});
  twin.relief["flatness"] = {{"dish", height * cosine}, {"twist", height * sine}, {"span", span}};
}

/// The range of one sample of a path that was good enough to be handed out, and what was in front
/// of it.
std::optional<std::pair<double, double>> RangeOfOne(const sim::Instrument& instrument,
                                                    const std::vector<RawDataPoint>& samples,
                                                    const features::Stages& stages, sim::Rng& rng) {
  std::vector<const RawDataPoint*> good;
  for (std::size_t i = 0; i < std::min(samples.size(), stages.fates.size()); ++i) {
    if (stages.fates[i] == features::SampleFate::kFitted) good.push_back(&samples[i]);
  }
  if (good.empty()) return std::nullopt;
  const auto chosen = static_cast<std::size_t>(rng.Uniform() * static_cast<double>(good.size()));
  const RawDataPoint& sample = *good[chosen];
  const Vector3d seen =
      data_structures::AzElRange(sample.azimuth, sample.elevation, sample.range).ToPoint().xyz();
  sim::Hit hit;
  if (!instrument.Cast(seen.normalized(), hit)) return std::nullopt;
  return std::pair{sample.range, hit.t};
}

/// Turns the part about its normal or axis, radians.
void Turn(Twin& twin, double angle) {
  const auto [sine, cosine] = sim::portable::SinCos(angle);
  twin.tangent = cosine * twin.tangent + sine * twin.normal.cross(twin.tangent);
}

/// Whether the part is round, and nothing on it was found to lie to one side. Then no result shows
/// how it stands about its axis: where its thread begins, or how the spot of the beam lies on it,
/// which is not round where only some rays make it up.
bool MayBeTurned(const Twin& twin) {
  const bool is_round = twin.type == "Stud" || twin.type == "ThreadedHole" ||
                        twin.type == "RobustHole" || twin.type == "MatteSphere";
  return is_round && !twin.form.is_object() && !twin.relief.is_object();
}

void Put(Trial& trial, const Values& measured, const Values& truth) {
  for (std::size_t i = 0; i < measured.size(); ++i) {
    for (Eigen::Index j = 0; j < measured[i].numbers.size(); ++j) {
      trial.results.push_back(measured[i].numbers[j]);
      trial.errors.push_back(measured[i].numbers[j] - truth[i].numbers[j]);
    }
  }
  // An error that is not a number is no success: nothing could be told of it.
  trial.successful = std::all_of(trial.errors.begin(), trial.errors.end(),
                                 [](double error) { return std::isfinite(error); });
}

}  // namespace

Twin Shifted(Twin twin, sim::Rng& rng) {
  // One draw a statement: the order of arguments is the compiler's.
  const double half = 0.5 * twin.spacing;
  const double along = rng.Uniform(-half, half);
  const double across = rng.Uniform(-half, half);
  const double out = rng.Uniform(-half, half);
  const double longer = rng.Uniform(-half, half);
  const double wider = rng.Uniform(-half, half);
  const double turned = rng.Uniform(-half, half);
  const double anywhere = rng.Uniform(0.0, 2.0 * sim::kPi);
  twin.place += along * twin.tangent + across * twin.normal.cross(twin.tangent);
  if (twin.type == "Edge" || twin.type == "MatteSphere") twin.place += out * twin.normal;
  if (twin.type == "RobustHole") twin.radius += longer;
  if (twin.type == "Polygon") {
    // The sides move by as much as half a spacing where the corners move by more.
    const auto side = sim::portable::SinCos(sim::kPi / std::max(3, twin.sides));
    twin.radius += longer / side.cosine;
    Turn(twin, turned / twin.radius);
  }
  if (twin.type == "Rectangle" || twin.type == "Slot") {
    twin.length += longer;
    twin.width += wider;
    Turn(twin, 2.0 * turned / twin.length);
  }
  if (MayBeTurned(twin)) Turn(twin, anywhere);
  return twin;
}

Trial CarryOut(const TrialPlan& plan, std::uint64_t number, std::vector<Layout>* layout) {
  sim::Rng rng(sim::DeriveSeed(plan.seed, std::to_string(number)));
  const DrawnContributions drawn = DrawContributions(plan.model, rng);
  Twin twin = plan.shifts ? Shifted(plan.twin, rng) : plan.twin;
  const Twin ideal = twin;
  AddForm(twin, drawn.form, rng);
  sim::Scene scene = SceneOf(twin, drawn.growth);
  scene.noise = plan.model.noise;
  constexpr double kNarrowest = 0.2;  // of the footprint
  scene.noise.footprint *= std::max(kNarrowest, 1.0 + plan.model.footprint_spread * rng.Normal());
  scene.instrument = drawn.errors;
  scene.surface = plan.model.surface;

  host::SceneDriver driver(scene, rng.Next());
  Measurement measurement(plan.request, OptionsOf(plan.options));
  std::vector<RawDataPoint> samples;
  while (!measurement.done()) {
    samples = driver.Drive(measurement.drive(), host::StepName(measurement.step()));
    measurement.take(samples);
  }
  Trial trial;
  if (!measurement.successful()) return trial;
  trial.warned = !measurement.feature().GetWarnings().empty();
  Values measured = MeasuredValues(measurement);
  Values truth = TrueValues(ideal, measured);
  if (twin.type == "CustomScan") {
    const sim::Instrument still(scene, 0);
    const auto ranges = RangeOfOne(still, samples, measurement.feature().GetStages(), rng);
    if (!ranges) return trial;
    const double middle = twin.place.norm();
    truth = {{"Range", Kind::kSize, Eigen::VectorXd::Constant(1, middle)}};
    measured = truth;
    measured[0].numbers[0] += ranges->first - ranges->second;
  }
  Put(trial, measured, truth);
  if (layout != nullptr) {
    layout->clear();
    for (const Value& value : measured) layout->push_back({value.key, value.kind});
  }
  return trial;
}

}  // namespace libmfx::uncertainty
