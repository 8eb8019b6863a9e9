#include "sim/obstacles/dust.h"
#include "sim/obstacles/obstacles.h"
#include "sim/scene_blocks.h"

namespace libmfx::sim {

namespace {

constexpr double kFarthest = 1000.0;  // metres
constexpr double kParallel = 1e-6;    // radians

std::shared_ptr<const Obstacle> ReadCylinder(SceneSection& s) {
  const Vec3 from = s.Vector("from", kFarthest);
  const Vec3 to = s.Vector("to", kFarthest);
  if ((to - from).norm() < 1e-6) s.Refuse("to", "is where it begins");
  return MakeCylinder(from, to, s.Length("radius"));
}

std::shared_ptr<const Obstacle> ReadBox(SceneSection& s) {
  BoxSpec spec;
  spec.center = s.Vector("center", kFarthest);
  spec.length = s.Length("length");
  spec.width = s.Length("width");
  spec.height = s.Length("height");
  if (s.Tells("direction")) spec.direction = ReadDirection(s, "direction");
  if (s.Tells("up")) spec.up = ReadDirection(s, "up");
  if (spec.up.cross(spec.direction).norm() < kParallel) {
    s.Refuse(s.Has("up") ? "up" : "direction", "leaves length and height in one direction");
  }
  return MakeBox(spec);
}

std::shared_ptr<const Obstacle> ReadDust(SceneSection& s, DustSpec spec) {
  spec.center = s.Vector("center", kFarthest);
  spec.reach = s.Length("reach", spec.reach);
  spec.count = static_cast<int>(s.Integer("count", 1, 100000, spec.count));
  spec.grain = s.Length("grain", spec.grain);
  spec.seed = static_cast<std::uint64_t>(s.Integer("seed", 0, std::int64_t{1} << 53, 1));
  return std::make_shared<const Dust>(spec);
}

}  // namespace

Obstacles ReadObstacles(SceneSection& scene) {
  Obstacles obstacles;
  for (SceneSection& s : scene.Children("obstacles", 32)) {
    const std::string type = s.Choice("type", {"cylinder", "box", "dust", "spatter"});
    obstacles.push_back(type == "cylinder" ? ReadCylinder(s)
                        : type == "box"    ? ReadBox(s)
                        : type == "dust"   ? ReadDust(s, DustSpec())
                                           : ReadDust(s, Spatter()));
    s.Finish();
  }
  return obstacles;
}

}  // namespace libmfx::sim
