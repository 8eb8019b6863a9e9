#include "tools/accuracy/answers.h"

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/batch.h"
#include "host/conversation.h"
#include "host/json_text.h"
#include "host/scene_driver.h"
#include "libmfx/features/stud.h"
#include "libmfx/features/threaded_hole.h"
#include "sim/scene.h"
#include "tools/accuracy/quiet.h"

namespace libmfx::accuracy {
namespace {

using nlohmann::json;

/// A stud or a threaded hole that shows what its fit tells.
template <typename Feature>
class Shown : public Feature {
 public:
  using Feature::Feature;

  json Uncertainty(const std::vector<host::RawDataPoint>& samples) const {
    const auto& fitted = this->_fitted_cylinder;
    const Eigen::Vector3d axis = fitted._axis.xyz();
    const auto& fates = this->GetStages().fates;
    double height = 0.0;
    double count = 0.0;
    for (std::size_t i = 0; i < fates.size() && i < samples.size(); ++i) {
      if (fates[i] != features::SampleFate::kWall) continue;
      const auto& s = samples[i];
      const Eigen::Vector3d p =
          data_structures::AzElRange(s.azimuth, s.elevation, s.range).ToPoint().xyz();
      height += (p - fitted._center.xyz()).dot(axis);
      count += 1.0;
    }
    return {{"center", fitted._statistics.center_uncertainty},
            {"axis", fitted._statistics.axis_uncertainty},
            {"radius", fitted._statistics.radius_uncertainty},
            {"height", height / count}};
  }
};

/// Keeps the samples of the last scan.
class KeepingDriver final : public host::Driver {
 public:
  KeepingDriver(const sim::Scene& scene, std::uint64_t seed) : _driver(scene, seed) {}

  std::string Name() const override { return _driver.Name(); }
  std::vector<host::RawDataPoint> Drive(const std::vector<host::Position>& points,
                                        const std::string& step) override {
    return samples = _driver.Drive(points, step);
  }

  std::vector<host::RawDataPoint> samples;

 private:
  host::SceneDriver _driver;
};

constexpr host::ConversationOptions kSearching = {.search = true};

template <typename Feature>
std::string MeasureCylinder(const json& job) {
  const std::string request = host::Dump(job.at("request"));
  KeepingDriver driver(sim::Scene::FromJson(job.at("scene")), job.at("seed").get<std::uint64_t>());
  host::ConversationOptions options = kSearching;
  options.scan_data = host::ScanData::kNone;
  Shown<Feature> feature(request);
  const host::Conversation held = Measure(feature, driver, options, [&request] {
    Feature asked(request);
    return host::ResetKeepingSettings(asked, true);
  });
  std::string answer = "{\"id\":" + host::Dump(job.at("id")) + ",\"result\":" + held.result;
  if (held.successful) {
    answer += ",\"uncertainty\":" + host::Dump(feature.Uncertainty(driver.samples));
  }
  return answer + "}";
}

}  // namespace

std::string AnswerOf(const std::string& line) {
  const Quiet quiet;
  const json job = json::parse(line);
  const std::string type = job.at("request").at("Feature").value("$type", "");
  try {
    if (type == "StudFeature") return MeasureCylinder<features::Stud>(job);
    if (type == "ThreadedHoleFeature") return MeasureCylinder<features::ThreadedHole>(job);
  } catch (const std::exception& error) {
    return host::RefuseJob(error.what(), host::Dump(job.at("id"))).line;
  }
  return host::AnswerJob(line, {.conversation = kSearching}).line;
}

}  // namespace libmfx::accuracy
