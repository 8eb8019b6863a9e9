#pragma once

#include "sim/relief/relief.h"

namespace libmfx::sim {

/// height = amplitude * sin(2 pi (place . direction) / wavelength + phase), on every face.
struct WavesSpec {
  double amplitude = 0.0;          ///< metres
  double wavelength = 0.001;       ///< metres
  Vec3 direction = Vec3::UnitX();  ///< unit, from crest to crest
  double phase = 0.0;              ///< radians
};

class Waves : public Relief {
 public:
  explicit Waves(const WavesSpec& spec);
  void Add(const Vec3& place, const Vec3& normal, Lift& lift) const override;
  double Largest() const override { return _amplitude; }
  double Steepest() const override { return _slope.norm(); }

 private:
  double _amplitude;
  Vec3 _per_metre;    ///< waves along each axis
  double _phase;      ///< turns
  Vec3 _slope;        ///< the steepest
  double _curvature;  ///< the sharpest, 1/m
};

}  // namespace libmfx::sim
