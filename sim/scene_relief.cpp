#include <cmath>

#include "sim/number_text.h"
#include "sim/relief/flatness.h"
#include "sim/relief/marks.h"
#include "sim/relief/relief_part.h"
#include "sim/relief/waves.h"
#include "sim/scene_blocks.h"

namespace libmfx::sim {

namespace {

constexpr double kHighest = 0.001;  // metres
constexpr double kSteepest = 0.2;   // of all together

WavesSpec ReadWaves(SceneSection& s) {
  WavesSpec spec;
  spec.amplitude = s.Number("amplitude", 0.0, kHighest);
  spec.wavelength = s.Length("wavelength");
  spec.direction = ReadDirection(s, "direction");
  spec.phase = s.Degrees("phase_deg", -360.0, 360.0, spec.phase);
  s.Finish();
  return spec;
}

FlatnessSpec ReadFlatness(SceneSection s) {
  FlatnessSpec spec;
  spec.dish = s.Number("dish", -kHighest, kHighest, spec.dish);
  spec.twist = s.Number("twist", -kHighest, kHighest, spec.twist);
  spec.span = s.Length("span", spec.span);
  s.Finish();
  return spec;
}

MarksSpec ReadMarks(SceneSection s) {
  MarksSpec spec;
  spec.depth = s.Number("depth", 0.0, kHighest);
  spec.width = s.Length("width", spec.width);
  spec.spacing = s.Length("spacing", spec.spacing);
  if (spec.spacing < spec.width) s.Refuse("spacing", "is below the width of a mark");
  spec.across = ReadDirection(s, "across");
  spec.seed = static_cast<std::uint64_t>(s.Integer("seed", 0, std::int64_t{1} << 53, 1));
  s.Finish();
  return spec;
}

}  // namespace

std::shared_ptr<const Part> ReadRelief(SceneSection& scene, std::shared_ptr<const Part> part) {
  SceneSection s = scene.Child("relief");
  std::vector<std::unique_ptr<Relief>> reliefs;
  if (s.Tells("waves")) {
    for (SceneSection& waves : s.Children("waves", 8)) {
      reliefs.push_back(std::make_unique<Waves>(ReadWaves(waves)));
    }
  }
  if (s.Tells("flatness")) {
    const double reach = part->Reach();
    reliefs.push_back(std::make_unique<Flatness>(ReadFlatness(s.Child("flatness")), reach));
  }
  if (s.Tells("marks")) reliefs.push_back(std::make_unique<Marks>(ReadMarks(s.Child("marks"))));
  s.Finish();
  std::erase_if(reliefs, [](const auto& relief) { return relief->Largest() == 0.0; });
  double steepest = 0.0;
  for (const auto& relief : reliefs) steepest += relief->Steepest();
  if (steepest > kSteepest) {
    scene.Refuse("relief", "has slopes that add up to " + NumberText(steepest) + ", more than " +
                               NumberText(kSteepest));
  }
  if (reliefs.empty()) return part;
  return std::make_shared<const ReliefPart>(std::move(part), std::move(reliefs));
}

}  // namespace libmfx::sim
