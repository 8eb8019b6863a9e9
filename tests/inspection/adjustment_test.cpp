#include "inspection/adjustment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "alignment_cases.h"
#include "inspection/alignment.h"
#include "tests/support/random_cases.h"

namespace libmfx::inspection::test {
namespace {

using libmfx::test::Draws;
using sim::Rng;
using testing::HasSubstr;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
const Matrix3d kAll = Matrix3d::Identity();

/// Stations around a part of whose references each is somewhat off its nominal.
struct Stations {
  std::vector<Isometry3d> truths, starts;
  std::vector<Vector3d> nominals, places;
  std::vector<double> tolerances;
  std::vector<Sighting> sightings;

  std::optional<Adjustment> Bundled(std::string& why) const {
    return Adjust(sightings, tolerances, starts, why);
  }

  /// One station with what it saw itself.
  std::optional<PoseFit> Alone(std::size_t station, std::string& why) const {
    std::vector<AlignedPlace> own;
    std::vector<double> floors;
    for (const Sighting& sighting : sightings) {
      if (sighting.station != station) continue;
      own.push_back(sighting.place);
      floors.push_back(tolerances[sighting.reference]);
    }
    return FitPose(own, starts[station], floors, why);
  }

  double ChiSquaredAtTruth() const {
    double sum = 0.0;
    for (std::size_t i = 0; i < places.size(); ++i) {
      sum += (places[i] - nominals[i]).squaredNorm() / (tolerances[i] * tolerances[i]);
    }
    for (const Sighting& s : sightings) {
      const Vector3d off = s.place.measured - truths[s.station] * places[s.reference];
      sum += off.dot(s.place.covariance.ldlt().solve(off));
    }
    return sum;
  }
};

void AddStation(Rng& rng, Stations& all) {
  all.truths.push_back(RandomPose(rng));
  all.starts.push_back(Moved(all.truths.back(), Degrees(2.0) * UnitVector(rng),
                             0.01 * UnitVector(rng), Vector3d::Zero()));
}

void AddReference(Rng& rng, Stations& all, const Vector3d& nominal, double tolerance) {
  all.nominals.push_back(nominal);
  all.places.push_back(nominal + tolerance * NormalVector(rng));
  all.tolerances.push_back(tolerance);
}

void AddSighting(Rng& rng, Stations& all, std::size_t station, std::size_t reference,
                 double standard, const Matrix3d& directions = kAll) {
  const Vector3d off = all.places[reference] - all.nominals[reference];
  all.sightings.push_back({station, reference,
                           Measured(rng, all.truths[station], all.nominals[reference],
                                    RandomCovariance(rng, standard), directions, off)});
}

/// Ten references along a part of 1.8 m; the first station sees the first seven of them, the
/// second the last seven.
Stations TwoAlongAPart(Rng& rng) {
  Stations all;
  AddStation(rng, all);
  AddStation(rng, all);
  for (int i = 0; i < 10; ++i) {
    AddReference(rng, all, {0.2 * i - 0.9, i % 2 == 0 ? 0.2 : -0.2, i % 3 == 0 ? 0.15 : -0.1},
                 1e-4);
  }
  for (std::size_t i = 0; i < 7; ++i) {
    AddSighting(rng, all, 0, i, 1e-5);
    AddSighting(rng, all, 1, i + 3, 1e-5);
  }
  return all;
}

#define SKIP_WITHOUT_ADJUSTMENT() \
  if (!CanAdjust()) GTEST_SKIP() << "this build adjusts one station only"

TEST(Adjust, ABuildThatCannotSaysSo) {
  if (CanAdjust()) GTEST_SKIP() << "this build can";
  std::string why;
  EXPECT_FALSE(Adjust({}, {}, {}, why));
  EXPECT_THAT(why, HasSubstr("this build adjusts one station only"));
}

TEST(Adjust, OneStationAgreesWithTheFitOfItsPose) {
  SKIP_WITHOUT_ADJUSTMENT();
  Rng rng(1);
  for (int i = 0; i < 50; ++i) {
    Stations all;
    AddStation(rng, all);
    for (int k = 0; k < 6; ++k) {
      AddReference(rng, all, 0.3 * NormalVector(rng), rng.Uniform(2e-5, 2e-4));
    }
    for (std::size_t k = 0; k < 6; ++k) {
      const Vector3d axis = UnitVector(rng);
      AddSighting(rng, all, 0, k, 2e-5, k < 4 ? kAll : k < 5 ? Across(axis) : Along(axis));
    }
    std::string why;
    const auto bundle = all.Bundled(why);
    ASSERT_TRUE(bundle) << why;
    const auto fit = all.Alone(0, why);
    ASSERT_TRUE(fit) << why;
    for (const Vector3d& nominal : all.nominals) {
      EXPECT_LT((bundle->poses[0] * nominal - fit->pose * nominal).norm(), 1e-9);
    }
    EXPECT_EQ(bundle->redundancy, fit->redundancy);
    // A nanometre of tens of micrometres, squared; in the fit each condition has one of its own on
    // top of both.
    EXPECT_NEAR(bundle->chi_squared, fit->chi_squared, 1e-6 * (1.0 + fit->chi_squared));
  }
}

TEST(Adjust, TwoStationsErrAsTheirNoiseTellsAndLessThanEachAlone) {
  SKIP_WITHOUT_ADJUSTMENT();
  Rng rng(2);
  const int draws = Draws(200, 20);
  double left = 0.0;
  double off = 0.0;
  double bundled[2] = {0.0, 0.0};
  double alone[2] = {0.0, 0.0};
  for (int i = 0; i < draws; ++i) {
    const Stations all = TwoAlongAPart(rng);
    std::string why;
    const auto bundle = all.Bundled(why);
    ASSERT_TRUE(bundle) << why;
    left += bundle->chi_squared / draws;
    off += (all.ChiSquaredAtTruth() - bundle->chi_squared) / draws;
    for (std::size_t k = 0; k < 2; ++k) {
      const auto fit = all.Alone(k, why);
      ASSERT_TRUE(fit) << why;
      for (const Vector3d& end : {all.nominals.front(), all.nominals.back()}) {
        bundled[k] += (bundle->poses[k] * end - all.truths[k] * end).squaredNorm() / draws;
        alone[k] += (fit->pose * end - all.truths[k] * end).squaredNorm() / draws;
      }
    }
  }
  // 14 sightings of 3 and 10 references of 3 conditions, and as many unknown as two poses and 10
  // places have. What is left has the mean of the conditions left over; what the truth has more
  // has that of the unknown, and so the unknown are off it by what their uncertainty tells. Four
  // standard deviations of the mean.
  EXPECT_NEAR(left, 30.0, 4.0 * std::sqrt(2.0 * 30.0 / draws));
  EXPECT_NEAR(off, 42.0, 4.0 * std::sqrt(2.0 * 42.0 / draws));
  // Seven references that are 0.1 mm off each tell a pose worse than ten of them.
  EXPECT_LT(bundled[0], alone[0]);
  EXPECT_LT(bundled[1], alone[1]);
}

TEST(Adjust, FindsThePlacesOfReferencesThatAreOff) {
  SKIP_WITHOUT_ADJUSTMENT();
  // One reference of many is 5 mm off and may be: it is found there, and ties the stations.
  Rng rng(3);
  Stations all = TwoAlongAPart(rng);
  const std::size_t loose = 5;
  all.tolerances[loose] = 0.01;
  const Vector3d off(0.003, -0.004, 0.0);
  for (Sighting& sighting : all.sightings) {
    if (sighting.reference != loose) continue;
    sighting.place.measured += all.truths[sighting.station].linear() * off;
  }
  std::string why;
  const auto bundle = all.Bundled(why);
  ASSERT_TRUE(bundle) << why;
  // The part's frame is that of nine references, each 0.1 mm off: five standard deviations of
  // their mean, and twice that for the turn.
  EXPECT_LT((bundle->places[loose] - all.places[loose] - off).norm(), 2.0 * 5.0 * 1e-4 / 3.0);
}

TEST(Adjust, WithoutToleranceAReferenceIsWhereItsNominalIs) {
  SKIP_WITHOUT_ADJUSTMENT();
  Rng rng(4);
  Stations all = TwoAlongAPart(rng);
  for (const bool all_of_them : {false, true}) {
    all.tolerances[4] = 0.0;
    if (all_of_them) all.tolerances.assign(10, 0.0);
    std::string why;
    const auto bundle = all.Bundled(why);
    ASSERT_TRUE(bundle) << why;
    // The middle is taken off and added again.
    EXPECT_LT((bundle->places[4] - all.nominals[4]).norm(), 1e-15);
    if (!all_of_them) continue;
    const auto fit = all.Alone(0, why);
    ASSERT_TRUE(fit) << why;
    EXPECT_LT((bundle->poses[0] * all.nominals[0] - fit->pose * all.nominals[0]).norm(), 1e-9);
  }
}

TEST(Adjust, AReferenceThatNobodySawIsNowhere) {
  SKIP_WITHOUT_ADJUSTMENT();
  Rng rng(5);
  Stations all = TwoAlongAPart(rng);
  all.tolerances.push_back(1e-4);
  std::string why;
  const auto bundle = all.Bundled(why);
  ASSERT_TRUE(bundle) << why;
  ASSERT_EQ(bundle->places.size(), 11u);
  EXPECT_TRUE(bundle->places[10].hasNaN());
  EXPECT_TRUE(bundle->places[9].allFinite());
}

TEST(Adjust, RefusesBadInputInWords) {
  SKIP_WITHOUT_ADJUSTMENT();
  Rng rng(6);
  const Stations good = TwoAlongAPart(rng);
  struct Bad {
    std::function<void(Stations&)> spoil;
    std::string why;
  };
  const std::vector<Bad> bads = {
      {[](Stations& s) { s.starts.clear(); }, "there is no station to adjust"},
      {[](Stations& s) { s.tolerances[2] = kNaN; },
       "reference 3 has a tolerance that is no length"},
      {[](Stations& s) { s.tolerances[2] = -1.0; },
       "reference 3 has a tolerance that is no length"},
      {[](Stations& s) { s.starts[1].translation().x() = kNaN; },
       "the pose that station 2 starts from is no rigid motion"},
      {[](Stations& s) { s.sightings[0].station = 2; },
       "sighting 1 names a station or a reference that there is not"},
      {[](Stations& s) { s.sightings[1].reference = 10; },
       "sighting 2 names a station or a reference that there is not"},
      {[](Stations& s) { s.sightings[2].place.measured.z() = kNaN; },
       "station 1: place 2 was measured as what is no number"},
      {[](Stations& s) { s.sightings[6].place.nominal.x() += 1e-3; },
       "reference 4 has two nominals"},
      {[](Stations& s) { s.sightings.clear(); }, "station 1 sees no reference"},
      {[](Stations& s) {
         s.starts.push_back(s.starts[0]);
         s.sightings.push_back(s.sightings[0]);
         s.sightings.back().station = 2;
       },
       "what station 3 sees leaves the part free to turn about every axis"}};
  for (const Bad& bad : bads) {
    Stations spoiled = good;
    bad.spoil(spoiled);
    std::string why;
    EXPECT_FALSE(spoiled.Bundled(why));
    EXPECT_EQ(why, bad.why);
  }
}

}  // namespace
}  // namespace libmfx::inspection::test
