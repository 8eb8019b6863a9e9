#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/recording.h"
#include "libmfx/features/stages.h"
#include "sim/instrument.h"
#include "sim/path_walk.h"
#include "sim/scene.h"
#include "uncertainty/instrument_model.h"

/// \file
/// A recorded scan laid beside the twin of its part: what the path asked for, what came, and what
/// the twin shows there. Lengths are metres, angles radians.

namespace libmfx::uncertainty {

/// What a wide beam meets of the twin.
enum class BeamMeets {
  kNothing,  ///< all of it goes past
  kSurface,  ///< all of it meets one smooth surface
  kEdge      ///< anything else
};

/// What came of a sample.
struct CameSample {
  bool came = false;        ///< with sound numbers and a quality above 0; the rest stands only then
  bool takes_part = false;  ///< the analysis looked at it; without an analysis all do
  std::optional<features::SampleFate> fate;  ///< none: the analysis tells none
  double range = 0.0;                        ///< as recorded
  double quality = 0.0;
  sim::Vec3 read = sim::Vec3::UnitZ();  ///< unit, of the angles as recorded
};

/// A sample that a path asked for.
struct AskedSample : CameSample {
  sim::Aim aim;
  int line = 0;          ///< samples of one line follow each other without a jump
  double spacing = 0.0;  ///< metres to the next one

  BeamMeets meets = BeamMeets::kNothing;  ///< of a beam kWidestBeam times as wide as the model's
  bool met = false;                       ///< the middle of the beam meets the twin
  double twin_range = 0.0;                ///< in the direction that was read, else in the aim's
  double cos_incidence = 0.0;
  double angle_variance = 0.0;  ///< square metres of range for a square radian of each angle
  double surface_range = 0.0;  ///< that the model's surface moves the range by, somewhere like here
  double surface_quality = 0.0;  ///< the same of the quality

  double Residual() const { return range - twin_range; }
  /// It is of use for what a plain surface shows.
  bool IsPlain() const { return came && takes_part && met && meets == BeamMeets::kSurface; }
  /// What its quality is by a noise, of a plain, matte and clean surface.
  double ExpectedQuality(const sim::Noise& noise) const;
};
using AskedSamples = std::vector<AskedSample>;

/// Beams up to this many times as wide as the model's are looked at.
inline constexpr double kWidestBeam = 2.5;
/// No more samples of a scan are looked at; a longer one is thinned out line by line.
inline constexpr std::int64_t kMostAsked = 100'000;

/// The samples of a scan in the order of the path; none if nobody can drive the path, or if the
/// twin cannot be looked at.
AskedSamples LayBeside(const InstrumentModel& model, const sim::Scene& twin,
                       const host::Exchange& scan, const features::Stages& stages);

/// Diameter (1/e^2, metres) of the model's beam at a range.
double BeamDiameter(const InstrumentModel& model, double range);

/// One sample of the twin for each that is told, with a quality of 0 where nothing comes back. What
/// errs with a memory is off, but for the focus.
/// \param asked indices of those to take
std::vector<data_structures::RawDataPoint> ScanTwin(const InstrumentModel& model,
                                                    const sim::Scene& twin,
                                                    const AskedSamples& asked,
                                                    const std::vector<std::size_t>& indices,
                                                    std::uint64_t seed);

}  // namespace libmfx::uncertainty
