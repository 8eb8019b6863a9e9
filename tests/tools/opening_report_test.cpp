// The pictures that holes, rectangles, polygons and slots add to a report.

#include <cmath>
#include <regex>
#include <string>

#include "examples.h"
#include "report/border.h"
#include "report/report.h"

namespace mfx_test {
namespace {

using libmfx::host::report::Border;
using libmfx::host::report::Point2;

TEST(OpeningReportTest, ShowsLinesEdgesAndResiduals) {
  for (const char* example : {"hole", "rectangle", "polygon", "slot"}) {
    const auto [measured, html] = Example(example).Report();
    EXPECT_EQ(measured.status, 0) << measured.err;
    EXPECT_THAT(html, HasSubstr("<h3>Lines across the opening</h3>")) << example;
    EXPECT_THAT(html, HasSubstr("<h3>Residuals along the border</h3>")) << example;
    // Nearly every line shows an edge, and the edges lie within two spacings of the border.
    std::smatch match;
    ASSERT_TRUE(std::regex_search(html, match, std::regex("(\\d+) of (\\d+) lines show an edge")));
    EXPECT_GE(std::stoi(match[1]) * 10, std::stoi(match[2]) * 9) << example;
    ASSERT_TRUE(std::regex_search(html, match, std::regex("edge points: ([0-9.]+) ")));
    EXPECT_GT(std::stoi(match[1]), 0) << example;
    EXPECT_LT(std::stoi(match[1]), 200) << example;
  }
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(OpeningReportTest, DrawsWhatTheAnalysisRecorded) {
  using libmfx::data_structures::AzElRange;
  using libmfx::data_structures::PointXYZW;
  using libmfx::features::SampleFate;
  libmfx::host::report::ReportData data;
  data.request = R"({"Feature": {"$type": "HoleFeature", "Location": [0, 0, 2],
      "Normal": [0, 0, -1], "Radius": 0.005}})";
  data.outcome.successful = true;
  data.outcome.result = R"({"$type": "HoleTargetResult", "Location": [0, 0, 2],
      "Normal": [0, 0, -1], "Radius": 0.005})";
  libmfx::host::Exchange scan;
  for (const double x : {-0.01, 0.0, 0.01}) scan.points.emplace_back(PointXYZW(x, 0.0, 2.0), 1e-4);
  libmfx::features::Stages& stages = data.outcome.stages;
  const auto add = [&](const PointXYZW& p, int segment, SampleFate fate) {
    const AzElRange at(p);
    scan.samples.emplace_back(at.azimuth, at.elevation, at.range, 80.0, segment);
    stages.fates.push_back(fate);
  };
  add({-0.008, 0.0, 2.0}, 1, SampleFate::kSurface);
  add({-0.005, 0.0, 2.002}, 1, SampleFate::kWall);
  add({-0.003, 0.0, 3.0}, 1, SampleFate::kFar);       // behind the opening
  add({-0.004, 0.0, 2.0}, 1, SampleFate::kUnusable);  // no place that can be trusted
  add({0.004, 0.0, 2.0}, 2, SampleFate::kBetween);    // of a line that takes no part
  data.exchanges.push_back(scan);
  stages.lines = {{1, 0, 1}, {3, 2, 1}};
  stages.surface.emplace(PointXYZW(0.0, 0.0, 2.0), libmfx::data_structures::VectorXYZW(0, 0, -1));
  stages.edges = {{1, PointXYZW(-0.00502, 0.0, 2.0)}};

  std::string html = HtmlReport(data);
  const std::size_t front = html.find("<h3>Lines across the opening</h3>");
  const std::size_t residuals = html.find("<h3>Residuals along the border</h3>");
  const std::size_t rim = html.find("<h3>Around the rim</h3>");
  ASSERT_NE(front, std::string::npos);
  ASSERT_LT(front, residuals);
  ASSERT_LT(residuals, rim);
  const std::string lines = html.substr(front, residuals - front);
  EXPECT_EQ(CountOf(lines, "<polyline class=\"plan\""), 1U);
  EXPECT_EQ(CountOf(lines, "fill:#a9c3e0"), 1U);
  EXPECT_EQ(CountOf(lines, "fill:#d9822b"), 1U);
  EXPECT_EQ(CountOf(lines, "fill:#bbbbbb"), 1U);
  EXPECT_EQ(CountOf(lines, "fill:#1b4f8f"), 1U);
  EXPECT_THAT(lines, HasSubstr("1 of 2 lines show an edge."));
  // Far samples stand where their beam passed the surface, between its samples and the centre.
  const auto x_of = [&lines](const std::string& colour) {
    std::smatch match;
    const std::regex circle("cx=\"([-0-9.]+)\" cy=\"[-0-9.]+\" style=\"fill:" + colour);
    return std::regex_search(lines, match, circle) ? std::stod(match[1]) : -1.0;
  };
  EXPECT_NEAR((x_of("#bbbbbb") - x_of("#1b4f8f")) / (x_of("#1b4f8f") - x_of("#a9c3e0")),
              (0.00502 - 0.002) / (0.008 - 0.00502), 0.01);
  EXPECT_THAT(html.substr(residuals, rim - residuals), HasSubstr("edge points: 20 "));
  EXPECT_THAT(html.substr(rim), HasSubstr("orange on the wall. 1 samples."));
  // Without a record there is nothing to draw.
  stages = {};
  html = HtmlReport(data);
  EXPECT_THAT(html, testing::Not(HasSubstr("Lines across the opening")));
  EXPECT_THAT(html, testing::Not(HasSubstr("Around the rim")));
}

TEST(OpeningReportTest, ABorderTellsPlaceAndSide) {
  const Border square({{0, 0}, {2, 0}, {2, 2}, {0, 2}});
  EXPECT_DOUBLE_EQ(square.length(), 8.0);
  EXPECT_DOUBLE_EQ(square.Find({1.0, 0.5}).off, -0.5);
  EXPECT_DOUBLE_EQ(square.Find({1.0, 0.5}).along, 1.0);
  EXPECT_DOUBLE_EQ(square.Find({1.0, -0.25}).off, 0.25);
  EXPECT_DOUBLE_EQ(square.Find({-3.0, 1.0}).off, 3.0);
  EXPECT_DOUBLE_EQ(square.Find({-3.0, 1.0}).along, 7.0);
  EXPECT_DOUBLE_EQ(square.Find({5.0, -4.0}).off, 5.0);
  EXPECT_DOUBLE_EQ(Border({}).Find({1.0, 1.0}).off, 0.0);
}

}  // namespace
}  // namespace mfx_test
