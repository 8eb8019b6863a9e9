#pragma once

#include <cstdint>

#include "host/recording.h"
#include "libmfx/features/stages.h"
#include "sim/scene.h"
#include "uncertainty/instrument_model.h"

namespace libmfx::uncertainty {

/// The model with the noise, the footprint, the stray and the lost samples that a scan shows. What
/// the scan does not show, or no sound number can be had of, stays the model's.
///
///  - range noise: second differences of the range along a line, of samples whose whole beam meets
///    one smooth surface. The distances from the twin are taken, so that a curved face adds
///    nothing. What does not change with the incidence scales `range` and `range_per_metre`, what
///    grows with it scales `speckle`; of a scan of one incidence only their sum can be told, and
///    the two move as little as that allows. The angles' noise stays the model's.
///  - stray samples: single ones that lie off both of their neighbours
///  - lost samples: those that the path asked for within what took part, how many and how many in a
///    row; they become the model's bursts. Those lost singly are bursts of about one sample.
///  - quality: level, loss with the incidence, noise, and the floor if samples came below it
///  - footprint: quality that samples lose where an edge passes through the beam, summed up over
///    the edges and compared with the twin scanned by beams of several widths
///
/// Takes at most about as long as fifteen scans along the same path.
/// \param twin of the part, noise-free, with what lies behind it; its own noise counts nothing
/// \param scan the path as it was driven and the samples as they came, sound or not
/// \param stages what the analysis made of these samples; where it tells no fates, the twin alone
///   decides which samples are of use
/// \param seed of the scans of the twin
InstrumentModel AsRecorded(InstrumentModel model, const sim::Scene& twin,
                           const host::Exchange& scan, const features::Stages& stages,
                           std::uint64_t seed);

}  // namespace libmfx::uncertainty
