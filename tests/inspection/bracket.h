#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/errors.h"
#include "host/files.h"
#include "host/scene_driver.h"
#include "inspection/inspect.h"
#include "inspection/plan_reader.h"
#include "sim/rng.h"

/// \file
/// The bracket of the examples, in front of the virtual instrument.

namespace inspection_test {

using nlohmann::json;
namespace fs = std::filesystem;

inline std::string ExampleFile(const std::string& name) {
  return std::string(LIBMFX_SOURCE_DIR) + "/examples/inspection/" + name;
}

inline json Example(const std::string& name) {
  return json::parse(libmfx::host::ReadText(ExampleFile(name), name), nullptr, true, true);
}

/// A folder that is gone when the test ends.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "inspection-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for a test");
    _path = name;
  }
  ~TemporaryFolder() { fs::remove_all(_path); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  std::string operator/(const std::string& name) const { return (_path / name).string(); }

 private:
  fs::path _path;
};

/// Draws by the name of the conversation, and may die before one.
class Virtual final : public libmfx::inspection::Instruments {
 public:
  explicit Virtual(const json& scene) : Virtual(std::vector<json>{scene}) {}
  /// \param scenes one for each station
  explicit Virtual(const std::vector<json>& scenes) {
    for (const json& scene : scenes) {
      _scenes.push_back(libmfx::sim::Scene::FromJson(scene, ExampleFile("")));
    }
  }

  libmfx::host::Driver& At(std::size_t station, const std::string& step) override {
    if (dies_before == asked) throw libmfx::host::CallError("the instrument is gone");
    ++asked;
    const std::uint64_t seed = libmfx::sim::DeriveSeed(1, std::to_string(station) + step);
    _driver = std::make_unique<libmfx::host::SceneDriver>(_scenes[station], seed);
    return *_driver;
  }
  std::string Name(std::size_t) const override { return "virtual"; }

  int asked = 0;  ///< conversations
  int dies_before = -1;

 private:
  std::vector<libmfx::sim::Scene> _scenes;
  std::unique_ptr<libmfx::host::SceneDriver> _driver;
};

/// The plan of the example without some of its features and what is asked about them.
inline json PlanWith(const std::vector<std::string>& features) {
  json plan = Example("plan.json");
  const auto has = [&features](const json& name) {
    return std::find(features.begin(), features.end(), name.get<std::string>()) != features.end();
  };
  json kept = json::array();
  for (const json& feature : plan["features"]) {
    if (has(feature["name"])) kept.push_back(feature);
  }
  plan["features"] = kept;
  json asked = json::array();
  for (const json& one : plan["characteristics"]) {
    if (std::all_of(one["features"].begin(), one["features"].end(), has)) asked.push_back(one);
  }
  plan["characteristics"] = asked;
  return plan;
}

inline libmfx::inspection::Plan Read(const json& plan) {
  libmfx::inspection::ReadPlan read = libmfx::inspection::ReadPlanText(plan.dump());
  for (const auto& finding : read.findings) {
    if (finding.severity == libmfx::host::Severity::kError) {
      throw std::runtime_error(finding.path + ": " + finding.text);
    }
  }
  return std::move(read.plan);
}

inline constexpr const char* kTime = "2026-01-31T23:59:59Z";

inline libmfx::inspection::Folder Begin(const std::string& path, const json& plan,
                                        long long trials = 0) {
  return libmfx::inspection::Folder::Begin(
      path, plan.dump(), "", {.program = "test", .time = kTime, .seed = 1, .trials = trials});
}

}  // namespace inspection_test
