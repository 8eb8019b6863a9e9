// The pictures that an edge adds to a report.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "program.h"

namespace {

using mfx_test::Ended;
using mfx_test::Folder;
using mfx_test::RunMfx;
using mfx_test::Source;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

const char* const kRequest = "examples/requests/edge.json";
const char* const kScene = "examples/scenes/edge.json";

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(EdgeReportTest, ShowsTheProfileTheSplitTheCurveAndTheEdge) {
  Folder folder;
  const Ended measured = RunMfx(
      {"measure", Source(kRequest), "--scene", Source(kScene), "--report", folder.Path("r.html")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string html = folder.Read("r.html");
  const std::size_t profile = html.find("<h3>Profile of the border</h3>");
  const std::size_t around = html.find("<h3>At the edge</h3>");
  ASSERT_NE(profile, std::string::npos);
  ASSERT_LT(profile, around);
  const std::string first = html.substr(profile, around - profile);
  // Every sample of the line is a dot, blue before the split and orange behind it.
  std::smatch words;
  ASSERT_TRUE(std::regex_search(first, words, std::regex("(\\d+) samples; (\\d+) of them")));
  EXPECT_EQ(CountOf(first, "class=\"odd\""),
            std::stoul(words[1].str()) - std::stoul(words[2].str()));
  EXPECT_EQ(CountOf(first, "class=\"sample\""), std::stoul(words[2].str()));
  EXPECT_THAT(first, HasSubstr("class=\"plan\""));
  EXPECT_THAT(first, HasSubstr("depth of the edge"));
  EXPECT_THAT(html.substr(around), HasSubstr("Red line: the curve"));
  EXPECT_EQ(html.find("nan"), std::string::npos);
}

TEST(EdgeReportTest, AtTheNominalOffsetThereIsNoCurve) {
  Folder folder;
  json request = json::parse(folder.Read(Source(kRequest)));
  request["UseNominalOffset"] = true;
  const Ended measured = RunMfx({"measure", folder.Write("request.json", request.dump()), "--scene",
                                 Source(kScene), "--report", folder.Path("r.html")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("The edge is the sample nearest to the depth."));
  EXPECT_THAT(html, Not(HasSubstr("Red line: the curve")));
}

TEST(EdgeReportTest, AFailureShowsTheProfileAsFarAsItWasAnalysedAndIsToldOnce) {
  Folder folder;
  json scene = json::parse(folder.Read(Source(kScene)));
  scene["noise"] = {{"quality_floor", 75}};
  const Ended failed =
      RunMfx({"measure", Source(kRequest), "--scene", folder.Write("scene.json", scene.dump()),
              "--report", folder.Path("r.html")});
  ASSERT_EQ(failed.status, 1) << failed.err;
  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("no split was found"));
  EXPECT_THAT(html, HasSubstr("No curve was fitted."));
  EXPECT_EQ(CountOf(failed.err, "[Edge"), 1U) << failed.err;
}

TEST(EdgeReportTest, ARefusedRequestHasNoPictures) {
  Folder folder;
  json request = json::parse(folder.Read(Source(kRequest)));
  request["Feature"]["SurfaceNormal"] = {0, 0, 0};
  const Ended failed = RunMfx({"measure", folder.Write("request.json", request.dump()), "--scene",
                               Source(kScene), "--report", folder.Path("r.html")});
  EXPECT_EQ(failed.status, 1) << failed.err;
  EXPECT_THAT(folder.Read("r.html"), Not(HasSubstr("Profile of the border")));
}

}  // namespace
