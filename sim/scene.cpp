#include "sim/scene.h"

#include <nlohmann/json.hpp>

#include "sim/json_file.h"
#include "sim/number_text.h"
#include "sim/scene_blocks.h"

namespace libmfx::sim {

using nlohmann::json;

namespace {

/// The instrument has to see the part's front, and to look ahead for it unless it may turn round.
void CheckView(const Scene& scene, bool full_circle) {
  const Vec3& position = scene.pose.position;
  const Vec3 center = scene.pose.Point(scene.part->Center());
  if (!full_circle && center.z() < 0.0) {
    throw SceneError("pose.position: " + PointText(position) +
                     " puts the part behind the instrument, which looks along +z "
                     "(\"full_circle\": true lets it turn round)");
  }
  if (center.norm() < 0.01) {
    throw SceneError("pose.position: " + PointText(position) +
                     " puts the part where the instrument stands");
  }
  const Vec3 eye = scene.pose.Inverse(Vec3::Zero());
  if (scene.part->HasFront() && eye.z() <= 0.0) {
    throw SceneError("pose: the part at " + PointText(position) + " with the normal " +
                     PointText(scene.pose.rotation.col(2)) +
                     " turns its back to the instrument at [0, 0, 0]");
  }
  if (scene.behind && eye.z() <= -*scene.behind) {
    throw SceneError("behind: " + NumberText(*scene.behind) +
                     " puts the background between the instrument and the part");
  }
}

json ToArray(const Vec3& v) { return json::array({v.x(), v.y(), v.z()}); }

}  // namespace

Scene Scene::FromFile(const std::filesystem::path& file) {
  const std::string text = ReadJsonText(file, "scene");
  try {
    return FromText(text, file.parent_path());
  } catch (const SceneError& e) {
    throw SceneError(file.string() + ": " + e.what());
  }
}

Scene Scene::FromText(std::string_view text, const std::filesystem::path& folder) {
  return FromJson(ParseJson(text, "scene"), folder);
}

Scene Scene::FromJson(const json& value, const std::filesystem::path& folder) {
  SceneSection section(value, "");
  Scene scene;
  if (section.Has("name")) section.Text("name");
  scene.part = ReadPart(section.Child("part"), folder, scene.files);
  if (section.Tells("relief")) scene.part = ReadRelief(section, scene.part);
  scene.pose = ReadPose(section.Child("pose"));
  if (section.Has("behind")) scene.behind = section.Number("behind", 1e-6, 1000.0);
  scene.noise = ReadNoise(section);
  if (section.Tells("instrument")) {
    scene.instrument = ReadInstrument(section.Child("instrument"));
  }
  if (section.Tells("obstacles")) scene.obstacles = ReadObstacles(section);
  if (section.Tells("surface")) scene.surface = ReadSurface(section.Child("surface"));
  scene.seed = static_cast<std::uint64_t>(section.Integer("seed", 0, std::int64_t{1} << 53, 1));
  CheckView(scene, section.Flag("full_circle", false));
  section.Finish();
  return scene;
}

Truth Scene::TruthInInstrument() const {
  Truth truth = part->truth();
  for (auto& [name, point] : truth.points) point = pose.Point(point);
  for (auto& [name, direction] : truth.directions) direction = pose.Direction(direction);
  return truth;
}

json Scene::TruthJson() const {
  const Truth truth = TruthInInstrument();
  json object = json::object();
  for (const auto& [name, point] : truth.points) object[name] = ToArray(point);
  for (const auto& [name, direction] : truth.directions) object[name] = ToArray(direction);
  for (const auto& [name, number] : truth.values) object[name] = number;
  for (const auto& [name, flag] : truth.flags) object[name] = flag;
  return object;
}

}  // namespace libmfx::sim
