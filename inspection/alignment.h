#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "inspection/plan.h"

/// \file
/// Where the part stands in an instrument's frame, from places that were measured.

namespace libmfx::inspection {

using Matrix6d = Eigen::Matrix<double, 6, 6>;

/// A place of the part that was measured.
struct AlignedPlace {
  Vector3d nominal = Vector3d::Zero();                   ///< m, in the part's frame
  Vector3d measured = Vector3d::Zero();                  ///< m, in the instrument's frame
  Eigen::Matrix3d covariance = Eigen::Matrix3d::Zero();  ///< of `measured`, m^2
  /// Projects onto the directions in which it was measured, in the part's frame.
  Eigen::Matrix3d directions = Eigen::Matrix3d::Identity();
};

/// A pose that fits.
struct PoseFit {
  Eigen::Isometry3d pose =
      Eigen::Isometry3d::Identity();  ///< from the part's into the instrument's frame
  /// Of the pose: a small turn (radians, about the instrument's axes, through the middle of the
  /// places) in the first three, a shift of this middle in the others.
  Matrix6d covariance = Matrix6d::Zero();
  Vector3d middle = Vector3d::Zero();  ///< of the nominal places, in the part's frame
  std::vector<Vector3d>
      residuals;       ///< m, measured less nominal in the part's frame, in measured directions
  int redundancy = 0;  ///< conditions beyond the six that a pose needs
  double chi_squared = 0.0;  ///< of the residuals, weighted
};

/// The pose of weighted least squares: at first `math::Alignment` of the places that were measured
/// in all directions, where there are three of these that are not on a line, else `start`; then
/// Gauss-Newton on what was measured of all, each weighted by its inverse covariance.
/// \param floor m, a standard deviation that every condition has on top of its covariance
/// \param why receives, for people, what keeps a pose from being found
std::optional<PoseFit> FitPose(const std::vector<AlignedPlace>& places,
                               const std::optional<Eigen::Isometry3d>& start, double floor,
                               std::string& why);
/// The same with a floor for each place.
std::optional<PoseFit> FitPose(const std::vector<AlignedPlace>& places,
                               const std::optional<Eigen::Isometry3d>& start,
                               const std::vector<double>& floors, std::string& why);

/// References that were judged by their residuals.
struct JudgedReferences {
  PoseFit fit;  ///< to all but the one left out; `residuals` have an entry for that one too
  std::optional<std::size_t> left_out;  ///< index of the one that does not fit to the others
};

/// The same, and the residuals judged: each has to lie within its tolerance (m) and three standard
/// uncertainties. Where they do not, and one place alone can be told to be the reason, it is left
/// out.
/// \param why receives, for people, what is wrong; names are those of `names`
std::optional<JudgedReferences> FitReferences(const std::vector<AlignedPlace>& places,
                                              const std::vector<double>& tolerances,
                                              const std::vector<std::string>& names,
                                              const std::optional<Eigen::Isometry3d>& start,
                                              std::string& why);

/// What a datum asks of a place.
struct DatumPlaces {
  std::vector<AlignedPlace> places;  ///< `directions` those that the datum holds
  std::string name = {};             ///< for `why`; without one it is told by its number
};

/// The pose that fits the first datum as well as can be, and each further one in what the ones
/// before it leave free (ISO 5459): least squares within a datum. What all of them leave free stays
/// as `start` has it, and counts as known. Places that were measured as one and the same in several
/// datums err as one. `redundancy` is what the datums ask beyond what they take.
/// \param why receives, for people, what keeps a pose from being found
std::optional<PoseFit> FitDatums(const std::vector<DatumPlaces>& datums,
                                 const Eigen::Isometry3d& start, std::string& why);

}  // namespace libmfx::inspection
