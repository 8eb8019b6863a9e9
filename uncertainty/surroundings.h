#pragma once

#include "host/recording.h"
#include "libmfx/features/stages.h"
#include "uncertainty/twin.h"

namespace libmfx::uncertainty {

/// The twin with what a scan shows around the feature: what lies behind it, how deep its walls go,
/// a chamfer, the form of a border or of a wall, a thread. What no sample tells stays as it is in
/// the twin, and so does all of it where the scan holds nothing that can be used.
/// \param twin with its place, directions and sizes as measured
/// \param scan the last exchange of the measurement
/// \param stages what the analysis made of that scan's samples, one fate each
Twin Surrounded(Twin twin, const host::Exchange& scan, const features::Stages& stages);

}  // namespace libmfx::uncertainty
