#pragma once

#include <Eigen/Geometry>
#include <cstddef>
#include <string>
#include <vector>

/// \file
/// The least squares of several stations in plain numbers, as they are handed to the module that
/// solves them.

namespace libmfx::inspection {

/// A station's pose as it is adjusted.
struct StationUnknown {
  Eigen::Quaterniond turn;
  Eigen::Vector3d middle;  ///< m, of the places, in its frame
};

/// What a station saw of a reference.
struct SightingTerm {
  std::size_t station = 0;
  std::size_t reference = 0;
  Eigen::Vector3d measured;  ///< m, in the station's frame
  Eigen::Matrix3d root;      ///< 1/m; its product with its transpose in front is the weight
};

/// All unknowns, and what ties them together.
struct StationNet {
  std::vector<StationUnknown> stations;
  std::vector<Eigen::Vector3d> places;    ///< m, less the middle; NaN of a reference nobody saw
  std::vector<Eigen::Vector3d> nominals;  ///< the same
  std::vector<double> standards;          ///< m, of a place off its nominal; 0: it stays there
  std::vector<SightingTerm> terms;
};

/// What the module "adjustment" offers: all that needs Ceres.
struct AdjustmentModule {
  /// Moves the unknowns to where the sum of the squares is least.
  /// \param[out] chi_squared what is left of the sum
  /// \param[out] settles whether they come to rest there
  /// \returns why there is no outcome; empty: there is one
  std::string (*solve)(StationNet& net, double& chi_squared, bool& settles);
};

}  // namespace libmfx::inspection
