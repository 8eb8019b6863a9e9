// The twin of each type stands where the request says, and a measurement of it without noise finds
// what is true of it.

#include "uncertainty/twin.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "uncertainty/run.h"
#include "uncertainty/trial.h"

namespace libmfx::uncertainty {
namespace {

std::string Request(const std::string& name) {
  std::ifstream file(std::string(LIBMFX_SOURCE_DIR) + "/examples/requests/" + name + ".json");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TrialPlan PlanOf(const std::string& name) {
  TrialPlan plan;
  plan.request = Request(name);
  plan.twin = NominalTwin(plan.request).value();
  return plan;
}

struct Case {
  const char* request;
  /// m that an exact scan of the nominal may be off: of an outline a spacing, since an edge point
  /// is the last sample before the border.
  double place;
  double direction;  ///< rad
};

class NominalTwins : public testing::TestWithParam<Case> {};

TEST_P(NominalTwins, AreFoundWhereTheyStandWithoutNoise) {
  TrialPlan plan = PlanOf(GetParam().request);
  plan.model.noise = sim::Noise::Off();
  std::vector<Layout> layout;
  const Trial trial = CarryOut(plan, 0, &layout);
  ASSERT_TRUE(trial.successful);
  ASSERT_FALSE(layout.empty());
  std::size_t column = 0;
  for (const Layout& row : layout) {
    const double limit = row.kind == Kind::kDirection ? GetParam().direction
                         : row.kind == Kind::kSize    ? 2.0 * GetParam().place
                                                      : GetParam().place;
    for (std::size_t i = 0; i < NumbersOf(row.kind); ++i, ++column) {
      EXPECT_LT(std::abs(trial.errors[column]), limit) << row.key << ' ' << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, NominalTwins,
                         testing::Values(Case{"surface-normal", 1e-9, 1e-9},
                                         Case{"matte-sphere", 1e-6, 0}, Case{"hole", 5e-5, 1e-6},
                                         Case{"rectangle", 1e-4, 6e-3}, Case{"slot", 1e-4, 6e-3},
                                         Case{"polygon", 1e-4, 1e-2}, Case{"edge", 5e-5, 0},
                                         Case{"stud", 5e-6, 1e-4},
                                         Case{"threaded-hole", 5e-6, 1e-4},
                                         Case{"scan_path", 1e-9, 0}),
                         [](const auto& parameter) {
                           std::string name = parameter.param.request;
                           for (char& c : name) c = c == '-' ? '_' : c;
                           return name;
                         });

TEST(Trial, TheSameNumberIsTheSameTrial) {
  TrialPlan plan = PlanOf("hole");
  plan.shifts = true;
  const Trial once = CarryOut(plan, 3);
  const Trial again = CarryOut(plan, 3);
  const Trial other = CarryOut(plan, 4);
  EXPECT_TRUE(once.successful);
  EXPECT_EQ(once.errors, again.errors);
  EXPECT_NE(once.errors, other.errors);
}

TEST(Trial, ANominalTwinStandsStillAndAMeasuredOneWithinASpacing) {
  const Twin twin = PlanOf("rectangle").twin;
  sim::Rng rng(2);
  for (int i = 0; i < 50; ++i) {
    const Twin moved = Shifted(twin, rng);
    const Vector3d off = moved.place - twin.place;
    EXPECT_LE(std::abs(off.dot(twin.tangent)), 0.5 * twin.spacing);
    EXPECT_NEAR(off.dot(twin.normal), 0.0, 1e-15);
    EXPECT_LE(std::abs(moved.length - twin.length), 0.5 * twin.spacing);
  }
}

TEST(Trial, ARoundPartStandsTurnedAnyWayUnlessSomethingLiesToOneSide) {
  // The middle of the turned directions of many trials is near 0, as is that of the unit circle.
  const auto middle = [](const Twin& twin) {
    constexpr int kTrials = 400;
    sim::Rng rng(4);
    Vector3d sum = Vector3d::Zero();
    for (int i = 0; i < kTrials; ++i) {
      const Twin moved = Shifted(twin, rng);
      EXPECT_NEAR(moved.tangent.norm(), 1.0, 1e-12);
      EXPECT_NEAR(moved.tangent.dot(twin.normal), 0.0, 1e-12);
      sum += moved.tangent;
    }
    return (sum / kTrials).norm();
  };
  // A mean of 400 unit vectors has a standard deviation of 0.05.
  for (const char* round : {"hole", "matte-sphere", "stud", "threaded-hole"}) {
    Twin twin = PlanOf(round).twin;
    EXPECT_LT(middle(twin), 0.2) << round;
    twin.form = {{"taper", 1e-4}};
    EXPECT_NEAR(middle(twin), 1.0, 1e-12) << round;
    twin.form = nullptr;
    twin.relief = {{"flatness", {{"dish", 1e-5}}}};
    EXPECT_NEAR(middle(twin), 1.0, 1e-12) << round;
  }
  for (const char* sided : {"rectangle", "slot", "polygon", "edge"}) {
    EXPECT_GT(middle(PlanOf(sided).twin), 0.99) << sided;
  }
}

TEST(NominalTwin, OfWhatCannotBeMeasuredThereIsNone) {
  EXPECT_FALSE(NominalTwin("").has_value());
  EXPECT_FALSE(NominalTwin("[1]").has_value());
  EXPECT_FALSE(NominalTwin(R"({"Feature": {"$type": "HoleFeature"}})").has_value());
  EXPECT_FALSE(NominalTwin(R"({"Feature": {"$type": "NoFeature"}})").has_value());
  EXPECT_FALSE(NominalTwin(R"({"Feature": {"$type": "HoleFeature", "Location": [0, 0, 0],
                               "Radius": 0.005}})")
                   .has_value());
}

TEST(OutwardsAt, IsWhereTheProfileOfTheScenesEdgePasses) {
  Twin edge;
  edge.type = "Edge";
  EXPECT_DOUBLE_EQ(OutwardsAt(edge, 0.001), 0.0);
  edge.chamfer = 0.003;
  EXPECT_DOUBLE_EQ(OutwardsAt(edge, 0.001), -0.002);
  EXPECT_DOUBLE_EQ(OutwardsAt(edge, 0.004), 0.0);
  edge.chamfer = 0.0;
  edge.fillet = 0.002;
  EXPECT_NEAR(OutwardsAt(edge, 0.002), 0.0, 1e-15);
  EXPECT_NEAR(OutwardsAt(edge, 0.0), -0.002, 1e-15);
  // A wall that leans by 30 degrees: the cut of the fillet is r / tan 60 degrees, and the curve
  // ends on the wall, a cut's length down it.
  edge.wall_angle = sim::kPi / 6.0;
  const double cut = edge.fillet / std::sqrt(3.0);
  EXPECT_NEAR(OutwardsAt(edge, 0.0), -cut, 1e-15);
  const double end = cut * std::cos(edge.wall_angle);
  EXPECT_NEAR(OutwardsAt(edge, end * (1.0 - 1e-9)), cut * 0.5, 1e-9);
  EXPECT_NEAR(OutwardsAt(edge, end), cut * 0.5, 1e-12);
}

TEST(Run, GivesTheSameWhateverTheNumberOfProcesses) {
  const std::vector<TrialPlan> plans = {PlanOf("hole"), PlanOf("surface-normal")};
  const auto run = [&plans](int processes) {
    return uncertainty::Run(plans, {.most = 70, .digits = 2, .processes = processes});
  };
  const auto one = run(1);
  const auto three = run(3);
  ASSERT_EQ(one.size(), 2u);
  for (std::size_t i = 0; i < one.size(); ++i) {
    EXPECT_EQ(one[i].trials, 70);
    EXPECT_GT(one[i].successes, 60);
    EXPECT_EQ(one[i].successes, three[i].successes);
    EXPECT_FALSE(one[i].broken_off);
    for (std::size_t c = 0; c < one[i].errors.width(); ++c) {
      const auto n = static_cast<std::size_t>(one[i].successes);
      EXPECT_EQ(one[i].errors.Sorted(c, 0, n), three[i].errors.Sorted(c, 0, n));
    }
  }
}

TEST(Run, EndsEarlyWhereTheDigitsStandAndWhereNothingIsEverMeasured) {
  TrialPlan plan = PlanOf("surface-normal");
  plan.model.noise = sim::Noise::Off();
  const Trials told = uncertainty::Run({plan}, {.most = 5000, .digits = 2, .processes = 1})[0];
  EXPECT_EQ(told.digits, 2);  // of what never differs
  EXPECT_EQ(told.trials, kFewestTrials);
  plan.model.noise.quality_peak = 20.0;  // below the threshold of the request
  const Trials hopeless = uncertainty::Run({plan}, {.most = 5000, .digits = 1, .processes = 2})[0];
  EXPECT_EQ(hopeless.successes, 0);
  EXPECT_EQ(hopeless.trials, 200);
}

}  // namespace
}  // namespace libmfx::uncertainty
