// The page of an inspection, as text.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <tuple>

#include "inspection/page_marks.h"
#include "inspection/page_parts.h"
#include "inspection/page_views.h"
#include "inspection/page_words.h"
#include "inspection/writers.h"
#include "page_sheets.h"

namespace libmfx::inspection::page_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// What is wrong with the nesting of a page's elements; empty if every one is closed in order.
std::string NestingFault(const std::string& html) {
  static const std::set<std::string> kVoid = {"meta", "br"};
  std::vector<std::string> open;
  for (std::size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
    if (html[at + 1] == '!') continue;
    const bool closes = html[at + 1] == '/';
    const std::size_t begin = at + (closes ? 2 : 1);
    const std::size_t name_end = html.find_first_of(" >/", begin);
    const std::size_t end = html.find('>', begin);
    if (end == std::string::npos) return "no end of a tag";
    const std::string name = html.substr(begin, name_end - begin);
    if (closes) {
      if (open.empty() || open.back() != name) return "</" + name + "> closes nothing";
      open.pop_back();
    } else if (!kVoid.contains(name) && html[end - 1] != '/') {
      open.push_back(name);
      if (name == "script" || name == "style") at = html.find("</" + name, end) - 1;
    }
  }
  return open.empty() ? "" : "<" + open.back() + "> is not closed";
}

/// A page without its script and style.
std::string Shown(std::string html) {
  for (const std::string name : {"script", "style"}) {
    for (std::size_t at = html.find("<" + name); at != std::string::npos;
         at = html.find("<" + name, at)) {
      html.erase(at, html.find("</" + name, at) + 1 - at);
    }
  }
  return html;
}

std::string Page(const Sheet& sheet) { return InspectionPage(sheet, {}); }

TEST(InspectionPageTest, ABracketHasItsFirstPageItsPicturesAndAllItsFeatures) {
  const Sheet sheet = Bracket();
  const std::string html = InspectionPage(sheet, {"<figure>one</figure>", "", "<p>three</p>"});
  EXPECT_EQ(NestingFault(html), "");
  EXPECT_THAT(html, ::testing::StartsWith("<!DOCTYPE html>\n<html lang=\"en\">"));
  EXPECT_EQ(CountOf(html, "<section class=\"feature"), 14U);
  EXPECT_EQ(CountOf(html, "<section class=\"feature illustrated\">"), 2U);
  EXPECT_EQ(CountOf(html, "<svg class=\"part\""), 3U);
  EXPECT_EQ(CountOf(html, "<td class=\"who\">"), 10U);
  // In the order in which a reader needs them.
  std::size_t at = 0;
  for (const char* text : {"<h1>Bracket</h1>",
                           "B-4711",
                           "Does not conform",
                           "aluminium",
                           "22.5 °C",
                           "2026-11-23 04:05:06 UTC",
                           "mfx 0.1.0",
                           "1000 draws",
                           "seed 1",
                           "references B1, B2, B4",
                           "left out",
                           "three feet",
                           "H1 true position",
                           "Signature",
                           "The part and its deviations",
                           "id=\"part-data\"",
                           "id=\"feature-1\"",
                           "<figure>one</figure>",
                           "id=\"feature-2\"",
                           "<p>three</p>",
                           "id=\"feature-9\"",
                           "too few samples",
                           "id=\"feature-12\"",
                           "A third of the edge points"}) {
    const std::size_t next = html.find(text, at);
    ASSERT_NE(next, std::string::npos) << text;
    at = next;
  }
}

TEST(InspectionPageTest, TheSameSheetGivesTheSameBytes) {
  EXPECT_EQ(Page(Bracket()), Page(Bracket()));
}

TEST(InspectionPageTest, NothingComesFromOutside) {
  const std::string html = Page(Bracket());
  EXPECT_THAT(html, Not(HasSubstr("src=")));
  EXPECT_THAT(html, Not(HasSubstr("<link")));
  EXPECT_THAT(html, Not(HasSubstr("url(")));
  EXPECT_THAT(html, HasSubstr("default-src 'none'"));
  // Addresses are the name of SVG alone, which nobody fetches.
  EXPECT_EQ(CountOf(html, "http"), CountOf(html, "xmlns=\"http://www.w3.org/2000/svg\"") + 1);
}

TEST(InspectionPageTest, VerdictsAreToldByColourSignAndWords) {
  const std::string html = Page(Bracket());
  const std::string table = Between(html, "<table class=\"list asked\">", "</table>");
  for (const auto& [style, mark, words, count] : {std::tuple("conforms", "✓", "conforms", 6U),
                                                  std::tuple("fails", "✗", "does not conform", 1U),
                                                  std::tuple("open", "?", "cannot be decided", 2U),
                                                  std::tuple("none", "–", "not measured", 1U)}) {
    const std::string cell = std::string("<span class=\"sign ") + style +
                             "\" aria-hidden=\"true\">" + mark + "</span><span class=\"heard\">" +
                             words + "</span>";
    EXPECT_EQ(CountOf(table, cell), count) << words;
    EXPECT_EQ(CountOf(table, std::string("<tr class=\"") + style + "\">"), count) << words;
    EXPECT_THAT(html, HasSubstr(std::string(mark) + "</span> <b>" + std::to_string(count) +
                                "</b> " + words));
  }
}

TEST(InspectionPageTest, TheOverallVerdictIsTheWorst) {
  Sheet sheet = Bracket();
  const auto overall = [&sheet] {
    return Between(page::FirstPage(sheet), "<div class=\"verdict overall ", "</b>");
  };
  EXPECT_THAT(overall(), AllOf(HasSubstr("fails"), HasSubstr("✗"), HasSubstr("Does not conform")));
  sheet.characteristics[3].verdict = Verdict::kConforms;
  EXPECT_THAT(overall(), AllOf(HasSubstr("none"), HasSubstr("Not measured as a whole")));
  sheet.characteristics[8].verdict = Verdict::kConforms;
  EXPECT_THAT(overall(), AllOf(HasSubstr("open"), HasSubstr("?"), HasSubstr("Cannot be decided")));
  sheet.characteristics[2].verdict = sheet.characteristics[9].verdict = Verdict::kConforms;
  EXPECT_THAT(overall(), AllOf(HasSubstr("conforms"), HasSubstr("✓"), HasSubstr("Conforms")));
  // A list that is too short is no conformance.
  sheet.characteristics.pop_back();
  EXPECT_THAT(overall(), HasSubstr("Not measured as a whole"));
}

TEST(InspectionPageTest, ARowTellsItsNumbersInThePlansUnits) {
  Sheet sheet = Bracket();
  // Half of the interval: 1.96 standard uncertainties of 15 µm.
  EXPECT_THAT(page::CharacteristicsTable(sheet),
              AllOf(HasSubstr("data-name=\"nominal\">60.0000<"),
                    HasSubstr("data-name=\"measured\">60.1713<"),
                    HasSubstr("data-name=\"deviation\">+0.1713<"),
                    HasSubstr("data-name=\"tolerance\">-0.2000<br>+0.1000<"),
                    HasSubstr("data-name=\"uncertainty\">±0.0294<"),
                    HasSubstr("data-name=\"tolerance\">±0.1000<"),
                    HasSubstr("data-name=\"tolerance\">≤ 0.2000<"),
                    HasSubstr("data-name=\"tolerance\">≥ -0.0500<"),
                    HasSubstr("data-name=\"tolerance\">≤ +0.1000<"),
                    HasSubstr("data-name=\"nominal\">90.0000°<"),
                    HasSubstr("data-name=\"uncertainty\">unknown<"), HasSubstr("62 % within"),
                    HasSubstr("S2 was not measured"), HasSubstr("Lengths in mm")));
  sheet.plan.units = {"in", "rad"};
  EXPECT_THAT(page::CharacteristicsTable(sheet),
              AllOf(HasSubstr("data-name=\"nominal\">2.36220<"),
                    HasSubstr("data-name=\"nominal\">1.570796 rad<"), HasSubstr("Lengths in in")));
}

double Attribute(const std::string& svg, const std::string& before) {
  const std::string text = Between(svg, before, "\"");
  return text.empty() ? kNan : std::strtod(text.c_str(), nullptr);
}

TEST(InspectionPageTest, ABarShowsWhereInItsToleranceAValueLies) {
  Characteristic c;
  c.kind = Characteristic::Kind::kDistance;
  c.nominal = 0.1;
  c.lower = 0.0999;
  c.upper = 0.1001;
  CharacteristicResult result;
  result.verdict = Verdict::kConforms;
  result.is_sure = true;
  const auto bar = [&](double measured) {
    result.measured = measured;
    result.interval95 = {measured - 2e-5, measured + 2e-5};
    return page::ZoneBar(c, result);
  };
  const std::string middle = bar(0.1);
  const double left = Attribute(middle, "<rect class=\"within\" x=\"");
  const double width = Attribute(middle, "y=\"2\" width=\"");
  ASSERT_GT(width, 0.0);
  // Coordinates have five digits.
  EXPECT_NEAR(Attribute(middle, "cx=\""), left + 0.5 * width, 1e-2);
  EXPECT_NEAR(Attribute(bar(0.10005), "cx=\""), left + 0.75 * width, 1e-2);
  EXPECT_NEAR(Attribute(bar(0.1001), "cx=\""), left + width, 1e-2);
  EXPECT_GT(Attribute(bar(0.10013), "cx=\""), left + width + 1.0);
  EXPECT_NEAR(Attribute(middle, "<line class=\"sure\" x1=\""), left + 0.4 * width, 1e-2);
  EXPECT_THAT(bar(0.2), AllOf(HasSubstr("<polygon class=\"value\" points=\"108,"),
                              Not(HasSubstr("<circle"))));
  EXPECT_THAT(bar(0.0), HasSubstr("<polygon class=\"value\" points=\"0,"));
  EXPECT_THAT(bar(kNan), IsEmpty());
  c.lower = -kInf;
  EXPECT_THAT(bar(0.1), HasSubstr("<circle"));
  c.upper = kInf;
  EXPECT_THAT(bar(0.1), IsEmpty());
  c.lower = c.upper = 0.1;  // no room at all
  EXPECT_THAT(bar(0.10001), HasSubstr("<circle"));
  result.verdict = Verdict::kNotMeasured;
  EXPECT_THAT(bar(0.1), IsEmpty());
}

/// The arrow of the hole of HoleOff in the front view, from and to.
struct ArrowEnds {
  int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

ArrowEnds FirstArrow(const std::string& html) {
  const std::string path = Between(html, "<path class=\"mark arrow unasked\" d=\"M", "M");
  ArrowEnds ends;
  char letter = 0;
  std::istringstream(path) >> ends.x0 >> ends.y0 >> letter >> ends.x1 >> ends.y1;
  EXPECT_EQ(letter, 'L') << path;
  return ends;
}

TEST(InspectionPageTest, AnArrowIsAsLongAsTheScaleTells) {
  // To the right and up, along lengths of 3, 4 and 5.
  const std::string html = page::PartSection(HoleOff({3e-5, 4e-5, 0.0}));
  const ArrowEnds arrow = FirstArrow(html);
  EXPECT_GT(arrow.x1, arrow.x0);
  EXPECT_LT(arrow.y1, arrow.y0);  // up on a screen is a smaller number
  // The bar is told twice: what of the part it is as long as, and how much deviation.
  std::istringstream bar(Between(html, "<path class=\"scale\" d=\"M", "\""));
  int left = 0;
  int top = 0;
  int down = 0;
  int right = 0;
  char v = 0;
  char h = 0;
  bar >> left >> top >> v >> down >> h >> right;
  ASSERT_EQ(h, 'H');
  const double of_part = std::stod(Between(html, "y=\"3260\">", " mm of the part"));
  const std::string told = Between(html, "y=\"3480\">", " of deviation");
  const double of_deviation = std::stod(told) * (told.ends_with("µm") ? 1e-3 : 1.0);
  const double units_a_mm = (right - left) / of_part;
  const double length = std::hypot(arrow.x1 - arrow.x0, arrow.y1 - arrow.y0);
  // 0.05 mm. Both ends of an arrow and of the bar are whole units: off by 1 along each axis.
  const double tolerance = 2.0 + 1.0 / (right - left) * length;
  EXPECT_NEAR(length * of_deviation / (right - left), 0.05, 0.05 * tolerance / length);
  // The factor in words is the quotient of both.
  const double factor = std::stod(Between(html, "and are <b>", " times"));
  EXPECT_DOUBLE_EQ(factor, of_part / of_deviation);
  EXPECT_NEAR(length, 0.05 * factor * units_a_mm, tolerance);
  EXPECT_THAT(html, HasSubstr("1 mm in the picture is " +
                              std::to_string(static_cast<int>(std::lround(1e3 / factor))) + " µm"));
  // The parts lie at 100 mm from the middle, with balls of 10 mm: the reach is sqrt(110² + 2·10²).
  EXPECT_NEAR(units_a_mm, page::kReach / std::sqrt(110.0 * 110.0 + 200.0), 1.0 / of_part);
}

TEST(InspectionPageTest, AnArrowHasOnlyWhatWasMeasuredOfAPlace) {
  Sheet sheet = HoleOff({3e-5, 4e-5, 0.0});
  sheet.plan.features[0].type = "StudFeature";
  sheet.plan.features[0].direction = Vector3d::UnitY();  // along it nothing is measured
  const ArrowEnds arrow = FirstArrow(page::PartSection(sheet));
  EXPECT_GT(arrow.x1, arrow.x0 + 50);
  EXPECT_EQ(arrow.y1, arrow.y0);
}

TEST(InspectionPageTest, RoundDownTakesOneTwoOrFive) {
  EXPECT_DOUBLE_EQ(page::RoundDown(1.0), 1.0);
  EXPECT_DOUBLE_EQ(page::RoundDown(1.99), 1.0);
  EXPECT_DOUBLE_EQ(page::RoundDown(4.9), 2.0);
  EXPECT_DOUBLE_EQ(page::RoundDown(999.0), 500.0);
  EXPECT_DOUBLE_EQ(page::RoundDown(0.06), 0.05);
}

TEST(InspectionPageTest, WithoutDeviationsThereIsNoArrow) {
  const std::string html = page::PartSection(HoleOff(Vector3d::Zero()));
  EXPECT_THAT(html, HasSubstr("no arrow is drawn"));
  EXPECT_THAT(html, Not(HasSubstr("class=\"mark arrow")));
  EXPECT_THAT(html, Not(HasSubstr("of deviation")));
}

TEST(InspectionPageTest, WhatWasNotMeasuredIsDashedWithACross) {
  const Sheet sheet = Bracket();
  const std::string html = page::PartSection(sheet);
  const std::string stud = Between(html, "<title>S2", "</g>");
  EXPECT_THAT(stud, AllOf(HasSubstr("outline missing"), HasSubstr("mark cross none"),
                          HasSubstr("not measured"), Not(HasSubstr("arrow"))));
  const std::string hole = Between(html, "<title>H1", "</g>");
  EXPECT_THAT(hole, AllOf(HasSubstr("mark outline\""), HasSubstr("mark arrow conforms"),
                          Not(HasSubstr("missing"))));
  // The worst of all characteristics that it takes part in.
  EXPECT_THAT(Between(html, "<title>Window", "</g>"), HasSubstr("mark arrow fails"));
}

TEST(InspectionPageTest, EveryTypeHasAnOutline) {
  const Sheet sheet = Bracket();
  const page::Marks marks = page::MarksOf(sheet);
  ASSERT_EQ(marks.groups.size(), 17U);  // the cloud, the features, names, axes
  std::set<std::string> seen;
  for (std::size_t i = 0; i < 14; ++i) {
    const std::vector<page::Mark>& drawn = marks.groups[i + 1].marks;
    const auto outlines = std::count_if(drawn.begin(), drawn.end(), [](const page::Mark& mark) {
      return mark.style.starts_with("outline");
    });
    EXPECT_GE(outlines, 1) << sheet.plan.features[i].name;
    seen.insert(sheet.plan.features[i].type);
    // All stays in the picture however it is turned.
    for (const page::Mark& mark : drawn) {
      if (mark.kind == page::Mark::Kind::kArrow) continue;
      for (std::size_t k = 0; k + 2 < mark.at.size(); k += 3) {
        EXPECT_LE(std::hypot(mark.at[k], mark.at[k + 1], mark.at[k + 2]), page::kMiddle);
      }
    }
  }
  EXPECT_EQ(seen.size(), 9U);
}

TEST(InspectionPageTest, AFreePathIsDrawnWithoutAnArrow) {
  Sheet sheet = HoleOff(Vector3d::Zero());
  PlannedFeature path;
  path.name = "sweep";
  path.type = "ScanPathFeature";
  path.length = path.width = path.radius = kNan;
  path.request = json::parse(
      R"({"Feature": {"Path": {"Segments": [[[0, 0, 0], [0.05, 0, 0], [0.05, 0.05, 0]]]}}})");
  sheet.plan.features.push_back(path);
  sheet.features.emplace_back().is_measured = true;
  const std::string html = page::PartSection(sheet);
  EXPECT_THAT(Between(html, "<title>sweep", "</g>"),
              AllOf(HasSubstr("mark outline"), Not(HasSubstr("arrow"))));
  EXPECT_EQ(NestingFault(Page(sheet)), "");
}

TEST(InspectionPageTest, NoMorePointsAreDrawnThanAReaderSees) {
  Sheet sheet = HoleOff(Vector3d::Zero());
  sheet.features[0].points.assign(100'000, Vector3d(0.01, 0.02, 0.0));
  sheet.features[1].points.assign(5, Vector3d(kNan, 0.0, kInf));
  const page::Marks marks = page::MarksOf(sheet);
  EXPECT_LE(marks.points, page::kMostPoints);
  EXPECT_GE(marks.points, page::kMostPoints * 9 / 10);
  EXPECT_EQ(marks.all_points, 100'005U);
  EXPECT_THAT(page::PartSection(sheet),
              HasSubstr(std::to_string(marks.points) + " of 100005 points"));
}

TEST(InspectionPageTest, ALongPathIsDrawnWithFewerPoints) {
  Sheet sheet = HoleOff(Vector3d::Zero());
  json segment = json::array();
  for (int i = 0; i <= 100'000; ++i) segment.push_back({1e-6 * i, 0.0, 0.0});
  PlannedFeature path;
  path.name = "sweep";
  path.type = "ScanPathFeature";
  path.request = {{"Feature", {{"Path", {{"Segments", json::array({segment})}}}}}};
  sheet.plan.features.push_back(path);
  sheet.features.emplace_back();
  const page::Marks marks = page::MarksOf(sheet);
  const page::Mark& line = marks.groups[4].marks.front();
  EXPECT_LE(line.at.size() / 3, 502U);
  EXPECT_GE(line.at.size() / 3, 400U);
  // From its beginning to its end: 100 mm, to the rounding of both.
  const int length = line.at[line.at.size() - 3] - line.at[0];
  EXPECT_NEAR(length, 0.1 * marks.scale, 1.0);
}

TEST(InspectionPageTest, AFeatureOfVeryManyCharacteristicsListsTheFirstOfThem) {
  Sheet sheet = HoleOff(Vector3d::Zero());
  Characteristic c;
  c.name = "all";
  c.features.assign(1000, 0);
  sheet.plan.characteristics.assign(10'000, c);
  sheet.characteristics.resize(10'000);
  sheet.characteristics.back().verdict = Verdict::kDoesNotConform;
  const std::string html = Page(sheet);
  EXPECT_EQ(CountOf(html, "</span> all: not measured</li>"), 50U);
  EXPECT_THAT(html, AllOf(HasSubstr("and 9950 more"), HasSubstr("mark dot fails")));
}

TEST(InspectionPageTest, NamesFromOutsideStayText) {
  Sheet sheet = Bracket();
  const std::string nasty =
      "</script><script>alert(1)</script>\"'><img src=x onerror=alert(2)>&amp;";
  sheet.plan.part.name = sheet.plan.part.number = sheet.plan.part.material = nasty;
  sheet.plan.stations[0].name = sheet.stations[0].instrument = nasty;
  sheet.program = sheet.time = sheet.uncertainties = sheet.alignment.method = nasty;
  sheet.notes = {nasty, std::string("nul \0 bell \a", 12), "\xff\xfe no text", "\xC2\x85"};
  for (PlannedFeature& feature : sheet.plan.features) feature.name = nasty;
  sheet.plan.features[13].type = nasty;
  for (FeatureResult& feature : sheet.features) {
    feature.reason = feature.recording = nasty;
    feature.warnings = {nasty};
  }
  for (Characteristic& c : sheet.plan.characteristics) c.name = c.quantity = nasty;
  for (CharacteristicResult& result : sheet.characteristics) result.reason = nasty;
  const std::string html = Page(sheet);
  EXPECT_EQ(NestingFault(html), "");
  EXPECT_THAT(html, Not(HasSubstr("<img")));
  EXPECT_THAT(html, Not(HasSubstr("<script>alert")));
  EXPECT_THAT(html, HasSubstr("&lt;/script&gt;&lt;script&gt;"));
  EXPECT_EQ(CountOf(html, "</script>"), 2U);  // of the data and of the page's own
  EXPECT_TRUE(std::none_of(html.begin(), html.end(),
                           [](char c) { return (c >= 0 && c < ' ' && c != '\n') || c == '\x7F'; }));
  EXPECT_NO_THROW((void)json(html).dump());  // all of it is UTF-8
}

TEST(InspectionPageTest, TheDataHoldsNumbersAndNoWordFromOutside) {
  Sheet sheet = Bracket();
  for (PlannedFeature& feature : sheet.plan.features) feature.name = "</script>";
  const std::string text =
      Between(Page(sheet), "<script type=\"application/json\" id=\"part-data\">", "</script>");
  EXPECT_THAT(text, Not(HasSubstr("<")));
  const json data = json::parse(text);
  ASSERT_EQ(data["views"].size(), 3U);
  const std::string html = page::PartSection(sheet);
  const std::string front = Between(html, "<svg class=\"part\"", "</svg>");
  EXPECT_EQ(data["marks"].size(), CountOf(front, "class=\"mark "));
}

TEST(InspectionPageTest, LongNamesAndSignsAreShortenedInPicturesOnly) {
  Sheet sheet = HoleOff(Vector3d::Zero());
  const std::string name = "🔩" + std::string(400, 'n') + "é";
  sheet.plan.features[0].name = name;
  const std::string html = Page(sheet);
  EXPECT_THAT(html, HasSubstr(">" + name + "</h2>"));
  EXPECT_THAT(html, HasSubstr(">🔩" + std::string(17, 'n') + "…</text>"));
  EXPECT_EQ(page::Shortened("äöü", 3), "äöü");
  EXPECT_EQ(page::Shortened("äöüß", 3), "äöü…");
}

TEST(InspectionPageTest, NumbersThatAreNoneShowAsNone) {
  Sheet sheet = Bracket();
  for (std::size_t i = 0; i < sheet.features.size(); ++i) {
    FeatureResult& feature = sheet.features[i];
    feature.measured.place[i % 3] = i % 2 == 0 ? kNan : kInf;
    feature.measured.direction = Vector3d::Constant(kNan);
    feature.measured.length = -kInf;
    feature.spread.place.setConstant(kNan);
    feature.spread.radius = kInf;
    feature.points.assign(3, Vector3d::Constant(kNan));
  }
  sheet.plan.features[0].place[0] = kNan;
  sheet.plan.features[5].radius = kInf;
  sheet.plan.features[9].direction = Vector3d::Constant(kNan);
  sheet.plan.features[10].length = 1e300;
  sheet.plan.features[12].tangent = Vector3d(1e300, 1e300, 0.0);
  for (CharacteristicResult& result : sheet.characteristics) {
    result.measured = kNan;
    result.interval95 = {-kInf, kInf};
    result.share_within = kNan;
  }
  sheet.plan.characteristics[0].upper = kNan;
  sheet.plan.characteristics[1].nominal = 1e300;
  sheet.alignment.residuals = {kNan, kInf};
  sheet.alignment.scale = kNan;
  sheet.stations[0].position_standard.setConstant(kNan);
  sheet.stations[0].turn_standard.setConstant(kInf);
  sheet.plan.part.temperature = kNan;
  const std::string html = Page(sheet);
  EXPECT_EQ(NestingFault(html), "");
  static const std::regex kNoNumber("\\b(nan|inf|infinity)\\b|-(nan|inf)", std::regex::icase);
  const std::string shown = Shown(html);
  std::smatch match;
  EXPECT_FALSE(std::regex_search(shown, match, kNoNumber)) << shown.substr(
      static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, match.position() - 80)), 160);
  EXPECT_TRUE(json::accept(Between(html, "id=\"part-data\">", "</script>")));
}

TEST(InspectionPageTest, AnEmptySheetIsAPage) {
  const Sheet sheet;
  const std::string html = InspectionPage(sheet, {"<p>of nothing</p>"});
  EXPECT_EQ(NestingFault(html), "");
  EXPECT_THAT(html, AllOf(HasSubstr("Part without a name"), HasSubstr("Nothing was asked"),
                          HasSubstr("No feature has a place that can be drawn."),
                          Not(HasSubstr("<script")), Not(HasSubstr("of nothing"))));
}

TEST(InspectionPageTest, ListsThatAreTooShortCountAsNotMeasured) {
  Sheet sheet = Bracket();
  sheet.features.clear();
  sheet.characteristics.clear();
  sheet.stations.clear();
  sheet.alignment.residuals.clear();
  sheet.plan.characteristics[0].features = {99};
  const std::string html = Page(sheet);
  EXPECT_EQ(NestingFault(html), "");
  EXPECT_EQ(CountOf(html, "mark cross"), 42U);  // 14 in each view
  EXPECT_THAT(html, HasSubstr("Not measured as a whole"));
}

TEST(InspectionPageTest, NumbersOfEveryFeatureStandInItsTable) {
  Sheet sheet = HoleOff({3e-5, 0.0, 0.0});
  sheet.features[0].spread.place = 4e-12 * Eigen::Matrix3d::Identity();
  sheet.features[0].measured.direction = Vector3d(0.001, 0.0, 1.0).normalized();
  const std::string html = page::FeatureSection(sheet, 0, {}, "");
  EXPECT_THAT(html, AllOf(HasSubstr("Round hole"), HasSubstr("Place x / mm"),
                          HasSubstr("<td class=\"number\">+0.0300</td>"),
                          HasSubstr("<td class=\"number\">0.0020</td>"),  // sqrt(4e-12) m
                          HasSubstr("0.0573°"),                           // atan(0.001), in degrees
                          HasSubstr("30 µm off its nominal place"), Not(HasSubstr("Length"))));
  sheet.features[0].is_measured = false;
  sheet.features[0].warnings = {"doubt"};
  EXPECT_THAT(page::FeatureSection(sheet, 0, {}, ""),
              AllOf(HasSubstr("its result is doubted"), HasSubstr("sizes doubted"),
                    Not(HasSubstr("off its nominal place"))));
}

}  // namespace
}  // namespace libmfx::inspection::page_test
