// A report and a text that tell how sure their numbers are.

#include "report/spread.h"

#include <cmath>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <regex>

#include "examples.h"
#include "host/conversation.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "report/report.h"
#include "sim/scene.h"
#include "tools/mfx/result_text.h"

namespace mfx_test {
namespace {

using namespace libmfx::host;
using Eigen::Vector3d;
using report::HtmlReport;
using report::ReportData;
using report::Spread;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();
const double kFactor = std::sqrt(5.991);

Spread::Quantity SizeOf(const std::string& key, double low, double high) {
  Spread::Quantity size;
  size.key = key;
  size.best = {0.5 * (low + high)};
  size.bias = {0.0};
  size.standard = {(high - low) / 4.0};
  size.interval95 = {{low, high}};
  return size;
}

/// Three numbers with standard deviations along the axes, without a bias.
Spread::Quantity TripleOf(const std::string& key, const Vector3d& measured,
                          const Vector3d& standard, bool is_direction = false) {
  Spread::Quantity triple;
  triple.key = key;
  triple.is_direction = is_direction;
  triple.covariance = standard.cwiseAbs2().asDiagonal();
  for (int i = 0; i < 3; ++i) {
    triple.best.push_back(measured[i]);
    triple.bias.push_back(0.0);
    triple.standard.push_back(standard[i]);
    triple.interval95.push_back({measured[i] - 2.0 * standard[i], measured[i] + 2.0 * standard[i]});
  }
  return triple;
}

/// A slot in front of the instrument, 1 mm off its nominal.
ReportData SlotData() {
  ReportData data;
  data.request =
      R"({"ScanPassesPerArc": 15, "ScanPassesPerSide": 2, "Feature": {"$type": "SlotFeature",
      "Location": [0, 0, 2], "Normal": [0, 0, -1], "Tangent": [1, 0, 0], "Length": 0.03,
      "Width": 0.012}})";
  data.outcome.successful = true;
  data.outcome.result = R"({"$type":"SlotTargetResult","Location":[0.001,0,2],"Normal":[0,0,-1],
      "Tangent":[1,0,0],"Length":0.0301,"Width":0.012,"Success":true})";
  Exchange exchange;
  exchange.step = "INITIAL";
  exchange.points = {{-0.01, 0, 2, 0}, {0.01, 0, 2, 0.001}};
  for (int i = 0; i < 10; ++i) exchange.samples.emplace_back(-0.005 + 0.001 * i, 0, 2.0, 90, 1);
  data.exchanges = {exchange, exchange};
  return data;
}

/// What the slot above is sure of: 4, 2 and 10 um, 0.1 and 0.2 mrad.
Spread SlotSpread() {
  Spread spread;
  spread.quantities = {TripleOf("Location", {0.001, 0, 2}, {4e-6, 2e-6, 1e-5}),
                       TripleOf("Normal", {0, 0, -1}, {1e-4, 2e-4, 0.1}, true),
                       SizeOf("Length", 0.0301 - 2e-5, 0.0301 + 2e-5),
                       SizeOf("Width", 0.012 - 1e-5, 0.012 + 3e-5)};
  spread.trials = 10000;
  spread.successes = 9999;
  spread.origin = "Measured <again> & again";
  return spread;
}

std::string PageOf(const Spread& spread) {
  ReportData data = SlotData();
  data.spread = spread;
  return HtmlReport(data);
}

Spread::Quantity& At(Spread& spread, const std::string& key) {
  for (Spread::Quantity& quantity : spread.quantities) {
    if (quantity.key == key) return quantity;
  }
  throw std::out_of_range(key);
}

/// The last cell of the row of a quantity, with what stands in it.
std::string CellOf(const std::string& html, const std::string& name) {
  const std::size_t row = html.find("<td>" + name);
  if (row == std::string::npos) return {};
  const std::string line = html.substr(row, html.find("</tr>", row) - row);
  return line.substr(line.rfind("<td"));
}

/// The words of that cell.
std::string MarginIn(const std::string& html, const std::string& name) {
  const std::string cell = CellOf(html, name);
  const std::size_t begin = cell.find('>') + 1;
  return cell.substr(begin, cell.find('<', begin) - begin);
}

/// Both ends of the bar of a row, from its dot on, in shares of the half width of the longest.
std::pair<double, double> BarIn(const std::string& html, const std::string& name) {
  static const std::regex bar(
      R"re(<line x1="([0-9.]+)" y1="7" x2="([0-9.]+)" y2="7"/>.*<circle cx="50")re");
  const std::string cell = CellOf(html, name);
  std::smatch match;
  if (!std::regex_search(cell, match, bar)) return {kNan, kNan};
  return {(std::stod(match[1]) - 50.0) / 46.0, (std::stod(match[2]) - 50.0) / 46.0};
}

std::size_t Ellipses(const std::string& html) {
  return CountOf(html, "<polyline class=\"spread\"");
}

/// The ellipse of the front view, in user units.
struct Drawn {
  Vector3d middle = Vector3d::Zero();
  double longest = 0.0;
  double shortest = 1e9;
  double tilt = 0.0;  ///< of the longest half axis, radians to the right and up
};

Drawn EllipseIn(const std::string& html) {
  const std::string head = "<polyline class=\"spread\" points=\"";
  const std::size_t begin = html.find(head);
  if (begin == std::string::npos) return {};
  std::istringstream words(
      html.substr(begin + head.size(), html.find('"', begin + head.size()) - begin - head.size()));
  std::vector<Vector3d> points;
  double x = 0.0, y = 0.0;
  for (char comma = 0; words >> x >> comma >> y;) points.emplace_back(x, y, 0.0);
  EXPECT_EQ(points.front(), points.back());
  points.pop_back();
  Drawn drawn;
  for (const Vector3d& p : points) drawn.middle += p / static_cast<double>(points.size());
  for (const Vector3d& p : points) {
    const Vector3d out = p - drawn.middle;
    if (out.norm() > drawn.longest) drawn.tilt = std::atan2(-out.y(), out.x());
    drawn.longest = std::max(drawn.longest, out.norm());
    drawn.shortest = std::min(drawn.shortest, out.norm());
  }
  return drawn;
}

/// User units per metre of the front view, and where the measured cross stands in it.
struct Scale {
  double per_metre = 0.0;
  Vector3d cross = Vector3d::Zero();
};

Scale ScaleOf(const std::string& html) {
  static const std::regex arm(
      R"re(<line class="(nominal|measured)" x1="([0-9.]+)" y1="([0-9.]+)" x2="([0-9.]+)" y2="([0-9.]+)"/>)re");
  Scale scale;
  Vector3d nominal = Vector3d::Zero();
  for (std::sregex_iterator i(html.begin(), html.end(), arm), end; i != end; ++i) {
    const Vector3d middle(0.5 * (std::stod((*i)[2]) + std::stod((*i)[4])),
                          0.5 * (std::stod((*i)[3]) + std::stod((*i)[5])), 0.0);
    ((*i)[1] == "nominal" ? nominal : scale.cross) = middle;
    if ((*i)[1] == "measured") break;
  }
  // Both places are 1 mm apart.
  scale.per_metre = (scale.cross - nominal).norm() / 1e-3;
  return scale;
}

// ---- the table

TEST(ReportSpreadTest, TheTableTellsHowSureEachNumberIs) {
  const std::string html = PageOf(SlotSpread());
  EXPECT_THAT(html, HasSubstr("<th class=\"number margin\">95 %</th>"));
  EXPECT_EQ(MarginIn(html, "Location x / mm"), "±0.0080");
  EXPECT_EQ(MarginIn(html, "Location y / mm"), "±0.0040");
  EXPECT_EQ(MarginIn(html, "Location z / mm"), "±0.0200");
  EXPECT_EQ(MarginIn(html, "Location, distance from the nominal / mm"), "&ndash;");
  EXPECT_EQ(MarginIn(html, "Length / mm"), "±0.0200");
  // A tenth of difference tells both sides.
  EXPECT_EQ(MarginIn(html, "Width / mm"), "-0.0100 +0.0300");
  Spread spread = SlotSpread();
  At(spread, "Width").interval95 = {{0.012 - 1.86e-5, 0.012 + 2e-5}};
  EXPECT_EQ(MarginIn(PageOf(spread), "Width / mm"), "±0.0193");
  At(spread, "Width").interval95 = {{0.012 - 1.76e-5, 0.012 + 2e-5}};
  EXPECT_EQ(MarginIn(PageOf(spread), "Width / mm"), "-0.0176 +0.0200");
  // The mean error may leave the measured number outside of where the true one lies.
  At(spread, "Width").interval95 = {{0.012 + 1e-5, 0.012 + 5e-5}};
  EXPECT_EQ(MarginIn(PageOf(spread), "Width / mm"), "+0.0100 +0.0500");
  // What the spread does not know stands without.
  EXPECT_EQ(MarginIn(html, "Tangent, angle to the nominal / °"), "&ndash;");
}

TEST(ReportSpreadTest, BarsOfOneUnitHaveOneScale) {
  const std::string html = PageOf(SlotSpread());
  EXPECT_NEAR(BarIn(html, "Location x / mm").first, -8.0 / 30.0, 1e-3);
  EXPECT_NEAR(BarIn(html, "Location x / mm").second, 8.0 / 30.0, 1e-3);
  EXPECT_NEAR(BarIn(html, "Width / mm").first, -10.0 / 30.0, 1e-3);
  EXPECT_NEAR(BarIn(html, "Width / mm").second, 1.0, 1e-3);
  // Degrees have another one. The measured direction is the nominal: its angle is not below 0.
  EXPECT_NEAR(BarIn(html, "Normal, angle to the nominal / °").first, 0.0, 1e-3);
  EXPECT_NEAR(BarIn(html, "Normal, angle to the nominal / °").second, 1.0, 1e-3);
  EXPECT_THAT(CellOf(html, "Width / mm"),
              HasSubstr("aria-label=\"From 11.9900 to 12.0300 mm with 95 %\""));
  EXPECT_EQ(CountOf(html, "<svg class=\"bar\""), 6u);
  EXPECT_EQ(CountOf(html, "<svg"), CountOf(html, "</svg>"));
  EXPECT_EQ(CountOf(html, "<td"), CountOf(html, "</td>"));
}

TEST(ReportSpreadTest, OfADirectionTheWidestAngleIsTold) {
  Spread spread = SlotSpread();
  // The larger deviation across it counts, and none along it.
  const std::string name = "Normal, angle to the nominal / °";
  const double degrees = 180.0 / std::acos(-1.0);
  const double widest = kFactor * 2e-4 * degrees;
  EXPECT_EQ(MarginIn(PageOf(spread), name), "within " + TableText(widest, "°"));
  EXPECT_THAT(CellOf(PageOf(spread), name),
              HasSubstr("The direction lies within " + TableText(widest, "°") +
                        "° of the measured one with 95 %"));
  // The true one is farther away by the mean error.
  At(spread, "Normal").bias = {0.0, 1e-4, 0.0};
  EXPECT_EQ(MarginIn(PageOf(spread), name), "within " + TableText(widest + 1e-4 * degrees, "°"));
  // Nothing points farther away than to the other side.
  At(spread, "Normal").covariance *= 1e12;
  EXPECT_EQ(MarginIn(PageOf(spread), name), "within 180.000");
  At(spread, "Normal").is_direction = false;
  EXPECT_EQ(MarginIn(PageOf(spread), name), "&ndash;");
}

TEST(ReportSpreadTest, ASentenceTellsHowItCameToBe) {
  const std::string html = PageOf(SlotSpread());
  EXPECT_THAT(html, HasSubstr("Measured &lt;again&gt; &amp; again. Trials: 10000, 9999 of them "
                              "successful (99.9 %).</p>"));
  Spread spread = SlotSpread();
  spread.successes = 10000;
  EXPECT_THAT(PageOf(spread), HasSubstr("10000 of them successful (100 %)."));
  // Trials that all failed leave no number and are told nevertheless.
  spread.quantities.clear();
  spread.successes = 0;
  const std::string failed = PageOf(spread);
  EXPECT_THAT(failed, HasSubstr("0 of them successful (0 %)."));
  EXPECT_THAT(failed, Not(HasSubstr("<th class=\"number margin\">95 %</th>")));
  spread.trials = 0;
  spread.origin.clear();
  EXPECT_THAT(PageOf(spread), Not(HasSubstr("Trials")));
}

// ---- the front view

TEST(ReportSpreadTest, TheFrontViewHasTheEllipseOfThePlaceMagnified) {
  const std::string html = PageOf(SlotSpread());
  // The scan that went before has none.
  ASSERT_EQ(Ellipses(html), 1u);
  EXPECT_THAT(html, HasSubstr("aria-label=\"Front view, with the 95 % ellipse of the place\""));
  EXPECT_THAT(html, HasSubstr("drawn 200 times as large: half axes 9.8 µm by 4.9 µm. "));
  EXPECT_THAT(html, Not(HasSubstr("by the mean error")));
  const Scale scale = ScaleOf(html);
  const Drawn drawn = EllipseIn(html);
  EXPECT_NEAR(drawn.longest, 200.0 * kFactor * 4e-6 * scale.per_metre, 0.05);
  EXPECT_NEAR(drawn.shortest, 200.0 * kFactor * 2e-6 * scale.per_metre, 0.05);
  EXPECT_NEAR(std::sin(drawn.tilt), 0.0, 1e-2);
  EXPECT_LT((drawn.middle - scale.cross).norm(), 0.02);
}

TEST(ReportSpreadTest, TheEllipseFollowsTheCovariance) {
  Spread spread = SlotSpread();
  // Seen from the instrument, x goes to the left.
  At(spread, "Location").covariance(0, 1) = At(spread, "Location").covariance(1, 0) = -6e-12;
  EXPECT_NEAR(EllipseIn(PageOf(spread)).tilt, 0.5 * std::atan2(12.0, 12.0), 0.05);
  // What lies along the line of sight does not show.
  At(spread, "Location").covariance = Vector3d(0, 0, 1e-6).asDiagonal();
  EXPECT_EQ(Ellipses(PageOf(spread)), 0u);
  // One that is larger than the part is not magnified.
  At(spread, "Location").covariance = Vector3d(1e-2, 1e-4, 0).asDiagonal();
  EXPECT_THAT(PageOf(spread), HasSubstr("drawn to scale: half axes 245 mm by 24 mm. "));
}

TEST(ReportSpreadTest, TheMeanErrorMovesTheMiddleOfTheEllipse) {
  Spread spread = SlotSpread();
  // Results lie 10 um too far to the left, so the true place lies to the right.
  At(spread, "Location").bias = {1e-5, 0.0, 0.0};
  const std::string html = PageOf(spread);
  EXPECT_THAT(html, HasSubstr("drawn 200 times as large"));
  EXPECT_THAT(html, HasSubstr("Its middle stands off the measured place by the mean error, 10 µm"));
  const Scale scale = ScaleOf(html);
  const Vector3d off = EllipseIn(html).middle - scale.cross;
  EXPECT_NEAR(off.x(), 200.0 * 1e-5 * scale.per_metre, 0.02);
  EXPECT_NEAR(off.y(), 0.0, 0.02);
}

// ---- what is told of nothing

TEST(ReportSpreadTest, WithoutASpreadNothingOfItShows) {
  const std::string html = HtmlReport(SlotData());
  for (const char* trace : {"95 %", "margin\"", "svg.bar", ".spread", "Trials"}) {
    EXPECT_THAT(html, Not(HasSubstr(trace)));
  }
  // Nor does any of a failed measurement.
  ReportData failed = SlotData();
  failed.outcome.successful = false;
  failed.outcome.result = R"({"$type":"SlotTargetResult","Success":false})";
  const std::string without = HtmlReport(failed);
  failed.spread = SlotSpread();
  EXPECT_EQ(HtmlReport(failed), without);
}

TEST(ReportSpreadTest, WhatIsNotFiniteOrIncompleteShowsNothing) {
  const std::vector<std::function<void(Spread::Quantity&, double)>> harms = {
      [](Spread::Quantity& q, double v) { q.covariance(0, 0) = q.bias[0] = v; },
      [](Spread::Quantity& q, double v) { q.best[0] = v; },
      [](Spread::Quantity& q, double v) { q.bias[0] = v; },
      [](Spread::Quantity& q, double v) { q.interval95[0][1] = v; },
      [](Spread::Quantity& q, double) { q.interval95.clear(); },
      [](Spread::Quantity& q, double) { q.bias.clear(); },
      [](Spread::Quantity& q, double) { q.best.pop_back(); },
      [](Spread::Quantity& q, double) { std::swap(q.interval95[0][0], q.interval95[0][1]); }};
  static const std::regex foul("[>\" -](nan|inf|not finite)");
  for (const double value : {kNan, kInfinite, -kInfinite, 1e300}) {
    for (const auto& harm : harms) {
      Spread spread = SlotSpread();
      for (Spread::Quantity& q : spread.quantities) harm(q, value);
      const std::string html = PageOf(spread);
      EXPECT_FALSE(std::regex_search(html, foul)) << value;
      EXPECT_EQ(CountOf(html, "<td"), CountOf(html, "</td>"));
      EXPECT_LT(html.size(), 100000u);
    }
  }
  // A number that is broken takes no other one with it.
  Spread spread = SlotSpread();
  At(spread, "Location").interval95[1][0] = kNan;
  At(spread, "Normal").covariance(0, 1) = kInfinite;
  const std::string html = PageOf(spread);
  EXPECT_EQ(MarginIn(html, "Location x / mm"), "±0.0080");
  EXPECT_EQ(MarginIn(html, "Location y / mm"), "&ndash;");
  EXPECT_EQ(MarginIn(html, "Normal, angle to the nominal / °"), "&ndash;");
  At(spread, "Location").covariance(1, 1) = kNan;
  EXPECT_EQ(Ellipses(PageOf(spread)), 0u);
}

// ---- every type, on a page and as a text

/// An example measured in the process, with a spread of all that its result holds.
ReportData Measured(const std::string& name) {
  const Example example(name);
  ReportData data;
  data.request = example.request.dump();
  SceneDriver driver(libmfx::sim::Scene::FromJson(example.scene), std::nullopt);
  ObservedDriver observed(driver, [&](const Exchange& e) { data.exchanges.push_back(e); });
  data.outcome = Measure(data.request, observed, {});
  data.spread.emplace();
  const json result = json::parse(data.outcome.result);
  for (const char* key : {"Location", "Normal", "Tangent", "Axis"}) {
    if (!result.contains(key)) continue;
    const Vector3d measured(result[key][0], result[key][1], result[key][2]);
    const Vector3d standard = Vector3d::Constant(1e-5);
    data.spread->quantities.push_back(
        TripleOf(key, measured, standard, key != std::string_view("Location")));
  }
  for (const char* key : {"Radius", "Length", "Width", "NoSuchSize"}) {
    const double measured = result.value(key, 1.0);
    data.spread->quantities.push_back(SizeOf(key, measured - 1e-5, measured + 1e-5));
  }
  return data;
}

/// A text without the column of margins, whose widest cell is known.
std::string WithoutColumn(const std::string& text, const std::string& widest) {
  std::string rest;
  std::size_t from = std::string::npos;
  for (const std::string& line : Lines(text)) {
    std::string cut = line;
    if (from == std::string::npos && line.ends_with("95 %")) {
      from = line.size() - widest.size() - 2;
    }
    if (from != std::string::npos && line.starts_with("  ")) {
      // "±" is a character of two bytes.
      const std::size_t wide = widest.size() + 2 + CountOf(line, "±");
      cut.erase(from, wide);
      cut.erase(cut.find_last_not_of(' ') + 1);
    }
    rest += cut + "\n";
  }
  rest.pop_back();
  return rest;
}

TEST(ReportSpreadTest, EveryTypeIsTold) {
  for (const char* name : {"edge", "hole", "matte-sphere", "polygon", "rectangle", "scan_path",
                           "slot", "stud", "surface-normal", "threaded-hole"}) {
    SCOPED_TRACE(name);
    const ReportData data = Measured(name);
    ASSERT_TRUE(data.outcome.successful);
    const std::string html = HtmlReport(data);
    const auto rows = QuantitiesOf(data.request, data.outcome.result, data.outcome.stages);
    std::size_t told = 0;
    for (const Quantity& q : rows) {
      const bool is_told = q.source == Source::kMeasured && q.measured &&
                           q.name != "Location, distance from the nominal";
      told += is_told ? 1 : 0;
      const std::string margin =
          MarginIn(html, q.name + (q.unit.empty() ? "" : " / " + q.unit) + "<");
      EXPECT_EQ(margin.starts_with("±") || margin.starts_with("within 0.00"), is_told) << q.name;
    }
    EXPECT_EQ(CountOf(html, "<svg class=\"bar\""), told);
    EXPECT_EQ(told > 0, std::string_view(name) != "scan_path");
    EXPECT_EQ(Ellipses(html), told > 0 ? 1u : 0u);
  }
}

TEST(ReportSpreadTest, ATextHasTheColumnAndIsOtherwiseTheSame) {
  for (const char* name : {"hole", "stud", "surface-normal", "scan_path"}) {
    SCOPED_TRACE(name);
    const ReportData data = Measured(name);
    const std::string without = ResultText(data.request, data.outcome);
    EXPECT_THAT(without, Not(HasSubstr("95 %")));
    const std::string text = ResultText(data.request, data.outcome, data.spread);
    if (std::string_view(name) == "scan_path") {
      EXPECT_EQ(text, without);
      continue;
    }
    EXPECT_THAT(Lines(text)[1], testing::EndsWith("deviation          95 %"));
    EXPECT_THAT(text, testing::ContainsRegex("\n  Location x .*±0\\.0200  mm\n"));
    EXPECT_THAT(text, testing::ContainsRegex("\n  (Normal|Axis), angle .* within 0\\.001  °\n"));
    EXPECT_EQ(WithoutColumn(text, "within 0.001"), without);
  }
}

TEST(ReportSpreadTest, ATextTellsNoNumberThatTheResultOnlyRepeats) {
  const ReportData data = Measured("hole");
  const std::string text = ResultText(data.request, data.outcome, data.spread);
  EXPECT_THAT(text, testing::ContainsRegex(
                        "\n  Radius +6\\.0000 +[0-9.]+ +[-+]?[0-9.]+ +mm  as fitted, the message"));
}

}  // namespace
}  // namespace mfx_test
