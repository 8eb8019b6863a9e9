#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/alignment.h"

/// \file
/// What measured places ask of a pose, for the fits. A step of a pose is a turn (radians, about the
/// part's axes, through the middle of the places) times the extent of the places, and a shift of
/// the middle along the part's axes: six lengths in metres.

namespace libmfx::inspection {

using Eigen::Matrix3d;
using Vector6d = Eigen::Matrix<double, 6, 1>;

/// Nothing is taken for surer than this, m: a standard deviation that every condition has.
inline constexpr double kSurest = 1e-9;
/// A step that moves the places by less than this share of their extent is free: 0.1 mm on a metre
/// is what holds a part no more, and what the digits of a plan may leave of an exact 0.
inline constexpr double kOpen = 1e-4;

/// A place as a fit uses it.
struct Condition {
  Vector3d nominal;     ///< m, in the part's frame, less the middle
  Vector3d measured;    ///< m, in the instrument's frame
  Matrix3d covariance;  ///< of `measured`, m^2
  Matrix3d directions;  ///< projects onto the measured directions, in the part's frame
  Matrix3d basis;       ///< its first `count` columns span them
  int count = 0;
  double variance = 0.0;  ///< m^2, that each direction has on top

  Vector3d place;     ///< m, where it is under a pose, in the part's frame less the middle
  Vector3d residual;  ///< m, `place` less `nominal` in the measured directions
};

/// All places of a fit.
struct Conditions {
  std::vector<Condition> all;
  Vector3d middle = Vector3d::Zero();  ///< m, of the places that are measured in any direction
  double extent = 0.0;                 ///< m, root mean square of their distances from it, never 0
  int count = 0;                       ///< of measured directions
};

/// Where the part stands: its middle and its turn, in the instrument's frame.
class Stand {
 public:
  Stand(const Eigen::Isometry3d& pose, const Vector3d& middle);

  const Matrix3d& rotation() const { return _rotation; }
  /// From the part's into the instrument's frame.
  Eigen::Isometry3d Pose(const Vector3d& middle) const;
  Stand Stepped(const Vector6d& step, double extent) const;
  /// Sets `place` and `residual`.
  void Place(Condition& condition) const {
    condition.place = _rotation.transpose() * (condition.measured - _middle);
    condition.residual = condition.directions * (condition.place - condition.nominal);
  }
  /// The length under which a step is no more than what is left of a pose by rounding.
  double Still(double extent) const { return 1e-10 * extent + 1e-14 * _middle.norm(); }

 private:
  Stand() = default;

  Eigen::Quaterniond _turn;
  Matrix3d _rotation;
  Vector3d _middle;
};

/// A place in a text: its name in quotes, or its number from 1 on.
std::string PlaceName(const std::vector<std::string>* names, std::size_t i);

/// The places as conditions.
/// \param floor of each place, m, or one for all
/// \param names of the places, or null
/// \param why receives, for people, which place cannot be used
std::optional<Conditions> ConditionsOf(const std::vector<AlignedPlace>& places,
                                       const std::vector<double>& floors,
                                       const std::vector<std::string>* names, std::string& why);

/// Whether a pose is finite and a rigid motion; else `why` says that it is not.
bool IsRigid(const Eigen::Isometry3d& pose, std::string_view name, std::string& why);

/// The inverse of a covariance (m^2, part's axes) within the measured directions; 0 across them.
Matrix3d WeightOf(const Condition& condition, const Matrix3d& covariance);

/// Adds what a place, weighted, adds to the normal matrix of steps.
/// \param place m, less the middle
void AddNormal(const Vector3d& place, const Matrix3d& weight, double extent, Matrix6d& normal);
/// The same of the gradient: half of what the weighted square of the residual has.
void AddGradient(const Condition& condition, const Matrix3d& weight, double extent,
                 Vector6d& gradient);

/// A covariance of steps as one of turns and shifts along the instrument's axes.
Matrix6d InInstrument(const Matrix6d& covariance, double extent, const Matrix3d& rotation);

/// What the conditions leave free, for people: "free to turn about ..."; empty where nothing is.
std::string WhatIsFree(const Conditions& conditions);

/// Pose of weighted least squares of conditions; `why` receives why there is none. The conditions
/// are left as they are under it.
std::optional<PoseFit> FitConditions(Conditions& conditions, const Eigen::Isometry3d& start,
                                     std::string& why);

}  // namespace libmfx::inspection
