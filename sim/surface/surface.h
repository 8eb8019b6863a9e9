#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "sim/surface/gloss.h"
#include "sim/surface/lattice.h"
#include "sim/surface/lay.h"
#include "sim/surface/patches.h"

namespace libmfx::sim {

/// What the surfaces of a scene are like. By default they are matte and clean.
struct SurfaceSpec {
  /// Speckle of a rough surface: a range error that belongs to the place.
  struct Roughness {
    double range = 0.0;     ///< standard deviation, metres
    double size = 0.00015;  ///< places this far apart (metres) know little of each other
  };
  std::optional<Roughness> roughness;
  std::vector<PatchesSpec> patches;
  std::optional<LaySpec> lay;
  std::optional<GlossSpec> gloss;
  double mirror = 0.0;     ///< share of the power that goes on in the mirrored direction, below 1
  std::uint64_t seed = 1;  ///< of what lies where; the instrument's seed is another

  bool IsOff() const { return !roughness && patches.empty() && !lay && !gloss && mirror == 0.0; }
};

/// Surfaces that spoil what comes back from them. The same spot does the same to every beam that
/// sees it alike.
class Surface {
 public:
  explicit Surface(const SurfaceSpec& spec);

  /// What comes back from a spot, the share of the mirror taken away.
  SpotReturn At(const Spot& spot) const;
  /// Metres that a beam which is read at this point reads too long.
  double SpeckleAt(const Vec3& point) const;
  /// Share of the power that goes on in the mirrored direction.
  double mirror() const { return _mirror; }

 private:
  std::vector<std::unique_ptr<SurfaceEffect>> _effects;
  std::optional<Lattice> _speckle;
  double _speckle_sigma = 0.0;
  double _mirror;
};

}  // namespace libmfx::sim
