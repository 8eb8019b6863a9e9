// The campaigns in which something spoils what is measured: their draws, and their tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "program.h"
#include "sim/scene.h"
#include "tools/accuracy/campaign.h"
#include "tools/accuracy/disturbances.h"
#include "tools/accuracy/evaluation.h"
#include "tools/accuracy/jobs.h"

namespace mfx_test {
namespace {

using namespace libmfx::accuracy;
using testing::HasSubstr;

const std::vector<std::string> kSpoilt = {
    "hostile-edge",           "hostile-hole",         "hostile-matte-sphere", "hostile-polygon",
    "hostile-rectangle",      "hostile-scan_path",    "hostile-slot",         "hostile-stud",
    "hostile-surface_normal", "hostile-threaded-hole"};

std::vector<json> JobsOf(const Campaign& campaign, const Runs& runs) {
  std::ostringstream out;
  WriteJobs(campaign, runs, out);
  std::vector<json> jobs;
  for (const std::string& line : Lines(out.str())) jobs.push_back(json::parse(line));
  return jobs;
}

/// Everything in which a scene differs from one that nothing spoils.
std::set<std::string> SpoiltKeys(const json& scene) {
  std::set<std::string> keys;
  for (const char* key : {"relief", "surface", "obstacles", "instrument"}) {
    if (scene.contains(key)) keys.insert(key);
  }
  if (scene.contains("noise") && scene["noise"].is_object()) keys.insert("noise");
  const json& part = scene["part"];
  for (const char* key : {"form", "fillet", "burr", "edge_radius"}) {
    if (part.contains(key)) keys.insert(key);
    if (part.contains("opening") && part["opening"].contains(key)) keys.insert(key);
  }
  if (part.contains("opening") && part["opening"].contains("chamfer_depth")) keys.insert("chamfer");
  if (part.contains("thread") && part["thread"].is_object()) keys.insert("thread");
  return keys;
}

TEST(HostileTest, EveryTypeHasOneAndEveryOfItsScenesCanBeBuilt) {
  for (const std::string& name : kSpoilt) {
    const Campaign& campaign = CampaignOf(name);
    // Three strengths each, and all at once.
    ASSERT_GT(campaign.conditions.size(), 30u) << name;
    EXPECT_EQ(campaign.conditions.size() % 3, 1u) << name;
    for (const json& job : JobsOf(campaign, {.count = 4})) {
      const Condition& condition = campaign.conditions[RunOf(job["id"]).condition];
      EXPECT_NO_THROW(libmfx::sim::Scene::FromJson(job["scene"]))
          << job["id"] << ' ' << condition.label << '\n'
          << job["scene"];
      EXPECT_FALSE(SpoiltKeys(job["scene"]).empty()) << job["id"] << ' ' << condition.label;
    }
  }
}

TEST(HostileTest, AllAtOnceIsMoreThanEachAlone) {
  for (const std::string& name : kSpoilt) {
    const Campaign& campaign = CampaignOf(name);
    std::set<std::string> seen;
    for (const json& job : JobsOf(campaign, {.count = 6, .condition = "all at once"})) {
      const std::set<std::string> keys = SpoiltKeys(job["scene"]);
      EXPECT_TRUE(keys.contains("surface") && keys.contains("instrument") && keys.contains("noise"))
          << name;
      seen.insert(keys.begin(), keys.end());
    }
    // Of those that exclude each other every one has its turn.
    if (name != "hostile-hole") continue;
    EXPECT_TRUE(seen.contains("burr") && seen.contains("relief")) << json(seen);
  }
}

TEST(HostileTest, TheSameRunDrawsTheSameAgain) {
  const Campaign& campaign = CampaignOf("hostile-slot");
  EXPECT_EQ(JobsOf(campaign, {.count = 3})[5],
            JobsOf(campaign, {.count = 1, .first = 2, .condition = "1"})[0]);
  EXPECT_EQ(JobOf("hostile-slot/1/2"), JobsOf(campaign, {.count = 3})[5]);
}

TEST(HostileTest, ADisturbanceGrowsWithItsStrength) {
  const Campaign& campaign = CampaignOf("hostile-hole");
  const auto mean_burr = [&](const char* label) {
    double sum = 0.0;
    for (const json& job : JobsOf(campaign, {.count = 20, .condition = label})) {
      sum += job["scene"]["part"]["opening"]["burr"]["height"].get<double>();
    }
    return sum / 20.0;
  };
  EXPECT_LT(mean_burr("burr, as met daily"), mean_burr("burr, bad"));
  EXPECT_LT(mean_burr("burr, bad"), mean_burr("burr, absurd"));
}

TEST(HostileTest, WhatHasNoUsualConditionIsNotSpoilt) {
  for (const char* none :
       {"hostile-hole-search", "hostile-gear", "hostile-", "hostile-hostile-hole"}) {
    EXPECT_THROW(CampaignOf(none), std::runtime_error) << none;
  }
  EXPECT_THROW(HostileOf(CampaignOf("hole-search")), std::runtime_error);
}

TEST(HostileTest, ATableHasOneRowACondition) {
  Campaign campaign = CampaignOf("hostile-hole");
  campaign.conditions.resize(2);
  campaign.quantities = {{"centre", "µm", 1e6, 50e-6}, {"normal", "mrad", 1e3, 20e-3}};
  campaign.errors = [](const Result& r) -> std::vector<double> {
    return {r.MeasuredNumber("off"), r.MeasuredNumber("turn")};
  };
  std::ostringstream jobs;
  WriteJobs(campaign, {.count = 4}, jobs);
  std::string answers;
  const char* const told[] = {R"("Success":true,"off":1e-5,"turn":0.001)",
                              R"("Success":true,"off":9e-5,"turn":0.03)",
                              R"("Success":true,"off":2e-4,"turn":0.002,"Warnings":["1.5 mm off"])",
                              R"("Success":false,"ErrorMessage":"No rim of 3.5 mm")"};
  for (const std::string& line : Lines(jobs.str())) {
    const json id = json::parse(line)["id"];
    const auto run = static_cast<std::size_t>(RunOf(id).number);
    answers += "{\"id\":" + id.dump() + ",\"result\":{" + told[run] + "}}\n";
  }
  std::istringstream in(jobs.str());
  std::istringstream out(answers);
  const std::string section = Section(campaign, in, out, "command");
  EXPECT_THAT(section, HasSubstr("| condition | measured | warned | wrong | centre, µm | normal, "
                                 "mrad |\n|---|--:|--:|--:|--:|--:|\n"
                                 "| waves, as met daily | 75.0 % | 33.3 % | 1 | 90.0 / 200 / 200 | "
                                 "2.00 / 30.0 / 30.0 |\n"
                                 "| waves, bad | 75.0 % |"));
  EXPECT_THAT(section,
              HasSubstr("- 2 times `No rim of … mm`, 1 of them with: waves, as met daily\n"));
  EXPECT_THAT(section, HasSubstr("- 2 times `… mm off`, 1 of them with: waves, as met daily\n"));
}

TEST(HostileTest, TheProgramMeasuresThem) {
  const Folder folder;
  const auto run = [](const std::vector<std::string>& words) {
    return RunMfx(words, {.program = LIBMFX_ACCURACY_PROGRAM});
  };
  const Ended jobs = run({"jobs", "hostile-surface_normal", "3", "--condition", "all at once"});
  ASSERT_EQ(jobs.status, 0) << jobs.err;
  const std::string path = folder.Write("jobs", jobs.out);
  const Ended answers = run({"answers", path});
  ASSERT_EQ(answers.status, 0) << answers.err;
  EXPECT_THAT(Lines(answers.out), testing::SizeIs(3));
  const Ended section = run(
      {"section", "hostile-surface_normal", path, folder.Write("answers", answers.out), "words"});
  EXPECT_THAT(section.out, HasSubstr("| all at once, as met daily |"));
  EXPECT_EQ(run({"list"}).out.find("hostile"), std::string::npos);
  std::string names;
  for (const std::string& name : kSpoilt) names += name.substr(8) + "\n";
  EXPECT_EQ(run({"list", "hostile"}).out, names);
}

}  // namespace
}  // namespace mfx_test
