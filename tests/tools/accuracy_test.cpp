// The campaigns' arithmetic: draws that can be repeated, and tables that tell what happened.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "program.h"
#include "tests/support/random_cases.h"
#include "tools/accuracy/campaign.h"
#include "tools/accuracy/evaluation.h"

namespace mfx_test {
namespace {

using namespace libmfx::accuracy;
using testing::HasSubstr;
using testing::Not;

std::string JobsOf(const Campaign& campaign, int runs) {
  std::ostringstream out;
  WriteJobs(campaign, runs, out);
  return out.str();
}

/// Two conditions; the error of a result is what it says.
Campaign Told() {
  Campaign campaign;
  campaign.name = "told";
  campaign.title = "Told";
  campaign.what = "What is told.";
  campaign.conditions.resize(2);
  campaign.conditions[0].label = "first";
  campaign.conditions[1].label = "second";
  campaign.quantities = {{"place", "µm", 1e6, 50e-6}};
  campaign.draw = [](const Condition& c, libmfx::sim::Rng& rng) {
    const Placement p = DrawPlacement(c, rng);
    return Job{{{"at", ToJson(p.nominal_place)}},
               {{"part", {{"type", "plane"}}}, {"pose", p.Pose()}}};
  };
  campaign.errors = [](const Result& r) -> std::vector<double> {
    return {r.MeasuredNumber("error")};
  };
  return campaign;
}

std::string SectionOf(const Campaign& campaign, const std::string& jobs,
                      const std::string& answers) {
  std::istringstream in(jobs);
  std::istringstream out(answers);
  return Section(campaign, in, out, "command");
}

TEST(AccuracyTest, TheSameDrawsComeAgainAndMoreRunsChangeNone) {
  const Campaign campaign = Told();
  const auto few = Lines(JobsOf(campaign, 3));
  const auto many = Lines(JobsOf(campaign, 10));
  ASSERT_EQ(few.size(), 6u);
  ASSERT_EQ(many.size(), 20u);
  for (std::size_t run = 0; run < 3; ++run) {
    EXPECT_EQ(few[run], many[run]);
    EXPECT_EQ(few[3 + run], many[10 + run]);
  }
  EXPECT_NE(json::parse(few[0])["scene"], json::parse(few[1])["scene"]);
}

TEST(AccuracyTest, PlacementsKeepToTheirCondition) {
  libmfx::sim::Rng rng(1);
  Condition c{.label = "",
              .nearest = 3.0,
              .farthest = 4.0,
              .least_tilt = 0.2,
              .most_tilt = 0.4,
              .offset = 0.001,
              .misalignment = 0.01,
              .variant = ""};
  double largest = 0.0;
  for (int i = 0; i < 1000; ++i) {
    const Placement p = DrawPlacement(c, rng);
    EXPECT_GE(p.place.norm(), 3.0);
    EXPECT_LE(p.place.norm(), 4.0);
    const double tilt = Angle(p.normal, -p.place);
    EXPECT_GE(tilt, 0.2 - 1e-9);
    EXPECT_LE(tilt, 0.4 + 1e-9);
    EXPECT_NEAR(p.normal.dot(p.tangent), 0.0, 1e-12);
    EXPECT_NEAR(p.nominal_normal.dot(p.nominal_tangent), 0.0, 1e-12);
    EXPECT_LE((p.nominal_place - p.place).norm(), 0.001);
    EXPECT_LE(Angle(p.nominal_normal, p.normal), 0.01 + 1e-12);
    largest = std::max(largest, (p.nominal_place - p.place).norm());
  }
  EXPECT_GT(largest, 0.0009);
  c.offset = c.misalignment = 0.0;
  const Placement exact = DrawPlacement(c, rng);
  EXPECT_EQ(exact.nominal_place, exact.place);
  EXPECT_NEAR(Angle(exact.nominal_normal, exact.normal), 0.0, 1e-12);
}

TEST(AccuracyTest, AQuantityMayHaveSeveralValuesARun) {
  Campaign campaign = Told();
  campaign.conditions.resize(1);
  campaign.quantities = {{"size", "µm", 1e6, 50e-6, 2}, {"place", "µm", 1e6, 50e-6}};
  campaign.errors = [](const Result& r) -> std::vector<double> {
    return {r.MeasuredNumber("length"), r.MeasuredNumber("width"), r.MeasuredNumber("error")};
  };
  const std::string jobs = JobsOf(campaign, 1);
  const std::string answer =
      R"({"id":"told/0/0","result":{"Success":true,"length":1e-5,"width":-6e-5,"error":2e-5}})"
      "\n";
  const std::string section = SectionOf(campaign, jobs, answer);
  EXPECT_THAT(section,
              HasSubstr("| first | 1 | 100 % | 0 | size, µm | 10.0 | 60.0 | 60.0 | 50.0 | 1 |\n"));
  EXPECT_THAT(section, HasSubstr("|  |  |  |  | place, µm | 20.0 | 20.0 | 20.0 | 50.0 | 0 |\n"));
  campaign.quantities[0].values = 3;
  EXPECT_THROW(SectionOf(campaign, jobs, answer), std::runtime_error);
}

TEST(AccuracyTest, TheTableCountsSuccessesAndWrongOnes) {
  const Campaign campaign = Told();
  const std::string jobs = JobsOf(campaign, 5);
  std::string answers;
  const char* const results[] = {
      R"("result":{"Success":true,"error":1e-5})", R"("result":{"Success":true,"error":-4e-5})",
      R"("result":{"Success":true,"error":6e-5})",
      R"("result":{"Success":false,"ErrorMessage":"No rim"})", R"("error":"gave nothing")"};
  for (const std::string& line : Lines(jobs)) {
    const json id = json::parse(line)["id"];
    const bool first = id.get<std::string>().starts_with("told/0/");
    const std::size_t run = static_cast<std::size_t>(id.get<std::string>().back() - '0');
    answers += "{\"id\":" + id.dump() + "," +
               (first ? results[run] : R"("result":{"Success":true})") + "}\n";
  }
  const std::string section = SectionOf(campaign, jobs, answers);
  EXPECT_THAT(section, HasSubstr("## Told\n\nWhat is told.\n\n`command`\n"));
  EXPECT_THAT(
      section,
      HasSubstr("| first | 5 | 60.0 % | 0 | place, µm | 40.0 | 60.0 | 60.0 | 50.0 | 1 |\n"));
  // A success that holds no number at all is wrong, each of them.
  EXPECT_THAT(section,
              HasSubstr("| second | 5 | 100 % | 0 | place, µm | not finite | not finite | not "
                        "finite | 50.0 | 5 |\n"));
  EXPECT_THAT(section, HasSubstr("- first: 1 times `No rim`\n"));
  EXPECT_THAT(section, HasSubstr("- first: 1 times `gave nothing`\n"));
  EXPECT_THAT(section, Not(HasSubstr("with a warning")));
}

TEST(AccuracyTest, ASuccessWithAWarningIsCountedApartAndHidesNoError) {
  Campaign campaign = Told();
  campaign.conditions.resize(1);
  const std::string jobs = JobsOf(campaign, 5);
  const char* const results[] = {
      R"("Success":true,"error":1e-5)", R"("Success":true,"error":6e-5)",
      R"("Success":true,"error":9e-5,"Warnings":["0.612 mm off; M8, -1.5 to 2e-05","side 3 short"])",
      R"("Success":true,"error":2e-5,"Warnings":["-1.7 mm off; M8, 3 to 1","1.2 mm off; M8, 2 to 4"])",
      R"("Success":false,"ErrorMessage":"No rim","Warnings":["5 mm off; M8, 1 to 2"])"};
  std::string answers;
  for (std::size_t run = 0; run < 5; ++run) {
    answers +=
        R"({"id":"told/0/)" + std::to_string(run) + R"(","result":{)" + results[run] + "}}\n";
  }
  const std::string section = SectionOf(campaign, jobs, answers);
  EXPECT_THAT(section, HasSubstr("| condition | runs | measured | warned | error of | median | "
                                 "95 % | largest | limit | wrong |\n"));
  // The largest error is a warned one; the one beyond the limit without a warning is wrong.
  EXPECT_THAT(
      section,
      HasSubstr("| first | 5 | 80.0 % | 2 | place, µm | 20.0 | 90.0 | 90.0 | 50.0 | 1 |\n"));
  // By kind, once a run, and only of successes.
  EXPECT_THAT(section, HasSubstr("\nRuns that were measured with a warning:\n\n"
                                 "- first: 1 times `side … short`\n"
                                 "- first: 2 times `… mm off; M8, … to …`\n"));
}

TEST(AccuracyTest, ACampaignWithoutASuccessHasNoFigures) {
  const Campaign campaign = Told();
  const std::string jobs = JobsOf(campaign, 1);
  std::string answers;
  for (const std::string& line : Lines(jobs)) {
    answers +=
        "{\"id\":" + json::parse(line)["id"].dump() + ",\"result\":{\"Success\":\"false\"}}\n";
  }
  EXPECT_THAT(SectionOf(campaign, jobs, answers),
              HasSubstr("| first | 1 | 0.000 % | 0 | place, µm | – | – | – | 50.0 | 0 |\n"));
}

TEST(AccuracyTest, AnswersOfAnotherCampaignAreRefused) {
  const Campaign campaign = Told();
  const std::string jobs = JobsOf(campaign, 1);
  EXPECT_THROW(SectionOf(campaign, jobs, ""), std::runtime_error);
  EXPECT_THROW(SectionOf(campaign, jobs, "{\"id\":\"other/0/0\",\"result\":{}}\n"),
               std::runtime_error);
}

TEST(AccuracyTest, QuantilesAreNearestRanks) {
  std::vector<double> sorted;
  for (int i = 1; i <= 100; ++i) sorted.push_back(i);
  EXPECT_EQ(Quantile(sorted, 0.5), 50.0);
  EXPECT_EQ(Quantile(sorted, 0.95), 95.0);
  EXPECT_EQ(Quantile(sorted, 1.0), 100.0);
  EXPECT_EQ(Quantile({7.0}, 0.5), 7.0);
  EXPECT_EQ(Quantile({1.0, 2.0, 3.0}, 0.5), 2.0);
}

TEST(AccuracyTest, SmallAnglesAreExact) {
  EXPECT_NEAR(Angle({0, 0, 1}, {1e-9, 0, 1}), 1e-9, 1e-15);
  EXPECT_NEAR(Angle({0, 0, 1}, {0, 0, -1}), 3.14159265358979, 1e-12);
  EXPECT_EQ(Angle({0, 0, 1}, {0, 0, -1}, true), 0.0);
}

TEST(AccuracyTest, EveryCampaignIsMeasuredAndGood) {
  ASSERT_FALSE(Campaigns().empty());
  for (Campaign campaign : Campaigns()) {
    if (libmfx::test::kSanitized && campaign.conditions.size() > 1) campaign.conditions.resize(1);
    const std::string jobs = JobsOf(campaign, 1);
    const Ended batch = RunMfx({"batch", "-"}, {.input = jobs});
    ASSERT_EQ(batch.status, 0);
    const std::string section = SectionOf(campaign, jobs, batch.out);
    // Without noise there is nothing that could make a measurement fail, go wrong or be doubted.
    for (const std::string& line : Lines(section)) {
      if (line.find("no noise") == std::string::npos) continue;
      EXPECT_THAT(line, HasSubstr("| 100 % | 0 |")) << campaign.name;
      EXPECT_TRUE(line.ends_with("| 0 |")) << campaign.name << ": " << line;
    }
  }
}

}  // namespace
}  // namespace mfx_test
