#pragma once

#include <cstdint>

#include "sim/scene.h"
#include "uncertainty/recorded_samples.h"

namespace libmfx::uncertainty {

/// How many times as wide as the model's a beam was.
struct FootprintFound {
  double scale = 1.0;
  double spread = 0.0;  ///< standard uncertainty of the scale, as a share of it
};

/// How many times as wide as the model's the beam was that took these samples, by the quality that
/// is lost where edges pass through it: the sum over an edge grows with the width of the beam, and
/// does not change with the place of the edge. 1 where the scan shows no edge, or too few to tell.
/// What the edges leave open is told as the spread.
/// \param model whose quality is already that of the recording
/// \param seen the noise that the recording shows, what the model's surface does in it
/// \param lost share of the samples that got lost whatever they met
FootprintFound FootprintScale(const InstrumentModel& model, const sim::Scene& twin,
                              const sim::Noise& seen, const AskedSamples& asked, double lost,
                              std::uint64_t seed);

}  // namespace libmfx::uncertainty
