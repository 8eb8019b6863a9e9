#pragma once

#include <string>

namespace libmfx::accuracy {

/// The answer to a job, as `mfx batch --search` gives it. That of a stud or a threaded hole goes
/// without its samples and has what the fit tells beside the result, where it succeeded:
///
///   "uncertainty": {"center": ..., "axis": ..., "radius": ..., "height": ...}
///
/// The first three are standard uncertainties: of the axis at mid-height in metres, of its
/// direction in radians, of the radius in metres. "height" is how far above the result's location,
/// along its axis, mid-height is: the mean of the samples that the fit rests on; metres.
/// \param line a job, with an "id", a "request" and a "scene"
std::string AnswerOf(const std::string& line);

}  // namespace libmfx::accuracy
