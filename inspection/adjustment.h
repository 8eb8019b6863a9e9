#pragma once

#include <Eigen/Geometry>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "inspection/alignment.h"

/// \file
/// Several stations in one adjustment.

namespace libmfx::inspection {

/// A reference seen from a station.
struct Sighting {
  std::size_t station = 0;
  std::size_t reference = 0;  ///< among those of the adjustment
  AlignedPlace place;
};

/// Stations and references that fit together.
struct Adjustment {
  std::vector<Eigen::Isometry3d> poses;  ///< of each station, from the part's into its frame
  /// Of each reference, where it is in the part's frame; NaN of one that no station saw.
  std::vector<Vector3d> places;
  double chi_squared = 0.0;
  int redundancy = 0;
};

/// Whether this build can adjust several stations.
bool CanAdjust();

/// Bundles all sightings: poses and places of least squares (Ceres). References are as near to
/// their nominals as their tolerances say (standard deviations, m), which also ties the whole to
/// the part's frame.
/// \param starts a pose for each station
/// \param why receives, for people, why there is none
std::optional<Adjustment> Adjust(const std::vector<Sighting>& sightings,
                                 const std::vector<double>& tolerances,
                                 const std::vector<Eigen::Isometry3d>& starts, std::string& why);

}  // namespace libmfx::inspection
