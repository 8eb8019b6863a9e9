// The campaigns' arithmetic: draws that can be repeated, and tables that tell what happened.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "program.h"
#include "sim/scene.h"
#include "tests/support/random_cases.h"
#include "tools/accuracy/answers.h"
#include "tools/accuracy/campaign.h"
#include "tools/accuracy/evaluation.h"
#include "tools/accuracy/jobs.h"

namespace mfx_test {
namespace {

using namespace libmfx::accuracy;
using testing::HasSubstr;
using testing::Not;

std::string JobsOf(const Campaign& campaign, const Runs& runs) {
  std::ostringstream out;
  WriteJobs(campaign, runs, out);
  return out.str();
}

std::string JobsOf(const Campaign& campaign, int runs) {
  return JobsOf(campaign, Runs{.count = runs});
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

TEST(AccuracyTest, ACampaignCanBeCutInPieces) {
  const Campaign campaign = Told();
  const auto all = Lines(JobsOf(campaign, 5));
  const auto later = Lines(JobsOf(campaign, {.count = 2, .first = 3}));
  ASSERT_EQ(later.size(), 4u);
  EXPECT_EQ(later[0], all[3]);
  EXPECT_EQ(later[3], all[9]);
  for (const char* second : {"1", "second", "eco"}) {
    const auto lines = Lines(JobsOf(campaign, {.count = 5, .condition = second}));
    EXPECT_EQ(lines, std::vector<std::string>(all.begin() + 5, all.end())) << second;
  }
  for (const char* none : {"2", "third", "-1"}) {
    EXPECT_THROW(JobsOf(campaign, {.condition = none}), std::runtime_error) << none;
  }
  // The pieces make one table, without a row for a condition that has no run.
  const std::string jobs = JobsOf(campaign, {.count = 2, .condition = "1"}) +
                           JobsOf(campaign, {.count = 3, .first = 2, .condition = "1"});
  std::string answers;
  for (const std::string& line : Lines(jobs)) {
    answers += "{\"id\":" + json::parse(line)["id"].dump() +
               R"(,"result":{"Success":true,"error":1e-5}})" + "\n";
  }
  const std::string section = SectionOf(campaign, jobs, answers);
  EXPECT_THAT(section, HasSubstr("| second | 5 | 100 % |"));
  EXPECT_THAT(section, Not(HasSubstr("| first |")));
  // A run that is there twice would count twice.
  EXPECT_THROW(SectionOf(campaign, jobs + jobs, answers + answers), std::runtime_error);
}

TEST(AccuracyTest, ARunCanBeLookedAtAgain) {
  const Campaign& hole = CampaignOf("hole");
  const auto lines = Lines(JobsOf(hole, {.count = 1, .first = 12, .condition = "1"}));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(JobOf("hole/1/12"), json::parse(lines[0]));
  for (const char* none : {"", "hole", "hole/1", "hole/1/", "hole/x/1", "hole/1/1x", "hole/99/1",
                           "hole/1/-1", "other/1/1", "hole/1/99999999999"}) {
    EXPECT_THROW(JobOf(none), std::runtime_error) << none;
  }
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

/// A campaign whose answers tell an uncertainty.
Campaign ToldWithUncertainty() {
  Campaign campaign = Told();
  campaign.conditions.resize(1);
  campaign.quantities = {{"place", "µm", 1e6, 50e-6}, {"turn", "mrad", 1e3, INFINITY}};
  campaign.errors = [](const Result& r) -> std::vector<double> {
    return {r.MeasuredNumber("error"), r.MeasuredNumber("turn")};
  };
  campaign.in_uncertainties = [](const Result& r) -> std::vector<double> {
    return {r.MeasuredNumber("error") / Result::Number(r.uncertainty, "place"),
            r.MeasuredNumber("turn") / Result::Number(r.uncertainty, "turn")};
  };
  return campaign;
}

TEST(AccuracyTest, ATableTellsHowManyLieWithinTheirUncertaintyAndHowManyRunsAreWrong) {
  Campaign campaign = ToldWithUncertainty();
  campaign.tells_runs = true;
  const std::string jobs = JobsOf(campaign, 5);
  const char* const told[] = {
      R"("result":{"Success":true,"error":1e-5,"turn":1},"uncertainty":{"place":1e-5,"turn":0.4}})",
      R"("result":{"Success":true,"error":-6e-5,"turn":1},"uncertainty":{"place":2e-5,"turn":2}})",
      R"("result":{"Success":true,"error":9e-5,"turn":1,"Warnings":["w"]},"uncertainty":{"place":9e-5}})",
      R"("result":{"Success":true,"error":3e-5,"turn":1},"uncertainty":{"place":3e-5,"turn":1}})",
      R"("result":{"Success":false}})"};
  std::string answers;
  for (int i = 0; i < 5; ++i) {
    answers += R"({"id":"told/0/)" + std::to_string(i) + "\"," + told[i] + "\n";
  }
  const std::string section = SectionOf(campaign, jobs, answers);
  EXPECT_THAT(section, HasSubstr("| condition | runs | measured | warned | wrong runs | error of | "
                                 "median | 95 % | largest | limit | wrong | within 2 u |\n"
                                 "|---|--:|--:|--:|--:|---|--:|--:|--:|--:|--:|--:|\n"));
  EXPECT_THAT(section, HasSubstr("| first | 5 | 80.0 % | 25.0 % | 1 | place, µm | 30.0 | 90.0 | "
                                 "90.0 | 50.0 | 1 | 75.0 % |\n"));
  // Without a limit none is wrong. One without an uncertainty does not lie within it.
  EXPECT_THAT(section, HasSubstr("|  |  |  |  |  | turn, mrad | 1000 | 1000 | 1000 | – | – | "
                                 "50.0 % |\n"));
  std::string silent;  // answers that tell no uncertainties
  for (int i = 0; i < 5; ++i) {
    json answer = json::parse(Lines(answers)[static_cast<std::size_t>(i)]);
    answer.erase("uncertainty");
    silent += answer.dump() + "\n";
  }
  EXPECT_THAT(SectionOf(campaign, jobs, silent), HasSubstr("| 90.0 | 50.0 | 1 | – |\n"));
  // Each of the two may stand alone.
  campaign.tells_runs = false;
  EXPECT_THAT(SectionOf(campaign, jobs, answers),
              HasSubstr("| first | 5 | 80.0 % | 1 | place, µm | 30.0 | 90.0 | 90.0 | 50.0 | 1 | "
                        "75.0 % |\n"));
  campaign.tells_runs = true;
  campaign.in_uncertainties = nullptr;
  EXPECT_THAT(SectionOf(campaign, jobs, answers),
              HasSubstr("| first | 5 | 80.0 % | 25.0 % | 1 | place, µm | 30.0 | 90.0 | 90.0 | 50.0 "
                        "| 1 |\n"));
  campaign.in_uncertainties = [](const Result&) { return std::vector<double>{1.0}; };
  EXPECT_THROW(SectionOf(campaign, jobs, answers), std::runtime_error);
}

TEST(AccuracyTest, AnswersAreThoseOfABatch) {
  for (const char* name : {"stud", "threaded-hole", "hole"}) {
    const std::string job = JobsOf(CampaignOf(name), {.count = 1, .condition = "0"});
    const bool is_cylinder = CampaignOf(name).in_uncertainties != nullptr;
    std::vector<std::string> words = {"batch", "--search", "-"};
    if (is_cylinder) words.insert(words.begin() + 1, {"--scan-data", "none"});
    const Ended batch = RunMfx(words, {.input = job});
    ASSERT_EQ(batch.status, 0) << batch.err;
    const std::string answer = AnswerOf(Lines(job)[0]);
    const std::string same = Lines(batch.out)[0];
    if (!is_cylinder) {
      EXPECT_EQ(answer, same) << name;
      continue;
    }
    // The result to its last byte, and the uncertainties behind it.
    EXPECT_EQ(answer.substr(0, same.size() - 1), same.substr(0, same.size() - 1)) << name;
    const json uncertainty = json::parse(answer).at("uncertainty");
    for (const char* key : {"center", "axis", "radius"}) {
      EXPECT_GT(uncertainty.at(key).get<double>(), 1e-8) << name << key;
      EXPECT_LT(uncertainty.at(key).get<double>(), 0.05) << name << key;
    }
    const json feature = json::parse(job)["request"]["Feature"];
    EXPECT_GT(uncertainty.at("height").get<double>(), 0.0) << name;
    EXPECT_LT(uncertainty.at("height").get<double>(),
              feature["Height"].get<double>() - feature["Offset"].get<double>())
        << name;
  }
  // What cannot be measured is answered as in a batch.
  json job = json::parse(Lines(JobsOf(CampaignOf("stud"), 1))[0]);
  job["request"]["Feature"]["Location"] = {0, 0, -1};
  const json answer = json::parse(AnswerOf(job.dump()));
  EXPECT_NE(answer["result"].value("Success", json()), json(true)) << answer;
  EXPECT_FALSE(answer.contains("uncertainty"));
}

Ended RunAccuracy(const std::vector<std::string>& words) {
  return RunMfx(words, {.program = LIBMFX_ACCURACY_PROGRAM});
}

TEST(AccuracyTest, TheProgramShowsARunAsItWasMeasured) {
  const Folder folder;
  const std::string run = "threaded-hole/0/3";
  const Ended shown = RunAccuracy({"show", run, folder.Path("run")});
  ASSERT_EQ(shown.status, 0) << shown.err;
  std::istringstream in(shown.out);
  const std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
  ASSERT_GT(words.size(), 2u);
  EXPECT_EQ(words[0], "mfx");
  const Ended measured = RunMfx({words.begin() + 1, words.end()});
  ASSERT_EQ(measured.status, 0) << measured.err;
  json result = json::parse(measured.out);
  json answered = json::parse(AnswerOf(JobOf(run).dump()))["result"];
  result.erase("ScanData");
  answered.erase("ScanData");
  EXPECT_EQ(result, answered);
}

TEST(AccuracyTest, TheProgramMeasuresWhatItDraws) {
  const Folder folder;
  const Ended jobs =
      RunAccuracy({"jobs", "scan_path", "2", "--first-run", "7", "--condition", "10 to 20 m"});
  ASSERT_EQ(jobs.status, 0) << jobs.err;
  const std::string path = folder.Write("jobs", jobs.out);
  const Ended answers = RunAccuracy({"answers", path});
  ASSERT_EQ(answers.status, 0) << answers.err;
  EXPECT_EQ(answers.out, RunMfx({"batch", "--search", path}).out);
  const Ended section =
      RunAccuracy({"section", "scan_path", path, folder.Write("answers", answers.out), "words"});
  EXPECT_THAT(section.out, HasSubstr("| 10 to 20 m, up to 20° | 2 | 100 % |"));
  for (const std::vector<std::string>& wrong :
       std::vector<std::vector<std::string>>{{},
                                             {"jobs", "gear", "1"},
                                             {"jobs", "hole", "0"},
                                             {"jobs", "hole", "1", "--condition"},
                                             {"jobs", "hole", "1", "--condition", "99"},
                                             {"jobs", "hole", "1", "--first-run", "-1"},
                                             {"jobs", "hole", "2", "--first-run", "2147483646"},
                                             {"jobs", "hole", "1", "--last-run", "1"},
                                             {"answers", folder.Path("none")},
                                             {"show", "hole/0", folder.Path("run")},
                                             {"show", "hole/0/0", path}}) {
    const Ended ended = RunAccuracy(wrong);
    EXPECT_EQ(ended.status, 2) << json(wrong);
    EXPECT_EQ(ended.out, "") << json(wrong);
    EXPECT_TRUE(ended.err.starts_with("mfx_accuracy: ")) << ended.err;
  }
}

TEST(AccuracyTest, CylindersKeepToTheirConditions) {
  for (const char* name : {"stud", "threaded-hole"}) {
    const Campaign& campaign = CampaignOf(name);
    for (const std::string& line : Lines(JobsOf(campaign, 30))) {
      const json job = json::parse(line);
      const Condition& c = campaign.conditions[RunOf(job["id"]).condition];
      const json& part = job["scene"]["part"];
      const bool is_smooth = c.label.starts_with("smooth");
      ASSERT_EQ(part.contains("radius"), is_smooth) << line;
      EXPECT_EQ(part.contains("form"), c.label.find("errors of form") != std::string::npos);
      // Every scene can be built, and the request names what a drawing names.
      const json truth = libmfx::sim::Scene::FromJson(job["scene"]).TruthJson();
      const double told = job["request"]["Feature"]["Radius"];
      if (is_smooth) {
        EXPECT_DOUBLE_EQ(told, truth["radius"].get<double>());
      } else if (c.label.find("depth") == std::string::npos) {
        EXPECT_TRUE(part["thread"].is_string());
        EXPECT_DOUBLE_EQ(told, truth[name[0] == 's' ? "major_radius" : "minor_radius"]);
      } else {
        const double depth = part["thread"]["depth"];
        EXPECT_GE(depth, c.least_depth);
        EXPECT_LE(depth, c.most_depth);
        const double major = truth["major_radius"], minor = truth["minor_radius"];
        EXPECT_NEAR(told, name[0] == 's' ? major : major - (major - minor) / depth, 1e-9);
      }
    }
  }
}

TEST(AccuracyTest, AnswersOfAnotherCampaignAreRefused) {
  const Campaign campaign = Told();
  const std::string jobs = JobsOf(campaign, 1);
  EXPECT_THROW(SectionOf(campaign, jobs, ""), std::runtime_error);
  EXPECT_THROW(SectionOf(campaign, jobs, "{\"id\":\"other/0/0\",\"result\":{}}\n"),
               std::runtime_error);
  const std::string other = "{\"id\":\"other/0/0\",\"result\":{}}\n";
  EXPECT_THROW(SectionOf(campaign, other, other), std::runtime_error);
  EXPECT_THROW(SectionOf(campaign, "", other), std::runtime_error);
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
