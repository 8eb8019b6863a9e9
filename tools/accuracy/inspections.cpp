#include "tools/accuracy/inspections.h"

#include <unistd.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <vector>

#include "host/batch_workers.h"
#include "host/errors.h"
#include "host/files.h"
#include "host/json_text.h"
#include "host/scene_driver.h"
#include "inspection/characteristics.h"
#include "inspection/inspect.h"
#include "inspection/plan_reader.h"
#include "sim/rng.h"
#include "tools/accuracy/quiet.h"

namespace libmfx::accuracy {
namespace {

using Eigen::Isometry3d;
using Eigen::Vector3d;
using inspection::FeatureNumbers;
using inspection::Plan;
using inspection::Sheet;
using inspection::Verdict;
using nlohmann::json;

constexpr double kDegree = 0.017453292519943295;
constexpr std::uint64_t kSeed = 20261123;

Vector3d Direction(sim::Rng& rng) {
  const double x = rng.Normal();
  const double y = rng.Normal();
  return Vector3d(x, y, rng.Normal()).normalized();
}

std::string Rounded(double value) {
  return std::to_string(std::round(value * 10.0) / 10.0).substr(0, 6);
}

/// Where the part stands, from its own frame into the instrument's, which looks along +z.
Isometry3d DrawPose(sim::Rng& rng, bool is_unknown) {
  const double distance = rng.Uniform(1.5, is_unknown ? 2.0 : 6.0);
  const double side = rng.Uniform(-15.0, 15.0) * kDegree;
  const double height = rng.Uniform(-10.0, 10.0) * kDegree;
  const double turn = rng.Uniform(-180.0, 180.0) * kDegree;
  const double tilt = rng.Uniform(0.0, 40.0) * kDegree;
  const double about = rng.Uniform(-180.0, 180.0) * kDegree;
  Eigen::Matrix3d facing;
  facing << -1, 0, 0, 0, 1, 0, 0, 0, -1;
  const Vector3d level(std::cos(about), 0.0, std::sin(about));
  Isometry3d pose = Isometry3d::Identity();
  pose.linear() =
      Eigen::AngleAxisd(tilt, level) * Eigen::AngleAxisd(turn, Vector3d::UnitY()) * facing;
  pose.translation() = distance * Vector3d(-std::sin(side) * std::cos(height), std::sin(height),
                                           std::cos(side) * std::cos(height));
  return pose;
}

/// The virtual instrument in front of one scene, with draws of its own for each conversation.
class Virtual final : public inspection::Instruments {
 public:
  Virtual(sim::Scene scene, std::uint64_t seed) : _scene(std::move(scene)), _seed(seed) {}

  host::Driver& At(std::size_t, const std::string& step) override {
    _driver = std::make_unique<host::SceneDriver>(_scene, sim::DeriveSeed(_seed, step));
    return *_driver;
  }
  std::string Name(std::size_t) const override { return "virtual"; }

 private:
  sim::Scene _scene;
  std::uint64_t _seed;
  std::unique_ptr<host::SceneDriver> _driver;
};

/// What is true of the part in its own frame. Where the plan decides on a place (a point of a
/// surface, the height of a border) it is the nominal one, which the part of the scene has too.
FeatureNumbers TruthOf(const inspection::PlannedFeature& feature, const sim::Truth& truth) {
  FeatureNumbers is;
  is.place = feature.place;
  is.direction = feature.direction;
  is.tangent = feature.tangent;
  const auto point = [&](const char* key, const auto& from, Vector3d& to) {
    const auto found = from.find(feature.name + "." + key);
    if (found != from.end()) to = found->second;
  };
  const auto value = [&](std::initializer_list<const char*> keys, double& to) {
    for (const char* key : keys) {
      const auto found = truth.values.find(feature.name + "." + key);
      if (found != truth.values.end()) to = found->second;
    }
  };
  if (feature.type == "EdgeFeature" || feature.type == "SurfaceNormalFeature") return is;
  point("center", truth.points, is.place);
  point("normal", truth.directions, is.direction);
  point("tangent", truth.directions, is.tangent);
  if (feature.type == "PolygonFeature") {
    point("axis", truth.directions, is.tangent);
  } else {
    point("axis", truth.directions, is.direction);
  }
  if (feature.type == "HoleFeature" || feature.type == "MatteSphereFeature") return is;
  value({"length"}, is.length);
  value({"width"}, is.width);
  const bool is_bore = feature.type == "ThreadedHoleFeature";
  value({"radius", is_bore ? "minor_radius" : "major_radius"}, is.radius);
  return is;
}

struct Part {
  Plan plan;
  json scene;
  std::filesystem::path folder;
  sim::Truth truth;
};

Part ReadPart(const InspectionsOptions& options) {
  Part part;
  inspection::ReadPlan read = inspection::ReadPlanText(host::ReadText(options.plan, "plan"));
  if (host::HasErrors(read.findings)) {
    throw std::runtime_error(options.plan + ": " + read.findings.front().text);
  }
  part.plan = std::move(read.plan);
  part.scene = json::parse(host::ReadText(options.scene, "scene"), nullptr, true, true);
  part.folder = std::filesystem::path(options.scene).parent_path();
  part.truth = sim::Scene::FromJson(part.scene, part.folder).part->truth();
  return part;
}

json ScenePose(const Isometry3d& pose) {
  json rows = json::array();
  for (Eigen::Index i = 0; i < 3; ++i) {
    rows.push_back({pose.linear()(i, 0), pose.linear()(i, 1), pose.linear()(i, 2)});
  }
  const Vector3d p = pose.translation();
  return {{"position", {p.x(), p.y(), p.z()}}, {"rotation", rows}};
}

/// What one run came to.
json TryOne(Part part, const InspectionsOptions& options, int run) {
  sim::Rng rng(sim::DeriveSeed(kSeed, "pose/" + std::to_string(run)));
  const Isometry3d pose = DrawPose(rng, options.is_unknown);
  inspection::Station& station = part.plan.stations.front();
  if (options.is_unknown) {
    station.pose.reset();
    station.within = 2.5;  // with the reach of the part
    station.azimuth[0] = station.elevation[0] = -40.0 * kDegree;
    station.azimuth[1] = station.elevation[1] = 40.0 * kDegree;
  } else {
    station.position_off = 0.02;
    station.angle_off = 5.0 * kDegree;
    Isometry3d told = pose;
    told.linear() =
        Eigen::AngleAxisd(rng.Uniform(0.0, 5.0) * kDegree, Direction(rng)) * pose.linear();
    told.translation() += rng.Uniform(0.0, 0.02) * Direction(rng);
    station.pose = told;
  }
  part.scene["pose"] = ScenePose(pose);
  Virtual instruments(sim::Scene::FromJson(part.scene, part.folder),
                      sim::DeriveSeed(kSeed, "noise/" + std::to_string(run)));
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("inspections-" + std::to_string(getpid()));
  std::filesystem::remove_all(path);
  Sheet sheet;
  try {
    inspection::Folder folder =
        inspection::Folder::Begin(path, "{}", "",
                                  {.program = "",
                                   .time = "",
                                   .seed = kSeed + static_cast<std::uint64_t>(run),
                                   .trials = options.trials});
    sheet = Inspect(part.plan, folder, &instruments, {.program = "", .processes = 1}, {});
  } catch (const host::CallError& error) {
    std::filesystem::remove_all(path);
    const Vector3d from = -(pose.linear().transpose() * pose.translation());
    std::string where = "run " + std::to_string(run) + ", seen from";
    for (const double x : from) where += " " + Rounded(x);
    return {{"lost", where + " m: " + error.what()}};
  }
  std::filesystem::remove_all(path);
  // What counts is the part itself, which may lie beside its references.
  Vector3d middle = Vector3d::Zero();
  for (const inspection::PlannedFeature& feature : part.plan.features) {
    middle += feature.place / static_cast<double>(part.plan.features.size());
  }
  const Isometry3d& found = sheet.stations.front().pose;
  const Eigen::AngleAxisd turn(found.linear() * pose.linear().transpose());
  json outcome = {{"distance", pose.translation().norm()},
                  {"shift", (found * middle - pose * middle).norm()},
                  {"turn", std::abs(turn.angle())}};
  std::vector<FeatureNumbers> truth;
  for (const auto& feature : part.plan.features) truth.push_back(TruthOf(feature, part.truth));
  json& verdicts = outcome["verdicts"] = json::array();
  for (std::size_t i = 0; i < part.plan.characteristics.size(); ++i) {
    const inspection::Characteristic& asked = part.plan.characteristics[i];
    const std::optional<double> is = ValueOf(asked, part.plan, truth);
    const bool within = is && *is >= asked.lower - 1e-12 && *is <= asked.upper + 1e-12;
    const inspection::CharacteristicResult& told = sheet.characteristics[i];
    verdicts.push_back({static_cast<int>(told.verdict), within,
                        is && told.interval95[0] <= *is && *is <= told.interval95[1],
                        is ? told.measured - *is : 0.0, told.standard});
  }
  return outcome;
}

/// What the runs came to together.
struct Tally {
  int carried = 0;
  std::vector<std::string> lost;
  std::vector<double> shifts, turns;
  std::array<std::array<int, 2>, 4> verdicts =
      {};        ///< by verdict, and by whether it truly is within
  int held = 0;  ///< intervals that hold the truth
  int told = 0;  ///< of these
  std::map<std::string, std::array<int, 4>> by_name;  ///< measured, held, wrong, undecided
};

double Quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  const auto last = static_cast<double>(values.size() - 1);
  return values[static_cast<std::size_t>(std::ceil(share * last))];
}

void Take(const Plan& plan, const json& outcome, Tally& tally) {
  if (outcome.contains("lost")) {
    tally.lost.push_back(outcome["lost"]);
    return;
  }
  ++tally.carried;
  tally.shifts.push_back(outcome["shift"]);
  tally.turns.push_back(outcome["turn"]);
  for (std::size_t i = 0; i < outcome["verdicts"].size(); ++i) {
    const json& row = outcome["verdicts"][i];
    const auto verdict = static_cast<Verdict>(row[0].get<int>());
    const bool within = row[1];
    ++tally.verdicts[row[0].get<std::size_t>()][within ? 1 : 0];
    if (verdict == Verdict::kNotMeasured) continue;
    auto& name = tally.by_name[plan.characteristics[i].name];
    ++tally.told;
    ++name[0];
    if (plan.characteristics[i].IsZone()) {
      --tally.told;  // what is truly 0 lies in no interval of a zone
    } else if (row[2].get<bool>()) {
      ++tally.held;
      ++name[1];
    }
    if (verdict == Verdict::kConforms ? !within : verdict == Verdict::kDoesNotConform && within) {
      ++name[2];
    }
    if (verdict == Verdict::kUndecided) ++name[3];
  }
}

void Write(const InspectionsOptions& options, const Tally& tally, std::ostream& out) {
  out << "| " << (options.is_unknown ? "unknown, within 2 m" : "told to 20 mm and 5°") << " | "
      << options.runs << " | " << tally.carried << " | ";
  for (const double share : {0.5, 0.95, 1.0}) {
    out << Rounded(Quantile(tally.shifts, share) * 1e6) << (share < 1.0 ? ", " : " µm | ");
  }
  for (const double share : {0.5, 0.95, 1.0}) {
    out << Rounded(Quantile(tally.turns, share) * 1e6) << (share < 1.0 ? ", " : " µrad | ");
  }
  const auto both = [&tally](Verdict verdict) {
    const auto& row = tally.verdicts[static_cast<std::size_t>(verdict)];
    return std::to_string(row[1]) + " + " + std::to_string(row[0]);
  };
  out << both(Verdict::kConforms) << " | " << both(Verdict::kDoesNotConform) << " | "
      << both(Verdict::kUndecided) << " | " << both(Verdict::kNotMeasured) << " | "
      << Rounded(tally.told > 0 ? 100.0 * tally.held / tally.told : 0.0) << " % |\n";
  for (const auto& [name, row] : tally.by_name) {
    out << "    " << name << ": measured " << row[0] << ", held " << row[1] << ", wrong " << row[2]
        << ", undecided " << row[3] << "\n";
  }
  for (const std::string& why : tally.lost) out << "    lost: " << why << "\n";
}

}  // namespace

void TryInspections(const InspectionsOptions& options, std::ostream& out) {
  const Quiet quiet;
  const Part part = ReadPart(options);
  Tally tally;
  host::JobWorkers workers(
      options.processes,
      [&](const std::string& job) -> host::JobAnswer {
        try {
          return {host::Dump(TryOne(part, options, std::stoi(job))), false, {}};
        } catch (const std::exception& error) {
          return {"run " + job + ": " + error.what(), true, {}};
        }
      },
      [&](std::size_t, const host::JobAnswer& answer) {
        if (answer.is_error) throw std::runtime_error(answer.line);
        Take(part.plan, json::parse(answer.line), tally);
      });
  for (int run = 0; run < options.runs || workers.HasBusy();) {
    if (run < options.runs && workers.HasIdle()) {
      workers.Give(static_cast<std::size_t>(run), std::to_string(run));
      ++run;
    } else {
      workers.Wait(-1);
    }
  }
  Write(options, tally, out);
}

}  // namespace libmfx::accuracy
