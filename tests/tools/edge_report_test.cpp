// The pictures that an edge adds to a report.

#include <memory>
#include <regex>

#include "examples.h"
#include "host/conversation.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "report/report.h"

namespace mfx_test {
namespace {

TEST(EdgeReportTest, ShowsTheProfileTheSplitTheCurveAndTheEdge) {
  const Example example("edge");
  const auto [measured, html] = example.Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
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
  Example example("edge");
  example.request["UseNominalOffset"] = true;
  const auto [measured, html] = example.Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
  EXPECT_THAT(html, HasSubstr("The edge is the sample nearest to the depth."));
  EXPECT_THAT(html, Not(HasSubstr("Red line: the curve")));
}

TEST(EdgeReportTest, AFailureShowsTheProfileAsFarAsItWasAnalysedAndIsToldOnce) {
  Example example("edge");
  example.scene["noise"] = {{"quality_floor", 75}};
  const auto [failed, html] = example.Report();
  ASSERT_EQ(failed.status, 1) << failed.err;
  EXPECT_THAT(html, HasSubstr("no split was found"));
  EXPECT_THAT(html, HasSubstr("No curve was fitted."));
  EXPECT_EQ(CountOf(failed.err, "[Edge"), 1U) << failed.err;
}

TEST(EdgeReportTest, AfterARescanTheEdgeIsDrawnFromTheNominalOfThatPass) {
  namespace host = libmfx::host;
  const Example example("edge");
  const json& request = example.request;
  const std::unique_ptr<libmfx::features::Feature> edge(
      libmfx::features::Feature::Create(request.dump()));
  edge->SetSetting(L"RescanThreshold", 1e-6);
  host::report::ReportData data;
  data.request = request.dump();
  const std::unique_ptr<host::Driver> driver =
      host::SceneDriver::FromFile(Source("examples/scenes/edge.json"), 5);
  host::ObservedDriver observed(
      *driver, [&](const host::Exchange& exchange) { data.exchanges.push_back(exchange); });
  data.outcome = host::Measure(*edge, observed, {.max_passes = 1}, [] { return false; });
  ASSERT_EQ(data.outcome.rescans, 1);
  // The pass around the moved nominal is judged by the normal of the cross section, and fails.
  ASSERT_FALSE(data.outcome.successful);
  ASSERT_TRUE(data.outcome.stages.profile);
  const auto& told = request["Feature"]["EdgePoint"];
  const libmfx::data_structures::PointXYZW first(told[0], told[1], told[2]);
  EXPECT_GT(libmfx::data_structures::Distance(data.outcome.stages.profile->nominal, first), 1e-6);
  const std::string html = host::report::HtmlReport(data);
  EXPECT_THAT(html, HasSubstr("Dashed cross: the edge point that this pass looked for"));
  EXPECT_THAT(html, HasSubstr("No curve was fitted."));
  EXPECT_THAT(html, Not(HasSubstr("Red line: the curve")));
}

TEST(EdgeReportTest, ARefusedRequestHasNoPictures) {
  Example example("edge");
  example.request["Feature"]["SurfaceNormal"] = {0, 0, 0};
  const auto [failed, html] = example.Report();
  EXPECT_EQ(failed.status, 1) << failed.err;
  EXPECT_THAT(html, Not(HasSubstr("Profile of the border")));
}

}  // namespace
}  // namespace mfx_test
