#include "sim/scene_blocks.h"

namespace libmfx::sim {

namespace {

constexpr double kSmallest = 1e-6;  // metres, of what is strewn over a surface
constexpr double kLargest = 1000.0;

SurfaceSpec::Roughness ReadRoughness(SceneSection s) {
  SurfaceSpec::Roughness roughness;
  roughness.range = s.Number("range", 0.0, 0.001);
  roughness.size = s.Number("size", kSmallest, kLargest, roughness.size);
  s.Finish();
  return roughness;
}

PatchesSpec ReadPatches(SceneSection& s) {
  PatchesSpec spec;
  spec.share = s.Number("share", 0.0, 1.0);
  spec.size = s.Number("size", kSmallest, kLargest, spec.size);
  spec.factor = s.Number("factor", 0.001, 1000.0, spec.factor);
  spec.nearer = s.Number("nearer", -0.01, 0.01, spec.nearer);
  s.Finish();
  return spec;
}

LaySpec ReadLay(SceneSection s) {
  LaySpec spec;
  spec.direction = ReadDirection(s, "direction");
  spec.factor = s.Number("factor", 0.001, 1.0, spec.factor);
  s.Finish();
  return spec;
}

GlossSpec ReadGloss(SceneSection s) {
  GlossSpec spec;
  spec.factor = s.Number("factor", 0.0, 1000.0, spec.factor);
  spec.width = s.Degrees("width_deg", 0.1, 45.0, spec.width);
  s.Finish();
  return spec;
}

}  // namespace

std::shared_ptr<const Surface> ReadSurface(SceneSection s) {
  SurfaceSpec spec;
  spec.seed = static_cast<std::uint64_t>(s.Integer("seed", 0, std::int64_t{1} << 53, 1));
  if (s.Tells("roughness")) spec.roughness = ReadRoughness(s.Child("roughness"));
  if (s.Tells("patches")) {
    for (SceneSection& patches : s.Children("patches", 8)) {
      spec.patches.push_back(ReadPatches(patches));
    }
  }
  if (s.Tells("lay")) spec.lay = ReadLay(s.Child("lay"));
  if (s.Tells("gloss")) spec.gloss = ReadGloss(s.Child("gloss"));
  spec.mirror = s.Number("mirror", 0.0, 0.99, 0.0);
  s.Finish();
  return spec.IsOff() ? nullptr : std::make_shared<const Surface>(spec);
}

}  // namespace libmfx::sim
