// The words and numbers of a report, and where its pictures stand: none of it tells more than was
// measured.

#include <algorithm>
#include <cmath>
#include <regex>

#include "examples.h"
#include "report/report.h"

namespace mfx_test {
namespace {

using namespace libmfx::host;
using libmfx::data_structures::PointXYZW;
using libmfx::data_structures::VectorXYZW;
using libmfx::features::SampleFate;
using report::HtmlReport;
using report::ReportData;

/// The part of a page between two texts; empty if they are not there.
std::string Between(const std::string& html, const std::string& begin, const std::string& end) {
  const std::size_t from = html.find(begin);
  if (from == std::string::npos) return {};
  return html.substr(from, html.find(end, from) - from);
}

std::string FigureOf(const std::string& html, const std::string& title) {
  return Between(html, "<h3>" + title + "</h3>", "</figure>");
}

/// The cells of the row of a quantity, without what stands in small print.
std::vector<std::string> CellsOf(const std::string& html, const std::string& quantity) {
  const std::string row = Between(html, "<td>" + quantity, "</tr>");
  static const std::regex cell("<td[^>]*>([^<]*)");
  std::vector<std::string> cells;
  for (std::sregex_iterator i(row.begin(), row.end(), cell), end; i != end; ++i) {
    cells.push_back((*i)[1]);
  }
  return cells;
}

// ---- numbers

TEST(ReportWordsTest, NominalMeasuredAndDeviationStandInMillimetresBesideTheMessage) {
  const auto [ended, html] = Example("rectangle").Report();
  ASSERT_EQ(ended.status, 0) << ended.err;
  const json result = json::parse(ended.out);
  const auto length = CellsOf(html, "Length / mm");
  ASSERT_THAT(length, SizeIs(4));
  const double measured = 1000.0 * result["Length"].get<double>();
  EXPECT_EQ(length[1], "30.0000");
  EXPECT_NEAR(std::stod(length[2]), measured, 5.1e-5);
  EXPECT_NEAR(std::stod(length[3]), measured - 30.0, 1.1e-4);
  EXPECT_TRUE(length[3].starts_with('+') || length[3].starts_with('-'));
  ASSERT_THAT(CellsOf(html, "Normal, angle to the nominal / °"), SizeIs(4));
  // The message is shown in its own units.
  const std::string message = Between(html, "<h2>Result message</h2>", "</table>");
  static const std::regex shown("<th>Length</th><td>([0-9.]+)</td>");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(message, match, shown));
  EXPECT_NEAR(std::stod(match[1]), result["Length"].get<double>(), 1e-9);
}

TEST(ReportWordsTest, AHoleShowsTheRadiusThatWasFittedAndDrawsIt) {
  Example example("hole");
  example.request["Feature"]["Radius"] = 0.0055;
  const auto [ended, html] = example.Report();
  ASSERT_EQ(ended.status, 0) << ended.err;
  EXPECT_THAT(html, HasSubstr("<b>Measured, with doubts</b>"));
  EXPECT_THAT(html, Not(HasSubstr("verdict good")));
  EXPECT_THAT(html, HasSubstr("<tr class=\"off\"><td>Radius / mm<small>fitted; the result repeats "
                              "the nominal</small>"));
  const auto radius = CellsOf(html, "Radius / mm");
  ASSERT_THAT(radius, SizeIs(4));
  EXPECT_EQ(radius[1], "5.5000");
  EXPECT_NEAR(std::stod(radius[2]), 6.0, 0.03);
  EXPECT_THAT(Between(html, "<h2>Result message</h2>", "</table>"),
              HasSubstr("<th>Radius</th><td>0.0055</td>"));
  // Both circles of the front view are as large as their radii say.
  static const std::regex circle("<ellipse class=\"(nominal|measured)\"[^>]* rx=\"([0-9.]+)\"");
  const std::string front = FigureOf(html, "Front view");
  double nominal = 0.0;
  double measured = 0.0;
  for (std::sregex_iterator i(front.begin(), front.end(), circle), end; i != end; ++i) {
    ((*i)[1] == "nominal" ? nominal : measured) = std::stod((*i)[2]);
  }
  EXPECT_NEAR(measured / nominal, std::stod(radius[2]) / 5.5, 1e-3);
}

TEST(ReportWordsTest, WhatWasNotMeasuredIsCalledThat) {
  Example stud("stud");
  stud.request["FixRadius"] = true;
  const std::string html = stud.Report().html;
  EXPECT_THAT(html, HasSubstr("Radius / mm<small>not measured: as the request tells it; held by "
                              "&quot;FixRadius&quot;</small>"));
  EXPECT_THAT(html, HasSubstr("Location along the axis / mm<small>not measured"));
  EXPECT_THAT(FigureOf(html, "From the side"), HasSubstr(">radius as told</text>"));
  const std::string ball = Example("matte-sphere").Report().html;
  EXPECT_THAT(FigureOf(ball, "Front view"),
              HasSubstr("Red: as measured, with the radius as told."));
}

TEST(ReportWordsTest, AFailureNamesWhyAndShowsNothingAsMeasured) {
  Example example("hole");
  example.request["Feature"]["Radius"] = 0.0045;
  const auto [ended, html] = example.Report();
  ASSERT_EQ(ended.status, 1) << ended.err;
  EXPECT_THAT(html, HasSubstr("<div class=\"verdict bad\"><b>Not measured</b><br>Hole"));
  EXPECT_THAT(html, Not(HasSubstr("verdict good")));
  EXPECT_THAT(html, Not(HasSubstr("verdict doubtful")));
  const auto x = CellsOf(html, "Location x / mm");
  ASSERT_THAT(x, SizeIs(4));
  EXPECT_EQ(x[1], "250.8000");
  EXPECT_EQ(x[2], "&ndash;");
  EXPECT_EQ(x[3], "&ndash;");
  EXPECT_THAT(html, HasSubstr("<small>the fit found 6.0"));
  EXPECT_THAT(html, Not(HasSubstr("Red: as measured")));
}

// ---- heads

TEST(ReportWordsTest, LabelsStandInTheirOrderAndAreNoMarkup) {
  const Example example("rectangle");
  const std::string html =
      example.Report({"--label", "Part=<b>7</b> & more", "--label", "a\"b=1", "--label", "Part=8"})
          .html;
  EXPECT_THAT(html, HasSubstr("<tr><th>Part</th><td>&lt;b&gt;7&lt;/b&gt; &amp; more</td></tr>\n"
                              "<tr><th>a&quot;b</th><td>1</td></tr>\n"
                              "<tr><th>Part</th><td>8</td></tr>\n<tr><th>Feature type</th>"));
  // A label is beside the measurement: all the rest is the same.
  const Folder folder;
  const std::string without = example.Report(folder).html;
  EXPECT_EQ(without, example.Report(folder).html);
  std::string stripped = example.Report(folder, {"--label", "Part=8"}).html;
  const std::string row = "<tr><th>Part</th><td>8</td></tr>\n";
  stripped.erase(stripped.find(row), row.size());
  EXPECT_EQ(stripped, without);
}

TEST(ReportWordsTest, AReplayTakesLabelsToo) {
  const Folder folder;
  const Example example("rectangle");
  ASSERT_EQ(example.Report(folder, {"--record", folder.Path("r.jsonl")}).ended.status, 0);
  ASSERT_EQ(RunMfx({"replay", folder.Path("r.jsonl"), "--report", folder.Path("again.html"),
                    "--label", "Operator=A = B"})
                .status,
            0);
  EXPECT_THAT(folder.Read("again.html"), HasSubstr("<tr><th>Operator</th><td>A = B</td></tr>"));
}

TEST(ReportWordsTest, TheTitleNamesTheFeature) {
  Example example("edge");
  example.request["Feature"]["Name"] = "</title> & co";
  std::string html = example.Report().html;
  EXPECT_THAT(html, HasSubstr("<title>&lt;/title&gt; &amp; co: measurement report</title>"));
  EXPECT_THAT(html, HasSubstr("<h1>&lt;/title&gt; &amp; co</h1>"));
  example.request["Feature"].erase("Name");
  html = example.Report().html;
  EXPECT_THAT(html, HasSubstr("<title>Edge of a plate: measurement report</title>"));
  EXPECT_THAT(html, HasSubstr("<h1>Edge of a plate</h1>"));
}

// ---- the surface on which the pictures stand

/// A plate 0.5 mm before its nominal, with a hole through which most samples pass to a wall 0.2 m
/// behind it; of a failed or of a successful measurement.
ReportData MostlyThrough(bool with_surface) {
  ReportData data;
  data.request = R"({"Feature": {"$type": "HoleFeature", "Location": [0, 0, 2],
      "Normal": [0, 0, -1], "Radius": 0.005}})";
  data.outcome.successful = with_surface;
  data.outcome.result = with_surface ? R"({"$type":"HoleTargetResult","Location":[0,0,1.9995],
      "Normal":[0,0,-1],"Radius":0.005,"Success":true})"
                                     : R"({"$type":"HoleTargetResult","Success":false})";
  Exchange exchange;
  exchange.points = {{-0.005, 0, 2, 0}, {0.005, 0, 2, 0.001}};
  const double plate = with_surface ? 1.9995 : 2.0;
  for (int i = 0; i < 100; ++i) {
    const bool on_plate = i % 10 == 0;
    const double x = 0.0001 * (i - 50);
    const double z = on_plate ? plate : 2.2;
    exchange.samples.emplace_back(std::atan2(-x, z), 0.0, std::hypot(x, z), 90.0, 1);
    if (!with_surface) continue;
    data.outcome.stages.fates.push_back(on_plate ? SampleFate::kSurface : SampleFate::kFar);
  }
  if (with_surface) {
    data.outcome.stages.surface.emplace(PointXYZW(0.3, -0.2, plate), VectorXYZW(0, 0, -1));
  }
  data.exchanges.push_back(exchange);
  return data;
}

/// Marks of a picture that are as high as its line of height 0.
std::size_t MarksAtZero(const std::string& figure) {
  std::smatch level;
  static const std::regex line("<polyline class=\"nominal\" points=\"[0-9.]+,([0-9.]+) ");
  if (!std::regex_search(figure, level, line)) return 0;
  return CountOf(figure, " cy=\"" + level[1].str() + "\"");
}

TEST(ReportWordsTest, ThePlateStandsAtHeight0HoweverManySamplesPassThroughItsHole) {
  for (const bool with_surface : {true, false}) {
    const std::string html = HtmlReport(MostlyThrough(with_surface));
    EXPECT_EQ(MarksAtZero(FigureOf(html, "Profile along the scan lines")), 10U) << with_surface;
    const std::string front = FigureOf(html, "Front view");
    EXPECT_EQ(CountOf(front, "class=\"far\""), 90U);
    EXPECT_EQ(CountOf(front, "class=\"sample\""), 10U);
    EXPECT_THAT(front, HasSubstr(with_surface ? "in the measured surface" : "in the nominal"));
  }
  // What is close to the surface is the plate, and not the wall.
  ReportData data = MostlyThrough(true);
  for (std::size_t i = 0; i < 100; i += 10) {
    data.exchanges.front().samples[i].range += i % 20 == 0 ? 1e-5 : -1e-5;
  }
  const std::string close = FigureOf(HtmlReport(data), "Profile, close to the surface");
  EXPECT_THAT(close, HasSubstr("cut down to the heights of the surface"));
}

TEST(ReportWordsTest, LinesTakeTurnsInColourWhateverFewSamplesStandBetweenThem) {
  ReportData data = MostlyThrough(false);
  auto& samples = data.exchanges.front().samples;
  samples.clear();
  int segment = 0;
  for (const int count : {20, 1, 20, 1, 20}) {
    ++segment;
    for (int i = 0; i < count; ++i) samples.emplace_back(0.0001 * i, 0.0, 2.0, 90.0, segment);
  }
  const std::string profile = FigureOf(HtmlReport(data), "Profile along the scan lines");
  EXPECT_EQ(CountOf(profile, "<circle class=\"odd\""), 21U);  // the second, and what leads to it
  EXPECT_EQ(CountOf(profile, "<circle class=\"sample\""), 41U);
}

TEST(ReportWordsTest, AnEdgeIsSeenAcrossItsSurface) {
  const std::string html = Example("edge").Report().html;
  EXPECT_THAT(FigureOf(html, "Front view"), HasSubstr("in the measured surface"));
  EXPECT_THAT(FigureOf(html, "Profile along the scan lines"),
              HasSubstr("Height of the samples over the measured surface"));
}

}  // namespace
}  // namespace mfx_test
