#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "host/conversation.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "sim/scenario.h"
#include "uncertainty/recorded_noise.h"

namespace libmfx::test {

/// A feature to measure and the part that it is on.
struct Subject {
  nlohmann::json request;
  sim::Scene scene;  ///< noise-free
};

/// Where a part of the tests stands: ahead, a bit aside, turned by an angle about an upright line.
/// \param incidence radians
inline sim::Pose PoseAt(double distance, double incidence) {
  return sim::TiltedPose(distance * sim::Vec3(0.05, 0.03, 1.0).normalized(), incidence, 0.4);
}

/// One of "hole", "rectangle", "face", "ball" and "stud", on its nominal.
/// \param behind metres to a wall behind the part; none: nothing stands there
inline Subject SubjectOf(const std::string& type, double distance, double incidence,
                         std::optional<double> behind = std::nullopt) {
  using namespace sim::parts;
  const sim::Pose pose = PoseAt(distance, incidence);
  const auto triple = [](const sim::Vec3& v) { return nlohmann::json{v.x(), v.y(), v.z()}; };
  Subject subject;
  PartPtr part;
  nlohmann::json feature = {{"Location", triple(pose.position)},
                            {"Normal", triple(pose.rotation.col(2))}};
  if (type == "hole") {
    part = MakeOpeningPlate(RoundOpening(0.006));
    feature.update({{"$type", "HoleFeature"}, {"Radius", 0.006}});
    subject.request["PointSpacing"] = 0.0001;
  } else if (type == "rectangle") {
    part = MakeOpeningPlate(RectangularOpening(0.03, 0.02));
    feature.update({{"$type", "RectangleFeature"},
                    {"Tangent", triple(pose.rotation.col(0))},
                    {"Length", 0.03},
                    {"Width", 0.02}});
    subject.request["ScansPerSide"] = 4;
  } else if (type == "face") {
    part = MakePlane({});
    feature["$type"] = "SurfaceNormalFeature";
    subject.request.update({{"BoxDimension", 0.02}, {"NumberOfPoints", 400}});
  } else if (type == "ball") {
    part = MakeBall({});
    feature = {{"$type", "MatteSphereFeature"}, {"Radius", 0.0127}};
    feature["Location"] = triple(pose.position - 0.0127 * pose.position.normalized());
    subject.request.update({{"QualityThreshold", 50},
                            {"ScanLines", 9},
                            {"NumPointsPerLine", 190},
                            {"UseStarPattern", 1},
                            {"BoxDimensionRatio", 0.75}});
  } else if (type == "stud") {
    StudSpec spec;
    spec.radius = 0.005;
    spec.height = 0.025;
    part = MakeStud(spec);
    feature = {{"$type", "StudFeature"},
               {"Location", triple(pose.position + 0.002 * pose.rotation.col(2))},
               {"Axis", triple(pose.rotation.col(2))},
               {"Radius", 0.005},
               {"Offset", 0.002},
               {"Height", 0.023},
               {"RadiusTolerance", 0.002}};
    subject.request["LineSpacing"] = 0.0004;
  }
  subject.request["$id"] = type;
  subject.request["Feature"] = feature;
  subject.scene = sim::MakeScene(part, pose, behind, sim::Noise::Off());
  return subject;
}

/// A measurement's last scan.
struct RecordedScan {
  host::Conversation told;
  host::Exchange exchange;

  /// What the model of the default instrument becomes.
  uncertainty::InstrumentModel Estimate(const sim::Scene& twin) const {
    return uncertainty::AsRecorded({}, twin, exchange, told.stages, 1);
  }
};

/// Measures a subject with an instrument of a noise.
inline RecordedScan Record(const Subject& subject, const sim::Noise& noise,
                           const sim::BurstsSpec& bursts, std::uint64_t seed) {
  sim::Scene scene = subject.scene;
  scene.noise = noise;
  scene.instrument.bursts = bursts;
  host::SceneDriver driver(scene, seed);
  RecordedScan scan;
  host::ObservedDriver observed(driver, [&](const host::Exchange& each) { scan.exchange = each; });
  scan.told = host::Measure(subject.request.dump(), observed, {});
  return scan;
}

}  // namespace libmfx::test
