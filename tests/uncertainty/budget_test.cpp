// The trials beside a budget by hand: a ball whose centre is found by least squares, for which the
// standard uncertainties are known in closed form. docs/uncertainty.md works it out.

#include <gtest/gtest.h>

#include <cmath>

#include "random_cases.h"
#include "uncertainty/plan.h"

namespace libmfx::uncertainty {
namespace {

constexpr double kRange = 2.6;  ///< m, straight ahead
constexpr int kLines = 9;
constexpr int kPoints = 190;   ///< of a line
constexpr double kBox = 0.75;  ///< of the diameter

/// A standard uncertainty from 4000 trials scatters by 1.1 %, from 100 by 7 %.
constexpr int kTrials = test::Draws(4000, 100);
constexpr double kAgreement = test::kSanitized ? 0.3 : 0.03;

/// Without a trimmed last fit: all points count.
const char* const kRequest = R"({
  "StdMultiplier": 1000, "ScanLines": 9, "NumPointsPerLine": 190, "BoxDimensionRatio": 0.75,
  "Feature": {"$type": "MatteSphereFeature", "Location": [0, 0, 2.6], "Radius": 0.0127}})";

/// What noise of the range leaves open of the centre, metres.
struct ByNoise {
  double across;
  double along;
};

/// Samples lie evenly on diameters of the disc of radius m times the ball's, so that s, the sine of
/// the angle between the beam and the surface's normal, is uniform in 0 to m. A beam that is read
/// too long by e has a residual of e times the cosine c.
ByNoise Budget(double sigma) {
  const double m = kBox;
  const double n = kLines * kPoints;
  const double ss = m * m / 3.0;                           // mean of s^2
  const double sscc = m * m / 3.0 - std::pow(m, 4) / 5.0;  // of s^2 c^2
  const double root = std::sqrt(1.0 - m * m);
  const double c1 = (std::asin(m) + m * root) / (2.0 * m);
  const double c2 = 1.0 - ss;
  const double c3 = (m * (5.0 - 2.0 * m * m) * root + 3.0 * std::asin(m)) / (8.0 * m);
  const double c4 = 1.0 - 2.0 * m * m / 3.0 + std::pow(m, 4) / 5.0;
  // Centre along the sight and radius, and the pole that both make: the known radius decides.
  Eigen::Matrix2d normal;
  normal << c2, -c1, -c1, 1.0;
  Eigen::Matrix2d noise;
  noise << c4, -c3, -c3, c2;
  const Eigen::Matrix2d inverse = normal.inverse();
  const Eigen::Vector2d pole(1.0, -1.0);
  const double along = pole.dot(inverse * noise * inverse * pole);
  return {sigma * std::sqrt(2.0 / n) * std::sqrt(sscc) / ss, sigma * std::sqrt(along / n)};
}

/// Nothing but what the budget has.
InstrumentModel NoiseOfRange() {
  InstrumentModel model;
  model.noise = sim::Noise::Off();
  model.noise.range = 8e-6;
  model.noise.range_per_metre = 2.5e-6;
  return model;
}

double SigmaOf(const InstrumentModel& model) {
  return std::hypot(model.noise.range, model.noise.range_per_metre * kRange);
}

Uncertainty Simulated(const InstrumentModel& model, long long trials) {
  return AnswersOf({Before(kRequest, {}, model, 1)}, {.most = trials, .digits = 2, .processes = 1})
      .front();
}

TEST(Budget, OfABallByNoiseAgreesWithTheTrials) {
  const InstrumentModel model = NoiseOfRange();
  const ByNoise budget = Budget(SigmaOf(model));
  const Uncertainty told = Simulated(model, kTrials);
  EXPECT_EQ(told.successes, kTrials);
  const QuantityUncertainty& place = *told.Find("Location");
  EXPECT_NEAR(place.Standard(0) / budget.across, 1.0, kAgreement);
  EXPECT_NEAR(place.Standard(1) / budget.across, 1.0, kAgreement);
  EXPECT_NEAR(place.Standard(2) / budget.along, 1.0, kAgreement);
  // Of the second order in noise over radius.
  EXPECT_LT(place.bias.norm(), test::kSanitized ? 3e-7 : 1.2e-7);
}

TEST(Budget, OfABallWithItsContributionsAgreesWithTheTrials) {
  InstrumentModel model = NoiseOfRange();
  Contributions& c = model.contributions;
  c.range_offset = {Distribution::Shape::kRectangular, 0.0, 5e-6};
  c.range_scale = {Distribution::Shape::kNormal, 0.0, 1e-6};
  const ByNoise budget = Budget(SigmaOf(model));
  const double along = std::hypot(std::hypot(budget.along, 5e-6 / std::sqrt(3.0)), 1e-6 * kRange);
  const Uncertainty told = Simulated(model, kTrials);
  const QuantityUncertainty& place = *told.Find("Location");
  EXPECT_NEAR(place.Standard(0) / budget.across, 1.0, kAgreement);
  EXPECT_NEAR(place.Standard(2) / along, 1.0, kAgreement);
  // Nearly all of it is what no sample tells: the interval is that of a rectangle and two normal
  // distributions, 1.96 standard uncertainties to either side or a little less.
  const auto [low, high] = place.interval95[2];
  EXPECT_NEAR((high - low) / (2.0 * along), 1.9, test::kSanitized ? 0.5 : 0.1);
}

}  // namespace
}  // namespace libmfx::uncertainty
