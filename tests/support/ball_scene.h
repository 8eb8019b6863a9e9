#pragma once

#include <cmath>
#include <random>
#include <string>

#include "converse.h"
#include "feature_probe.h"
#include "ideal_scan.h"
#include "libmfx/features/sphere_fit.h"
#include "paths.h"

namespace libmfx::test {

/// A ball in front of an instrument, and what the instrument sees of it.
struct Ball {
  Eigen::Vector3d center{0.3, 0.1, 3.0};
  double radius = 0.0127;
  double range_noise = 5e-6;      ///< standard deviation, metres
  double quality = 80.0;          ///< of every sample
  double background_range = 0.0;  ///< of a beam that misses; 0: such a beam gives no sample

  /// The surface point nearest to the instrument.
  Eigen::Vector3d Front() const { return center * (1.0 - radius / center.norm()); }
};

/// The instrument in front of a ball; draws its noise from `random`.
inline IdealDriver DriverOf(const Ball& ball, std::mt19937_64& random) {
  std::normal_distribution<double> noise(0.0, ball.range_noise > 0.0 ? ball.range_noise : 1.0);
  return IdealDriver(
      [&random, ball, noise](const sim::Aim& aim) mutable {
        const double along = aim.direction.dot(ball.center);
        const double square =
            ball.radius * ball.radius - (ball.center.squaredNorm() - along * along);
        double range = square >= 0.0 ? along - std::sqrt(square) : ball.background_range;
        if (range > 0.0 && ball.range_noise > 0.0) range += noise(random);
        return range;
      },
      ball.quality);
}

/// A request for a ball whose front is at `front`.
inline std::string SphereRequest(const Eigen::Vector3d& front, double radius,
                                 const std::string& root_keys = "") {
  const auto text = [](double value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.17g", value);
    return std::string(digits);
  };
  return R"({"$id":"ball-1",)" + root_keys +
         R"("Feature":{"$type":"MatteSphereFeature","Name":"B1",)" + R"("Location":[)" +
         text(front.x()) + "," + text(front.y()) + "," + text(front.z()) + R"(],"Radius":)" +
         text(radius) + "}}";
}

/// Measures a ball, ranging scan first.
inline void MeasureBall(features::Feature& feature, const Ball& ball, std::mt19937_64& random) {
  IdealDriver driver = DriverOf(ball, random);
  Converse(feature, driver);
}

}  // namespace libmfx::test
