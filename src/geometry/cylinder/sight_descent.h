#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <vector>

#include "geometry/cylinder/damped_descent.h"
#include "geometry/cylinder/sight_model.h"
#include "geometry/cylinder/usual_profile.h"

namespace libmfx::geometry::cylinder {

/// Bounds of residuals are so many robust deviations.
inline constexpr double kSightDeviations = 4.0;

/// What a descent along the sight lines runs on.
struct SightTask {
  const std::vector<SightLine>& lines;
  std::vector<int> columns;  ///< what is free of a SightModel
  Profile basic;             ///< that the usual one is
  SeenProfiles& profiles;
  std::size_t stride;            ///< of the lines that count
  double bound;                  ///< residuals beyond it don't count
  Eigen::VectorXd weights = {};  ///< of the residuals; all 1 when empty

  Eigen::Index size() const {
    return static_cast<Eigen::Index>((lines.size() + stride - 1) / stride);
  }
  const SightLine& at(Eigen::Index i) const { return lines[static_cast<std::size_t>(i) * stride]; }
};

/// What a model makes of the lines that count.
struct Sight {
  std::vector<Sighted> lines;
  Eigen::VectorXd residuals;  ///< weighed
};
Sight Look(const SightTask& task, const SightModel& model);

/// The residuals alone.
Eigen::VectorXd SightResiduals(const SightTask& task, const SightModel& model);

/// One row a line that counts, one column a free one, to a few hundredths.
/// \param sight of that model
/// \param shapes made anew where they don't serve the model
Eigen::MatrixXd SightJacobian(const SightTask& task, const SightModel& model, const Sight& sight,
                              std::optional<ShapeReadings>& shapes);

/// What a beam across an edge reads is any mixture of the two sides, as the instrument takes it:
/// such samples count less, by what the rays of the beam read each by itself.
/// \param deviation of samples that are not across an edge
Eigen::VectorXd SightWeights(const SightTask& task, const SightModel& model, double deviation);

/// Half the sum of squares for residuals that are small against a bound; what is beyond it costs
/// the same wherever it is (the biweight of J. W. Tukey).
double Biweighted(const Eigen::VectorXd& residuals, double bound);

/// So many robust deviations of residuals.
double SightBound(const Eigen::VectorXd& residuals);

/// What the usual profile is worth beside so many samples. Blurred edges tell the width of a crest
/// from that of the beam by little, and what an instrument makes of them is no noise: so it grows
/// with them.
UsualProfile UsualFor(const Profile& basic, Eigen::Index samples);

/// The descent of the biweighted cost and that of the usual profile.
void DescendSight(const SightTask& task, const DescentLimits& limits, SightModel& model);

}  // namespace libmfx::geometry::cylinder
