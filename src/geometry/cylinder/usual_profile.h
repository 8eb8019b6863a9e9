#pragma once

#include <Eigen/Core>
#include <vector>

#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {

/// What is known of a profile before it is seen: its roots are flat as its kind has them, its
/// crests at least so and mostly wider. It enters a fit as two samples more, one at each half
/// width, that are off by a deviation where a sample of the wall is. So it decides what no sample
/// tells, and weighs next to nothing elsewhere.
class UsualProfile {
 public:
  /// \param samples that it is worth
  UsualProfile(const Profile& basic, double samples) : _basic(basic), _samples(samples) {}

  /// \param deviation of the residuals of samples
  double Cost(const Profile& profile, double deviation) const;
  /// Adds the two to J^T J and -J^T r of a fit over `columns`.
  void Add(const Profile& profile, const std::vector<int>& columns, double deviation,
           Eigen::MatrixXd& matrix, Eigen::VectorXd& right) const;

 private:
  Profile _basic;
  double _samples;
};

}  // namespace libmfx::geometry::cylinder
