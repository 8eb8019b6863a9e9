#pragma once

#include <optional>

#include "host/recording.h"
#include "libmfx/features/stages.h"
#include "uncertainty/twin.h"
#include "uncertainty/uncertainty.h"
#include "uncertainty/values.h"

/// \file
/// A first estimate of how sure a measurement is, from the scatter of the samples that its fit
/// rests on. Lengths are metres, angles radians, coordinates in the instrument's frame, in whose
/// origin the instrument stands.

namespace libmfx::uncertainty {

/// The uncertainty by propagation from the fit's own residuals: what a least squares fit of these
/// points with this scatter leaves open. Rests on no trial: `trials` and `digits` are 0, and the
/// keys that the result repeats are left to the caller. The bias is 0, and the intervals are the
/// measured values and their standard uncertainties by Student's factor to either side.
///
/// It tells what scatters from sample to sample and from line to line, and no more: not what shifts
/// all samples alike, as a range offset does, nor what makes a border read in another place than it
/// is. It is half to twice as large as the scatter of simulated measurements, and a little less
/// than half in two cases. The centre of a hole with a chamfer that is seen at a slant rests on the
/// wall alone, and what counts as wall hangs on the fit. A thread's crests are not read by noise:
/// the estimate rests on how far samples lie off the middle of their neighbours, which the radius
/// of a bore's thread does not follow.
///
/// The middle of an opening with straight sides lies between its nominal and the truth, since a
/// line tells the border only across it. What is missing there counts as if it could have either
/// sign.
/// \param measured tells which quantities were free: a stud without "Axis" was fitted with a fixed
///     one
/// \param scan the last one, to which `stages` belong
/// \returns none for a scan path, for an edge that is the sample nearest to its depth ("sample"
///     mode), which no fit stands behind, and where samples or stages are missing, too few, or
///     leave a quantity open
std::optional<Uncertainty> FirstEstimate(const Twin& twin, const Values& measured,
                                         const host::Exchange& scan,
                                         const features::Stages& stages);

}  // namespace libmfx::uncertainty
