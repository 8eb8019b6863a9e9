#pragma once

#include <Eigen/Core>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// A helix as it is looked for: cycles a unit of height, and its hand.
struct HelixTrial {
  double frequency = 0.0;
  double hand = 1.0;  ///< -1: left-handed, 0: rings
};

/// Depth below a model's wall by height and turn, of some of the samples. Heights in nominal radii.
struct WallPattern {
  Eigen::ArrayXd height, turn, depth;

  Eigen::Index size() const { return depth.size(); }
  double Length() const { return height.maxCoeff() - height.minCoeff(); }

  /// Takes out what the form of a wall explains: offset, tilt and radius of the cylinder, 2 to 8
  /// lobes, taper, barrel and bend, by least squares. \return how many terms were taken out
  int TakeOutForm();

  /// Share of the variance in the first harmonic of a helix, as if heights and turns were spread
  /// evenly.
  double Share(const HelixTrial& trial) const;
  /// The best of evenly spaced frequencies, of both hands.
  HelixTrial Best(double lowest, double highest, double step) const;
  /// Climbs to the top of the peak that a trial hit on a side.
  HelixTrial Refined(const HelixTrial& trial, double step) const;

  /// Sine and cosine of the first harmonic by least squares, over the samples for which `in` is 1.
  Eigen::Vector2d Harmonic(const HelixTrial& trial, const Eigen::ArrayXd& in) const;
  /// Share of the variance that this harmonic explains.
  double Explained(const HelixTrial& trial) const;
  Eigen::ArrayXd PhaseOf(const HelixTrial& trial) const {  ///< radians
    return kTurn * (trial.frequency * height - trial.hand * turn);
  }
};

}  // namespace libmfx::geometry::cylinder
