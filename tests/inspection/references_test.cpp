#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
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
using testing::AllOf;
using testing::HasSubstr;

constexpr double kTolerance = 2e-4;  // m
constexpr double kStandard = 1e-5;   // m, of a place along any direction
const Matrix3d kAll = Matrix3d::Identity();

struct Case {
  Isometry3d truth = Isometry3d::Identity();
  std::vector<AlignedPlace> places;
  std::vector<double> tolerances;
  std::vector<std::string> names;

  void Add(const AlignedPlace& place) {
    places.push_back(place);
    tolerances.push_back(kTolerance);
    names.push_back("B" + std::to_string(names.size() + 1));
  }
  std::optional<JudgedReferences> Fit(std::string& why) const {
    return FitReferences(places, tolerances, names, std::nullopt, why);
  }
};

/// Balls on corners of a box of 400 by 300 by 200 mm, each up to 40 mm beside its corner, within a
/// quarter of the tolerance of their nominals.
Case BallsOnCorners(Rng& rng, std::size_t count) {
  const std::vector<Vector3d> corners = {{0.2, 0.15, 0.1},   {-0.2, -0.15, 0.1}, {-0.2, 0.15, -0.1},
                                         {0.2, -0.15, -0.1}, {-0.2, 0.15, 0.1},  {0.2, -0.15, 0.1}};
  Case c;
  c.truth = RandomPose(rng);
  for (std::size_t i = 0; i < count; ++i) {
    const Vector3d nominal = corners[i] + 0.04 * rng.Uniform() * UnitVector(rng);
    const Vector3d off = 0.25 * kTolerance * rng.Uniform() * UnitVector(rng);
    c.Add(Measured(rng, c.truth, nominal, kStandard * kStandard * kAll, kAll, off));
  }
  return c;
}

std::size_t AnyOf(Rng& rng, std::size_t count) {
  return static_cast<std::size_t>(rng.Uniform() * static_cast<double>(count));
}

TEST(FitReferences, GoodOnesAreAllKept) {
  Rng rng(1);
  for (int i = 0; i < Draws(200, 40); ++i) {
    const Case c = BallsOnCorners(rng, 3 + AnyOf(rng, 4));
    std::string why;
    const auto judged = c.Fit(why);
    ASSERT_TRUE(judged) << why;
    EXPECT_FALSE(judged->left_out);
    EXPECT_EQ(judged->fit.residuals.size(), c.places.size());
  }
}

TEST(FitReferences, ABadOneOfFiveIsToldByItsIndex) {
  Rng rng(2);
  int told = 0;
  const int cases = Draws(200, 40);
  for (int i = 0; i < cases; ++i) {
    Case c = BallsOnCorners(rng, 5);
    const std::size_t bad = AnyOf(rng, 5);
    const Vector3d off = 0.001 * UnitVector(rng);
    c.places[bad].measured += off;
    std::string why;
    const auto judged = c.Fit(why);
    ASSERT_TRUE(judged) << why;
    ASSERT_TRUE(judged->left_out) << i;
    EXPECT_EQ(*judged->left_out, bad);
    told += *judged->left_out == bad ? 1 : 0;
    EXPECT_EQ(judged->fit.redundancy, 6);
    ASSERT_EQ(judged->fit.residuals.size(), 5u);
    // What is left of it is what it is off, within what the four others let the pose be off: they
    // lie a quarter of their tolerance off, and a corner that none of them holds at most thrice
    // as much, and so does the bad one itself; noise is five standard deviations at most.
    EXPECT_NEAR(judged->fit.residuals[bad].norm(), 0.001, kTolerance + 20.0 * kStandard);
  }
  EXPECT_EQ(told, cases);
}

TEST(FitReferences, AGoodOneIsNeverLeftOutWhereTheBadOneCannotBe) {
  // Without one of three balls a surface point leaves little to tell: who is not sure keeps quiet.
  Rng rng(3);
  int told = 0;
  for (int i = 0; i < Draws(200, 40); ++i) {
    Case c = BallsOnCorners(rng, 3);
    c.Add(Measured(rng, c.truth, {0.05, 0.1, 0.1}, kStandard * kStandard * kAll,
                   Along(UnitVector(rng))));
    const std::size_t bad = AnyOf(rng, 4);
    c.places[bad].measured += 0.001 * UnitVector(rng);
    std::string why;
    const auto judged = c.Fit(why);
    if (!judged) {
      EXPECT_THAT(why, HasSubstr("do not fit to each other"));
    } else if (judged->left_out) {
      EXPECT_EQ(*judged->left_out, bad) << i;
      ++told;
    }
  }
  EXPECT_GT(told, 0);
}

TEST(FitReferences, ThreeOfWhichOneIsOffAreRefusedWithTheDistanceThatIsWrong) {
  Case c;
  c.Add(Exact(c.truth, {0.0, 0.0, 0.0}));
  c.Add(Exact(c.truth, {0.3, 0.0, 0.0}, kAll, {0.001, 0.0, 0.0}));
  c.Add(Exact(c.truth, {0.0, 0.2, 0.0}));
  std::string why;
  EXPECT_FALSE(c.Fit(why));
  EXPECT_THAT(why, AllOf(HasSubstr("the references do not fit to each other: "),
                         HasSubstr("'B1' and 'B2' are 1 mm farther from each other than their "
                                   "nominals; there are too few to tell which one is wrong")));
  EXPECT_EQ(why.find('\n'), std::string::npos);
}

TEST(FitReferences, ThreeOfWhichOneIsOffWithinTheirPlaneAreAlwaysRefused) {
  // Across its plane a triangle that is off is only turned: nothing tells.
  Rng rng(4);
  for (int i = 0; i < Draws(200, 40); ++i) {
    Case c = BallsOnCorners(rng, 3);
    const Vector3d normal = (c.places[1].nominal - c.places[0].nominal)
                                .cross(c.places[2].nominal - c.places[0].nominal)
                                .normalized();
    const Vector3d within = (Across(normal) * UnitVector(rng)).normalized();
    c.places[AnyOf(rng, 3)].measured += c.truth.linear() * (0.001 * within);
    std::string why;
    EXPECT_FALSE(c.Fit(why));
    EXPECT_THAT(why, AllOf(HasSubstr("do not fit to each other"), HasSubstr(" mm "),
                           HasSubstr("too few to tell")));
  }
}

TEST(FitReferences, TwoThatAreOffAreNotBlamedOnOne) {
  Rng rng(5);
  Case c = BallsOnCorners(rng, 5);
  c.places[0].measured += c.truth.linear() * Vector3d(0.002, 0.0, 0.0);
  c.places[3].measured += c.truth.linear() * Vector3d(0.0, 0.0, 0.0025);
  std::string why;
  EXPECT_FALSE(c.Fit(why));
  EXPECT_THAT(why, HasSubstr("they do not fit without any one of them either"));
}

TEST(FitReferences, WhereSeveralCouldBeTheReasonTheyAreNamed) {
  // A square whose diagonal B1 to B3 is 0.64 mm too long, 0.32 at either end. Without one of them
  // the three others take up a third of what the other end is off, and 0.21 mm are allowed.
  Case c;
  const double off = 3.2e-4 / std::sqrt(2.0);
  c.Add(Exact(c.truth, {0.0, 0.0, 0.0}, kAll, {-off, -off, 0.0}));
  c.Add(Exact(c.truth, {0.2, 0.0, 0.0}));
  c.Add(Exact(c.truth, {0.2, 0.2, 0.0}, kAll, {off, off, 0.0}));
  c.Add(Exact(c.truth, {0.0, 0.2, 0.0}));
  std::string why;
  EXPECT_FALSE(c.Fit(why));
  EXPECT_THAT(why, testing::AnyOf(HasSubstr("the reason could be 'B1' or 'B3'"),
                                  HasSubstr("the reason could be 'B3' or 'B1'")));
}

TEST(FitReferences, AnUncertainOneMayBeOffByThreeStandardUncertainties) {
  // Five exact balls hold the part; the sixth has 1 mm. In the fit it counts for nothing.
  Rng rng(6);
  for (const double off : {0.0031, 0.0033}) {
    Case c = BallsOnCorners(rng, 5);
    c.Add(Exact(c.truth, {0.0, 0.0, 0.0}, kAll, {0.0, off, 0.0}));
    c.places.back().covariance = 1e-6 * kAll;
    std::string why;
    const auto judged = c.Fit(why);
    ASSERT_TRUE(judged) << why;
    // Allowed are 0.2 mm and three times 1 mm, and the others leave the place within 0.05 mm.
    EXPECT_EQ(judged->left_out.has_value(), off > 0.0032);
  }
}

TEST(FitReferences, BadInputIsToldByName) {
  Rng rng(7);
  Case c = BallsOnCorners(rng, 4);
  c.places[1].measured.x() = std::numeric_limits<double>::quiet_NaN();
  std::string why;
  EXPECT_FALSE(c.Fit(why));
  EXPECT_EQ(why, "'B2' was measured as what is no number");
  c = BallsOnCorners(rng, 4);
  c.tolerances[2] = -1.0;
  EXPECT_FALSE(c.Fit(why));
  EXPECT_EQ(why, "'B3' has a tolerance that is no length");
  c.tolerances.pop_back();
  EXPECT_FALSE(c.Fit(why));
  EXPECT_EQ(why, "there are 4 references, 3 tolerances and 4 names");
  EXPECT_FALSE(FitReferences({}, {}, {}, std::nullopt, why));
  EXPECT_EQ(why, "no place was measured");
  c = BallsOnCorners(rng, 2);
  EXPECT_FALSE(c.Fit(why));
  EXPECT_THAT(why, HasSubstr("free to turn about the line"));
}

TEST(FitReferences, WithoutAToleranceIsJudgedByUncertaintyAlone) {
  Rng rng(8);
  Case c;
  c.truth = RandomPose(rng);
  for (const Vector3d& nominal :
       {Vector3d(0.0, 0.0, 0.0), Vector3d(0.3, 0.0, 0.0), Vector3d(0.0, 0.2, 0.0)}) {
    c.Add(Exact(c.truth, nominal));
  }
  c.tolerances.assign(3, 0.0);
  std::string why;
  EXPECT_TRUE(c.Fit(why)) << why;
  c.places[1].measured += c.truth.linear() * Vector3d(2e-4, 0.0, 0.0);  // 20 uncertainties
  EXPECT_FALSE(c.Fit(why));
}

}  // namespace
}  // namespace libmfx::inspection::test
