#pragma once

#include <limits>

namespace libmfx::sim {

/// What becomes of a sample that gets no echo.
enum class LostReturn {
  kDrop,  ///< no sample: the instrument has nothing to tell
  kZero,  ///< a sample of range 0 and quality 0
  kNan,   ///< a sample whose range is not a number, quality 0
};

/// How the instrument errs. docs/instrument.md tells the model and where the figures come from.
/// Sigmas are standard deviations.
struct Noise {
  double range = 8e-6;               ///< m, sigma of the range at any distance
  double range_per_metre = 2.5e-6;   ///< m per m, sigma that grows with the range
  double angle = 2.5e-6;             ///< rad, sigma of azimuth and of elevation
  double footprint = 0.00015;        ///< m, diameter (1/e^2) of the beam at 2 m, grows with range
  int rays = 13;                     ///< odd; rays that sample the footprint
  double speckle = 0.05;             ///< sigma of the range per metre of the footprint's own depth
  double resolution = 0.0005;        ///< m; echoes closer than this melt into one
  double mixed = 0.5;                ///< share of evenly split echoes that read in between
  double mixed_penalty = 45.0;       ///< quality that an evenly split, mixed echo loses
  double stray = 0.0002;             ///< share of samples with a range that means nothing
  double stray_span = 0.05;          ///< m; how far a stray range may be off
  double quality_peak = 90.0;        ///< quality at normal incidence and 2 m
  double quality_incidence = 107.0;  ///< quality lost per decade of the cosine of incidence
  double quality_range = 10.0;       ///< quality lost per decade of range beyond 2 m
  double quality_noise = 2.0;        ///< sigma of the quality
  double quality_floor = 15.0;       ///< an echo below this quality is lost
  double max_range = 60.0;           ///< m; what is farther gives no echo
  LostReturn lost = LostReturn::kDrop;

  /// One ray, exact ranges and angles, nothing lost that a ray meets. Quality still tells the
  /// incidence.
  static Noise Off() {
    Noise n;
    n.range = n.range_per_metre = n.angle = n.footprint = n.speckle = 0.0;
    n.rays = 1;
    n.mixed = n.stray = n.quality_noise = 0.0;
    n.quality_floor = -std::numeric_limits<double>::infinity();
    return n;
  }
};

}  // namespace libmfx::sim
