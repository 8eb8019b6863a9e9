#pragma once

#include <Eigen/Geometry>
#include <cstddef>
#include <string>
#include <vector>

#include "inspection/numbers.h"
#include "inspection/plan.h"
#include "inspection/steps.h"
#include "uncertainty/uncertainty.h"
#include "uncertainty/values.h"

namespace libmfx::inspection {

/// What the conversation with a feature gave, in the frame of its station.
struct Measured {
  bool was_tried = false;
  bool is_measured = false;  ///< with success and without a warning
  std::string reason;        ///< why not, for people
  std::vector<std::string> warnings;
  std::size_t station = 0;
  std::string file;        ///< of its recording, relative to the folder
  FeatureNumbers numbers;  ///< biases taken off where they are known
  FeatureSpread spread;
  bool is_sure = false;  ///< whether the spread is known
};

/// What was measured as numbers: a direction with the sense of the nominal one.
/// \param pose from the part's frame into that of the values
FeatureNumbers NumbersOf(const uncertainty::Values& values, const PlannedFeature& feature,
                         const Eigen::Isometry3d& pose);

/// How sure it is, and the best estimates.
void TakeUncertainty(const uncertainty::Uncertainty& sure, const PlannedFeature& feature,
                     const Eigen::Isometry3d& pose, Measured& measured);

/// What a conversation came to, with the spread that its fit alone tells.
Measured MeasuredOf(const HeldStep& step, const PlannedFeature& feature, std::size_t station,
                    const Eigen::Isometry3d& pose);

}  // namespace libmfx::inspection
