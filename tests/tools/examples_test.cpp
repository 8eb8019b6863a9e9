// Every example that comes with a scene, whatever its type: measured, replayed, reported; and what
// the host does around a search and a re-scan, with features that have them.

#include <chrono>
#include <cmath>
#include <filesystem>
#include <thread>

#include "examples.h"

namespace mfx_test {
namespace {

/// Names of the examples that have both a request and a scene.
std::vector<std::string> Examples() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(Source("examples/requests"))) {
    const std::string name = entry.path().stem().string();
    if (std::filesystem::exists(Source("examples/scenes/" + name + ".json"))) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

class ExampleTest : public testing::TestWithParam<std::string> {};

TEST_P(ExampleTest, MeasuresReplaysAndReports) {
  Folder folder;
  const std::string request = Source("examples/requests/" + GetParam() + ".json");
  const Ended measured =
      RunMfx({"measure", request, "--scene", Source("examples/scenes/" + GetParam() + ".json"),
              "--record", folder.Path("r.jsonl"), "--report", folder.Path("r.html")});
  EXPECT_EQ(measured.status, 0) << measured.err;
  ASSERT_THAT(Lines(measured.out), SizeIs(1));
  EXPECT_EQ(json::parse(measured.out)["Success"], true);
  // In another second, since one of the types seeds its draws from the clock.
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(RunMfx({"replay", folder.Path("r.jsonl")}).out, measured.out);

  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("<b>Measured</b>"));
  EXPECT_THAT(html, HasSubstr("<h3>Front view</h3>"));
  EXPECT_THAT(html, HasSubstr("</html>"));
  EXPECT_EQ(html.find("nan"), std::string::npos);

  const std::vector<std::string> lines = Lines(folder.Read("r.jsonl"));
  EXPECT_EQ(lines[1] + "\n", RunMfx({"plan", request}).out);
}

TEST_P(ExampleTest, ItsResultMayGoWithoutSamples) {
  Folder folder;
  const auto measure = [&](const std::string& form) {
    return RunMfx({"measure", Source("examples/requests/" + GetParam() + ".json"), "--scene",
                   Source("examples/scenes/" + GetParam() + ".json"), "--scan-data", form,
                   "--record", folder.Path(form + ".rec"), "--report", folder.Path(form)});
  };
  const std::string with = measure("json").out;
  const Ended without = measure("none");
  EXPECT_EQ(without.status, 0);
  nlohmann::ordered_json expected = nlohmann::ordered_json::parse(with);
  EXPECT_GT(expected["ScanData"]["Count"], 10);
  expected["ScanData"]["Data"] = json::array();
  expected["ScanData"]["Count"] = 0;
  EXPECT_EQ(nlohmann::ordered_json::parse(without.out), expected);
  // The members before and after the samples, to the byte.
  const std::size_t begin = with.find("\"ScanData\"");
  EXPECT_EQ(without.out.substr(0, begin), with.substr(0, begin));
  EXPECT_EQ(without.out.substr(without.out.find("},", begin)), with.substr(with.find("},", begin)));

  EXPECT_EQ(RunMfx({"replay", folder.Path("none.rec")}).out, without.out);
  // A report shows the samples, whatever the result holds of them; those of a scan path are gone.
  if (GetParam() != "scan_path") {
    EXPECT_EQ(folder.Read("none"), folder.Read("json"));
  }
}

INSTANTIATE_TEST_SUITE_P(All, ExampleTest, testing::ValuesIn(Examples()), [](const auto& example) {
  std::string name = example.param;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == '-'; }, '_');
  return name;
});

TEST(ExamplesTest, ThereAreSome) { EXPECT_FALSE(Examples().empty()); }

TEST(ExamplesTest, TheDemonstrationSetsMeasuredBesideTrueValues) {
  Folder folder;
  for (const std::string name : {"hole", "edge"}) {
    const Ended measured = RunMfx({"measure", Source("examples/requests/" + name + ".json"),
                                   "--scene", Source("examples/scenes/" + name + ".json"),
                                   "--report", folder.Path(name + ".html")});
    folder.Write(name + ".json", measured.out);
  }
  const Ended summary =
      RunMfx({"python3", Source("scripts/demo_summary.py"), folder.Path(""), "hole", "edge"},
             {.program = "/usr/bin/env"});
  EXPECT_EQ(summary.status, 0) << summary.err;
  const std::vector<std::string> lines = Lines(summary.out);
  ASSERT_THAT(lines, SizeIs(5));
  EXPECT_THAT(lines[2], StartsWith("bolt hole "));
  EXPECT_THAT(lines[2], testing::EndsWith(" 250.000, 100.000, 2200.000"));
  // On a rounding as large as the depth agreed on, the border is where the corner would be; its
  // second coordinate, along the border, is the measured one.
  EXPECT_THAT(lines[4], testing::EndsWith("2000.800"));
  const std::string html = folder.Read("report.html");
  EXPECT_THAT(html, HasSubstr("<h1>bolt hole</h1>"));
  EXPECT_THAT(html, HasSubstr("<h1>flange border</h1>"));
}

TEST(ExamplesTest, AWorkshopsWorstDayEndsInWarnings) {
  Folder folder;
  const Ended measured =
      RunMfx({"measure", Source("examples/worst-day/request.json"), "--scene",
              Source("examples/worst-day/scene.json"), "--report", folder.Path("worst-day.html")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const json result = json::parse(measured.out);
  ASSERT_GT(result["Warnings"].size(), 0U) << measured.out;
  // Off by more than anybody would want, and not silently so.
  EXPECT_GT(std::abs(result["Length"].get<double>() - 0.03), 1e-4);
  EXPECT_THAT(folder.Read("worst-day.html"), HasSubstr("off the line through that side"));
  folder.Write("worst-day.json", measured.out);
  const Ended summary =
      RunMfx({"python3", Source("scripts/demo_summary.py"), folder.Path(""), "worst-day"},
             {.program = "/usr/bin/env"});
  ASSERT_EQ(summary.status, 0) << summary.err;
  EXPECT_THAT(summary.out, HasSubstr("\nwindow on the worst day: warning: An edge point of side "));
}

// ---- a rectangle that lies elsewhere than its nominal

/// The rectangle's request with its nominal moved by `shift` metres along one of the instrument's
/// axes.
json MovedRectangle(std::size_t axis, double shift, bool search) {
  json request = ReadJson(Source("examples/requests/rectangle.json"));
  request["SearchEnabled"] = search;
  request["SearchPointSpacing"] = 0.002;
  request["SearchRadiusMultiplier"] = 3.0;
  json& coordinate = request["Feature"]["Location"][axis];
  coordinate = coordinate.get<double>() - shift;
  return request;
}

TEST(SearchTest, TheSearchPatternLiesAroundTheRequestsNominal) {
  const json request = MovedRectangle(0, 0.0, true);
  const Ended plan = RunMfx({"plan", "-", "--search"}, {.input = request.dump()});
  ASSERT_EQ(plan.status, 0) << plan.err;
  const json line = json::parse(plan.out);
  EXPECT_EQ(line["step"], "SEARCH");
  ASSERT_GT(line["drive"].size(), 10u);
  double middle[3] = {0, 0, 0};
  double farthest = 0.0;
  const json& place = request["Feature"]["Location"];
  for (const json& p : line["drive"]) {
    const double az = p[0], el = p[1], range = p[2];
    const double at[3] = {-std::sin(az) * std::cos(el) * range, std::sin(el) * range,
                          std::cos(az) * std::cos(el) * range};
    double square = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
      middle[i] += at[i] / static_cast<double>(line["drive"].size());
      square += (at[i] - place[i].get<double>()) * (at[i] - place[i].get<double>());
    }
    farthest = std::max(farthest, std::sqrt(square));
  }
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(middle[i], place[i].get<double>(), 0.01);
  EXPECT_LT(farthest, 0.2);
}

TEST(SearchTest, ASearchFindsWhatTheFirstScanMissed) {
  Folder folder;
  const std::string request = folder.Write("request", MovedRectangle(1, 0.012, true).dump());
  const std::string scene = Source("examples/scenes/rectangle.json");
  EXPECT_EQ(RunMfx({"measure", request, "--scene", scene}).status, 1);
  const Ended found = RunMfx(
      {"measure", request, "--scene", scene, "--search", "--record", folder.Path("r.jsonl")});
  EXPECT_EQ(found.status, 0) << found.err;
  EXPECT_NE(folder.Read("r.jsonl").find("\"step\":\"SEARCH\""), std::string::npos);
  const json truth = ReadJson(scene)["pose"]["position"];
  const json place = json::parse(found.out)["Location"];
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(place[i].get<double>(), truth[i].get<double>(), 3e-4);
  }
  // A recording knows that it was searched.
  EXPECT_EQ(RunMfx({"replay", folder.Path("r.jsonl")}).out, found.out);
}

TEST(SearchTest, WithoutLeaveTheFirstFailureStands) {
  Folder folder;
  const std::string request = folder.Write("request", MovedRectangle(1, 0.012, false).dump());
  const std::string scene = Source("examples/scenes/rectangle.json");
  const Ended plain = RunMfx({"measure", request, "--scene", scene});
  const Ended searching = RunMfx({"measure", request, "--scene", scene, "--search"});
  EXPECT_EQ(searching.status, 1);
  EXPECT_EQ(searching.out, plain.out);
  EXPECT_FALSE(json::parse(searching.out)["ErrorMessage"].get<std::string>().empty());
}

TEST(RescanTest, AMovedNominalIsScannedAgainAtMostAsOftenAsAllowed) {
  Folder folder;
  json request = MovedRectangle(0, 0.001, false);
  request["RescanThreshold"] = 0.0001;
  const std::string file = folder.Write("request", request.dump());
  const auto measure = [&](const std::string& passes) {
    return RunMfx({"measure", file, "--scene", Source("examples/scenes/rectangle.json"),
                   "--max-passes", passes, "--record", folder.Path("r.jsonl")});
  };
  EXPECT_EQ(measure("3").status, 0);
  EXPECT_NE(folder.Read("r.jsonl").find("\"step\":\"RESCAN\""), std::string::npos);
  const Ended none = measure("0");
  EXPECT_EQ(none.status, 1);
  EXPECT_THAT(Lines(folder.Read("r.jsonl")), SizeIs(4));
  EXPECT_THAT(none.err, HasSubstr("farther from the nominal than the re-scan threshold after 0"));
  EXPECT_EQ(RunMfx({"replay", folder.Path("r.jsonl")}).out, none.out);
}

}  // namespace
}  // namespace mfx_test
