#pragma once

#include <memory>
#include <string>

#include "sim/disturbances/instrument_errors.h"
#include "sim/noise.h"
#include "sim/rng.h"
#include "sim/scene.h"
#include "sim/surface/surface.h"

namespace libmfx::uncertainty {

/// What is known of a number that is the same during a measurement and not known exactly.
struct Distribution {
  enum class Shape {
    kNormal,       ///< `size` is the standard deviation
    kRectangular,  ///< `size` is half of the width, and the standard deviation size / sqrt(3)
    kTriangular,   ///< the same, size / sqrt(6)
    kArcsine       ///< the same, size / sqrt(2): of something that swings
  };
  Shape shape = Shape::kNormal;
  double mean = 0.0;
  double size = 0.0;

  /// Nothing is drawn for it.
  bool IsOff() const { return mean == 0.0 && size == 0.0; }
  /// The same draws give the same bytes on every machine.
  double Draw(sim::Rng& rng) const;
};

/// What noise does not hold: drawn once for each trial, all independent of each other.
struct Contributions {
  Distribution range_offset;      ///< m that ranges are read too long
  Distribution range_scale;       ///< m per m
  Distribution angle_scale;       ///< rad per rad, the same of azimuth and of elevation
  Distribution azimuth_first;     ///< rad, of the encoder; its phase may be anything
  Distribution azimuth_second;    ///< the same, twice a turn
  Distribution elevation_first;   ///< the same of the other encoder
  Distribution elevation_second;  ///< the same
  Distribution collimation;       ///< rad
  Distribution axis_tilt;         ///< rad
  Distribution temperature;       ///< K of the part above the one that its sizes are told for
  double expansion = 0.0;         ///< of the part, 1/K
  Distribution form;              ///< m, height of the errors of form of the measured faces
};

/// The instrument as it is believed to be. By default it is that of a scene which tells nothing of
/// it, and nothing else is uncertain.
struct InstrumentModel {
  sim::Noise noise;
  sim::InstrumentErrors errors;  ///< that are known and stay
  /// Standard uncertainty of the noise's footprint, as a share of it: of a recording that does not
  /// show more. Drawn once for each trial.
  double footprint_spread = 0.0;
  Contributions contributions;
  std::shared_ptr<const sim::Surface> surface;  ///< what the part's surface is like; none: matte
};

/// Reads a model; docs/uncertainty.md tells its keys.
/// \throws CallError that names the file, the key and its value
InstrumentModel ReadInstrumentModel(const std::string& path);

/// The scene's "surface" of a file.
/// \throws CallError that names the file, the key and its value
std::shared_ptr<const sim::Surface> ReadSurface(const std::string& path);

/// What one trial has of the contributions.
struct DrawnContributions {
  sim::InstrumentErrors errors;  ///< the known ones with the drawn ones added
  double growth = 1.0;           ///< of the part's sizes, 1 + expansion * temperature
  double form = 0.0;             ///< m, 0 or more
};

/// Takes one number of `rng` in all: each contribution draws from a seed of its own that follows
/// from it, so that one more of them changes nothing of the others.
DrawnContributions DrawContributions(const InstrumentModel& model, sim::Rng& rng);

}  // namespace libmfx::uncertainty
