// Verdicts, and how often they are wrong about a truth that is known.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "inspection/characteristics.h"
#include "planned_parts.h"
#include "random_cases.h"
#include "sim/rng.h"

namespace libmfx::inspection {
namespace {

using sim::Rng;
using test::Asked;
using test::AsPlanned;
using test::Ball;
using test::Hole;
using test::PlanOf;
using test::Point;
using test::Stud;
using Kind = Characteristic::Kind;
using Numbers = std::vector<FeatureNumbers>;

Characteristic Within(Characteristic asked, double lower, double upper) {
  asked.lower = lower;
  asked.upper = upper;
  return asked;
}

Characteristic Zone(Kind kind, std::vector<std::size_t> features, double upper) {
  return Within(Asked(kind, std::move(features)), -std::numeric_limits<double>::infinity(), upper);
}

Vector3d Normals(Rng& rng) {
  const double x = rng.Normal();
  const double y = rng.Normal();
  return {x, y, rng.Normal()};
}

/// What is measured scatters by 10 um, along y by 3 um, as is known.
constexpr double kSigma = 1e-5;
const Vector3d kScatter(kSigma, 0.3 * kSigma, kSigma);

Numbers Scattered(Numbers numbers, Rng& rng) {
  for (FeatureNumbers& one : numbers) {
    one.place += kScatter.cwiseProduct(Normals(rng));
    one.radius += kSigma * rng.Normal();
    const double lean = 1e-4;
    if (one.direction.allFinite()) {
      one.direction = (one.direction + lean * Normals(rng)).normalized();
    }
  }
  return numbers;
}

DrawNumbers DrawsAround(const Numbers& best, std::uint64_t seed) {
  return [best, seed](std::uint64_t number) {
    Rng rng(sim::DeriveSeed(seed, std::to_string(number)));
    return Scattered(best, rng);
  };
}

std::vector<CharacteristicResult> JudgeAll(const Plan& plan, const Numbers& best,
                                           const DrawNumbers& draw, std::size_t draws) {
  const std::size_t count = plan.features.size();
  return Judge(plan, best, std::vector<bool>(count, true), std::vector<std::string>(count), draw,
               draws);
}

TEST(Judge, TellsTheSpreadOfTheDrawsAboutTheBestEstimate) {
  Plan plan = PlanOf({Ball("A", Vector3d::Zero()), Stud("S", Vector3d(0.1, 0.0, 0.0))});
  plan.characteristics = {Within(Asked(Kind::kCoordinate, {0}, "x"), -1e-4, 1e-4),
                          Within(Asked(Kind::kSize, {1}), 0.00605, 0.0062),
                          Within(Asked(Kind::kDistance, {0, 1}, "y"), 5e-6, 1e-3)};
  Numbers best = AsPlanned(plan);
  best[0].place.x() = 2e-5;
  const auto results = JudgeAll(plan, best, DrawsAround(best, 1), 4000);
  // Standard deviations of 4000 draws are off by 1 / sqrt(8000), 1.1 %: three of these. Ends of the
  // intervals are off by 0.04 of a standard deviation (of a quantile of 2.5 %: sqrt(p (1 - p) / n)
  // over the density 0.058), and some of it more, since the shortest is taken.
  const double own[] = {kSigma, 2.0 * kSigma, 0.3 * std::sqrt(2.0) * kSigma};
  const double value[] = {2e-5, 0.006, 0.0};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(results[i].is_sure);
    EXPECT_EQ(results[i].reason, "");
    EXPECT_DOUBLE_EQ(results[i].measured, value[i]);
    EXPECT_NEAR(results[i].standard / own[i], 1.0, 0.034);
    EXPECT_NEAR((results[i].interval95[0] - value[i]) / own[i], -1.96, 0.25);
    EXPECT_NEAR((results[i].interval95[1] - value[i]) / own[i], 1.96, 0.25);
  }
  EXPECT_EQ(results[0].verdict, Verdict::kConforms);
  EXPECT_EQ(results[0].share_within, 1.0);
  EXPECT_EQ(results[1].verdict, Verdict::kDoesNotConform);
  // 2.5 standard deviations: 0.62 %, which 4000 draws tell within three times 0.12 %.
  EXPECT_NEAR(results[1].share_within, 0.0062, 0.0037);
  EXPECT_EQ(results[2].verdict, Verdict::kUndecided);
  // 5 um of 4.24: 11.9 % within three times 0.51 %.
  EXPECT_NEAR(results[2].share_within, 0.119, 0.0154);
}

TEST(Judge, KeepsWhatAllFeaturesHaveInCommon) {
  // The frame scatters by 0.1 mm, and the features in it not at all.
  Plan plan = PlanOf({Ball("A", Vector3d::Zero()), Ball("B", Vector3d(0.1, 0.0, 0.0))});
  plan.characteristics = {Within(Asked(Kind::kDistance, {0, 1}), 0.09999, 0.10001),
                          Within(Asked(Kind::kCoordinate, {1}, "x"), 0.09999, 0.10001)};
  const Numbers best = AsPlanned(plan);
  const auto draw = [&](std::uint64_t number) {
    Rng rng(number);
    Numbers moved = best;
    const Vector3d shift = 1e-4 * Normals(rng);
    for (FeatureNumbers& one : moved) one.place += shift;
    return moved;
  };
  const auto results = JudgeAll(plan, best, draw, 500);
  EXPECT_LT(results[0].standard, 1e-15);
  EXPECT_EQ(results[0].verdict, Verdict::kConforms);
  EXPECT_NEAR(results[1].standard, 1e-4, 1e-5);  // three times 1 / sqrt(1000)
  EXPECT_EQ(results[1].verdict, Verdict::kUndecided);
}

TEST(Judge, NamesWhatWasNotMeasuredAndWhy) {
  Plan plan = PlanOf({Hole("H1", Vector3d::Zero()), Hole("H2", Vector3d::UnitX()),
                      Hole("H3", Vector3d::UnitY()), Stud("S", Vector3d::Zero())});
  plan.characteristics = {Within(Asked(Kind::kDistance, {0, 1}), 0.0, 2.0),
                          Zone(Kind::kPattern, {2, 1, 0}, 1.0), Zone(Kind::kPosition, {2}, 1.0),
                          Within(Asked(Kind::kSize, {3}), 0.0, 1.0),
                          Within(Asked(Kind::kSize, {2}, "diameter"), 0.0, 1.0)};
  Numbers best = AsPlanned(plan);
  best[0] = best[1] = FeatureNumbers();
  best[3].radius = FeatureNumbers::kNone;
  const auto results = Judge(plan, best, {true, true, true, true}, {"cannot be seen", "", "", ""},
                             DrawsAround(best, 1), 100);
  EXPECT_EQ(results[0].reason, "\"H1\": cannot be seen; \"H2\": not measured");
  EXPECT_EQ(results[1].reason, "\"H2\": not measured; \"H1\": cannot be seen");
  EXPECT_EQ(results[3].reason, "what was measured has no such value");
  EXPECT_EQ(results[4].reason.substr(0, 43), "\"H3\": a HoleFeature request measures no dia");
  for (const std::size_t i : {0u, 1u, 3u, 4u}) {
    EXPECT_EQ(results[i].verdict, Verdict::kNotMeasured);
    EXPECT_FALSE(results[i].is_sure);
  }
  EXPECT_EQ(results[2].verdict, Verdict::kConforms);
  Sheet sheet;
  sheet.characteristics = results;
  EXPECT_EQ(sheet.Count(Verdict::kNotMeasured), 4);
  EXPECT_EQ(sheet.Count(Verdict::kConforms), 1);
  EXPECT_EQ(sheet.Count(Verdict::kUndecided), 0);
}

TEST(Judge, DecidesNothingWithoutAnUncertainty) {
  Plan plan = PlanOf({Hole("H1", Vector3d::Zero()), Hole("H2", Vector3d(0.1, 0.0, 0.0))});
  plan.characteristics = {Within(Asked(Kind::kDistance, {0, 1}), 0.0, 2.0),
                          Zone(Kind::kPosition, {0}, 1.0)};
  const Numbers best = AsPlanned(plan);
  const auto results = Judge(plan, best, {true, false}, {"", ""}, DrawsAround(best, 1), 100);
  EXPECT_EQ(results[0].verdict, Verdict::kUndecided);
  EXPECT_EQ(results[0].reason, "how sure it is is not known, of \"H2\"");
  EXPECT_FALSE(results[0].is_sure);
  EXPECT_EQ(results[0].measured, 0.1);
  EXPECT_EQ(results[1].verdict, Verdict::kConforms);
  for (const auto& result : Judge(plan, best, {true, true}, {"", ""}, DrawsAround(best, 1), 0)) {
    EXPECT_EQ(result.verdict, Verdict::kUndecided);
    EXPECT_EQ(result.reason, "how sure it is is not known: fewer than two draws have a value");
    EXPECT_FALSE(result.is_sure);
  }
}

TEST(Judge, CountsADrawWithoutAValueAsNeitherWithinNorOutside) {
  Plan plan = PlanOf({Ball("A", Vector3d::Zero())});
  plan.characteristics = {Within(Asked(Kind::kCoordinate, {0}, "x"), -1.0, 1.0),
                          Within(Asked(Kind::kCoordinate, {0}, "x"), 1.0, 2.0)};
  const Numbers best = AsPlanned(plan);
  const auto without = [&](std::uint64_t lost) {
    return JudgeAll(
        plan, best,
        [&, lost](std::uint64_t i) {
          if (i % 2 == 0 && i / 2 < lost) return i == 0 ? Numbers() : Numbers(1);
          return DrawsAround(best, 1)(i);
        },
        1000);
  };
  auto results = without(50);
  EXPECT_EQ(results[0].verdict, Verdict::kConforms);
  EXPECT_EQ(results[0].share_within, 0.95);
  EXPECT_EQ(results[1].verdict, Verdict::kDoesNotConform);
  results = without(51);
  for (const auto& result : results) {
    EXPECT_EQ(result.verdict, Verdict::kUndecided);
    EXPECT_EQ(result.reason, "more than 5 % of the draws have no value");
    EXPECT_TRUE(std::isfinite(result.standard + result.interval95[0] + result.interval95[1]));
  }
  EXPECT_EQ(results[0].share_within, 0.949);
  EXPECT_EQ(results[1].share_within, 0.0);
}

TEST(Judge, MakesDrawsOnceForAllThatFitIntoMemory) {
  Plan plan = PlanOf({Ball("A", Vector3d::Zero())});
  const Characteristic asked = Within(Asked(Kind::kCoordinate, {0}, "x"), -1e-5, 1e-5);
  plan.characteristics.assign(101, asked);
  const Numbers best = AsPlanned(plan);
  std::size_t made = 0;
  const auto draw = [&](std::uint64_t number) {
    ++made;
    Rng rng(number);
    return Scattered(best, rng);
  };
  JudgeAll(plan, best, draw, 1000);
  EXPECT_EQ(made, 1000u);
  // 100 times 40,000 are kept at a time; what comes after gets the same draws.
  made = 0;
  const auto results = JudgeAll(plan, best, draw, 40000);
  EXPECT_EQ(made, 80000u);
  EXPECT_EQ(results.front().share_within, results.back().share_within);
  EXPECT_EQ(results.front().standard, results.back().standard);
  EXPECT_EQ(results.front().interval95, results.back().interval95);
  EXPECT_NEAR(results.front().share_within, 0.683, 0.007);  // within one sigma; three times 0.0023
}

/// A part whose characteristics lie on a limit, by so many standard deviations of scatter from
/// zero.
struct OnTheLimit {
  Plan plan;
  Numbers truth;
};

/// How often each characteristic gets a verdict when a part is measured again and again. Of 199
/// draws, 95 % are 190: measured and drawn values that scatter alike come in any order, and on a
/// limit itself 190 of 199 draws are on the one side with 10 of 200, 5 %, of the orders.
constexpr std::size_t kFewDraws = 199;
std::vector<int> CountOf(Verdict verdict, const OnTheLimit& part, int repetitions) {
  std::vector<int> counts(part.plan.characteristics.size(), 0);
  for (int i = 0; i < repetitions; ++i) {
    Rng rng(sim::DeriveSeed(77, "measured " + std::to_string(i)));
    const Numbers best = Scattered(part.truth, rng);
    const auto draw = DrawsAround(best, static_cast<std::uint64_t>(i));
    const auto results = JudgeAll(part.plan, best, draw, kFewDraws);
    for (std::size_t k = 0; k < results.size(); ++k) {
      if (results[k].verdict == verdict) ++counts[k];
    }
  }
  return counts;
}

/// Three standard deviations over 5 %.
double MostOf(int repetitions) {
  return 0.05 * repetitions + 3.0 * std::sqrt(0.05 * 0.95 * repetitions);
}

/// Sizes, coordinates and distances with the truth `off` beyond the upper limit, and beyond the
/// lower one.
OnTheLimit Straight(double off) {
  OnTheLimit part;
  part.plan = PlanOf({Stud("S", Vector3d::Zero()), Hole("A", Vector3d(0.1, 0.0, 0.0)),
                      Hole("B", Vector3d(0.16, 0.08, 0.0)), Ball("C", Vector3d(0.0, 0.0, 0.2))});
  part.truth = AsPlanned(part.plan);
  const double width = 20.0 * kSigma;
  for (const Characteristic& asked :
       {Asked(Kind::kSize, {0}), Asked(Kind::kCoordinate, {3}, "z"),
        Asked(Kind::kDistance, {1, 2}, "y"), Asked(Kind::kDistance, {1, 2}),
        Asked(Kind::kDistance, {0, 1})}) {
    const double value = ValueOf(asked, part.plan, part.truth).value();
    part.plan.characteristics.push_back(Within(asked, value - off - width, value - off));
    part.plan.characteristics.push_back(Within(asked, value + off, value + off + width));
  }
  return part;
}

TEST(Judge, IsWrongAboutAStraightValueOnItsLimitAsOftenAsItSays) {
  const int repetitions = libmfx::test::Draws(2000, 100);
  const double most = MostOf(repetitions);
  const double least = 0.1 * repetitions - most;  // as far below 5 %
  for (const int count : CountOf(Verdict::kConforms, Straight(1e-9), repetitions)) {
    EXPECT_LE(count, most);
    EXPECT_GE(count, least);
  }
  for (const int count : CountOf(Verdict::kDoesNotConform, Straight(-1e-9), repetitions)) {
    EXPECT_LE(count, most);
    EXPECT_GE(count, least);
  }
}

/// Zones with the truth `off` beyond the limit: half a standard deviation to forty off zero.
OnTheLimit Zones(double off) {
  OnTheLimit part;
  part.plan = PlanOf({Hole("H0", Vector3d(0.0, 0.0, 0.0)), Hole("H1", Vector3d(0.1, 0.0, 0.0)),
                      Hole("H2", Vector3d(0.0, 0.1, 0.0)), Hole("H3", Vector3d(0.1, 0.1, 0.0)),
                      Stud("S", Vector3d::Zero())});
  part.truth = AsPlanned(part.plan);
  const std::array<double, 4> away = {0.5, 2.0, 8.0, 40.0};
  for (std::size_t i = 0; i < 4; ++i) {
    const double angle = 0.3 + static_cast<double>(i);
    part.truth[i].place += away[i] * kSigma * Vector3d(std::cos(angle), std::sin(angle), 0.2);
    part.plan.characteristics.push_back(Asked(Kind::kPosition, {i}));
  }
  part.plan.characteristics.push_back(Asked(Kind::kConcentricity, {0, 4}));
  part.plan.characteristics.push_back(Asked(Kind::kDistance, {0, 4}));
  part.plan.characteristics.push_back(Asked(Kind::kAngle, {0, 1}));
  part.plan.characteristics.push_back(Asked(Kind::kPattern, {0, 1}));
  part.plan.characteristics.push_back(Asked(Kind::kPattern, {0, 1, 2, 4}));
  part.truth[1].direction = Vector3d(2e-4, 0.0, 1.0).normalized();
  for (Characteristic& asked : part.plan.characteristics) {
    const double value = ValueOf(asked, part.plan, part.truth).value();
    asked.lower = -std::numeric_limits<double>::infinity();
    asked.upper = value - off;
  }
  return part;
}

/// Thirty and eight points of a surface that is bent by `height`, which is its flatness, on the
/// limit but for `off`.
OnTheLimit Bent(double height, double off) {
  OnTheLimit part;
  std::vector<PlannedFeature> points;
  std::vector<std::size_t> all;
  for (std::size_t i = 0; i < 30; ++i) {
    const double x = 0.02 * static_cast<double>(i % 6);
    const double y = 0.02 * std::floor(static_cast<double>(i) / 6.0);
    points.push_back(Point("P", Vector3d(x, y, 0.0)));
    all.push_back(i);
  }
  part.plan = PlanOf(points);
  part.truth = AsPlanned(part.plan);
  for (FeatureNumbers& one : part.truth) {
    const double x = one.place.x() / 0.05 - 1.0;
    one.place.z() = height * x * x;
  }
  const std::vector<std::size_t> few = {0, 2, 5, 12, 15, 24, 27, 29};
  for (const auto& features : {all, few}) {
    Characteristic asked = Asked(Kind::kFlatness, features);
    asked.lower = -std::numeric_limits<double>::infinity();
    asked.upper = ValueOf(asked, part.plan, part.truth).value() - off;
    part.plan.characteristics.push_back(asked);
  }
  return part;
}

/// No verdict is given more often than in 5 % of the repetitions.
void ExpectFew(Verdict verdict, const OnTheLimit& part, int repetitions) {
  for (const int count : CountOf(verdict, part, repetitions)) {
    EXPECT_LE(count, MostOf(repetitions)) << VerdictName(verdict);
  }
}

TEST(Judge, IsWrongAboutAZoneOnItsLimitNoMoreOftenThanItSays) {
  constexpr std::size_t kPatterns = 2;
  const int repetitions = libmfx::test::Draws(2000, 100);
  for (const auto& [off, verdict] :
       {std::pair(1e-9, Verdict::kConforms), std::pair(-1e-9, Verdict::kDoesNotConform)}) {
    OnTheLimit part = Zones(off);
    std::vector<Characteristic>& asked = part.plan.characteristics;
    const std::vector<Characteristic> patterns(asked.end() - kPatterns, asked.end());
    asked.resize(asked.size() - kPatterns);
    ExpectFew(verdict, part, repetitions);
    asked = patterns;
    ExpectFew(verdict, part, repetitions / 10);  // which take most of the time
  }
}

TEST(Judge, IsWrongAboutAFlatnessOnItsLimitNoMoreOftenThanItSays) {
  const int repetitions = libmfx::test::Draws(60, 10);
  for (const double height : {0.5 * kSigma, 5.0 * kSigma, 50.0 * kSigma}) {
    ExpectFew(Verdict::kConforms, Bent(height, 1e-9), repetitions);
    ExpectFew(Verdict::kDoesNotConform, Bent(height, -1e-9), repetitions);
  }
}

TEST(Judge, DecidesAboutZonesThatAreFarFromTheirLimits) {
  // Five and more standard deviations beyond what noise makes of a zone, twice 2.4 of them.
  for (const auto& [off, verdict] : {std::pair(100.0 * kSigma, Verdict::kDoesNotConform),
                                     std::pair(-100.0 * kSigma, Verdict::kConforms)}) {
    OnTheLimit part = Zones(off);
    part.plan.characteristics.resize(4);
    for (std::size_t i = 0; i < 4; ++i) {
      if (off > 0.0) part.truth[i].place.x() += 0.01;
    }
    for (const auto count : CountOf(verdict, part, 20)) EXPECT_EQ(count, 20);
    for (const auto count : CountOf(verdict, Bent(120.0 * kSigma, off), 5)) EXPECT_EQ(count, 5);
  }
}

TEST(Judge, SaysWhereAZoneIsOutsideByItsNoiseAlone) {
  // Flat, and thirty points that scatter: the zone that they make is outside of a narrow tolerance.
  OnTheLimit part = Bent(0.0, 0.0);
  part.plan.characteristics.resize(1);
  part.plan.characteristics[0].upper = kSigma;
  Rng rng(5);
  const Numbers best = Scattered(part.truth, rng);
  const auto results = JudgeAll(part.plan, best, DrawsAround(best, 6), 500);
  EXPECT_GT(results[0].measured, 2.0 * kSigma);
  EXPECT_EQ(results[0].share_within, 0.0);
  EXPECT_EQ(results[0].verdict, Verdict::kUndecided);
  EXPECT_EQ(results[0].reason, "it is outside by no more than its noise alone may make of it");
  EXPECT_TRUE(results[0].is_sure);
}

TEST(VerdictName, IsOneForEach) {
  EXPECT_EQ(VerdictName(Verdict::kConforms), "conforms");
  EXPECT_EQ(VerdictName(Verdict::kDoesNotConform), "does not conform");
  EXPECT_EQ(VerdictName(Verdict::kUndecided), "cannot be decided");
  EXPECT_EQ(VerdictName(Verdict::kNotMeasured), "not measured");
}

}  // namespace
}  // namespace libmfx::inspection
