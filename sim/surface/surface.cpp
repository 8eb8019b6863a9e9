#include "sim/surface/surface.h"

#include <string>

#include "sim/rng.h"

namespace libmfx::sim {

Surface::Surface(const SurfaceSpec& spec) : _mirror(spec.mirror) {
  if (spec.roughness) {
    _speckle.emplace(spec.roughness->size, DeriveSeed(spec.seed, "roughness"));
    _speckle_sigma = spec.roughness->range;
  }
  for (std::size_t i = 0; i < spec.patches.size(); ++i) {
    const std::uint64_t seed = DeriveSeed(spec.seed, "patches " + std::to_string(i));
    _effects.push_back(std::make_unique<Patches>(spec.patches[i], seed));
  }
  if (spec.lay) _effects.push_back(std::make_unique<Lay>(*spec.lay));
  if (spec.gloss) _effects.push_back(std::make_unique<Gloss>(*spec.gloss));
}

SpotReturn Surface::At(const Spot& spot) const {
  SpotReturn back;
  for (const auto& effect : _effects) effect->Act(spot, back);
  back.strength *= 1.0 - _mirror;
  return back;
}

double Surface::SpeckleAt(const Vec3& point) const {
  return _speckle ? _speckle_sigma * _speckle->SmoothAt(point) : 0.0;
}

}  // namespace libmfx::sim
