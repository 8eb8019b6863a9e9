#include "sim/scene_blocks.h"

#include <cmath>

namespace libmfx::sim {

namespace {

constexpr double kFarthest = 1000.0;  // metres

Mat3 ReadRotation(SceneSection& section) {
  const nlohmann::json& rows = section.At("rotation");
  const auto refuse = [&] { section.Refuse("rotation", "is not three rows of three numbers"); };
  if (!rows.is_array() || rows.size() != 3) refuse();
  Mat3 m;
  for (int i = 0; i < 3; ++i) {
    const auto& row = rows[static_cast<std::size_t>(i)];
    if (!row.is_array() || row.size() != 3) refuse();
    for (int j = 0; j < 3; ++j) {
      const auto& item = row[static_cast<std::size_t>(j)];
      if (!item.is_number()) refuse();
      m(i, j) = item.get<double>();
    }
  }
  const Mat3 gram = m.transpose() * m;
  if (!((gram - Mat3::Identity()).cwiseAbs().maxCoeff() < 1e-6) || !(m.determinant() > 0.0)) {
    section.Refuse("rotation",
                   "is not a rotation: its rows are not at right angles and of length 1");
  }
  // What decimal digits left out is put right, so that the part keeps its size to the last bit.
  Mat3 exact;
  exact.col(2) = m.col(2).normalized();
  exact.col(0) = (m.col(0) - m.col(0).dot(exact.col(2)) * exact.col(2)).normalized();
  exact.col(1) = exact.col(2).cross(exact.col(0));
  return exact;
}

}  // namespace

Vec3 ReadDirection(SceneSection& section, const char* key) {
  const Vec3 v = section.Vector(key, kFarthest);
  if (v.norm() < 1e-9) section.Refuse(key, "has no direction");
  return v.normalized();
}

Pose ReadPoseKeys(SceneSection& section, const Vec3& normal, const Vec3& tangent) {
  const Vec3 position = section.Vector("position", kFarthest);
  if (section.Has("rotation")) {
    Pose pose;
    pose.rotation = ReadRotation(section);
    pose.position = position;
    return pose;
  }
  const Vec3 wanted = section.Has("normal") ? ReadDirection(section, "normal") : normal;
  const Vec3 z = Pose::Facing(position, wanted).rotation.col(2);
  const auto is_along = [&z](const Vec3& x) { return x.cross(z).norm() < 1e-6; };
  if (!section.Has("tangent")) {
    return Pose::Facing(position, wanted, is_along(tangent) ? Vec3(Vec3::Zero()) : tangent);
  }
  const Vec3 told = ReadDirection(section, "tangent");
  if (is_along(told)) section.Refuse("tangent", "is parallel to the normal");
  return Pose::Facing(position, wanted, told);
}

Pose ReadPose(SceneSection section) {
  const Pose pose = ReadPoseKeys(section, Vec3::Zero(), Vec3::Zero());
  section.Finish();
  return pose;
}

Noise ReadNoise(SceneSection& scene) {
  if (!scene.Has("noise")) return Noise();
  if (scene.At("noise").is_boolean()) return scene.Flag("noise", true) ? Noise() : Noise::Off();
  SceneSection s = scene.Child("noise");
  Noise n;
  n.range = s.Number("range", 0.0, 1.0, n.range);
  n.range_per_metre = s.Number("range_per_metre", 0.0, 1.0, n.range_per_metre);
  n.angle = s.Number("angle", 0.0, 0.1, n.angle);
  n.footprint = s.Number("footprint", 0.0, 0.1, n.footprint);
  n.rays = static_cast<int>(s.Integer("rays", 1, 999, n.rays));
  if (n.rays % 2 == 0) s.Refuse("rays", "is not odd: the rays lie in pairs around a middle one");
  n.speckle = s.Number("speckle", 0.0, 10.0, n.speckle);
  n.resolution = s.Number("resolution", 0.0, 1000.0, n.resolution);
  n.mixed = s.Number("mixed", 0.0, 1.0, n.mixed);
  n.mixed_penalty = s.Number("mixed_penalty", 0.0, 100.0, n.mixed_penalty);
  n.stray = s.Number("stray", 0.0, 1.0, n.stray);
  n.stray_span = s.Number("stray_span", 0.0, 1000.0, n.stray_span);
  n.quality_peak = s.Number("quality_peak", 0.0, 100.0, n.quality_peak);
  n.quality_incidence = s.Number("quality_incidence", 0.0, 1000.0, n.quality_incidence);
  n.quality_range = s.Number("quality_range", 0.0, 1000.0, n.quality_range);
  n.quality_noise = s.Number("quality_noise", 0.0, 100.0, n.quality_noise);
  n.quality_floor = s.Number("quality_floor", 0.0, 100.0, n.quality_floor);
  n.max_range = s.Number("max_range", 1e-3, 1e6, n.max_range);
  if (s.Has("lost")) {
    const std::string lost = s.Choice("lost", {"drop", "zero", "nan"});
    n.lost = lost == "drop"   ? LostReturn::kDrop
             : lost == "zero" ? LostReturn::kZero
                              : LostReturn::kNan;
  }
  s.Finish();
  return n;
}

}  // namespace libmfx::sim
