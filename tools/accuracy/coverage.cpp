#include "tools/accuracy/coverage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <vector>

#include "host/batch_workers.h"
#include "host/errors.h"
#include "host/json_text.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "sim/instrument.h"
#include "tools/accuracy/campaign.h"
#include "tools/accuracy/quiet.h"
#include "uncertainty/plan.h"

namespace libmfx::accuracy {
namespace {

using uncertainty::Kind;
using uncertainty::QuantityUncertainty;

constexpr double kDegree = 0.017453292519943295;
constexpr std::uint64_t kSeed = 20261123;

/// From which angles a type is measured, degrees between its direction and the line of sight.
struct Angles {
  double level[2];
  double slanted[2];
};

Angles AnglesOf(const std::string& name) {
  if (name == "stud") return {{30, 45}, {60, 75}};
  // From less than 13 degrees no sample of a bore's wall comes back good enough.
  if (name == "threaded-hole") return {{15, 25}, {30, 50}};
  if (name == "edge") return {{30, 40}, {45, 55}};
  return {{0, 15}, {30, 45}};
}

struct Place {
  const char* label;
  bool is_far;
  bool is_slanted;
};
constexpr std::array<Place, 4> kPlaces = {{{"near, level", false, false},
                                           {"near, slanted", false, true},
                                           {"far, level", true, false},
                                           {"far, slanted", true, true}}};

/// Draws a job of the type as its campaign does, at one of the places.
Job Draw(const Campaign& campaign, int run) {
  sim::Rng rng(sim::DeriveSeed(kSeed, campaign.name + "/" + std::to_string(run)));
  const std::string& usual =
      campaign.usual.at(static_cast<std::size_t>(run) / kPlaces.size() % campaign.usual.size());
  const auto found = std::find_if(campaign.conditions.begin(), campaign.conditions.end(),
                                  [&](const Condition& c) { return c.label == usual; });
  Condition condition = *found;
  const Place& place = kPlaces[static_cast<std::size_t>(run) % kPlaces.size()];
  const Angles angles = AnglesOf(campaign.name);
  const auto& range = place.is_slanted ? angles.slanted : angles.level;
  condition.nearest = place.is_far ? 4.0 : 1.0;
  condition.farthest = place.is_far ? 5.0 : 2.0;
  condition.least_tilt = range[0] * kDegree;
  condition.most_tilt = range[1] * kDegree;
  // No part stands where its nominal does, and none has its sizes: an edge that lay at a multiple
  // of the spacing from the beginning of its lines would be another measurement.
  condition.offset = 0.0003;
  condition.misalignment = 0.2 * kDegree;
  Job job = campaign.draw(condition, rng);
  json& feature = job.request["Feature"];
  for (const char* size : {"Length", "Width", "Radius"}) {
    if (!feature.contains(size) || feature["$type"] == "MatteSphereFeature") continue;
    feature[size] = feature[size].get<double>() + rng.Uniform(-5e-5, 5e-5);
  }
  return job;
}

/// What is true, told by the scene, of what was measured under a key.
class Truth {
 public:
  Truth(const sim::Scene& scene, const json& request)
      : _truth(scene.TruthJson()), _request(request) {}

  Eigen::VectorXd Of(const QuantityUncertainty& q) const {
    if (q.kind == Kind::kSize) return Eigen::VectorXd::Constant(1, Size(q.key));
    const Vector3d measured = *q.measured;
    if (q.kind == Kind::kPlace) return PlaceBy(measured);
    const char* key = q.key == "Normal" ? "normal" : q.key == "Tangent" ? "tangent" : "axis";
    const Vector3d is = Result::Triple(_truth, key);
    return is.dot(measured) < 0.0 && q.key != "Axis" ? Vector3d(-is) : is;
  }

 private:
  double Size(const std::string& key) const {
    if (key == "Length") return Result::Number(_truth, "length");
    if (key == "Width") return Result::Number(_truth, "width");
    if (!_truth.contains("pitch")) return Result::Number(_truth, "radius");
    return Result::Number(_truth,
                          _truth.contains("mouth_radius") ? "minor_radius" : "major_radius");
  }

  /// Where the request decides on a component, it is the measured one.
  Vector3d PlaceBy(const Vector3d& measured) const {
    const std::string type = _request.at("Feature").at("$type");
    if (type == "EdgeFeature") {
      const Vector3d along = Result::Triple(_truth, "along");
      const Vector3d edge = Result::Triple(_request, "$comment");
      return edge + (measured - edge).dot(along) * along;
    }
    const Vector3d center = Result::Triple(_truth, "center");
    if (type == "StudFeature" || type == "ThreadedHoleFeature") {
      const Vector3d axis = Result::Triple(_truth, "axis");
      return center + (measured - center).dot(axis) * axis;
    }
    if (type == "SurfaceNormalFeature") {
      const Vector3d normal = Result::Triple(_truth, "normal");
      return center.dot(normal) / measured.dot(normal) * measured;
    }
    return center;
  }

  json _truth;
  const json& _request;
};

/// A sample of a path that was handed out, as far from what was in front of it as its range tells.
std::optional<double> RangeError(const sim::Scene& scene, const host::Recording& recording,
                                 double threshold, int run) {
  const sim::Instrument still(scene, 0);
  std::vector<double> errors;
  for (const host::RawDataPoint& sample : recording.exchanges.back().samples) {
    if (!(sample.quality >= threshold)) continue;
    const Vector3d seen =
        data_structures::AzElRange(sample.azimuth, sample.elevation, sample.range).ToPoint().xyz();
    sim::Hit hit;
    if (still.Cast(seen.normalized(), hit)) errors.push_back(sample.range - hit.t);
  }
  if (errors.empty()) return std::nullopt;
  return errors[static_cast<std::size_t>(run) * 7919 % errors.size()];
}

/// Measures as a host does, and keeps what went to and fro.
host::Recording Record(const Job& job, std::uint64_t seed) {
  host::Recording recording;
  recording.request = host::Dump(job.request);
  recording.options = {.search = true};
  host::SceneDriver driver(sim::Scene::FromJson(job.scene), seed);
  host::ObservedDriver observed(
      driver, [&](const host::Exchange& exchange) { recording.exchanges.push_back(exchange); });
  recording.result = Measure(recording.request, observed, recording.options).result;
  return recording;
}

/// {"key": [within, within, within], ...} of one run; null where it was not measured.
json TryOne(const Campaign& campaign, const CoverageOptions& options, int run) {
  Job job = Draw(campaign, run);
  const std::uint64_t seed = sim::DeriveSeed(kSeed, "noise/" + std::to_string(run));
  const host::Recording recording = Record(job, seed);
  if (!json::parse(recording.result).value("Success", false)) return nullptr;
  uncertainty::Question question = uncertainty::After(recording, {}, seed + 1);
  if (options.is_wrong) {
    sim::Noise& noise = question.plan.model.noise;
    for (double* part : {&noise.range, &noise.range_per_metre, &noise.speckle}) *part *= 0.5;
  }
  const uncertainty::RunOptions run_options{.most = options.trials, .digits = 2, .processes = 1};
  const uncertainty::Uncertainty answer = uncertainty::AnswersOf({question}, run_options).front();
  job.scene["noise"] = false;
  const sim::Scene scene = sim::Scene::FromJson(job.scene);
  const Truth truth(scene, job.request);
  json within = json::object();
  for (const QuantityUncertainty& q : answer.quantities) {
    Eigen::VectorXd is = Eigen::VectorXd::Zero(1);
    if (q.key == "Range") {
      const auto error = RangeError(scene, recording, 20.0, run);
      if (!error) return nullptr;
      is[0] = (*q.measured)[0] - *error;
    } else {
      is = truth.Of(q);
    }
    json& row = within[q.key];
    for (std::size_t i = 0; i < q.interval95.size(); ++i) {
      const auto [low, high] = q.interval95[i];
      const double x = is[static_cast<Eigen::Index>(i)];
      row.push_back({low <= x && x <= high, x - low, high - x});
    }
  }
  return within;
}

/// How often the truth lay within, by quantity.
struct Tally {
  int runs = 0;
  int measured = 0;
  std::map<std::string, std::pair<int, int>> within;  ///< of how many numbers
};

void Write(const Campaign& campaign, const std::vector<Tally>& tallies, std::ostream& out) {
  for (std::size_t i = 0; i < tallies.size(); ++i) {
    const Tally& tally = tallies[i];
    out << "| " << campaign.title << " | " << (i < kPlaces.size() ? kPlaces[i].label : "all")
        << " | " << tally.runs << " | " << tally.measured << " |";
    const char* comma = " ";
    for (const auto& [key, count] : tally.within) {
      const double share = 1000.0 * count.first / count.second;
      out << comma << key << ' ' << std::round(share) / 10.0 << " %";
      comma = ", ";
    }
    out << " |\n";
  }
}

}  // namespace

void TryCoverage(const std::string& name, const CoverageOptions& options, std::ostream& out) {
  const Quiet quiet;
  const Campaign& campaign = CampaignOf(name);
  if (campaign.usual.empty()) throw std::runtime_error(name + " stands for no type");
  std::vector<Tally> tallies(kPlaces.size() + 1);
  host::JobWorkers workers(
      options.processes,
      [&](const std::string& job) -> host::JobAnswer {
        try {
          return {host::Dump(TryOne(campaign, options, std::stoi(job))), false, {}};
        } catch (const std::exception& error) {
          return {"run " + job + ": " + error.what(), true, {}};
        }
      },
      [&](std::size_t number, const host::JobAnswer& answer) {
        if (answer.is_error) throw std::runtime_error(answer.line);
        const json within = json::parse(answer.line);
        for (Tally* tally : {&tallies[number % kPlaces.size()], &tallies.back()}) {
          ++tally->runs;
          if (within.is_null()) continue;
          ++tally->measured;
          for (const auto& [key, rows] : within.items()) {
            for (const json& row : rows) {
              tally->within[key].first += row[0].get<bool>() ? 1 : 0;
              ++tally->within[key].second;
            }
          }
        }
      });
  for (int run = 0; run < options.runs || workers.HasBusy();) {
    if (run < options.runs && workers.HasIdle()) {
      workers.Give(static_cast<std::size_t>(run), std::to_string(run));
      ++run;
    } else {
      workers.Wait(-1);
    }
  }
  Write(campaign, tallies, out);
}

}  // namespace libmfx::accuracy
