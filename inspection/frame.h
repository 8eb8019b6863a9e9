#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspection/finding.h"
#include "inspection/measured.h"
#include "inspection/plan.h"
#include "inspection/sheet.h"
#include "sim/rng.h"

/// \file
/// The part's frame, laid through what was measured from all stations.

namespace libmfx::inspection {

/// Everything that was measured, feature by feature, and the stations.
struct Survey {
  std::vector<Found> stations;
  std::vector<Measured> features;  ///< as many as the plan has
  /// Of several stations, where the references were found to be, in the part's frame; empty of one.
  std::vector<Vector3d> adjusted;
};

/// Lays the part's frame again and again: once for the best estimate, once for each draw.
class PartFrame {
 public:
  PartFrame(const Plan& plan, const Survey& survey, std::uint64_t seed);

  /// Why the frame cannot be laid as the plan tells, for people; empty where it is.
  const std::string& why() const { return _why; }
  /// All features in the part's frame, at the temperature that the plan's alignment tells; none is
  /// measured where it is not laid.
  const std::vector<FeatureNumbers>& best() const { return _best; }
  /// The same from a draw of everything that was measured; empty numbers where no frame fits.
  std::vector<FeatureNumbers> Draw(std::uint64_t number) const;

  const AlignmentResult& alignment() const { return _alignment; }
  /// From the part's frame into that of a station, of the best estimate.
  Eigen::Isometry3d PoseOf(std::size_t station) const;
  /// A covariance of a station's frame in that of the part.
  Eigen::Matrix3d Turned(const Eigen::Matrix3d& covariance, std::size_t station) const;

 private:
  using Numbers = std::vector<FeatureNumbers>;
  /// Square roots of covariances: what independent normal deviates are multiplied with.
  struct Root {
    Eigen::Matrix3d place, direction, tangent;
    double length, width, radius;
  };

  static Root RootOf(const FeatureSpread& spread);
  static FeatureNumbers Drawn(FeatureNumbers numbers, const Root& root, sim::Rng& rng);
  /// Poses of several stations by what each measured of the references; of one, as it was found.
  std::optional<std::vector<Eigen::Isometry3d>> Stations(
      const std::vector<Numbers>& references) const;
  /// All features in the frame of the nominals, as the stations' poses tell it.
  Numbers Rough(const Numbers& features, const std::vector<Eigen::Isometry3d>& poses) const;
  std::optional<PoseFit> Lay(const Numbers& rough, std::string& why) const;
  std::optional<PoseFit> LayByDatums(const Numbers& rough, std::string& why) const;
  std::optional<AlignedPlace> Placed(std::size_t feature, const Numbers& rough, double floor) const;
  Numbers InFrame(Numbers rough, const Eigen::Isometry3d& frame) const;
  void Tell();

  const Plan& _plan;
  const Survey& _survey;
  std::uint64_t _seed;
  double _growth;  ///< of the nominals, where the frame tells for the reference temperature
  std::string _why;
  std::vector<Eigen::Isometry3d> _poses;                     ///< of the stations
  Eigen::Isometry3d _frame = Eigen::Isometry3d::Identity();  ///< into the rough part's frame
  std::vector<Root> _roots;                                  ///< of the features
  std::vector<std::vector<Root>> _reference_roots;           ///< of each station
  Numbers _best;
  AlignmentResult _alignment;
};

}  // namespace libmfx::inspection
