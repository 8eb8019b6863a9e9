#pragma once

#include <Eigen/Core>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "inspection/numbers.h"
#include "inspection/plan.h"

namespace libmfx::inspection {

/// What an angle is between: of each of its two features whether it is the tangent, and not the
/// direction. Nothing for a "quantity" that tells no two of these words; an empty one tells two
/// directions.
std::optional<std::pair<bool, bool>> TangentsOf(const std::string& quantity);

/// The axis of the part's frame that a "quantity" names; zero for none.
Vector3d AxisOf(const std::string& quantity);

/// A size's "quantity", or where it is empty the only one that the type of a feature measures.
std::string SizeOf(const Characteristic& characteristic, const PlannedFeature& feature);

/// A characteristic that is evaluated again and again. Values are metres or radians.
///
/// What was not measured of a place never counts as a deviation: it is projected out, or counts as
/// the nominal tells it. A zone of flatness and an axis that concentricity is told about go through
/// the places as they are: each of them is a point of the real surface or axis, wherever the line
/// of sight met it.
class Evaluator {
 public:
  /// \param characteristic whose features the plan has; both outlive this
  Evaluator(const Characteristic& characteristic, const Plan& plan);

  /// \param own numbers of the characteristic's features, in its order
  /// \returns nothing where one that is needed was not measured
  std::optional<double> Value(const std::vector<FeatureNumbers>& own) const;

  /// The features' nominals in the same order, and the value that they have; NaN for none.
  const std::vector<FeatureNumbers>& nominals() const { return _nominals; }
  double nominal() const { return _nominal; }

 private:
  void TellDistanceUpwards();
  double Coordinate(const FeatureNumbers& own) const;
  double Distance(const std::vector<FeatureNumbers>& own) const;
  double Angle(const std::vector<FeatureNumbers>& own) const;
  double Pattern(const std::vector<FeatureNumbers>& own) const;
  double Number(const std::vector<FeatureNumbers>& own) const;
  /// The place with what was not measured as the nominal tells it.
  Vector3d Completed(std::size_t i, const FeatureNumbers& own) const;

  const Characteristic& _characteristic;
  std::vector<const PlannedFeature*> _features;
  std::vector<FeatureNumbers> _nominals;
  std::vector<Eigen::Matrix3d> _measured;  ///< of each feature, projects onto measured directions
  std::vector<Eigen::Matrix3d> _across;    ///< the same onto those of a position
  Eigen::Matrix3d _shared = Eigen::Matrix3d::Zero();  ///< those that both features of two have
  Vector3d _axis = Vector3d::Zero();                  ///< of a coordinate or a distance along one
  double _nominal = FeatureNumbers::kNone;
};

}  // namespace libmfx::inspection
