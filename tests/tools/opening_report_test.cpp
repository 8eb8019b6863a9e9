// The pictures that holes, rectangles, polygons and slots add to a report.

#include <cmath>
#include <regex>
#include <string>

#include "examples.h"
#include "report/border.h"

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
