#pragma once

#include <span>
#include <vector>

#include "sim/noise.h"
#include "sim/rng.h"
#include "sim/vec.h"

namespace libmfx::sim {

/// What one ray of the footprint brings back.
struct RayEcho {
  double range = 0.0;          ///< metres
  double cos_incidence = 0.0;  ///< 0 to 1
  double strength = 1.0;       ///< factor of the power, compared with a matte surface
};

/// What the instrument makes of all rays of the footprint together.
struct Echo {
  bool lost = true;
  double range = 0.0;
  double quality = 0.0;
};

/// Offsets of the footprint's rays from its middle, in units of the beam's 1/e^2 radius. Every ray
/// stands for the same power of a Gaussian beam; the rays lie in opposite pairs around the middle
/// one, so that they do not favour a side.
std::vector<Vec2> FootprintRays(int rays);

/// Forms the echo of one sample from those rays that met something, nearest cluster and all.
/// \param met the rays that met something; reordered
/// \param cast how many there would be had every ray met something
Echo FormEcho(std::span<RayEcho> met, int cast, const Noise& noise, Rng& rng);

/// Quality at an incidence and a range, before any noise.
double ExpectedQuality(double cos_incidence, double range, const Noise& noise);

}  // namespace libmfx::sim
