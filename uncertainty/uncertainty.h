#pragma once

#include <Eigen/Core>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "uncertainty/values.h"

namespace libmfx::uncertainty {

/// What the trials say of one quantity. Vectors and matrices have as many rows as the quantity has
/// numbers: three in the instrument's frame, one for a size.
struct QuantityUncertainty {
  std::string key;
  Kind kind = Kind::kSize;
  std::optional<Eigen::VectorXd> measured;  ///< after a measurement, what it told
  /// Before a measurement the mean of the results, after it the best estimate of what is true: the
  /// measured value less the bias.
  Eigen::VectorXd mean;
  Eigen::VectorXd bias;  ///< mean error of the results
  Eigen::MatrixXd
      covariance;  ///< of the errors; its diagonal holds the standard uncertainties' squares
  /// The shortest interval that holds 95 % of the results before a measurement, and the true value
  /// with 95 % after it.
  std::vector<std::array<double, 2>> interval95;

  double Standard(Eigen::Index i) const;  ///< the standard uncertainty of one number
};

/// How sure a measurement is.
struct Uncertainty {
  long long trials = 0;
  long long successes = 0;  ///< of the trials, on which all that follows rests
  long long warned = 0;     ///< successes with a warning
  int digits = 0;           ///< significant digits of the standard uncertainties that stand
  bool broken_off = false;  ///< the user ended it before the digits that were asked for stood
  std::vector<QuantityUncertainty> quantities;  ///< in the order of the result message
  std::vector<std::string> repeated;            ///< keys that the result repeats from the request
  /// The feature's own frame: columns are its tangent, the third direction and its normal, in the
  /// instrument's frame.
  Eigen::Matrix3d own = Eigen::Matrix3d::Identity();

  const QuantityUncertainty* Find(std::string_view key) const;
};

}  // namespace libmfx::uncertainty
