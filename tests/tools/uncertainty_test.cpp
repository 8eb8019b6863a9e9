// `mfx uncertainty` and `mfx measure --uncertainty`, run as a script would.

#include <cmath>

#include "program_test.h"

namespace mfx_test {
namespace {

using testing::HasSubstr;

std::string Example(const std::string& kind, const std::string& name) {
  return std::string(LIBMFX_SOURCE_DIR) + "/examples/" + kind + "/" + name + ".json";
}

json Told(const std::vector<std::string>& arguments) {
  const Ended ended = RunMfx(arguments);
  EXPECT_EQ(ended.status, 0) << ended.err;
  return json::parse(ended.out);
}

TEST(Uncertainty, OfARequestStandsAroundItsNominal) {
  const json told = Told({"uncertainty", Example("requests", "hole"), "--trials", "60", "--json"});
  EXPECT_EQ(told["trials"], 60);
  EXPECT_GT(told["success_share"], 0.9);
  const json& place = told["quantities"]["Location"];
  const double nominal[] = {0.2508, 0.1004, 2.2};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(place["mean"][i], nominal[i], 1e-4);
    EXPECT_NEAR(place["mean"][i].get<double>() - place["bias"][i].get<double>(), nominal[i], 1e-9);
    EXPECT_NEAR(place["covariance"][i][i].get<double>(),
                std::pow(place["standard"][i].get<double>(), 2), 1e-15);
    EXPECT_LT(place["interval95"][i][0], place["interval95"][i][1]);
  }
  EXPECT_FALSE(place.contains("measured"));
  EXPECT_EQ(told["repeated"], json::array({"Radius"}));
  EXPECT_FALSE(told["quantities"].contains("Radius"));
}

TEST(Uncertainty, TheSameSeedGivesTheSameBytesWithAnyNumberOfProcesses) {
  const std::vector<std::string> call = {
      "uncertainty", Example("requests", "slot"), "--trials", "45", "--json", "-j"};
  const auto with = [&call](const std::string& count, const std::string& seed) {
    std::vector<std::string> arguments = call;
    arguments.insert(arguments.end(), {count, "--seed", seed});
    return RunMfx(arguments).out;
  };
  const std::string once = with("1", "4");
  EXPECT_FALSE(once.empty());
  EXPECT_EQ(once, with("3", "4"));
  EXPECT_NE(once, with("1", "5"));
}

TEST(Uncertainty, OfARecordingHoldsWhatWasMeasuredAndWhatIsTrue) {
  const Folder folder;
  const std::string recording = folder.Path("hole.rec");
  ASSERT_EQ(RunMfx({"measure", Example("requests", "hole"), "--scene", Example("scenes", "hole"),
                    "--record", recording})
                .status,
            0);
  const json told = Told({"uncertainty", "--recording", recording, "--trials", "200", "--json"});
  const json& place = told["quantities"]["Location"];
  const double truth[] = {0.25, 0.1, 2.2};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(place["measured"][i].get<double>() - place["bias"][i].get<double>(),
                place["mean"][i].get<double>(), 1e-12);
    // Twice the interval: one draw of 20 lies outside of it.
    const double low = place["interval95"][i][0];
    const double high = place["interval95"][i][1];
    EXPECT_NEAR(0.5 * (low + high), truth[i], high - low);
  }
  EXPECT_TRUE(told.contains("first_estimate"));
}

TEST(Uncertainty, AMeasurementTellsItBehindItsMessage) {
  const Ended plain = RunMfx({"measure", Example("requests", "surface-normal"), "--scene",
                              Example("scenes", "surface-normal")});
  const Ended sure =
      RunMfx({"measure", Example("requests", "surface-normal"), "--scene",
              Example("scenes", "surface-normal"), "--uncertainty", "--trials", "30"});
  EXPECT_EQ(sure.status, 0) << sure.err;
  const std::vector<std::string> lines = Lines(sure.out);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0] + "\n", plain.out);
  EXPECT_EQ(json::parse(lines[1])["uncertainty"]["trials"], 30);
}

TEST(Uncertainty, ATextAndAReportTellItBesideEachNumber) {
  const Folder folder;
  const Ended text = RunMfx({"measure", Example("requests", "hole"), "--scene",
                             Example("scenes", "hole"), "--uncertainty", "--trials", "30",
                             "--format", "text", "--report", folder.Path("hole.html")});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_THAT(text.out, HasSubstr("95 %"));
  EXPECT_NE(folder.Read("hole.html").find("Trials: 30,"), std::string::npos);
}

TEST(Uncertainty, ATableForPeopleTellsEveryQuantity) {
  const Ended text = RunMfx({"uncertainty", Example("requests", "rectangle"), "--trials", "20"});
  EXPECT_EQ(text.status, 0);
  for (const char* part : {"rectangle.json: 20 trials", "Location x", "Normal", "Tangent", "Length",
                           "Width", "95 %", "significant digit"}) {
    EXPECT_THAT(text.out, HasSubstr(part));
  }
}

TEST(Uncertainty, OfSeveralInputsIsOneLineEach) {
  const Ended ended = RunMfx({"uncertainty", Example("requests", "surface-normal"),
                              Example("requests", "scan_path"), "--trials", "20", "--json"});
  EXPECT_EQ(ended.status, 0) << ended.err;
  const std::vector<std::string> lines = Lines(ended.out);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(json::parse(lines[0])["quantities"].contains("Normal"));
  EXPECT_TRUE(json::parse(lines[1])["quantities"].contains("Range"));
}

TEST(Uncertainty, WhatCannotBeEstimatedIsSaidInOneLine) {
  const Folder folder;
  const std::string wall = Example("requests", "scan_path");
  const auto fails = [](const std::vector<std::string>& arguments, const std::string& why) {
    const Ended ended = RunMfx(arguments);
    EXPECT_EQ(ended.status, 2) << why;
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.err, HasSubstr(why));
    EXPECT_EQ(Lines(ended.err).size(), 1u) << ended.err;
  };
  fails({"uncertainty"}, "give a REQUEST or --recording FILE");
  fails({"uncertainty", folder.Write("bad.json", "{")}, "bad.json");
  fails({"uncertainty", folder.Path("none.json")}, "none.json");
  fails({"uncertainty", wall, "--trials", "1"}, "from 2 to 10000");
  fails({"uncertainty", wall, "--instrument-model", folder.Write("m.json", R"({"nose": {}})")},
        "nose");
  fails({"uncertainty", "--recording", folder.Write("r.rec", "")}, "r.rec");
}

TEST(Uncertainty, AFailedMeasurementHasNone) {
  const Folder folder;
  const std::string recording = folder.Path("wall.rec");
  ASSERT_EQ(RunMfx({"measure", Example("requests", "hole"), "--scene",
                    Example("scenes", "surface-normal"), "--record", recording})
                .status,
            1);
  const Ended ended = RunMfx({"uncertainty", "--recording", recording});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("the measurement failed"));
}

}  // namespace
}  // namespace mfx_test
