// Reports: one file, whole, that holds what was measured.

#include "report/report.h"

#include <cmath>
#include <limits>
#include <regex>

#include "program_test.h"
#include "report/outline.h"
#include "report/plot.h"
#include "report/type_figures.h"
#include "report/view.h"

namespace mfx_test {
namespace {

using namespace libmfx::host;
using Eigen::Vector3d;
using libmfx::features::SampleFate;
using report::HtmlReport;
using report::NumberText;
using report::ReportData;

std::size_t Count(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t i = text.find(what); i != std::string::npos; i = text.find(what, i + 1)) ++n;
  return n;
}

/// Every tag that is opened is closed, in order.
void ExpectBalanced(const std::string& html) {
  static const std::regex tag(R"(<(/?)([a-zA-Z0-9]+)[^>]*?(/?)>)");
  std::vector<std::string> open;
  for (std::sregex_iterator i(html.begin(), html.end(), tag), end; i != end; ++i) {
    const std::string name = (*i)[2];
    if ((*i)[3] == "/" || name == "meta" || name == "br") continue;
    if ((*i)[1] != "/") {
      open.push_back(name);
    } else {
      ASSERT_FALSE(open.empty()) << "</" << name << ">";
      ASSERT_EQ(open.back(), name);
      open.pop_back();
    }
  }
  EXPECT_TRUE(open.empty());
}

/// Nothing is fetched and nothing is run.
void ExpectSelfContained(const std::string& html) {
  for (const char* foreign :
       {"<script", "<link", "<img", "<iframe", "src=", "href=", "url(", "@import"}) {
    EXPECT_EQ(html.find(foreign), std::string::npos) << foreign;
  }
  // The name of the SVG namespace is no address that anybody asks for.
  EXPECT_EQ(Count(html, "http"), Count(html, "xmlns=\"http://www.w3.org/2000/svg\""));
}

ReportData HoleData() {
  ReportData data;
  data.request = R"({"$id": "h<1>", "ScanQualityThreshold": 50, "Feature": {"$type": "HoleFeature",
      "Name": "A & B", "Location": [0, 0, 2], "Normal": [0, 0, -1], "Radius": 0.005}})";
  data.request_name = "request.json";
  data.instrument = "test";
  data.quality_threshold = 50.0;
  data.outcome.successful = true;
  data.outcome.result =
      R"({"$type":"HoleTargetResult","Location":[0.00100000,0.00000000,2.00000000],
      "Normal":[0,0,-1],"Radius":0.00510000,"ScanData":{"$type":"ScanData","DataFormat":"LR_XYZ",
      "Data":[[0,0,2,90,1],[0.001,0,2,90,1]],"Count":2},"Success":true,"Target":"h<1>"})";
  Exchange exchange;
  exchange.step = "INITIAL";
  exchange.points = {{-0.005, 0, 2, 0}, {0.005, 0, 2, 0.001}};
  for (int i = 0; i < 10; ++i) exchange.samples.emplace_back(-0.005 + 0.001 * i, 0, 2.0, 90, 1);
  exchange.samples.emplace_back(0.005, 0, 2.0, 20, 1);
  data.exchanges.push_back(exchange);
  return data;
}

TEST(ReportTest, TheProgramWritesOne) {
  Folder folder;
  const Ended measured =
      RunMfx({"measure", Source("examples/requests/scan_path.json"), "--scene",
              Source("examples/scenes/scan_path.json"), "--seed", "77", "--report",
              folder.Path("r.html"), "--record", folder.Path("r.jsonl")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string html = folder.Read("r.html");
  ExpectBalanced(html);
  ExpectSelfContained(html);
  EXPECT_THAT(html, HasSubstr("<b>Measured</b>"));
  EXPECT_THAT(html, HasSubstr("seed 77"));
  EXPECT_THAT(html, HasSubstr("mfx " LIBMFX_VERSION));
  EXPECT_THAT(html, HasSubstr("examples/requests/scan_path.json"));
  for (const char* title :
       {"Front view", "Profile along the scan lines", "Profile, close to the surface", "Quality"}) {
    EXPECT_THAT(html, HasSubstr(std::string("<h3>") + title + "</h3>"));
  }
  const std::string count = json::parse(measured.out)["ScanData"]["Count"].dump();
  EXPECT_THAT(html, HasSubstr("<tr><th>Samples</th><td>" + count + "</td></tr>"));
  // The recording of it gives the same pictures.
  ASSERT_EQ(
      RunMfx({"replay", folder.Path("r.jsonl"), "--report", folder.Path("again.html")}).status, 0);
  const auto pictures = [](const std::string& text) {
    return text.substr(text.find("<h2>Pictures"));
  };
  EXPECT_EQ(pictures(folder.Read("again.html")), pictures(html));
}

TEST(ReportTest, TheRequestIsShownAsTheLibraryReadIt) {
  Folder folder;
  const std::string request = folder.Write("request", R"({"PointSpacing": 0.01, /* note */
      "Feature": {"$type": "ScanPathFeature", "Name": "wall)"
                                                      "\xFF"
                                                      R"(", "Limit": 1e400,
                  "Path": {"Segments": [[[0, 0, 2], [0.1, 0, 2]]]}}} and more)");
  ASSERT_EQ(RunMfx({"measure", request, "--scene", Source("examples/scenes/scan_path.json"),
                    "--report", folder.Path("r.html")})
                .status,
            0);
  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("<h1>wall\uFFFD</h1>"));
  EXPECT_THAT(html, HasSubstr("<td>ScanPathFeature</td>"));
  EXPECT_THAT(html, HasSubstr("&quot;Limit&quot;: &quot;1e400&quot;"));
  EXPECT_THAT(html, Not(HasSubstr("and more")));
}

TEST(ReportTest, AFailureIsToldWithItsText) {
  Folder folder;
  const std::string request =
      folder.Write("request", R"({"QualityThreshold": 200, "PointSpacing": 0.01,
      "Feature": {"$type": "ScanPathFeature", "Path": {"Segments": [[[0, 0, 2], [0.1, 0, 2]]]}}})");
  const Ended failed =
      RunMfx({"measure", request, "--scene", Source("examples/scenes/scan_path.json"), "--report",
              folder.Path("r.html")});
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(folder.Read("r.html"), HasSubstr("Not measured</b><br>All points filtered out"));
  const Ended refused = RunMfx({"measure", "-", "--scene", Source("examples/scenes/scan_path.json"),
                                "--report", folder.Path("none.html")});
  EXPECT_EQ(refused.status, 1);
  const std::string none = folder.Read("none.html");
  EXPECT_THAT(none, HasSubstr("Nothing was driven."));
  ExpectBalanced(none);
}

TEST(ReportTest, AReportThatCannotBeWrittenEndsTheCallFirst) {
  Folder folder;
  const Ended ended =
      RunMfx({"measure", Source("examples/requests/scan_path.json"), "--instrument",
              "touch " + folder.Path("started"), "--report", "/no/such/folder/r.html"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("cannot write report /no/such/folder/r.html"));
  EXPECT_TRUE(folder.Names().empty());
}

TEST(ReportTest, NominalAndMeasurementAreDrawnIn) {
  const std::string html = HtmlReport(HoleData());
  ExpectBalanced(html);
  EXPECT_EQ(Count(html, "<ellipse class=\"nominal\""), 1u);
  EXPECT_EQ(Count(html, "<ellipse class=\"measured\""), 1u);
  EXPECT_EQ(Count(html, "class=\"dropped\""), 2u);  // in the front view and in the quality
  EXPECT_THAT(html, HasSubstr("1 of 11 are below"));
  EXPECT_THAT(html, HasSubstr("A &amp; B"));
  EXPECT_THAT(html, HasSubstr("h&lt;1&gt;"));
  EXPECT_EQ(html.find("h<1>"), std::string::npos);
  EXPECT_EQ(HtmlReport(HoleData()), html);
}

TEST(ReportTest, SamplesThatAreNotFiniteAndResultsThatAreNoJsonDoNoHarm) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  ReportData data = HoleData();
  for (const std::string& request :
       {std::string("no JSON \xff"), std::string("[]"), std::string("{\"Feature\": 3}"),
        std::string("{\"Feature\": {\"Location\": [1], \"Normal\": \"x\"}}"),
        std::string(100000, '[')}) {
    for (const char* result :
         {"<<not yet>>", "{}", "[1]", R"({"Location": [1, null, 2], "ScanData": 5})"}) {
      data.request = request;
      data.outcome.result = result;
      data.exchanges[0].samples = {{kNan, 0, 2, 50, 1}, {0, 0, kNan, kNan, 2}};
      const std::string html = HtmlReport(data);
      ExpectBalanced(html);
      EXPECT_EQ(html.find("nan"), std::string::npos);
    }
  }
}

TEST(ReportTest, ManySamplesMakeNoLargeFile) {
  ReportData data = HoleData();
  data.exchanges[0].samples.assign(500000, {0.001, 0, 2, 90, 1});
  const std::string html = HtmlReport(data);
  EXPECT_LT(html.size(), 3'000'000u);
  EXPECT_THAT(html, HasSubstr("500000 samples, one in 84 drawn."));
}

TEST(ReportTest, EveryScanHasItsRowAndTheFirstOnesAPicture) {
  ReportData data = HoleData();
  for (int i = 0; i < 20; ++i) data.exchanges.push_back(data.exchanges[0]);
  const std::string html = HtmlReport(data);
  EXPECT_EQ(Count(html, "<td>INITIAL</td>"), 21u);
  EXPECT_EQ(Count(html, "<h3>Scan "), 5u);
}

// ---- a type's own pictures

std::vector<report::Figure> OwnPictures(const report::Measured& measured) {
  return {{"Own picture", "<svg></svg>",
           std::to_string(report::ResultPoints(measured.result).size()) + " points"}};
}
const report::TypeFigures kOwn("OwnTargetResult", OwnPictures);

TEST(ReportTest, ATypeAddsItsOwnPictures) {
  ReportData data = HoleData();
  EXPECT_EQ(HtmlReport(data).find("Own picture"), std::string::npos);
  data.outcome.result.replace(data.outcome.result.find("HoleTargetResult"), 16, "OwnTargetResult");
  const std::string html = HtmlReport(data);
  EXPECT_THAT(html, HasSubstr("<h3>Own picture</h3>"));
  EXPECT_THAT(html, HasSubstr("2 points"));
}

/// The sample of a place.
libmfx::host::RawDataPoint SampleAt(const Vector3d& p, double quality = 90.0) {
  const libmfx::data_structures::AzElRange at{libmfx::data_structures::PointXYZW(p)};
  return {at.azimuth, at.elevation, at.range, quality, 1};
}

/// A place on a circle of 5 mm around (0, 0, 2), in the plane of z.
Vector3d OnCircle(int degrees) {
  const double angle = degrees * 3.14159265358979323846 / 180.0;
  return {0.005 * std::cos(angle), 0.005 * std::sin(angle), 2.0};
}

/// A result with 360 samples on that circle.
std::string RoundResult(const std::string& type, const std::string& keys) {
  json rows = json::array();
  for (int i = 0; i < 360; ++i) {
    const Vector3d p = OnCircle(i);
    rows.push_back({p.x(), p.y(), p.z(), 90, 1});
  }
  return "{\"$type\":\"" + type + "\",\"Location\":[0,0,2]," + keys +
         ",\"Success\":true,\"ScanData\":{\"DataFormat\":\"LR_XYZ\",\"Count\":360,\"Data\":" +
         rows.dump() + "}}";
}

TEST(ReportTest, AStudShowsItsWallAsItWasFittedUnrolled) {
  ReportData data = HoleData();
  data.request = R"({"Feature": {"$type": "StudFeature", "Location": [0, 0, 2], "Axis": [0, 1, 0],
      "Radius": 0.005, "Offset": 0.001, "Height": 0.02, "RadiusTolerance": 0.001}})";
  data.outcome.result =
      R"({"$type":"StudTargetResult","Location":[0,0.001,2],"Axis":[0,1,0],"Radius":0.005,
      "Success":true,"ScanData":{"DataFormat":"LR_XYZ","Count":1,"Data":[[0,0,1.995,90,1]]}})";
  auto& samples = data.exchanges[0].samples;
  samples.clear();
  const auto add = [&](double turn, double height, double radius, SampleFate fate) {
    samples.push_back(SampleAt({radius * std::sin(turn), height, 2.0 - radius * std::cos(turn)}));
    data.outcome.stages.fates.push_back(fate);
  };
  for (int i = -5; i <= 5; ++i)
    for (int k = 0; k < 8; ++k)
      add(0.2 * i, 0.002 + 0.002 * k, 0.005 + 1e-5 * i, SampleFate::kWall);
  add(0.0, 0.0005, 0.005, SampleFate::kFar);
  add(0.0, 0.0100, 0.0055, SampleFate::kDropped);
  add(0.0, 0.0100, 0.005, SampleFate::kUnusable);
  std::string html = HtmlReport(data);
  ExpectBalanced(html);
  EXPECT_THAT(html, HasSubstr("<h3>Unrolled wall</h3>"));
  EXPECT_THAT(html, HasSubstr("The 88 samples of the last scan that the fit"));
  EXPECT_THAT(html, HasSubstr("Open red: 1 samples in the window that it does not follow"));
  EXPECT_THAT(html, HasSubstr("full colour at 50 \xC2\xB5m"));
  // The picture tells its scale: full orange outside, full blue inside, grey on the wall.
  for (const char* scale : {">inside<",
                            ">\xE2\x88\x92"
                            "50 \xC2\xB5m<",
                            ">0 \xC2\xB5m<", ">+50 \xC2\xB5m<", ">outside<"}) {
    EXPECT_THAT(html, HasSubstr(scale));
  }
  for (const char* colour : {"#8f4a06", "#12406f", "#c9c9c9"}) {
    EXPECT_GT(Count(html, std::string("style=\"fill:") + colour + "\"/>"), 8u) << colour;
    EXPECT_THAT(html, HasSubstr(std::string("[style=\"fill:") + colour + "\"] { fill: "))
        << "on a dark page";
  }
  data.outcome.stages = {};  // where the analysis came to no fit there is no such picture
  html = HtmlReport(data);
  EXPECT_EQ(html.find("Unrolled wall"), std::string::npos);
}

TEST(ReportTest, SpheresHolesAndCylindersHaveTheirOwnPictures) {
  const struct {
    const char* type;
    const char* keys;
    const char* title;
    const char* words;
  } cases[] = {{"MatteSphereTargetResult", "\"Radius\":0.005", "Residuals of the sphere",
                "0 of 360 lie beyond the picture"},
               {"HoleTargetResult", "\"Radius\":0.0051,\"Normal\":[0,0,-1]", "Around the rim",
                "360 samples"},
               {"StudTargetResult", "\"Radius\":0.004,\"Axis\":[0,0,-1]", "From the side",
                "360 samples within two radii"},
               {"ThreadedHoleTargetResult", "\"Radius\":0.0024,\"Axis\":[0,0,1]", "From the side",
                "0 samples within two radii"}};
  for (const auto& c : cases) {
    ReportData data = HoleData();
    data.outcome.result = RoundResult(c.type, c.keys);
    data.exchanges[0].samples.clear();
    for (int i = 0; i < 360; ++i) data.exchanges[0].samples.push_back(SampleAt(OnCircle(i)));
    data.outcome.stages.fates.assign(360, SampleFate::kSurface);
    const std::string html = HtmlReport(data);
    ExpectBalanced(html);
    EXPECT_THAT(html, HasSubstr(std::string("<h3>") + c.title + "</h3>"));
    EXPECT_THAT(html, HasSubstr(c.words)) << c.type;
    // A failed measurement has none of what they are made from.
    data.outcome.successful = false;
    data.outcome.result = std::string("{\"$type\":\"") + c.type + "\",\"ErrorMessage\":\"No rim\"}";
    EXPECT_EQ(HtmlReport(data).find(c.title), std::string::npos);
  }
}

TEST(ReportTest, WhatLiesFarBehindIsDrawnWhereTheBeamPassed) {
  ReportData data = HoleData();
  data.exchanges[0].samples.clear();
  for (int i = 0; i < 10; ++i)
    data.exchanges[0].samples.emplace_back(-0.004 + 0.001 * i, 0, 2.0, 90, 1);
  data.exchanges[0].samples.emplace_back(0.001, 0, 2.5, 90, 1);
  const std::string html = HtmlReport(data);
  EXPECT_EQ(Count(html, "class=\"far\""), 1u);
  EXPECT_THAT(html, HasSubstr("Grey: 1 samples far behind"));
}

// ---- outlines

double FarthestFrom(const Vector3d& place, const std::vector<Vector3d>& line) {
  double far = 0.0;
  for (const Vector3d& p : line) far = std::max(far, (p - place).norm());
  return far;
}

TEST(OutlineTest, FollowsTheKeysOfEachShape) {
  const json base = {{"Location", {0, 0, 2}}, {"Normal", {0, 0, -1}}};
  const Vector3d place(0, 0, 2);
  EXPECT_FALSE(report::OutlineOf(json::object()));
  EXPECT_FALSE(report::OutlineOf(json()));
  EXPECT_FALSE(report::OutlineOf({{"Location", {0, 0}}}));

  json circle = base;
  circle["Radius"] = 0.01;
  EXPECT_EQ(report::OutlineOf(circle)->radius, 0.01);

  json rectangle = base;
  rectangle.update({{"Tangent", {1, 0, 0}}, {"Length", 0.08}, {"Width", 0.06}});
  const auto corners = report::OutlineOf(rectangle)->corners;
  ASSERT_EQ(corners.size(), 5u);
  EXPECT_NEAR(FarthestFrom(place, corners), 0.05, 1e-12);
  EXPECT_EQ(corners.front(), corners.back());

  json slot = rectangle;
  slot["$type"] = "SlotTargetResult";
  const auto obround = report::OutlineOf(slot)->corners;
  EXPECT_NEAR(FarthestFrom(place, obround), 0.04, 1e-12);  // half of the length over all
  for (const Vector3d& p : obround) EXPECT_LE(std::abs(p.y()), 0.03 + 1e-12);
  EXPECT_LT((obround.front() - obround.back()).norm(), 1e-12);

  json polygon = circle;
  polygon.update({{"Sides", 6}, {"Axis", {1, 0, 0}}});
  const auto hexagon = report::OutlineOf(polygon);
  ASSERT_EQ(hexagon->corners.size(), 7u);
  EXPECT_FALSE(hexagon->radius);
  EXPECT_LT((hexagon->corners[0] - Vector3d(0.01, 0, 2)).norm(), 1e-12);
  for (const Vector3d& p : hexagon->corners) EXPECT_NEAR((p - place).norm(), 0.01, 1e-12);

  for (const json& odd : {json{{"Sides", 1e9}, {"Axis", {1, 0, 0}}}, json{{"Sides", -3}},
                          json{{"Tangent", {0, 0, 5}}, {"Length", 1}, {"Width", 1}},
                          json{{"Normal", {0, 0, 0}}, {"Tangent", {1, 0, 0}}}}) {
    json request = circle;
    request.update(odd);
    EXPECT_TRUE(report::OutlineOf(request)->corners.empty());
  }
}

// ---- the view

TEST(ViewTest, StandsInFrontOfTheNominal) {
  const json request = {{"Feature", {{"Location", {1, 2, 3}}, {"Normal", {0, 0, 5}}}}};
  const report::View view = report::FindView(request, {});
  EXPECT_EQ(view.normal, -Vector3d::UnitZ());  // towards the instrument, whatever the sign told
  EXPECT_EQ(view.Front({1, 2, 3}), report::Point2(0, 0));
  // As the instrument sees it: up is up, and a positive azimuth (-x) lies to the right.
  EXPECT_EQ(view.Front({0, 3, 3}), report::Point2(1, 1));
  EXPECT_EQ(view.Height({1, 2, 2.5}), 0.5);
}

TEST(ViewTest, FindsThePlaneOfTheSamplesWhereNoneIsNamed) {
  std::vector<Vector3d> points;
  for (int i = 0; i < 10; ++i) {
    for (int j = 0; j < 10; ++j) points.emplace_back(0.01 * i, 0.01 * j, 2.0 + 0.005 * i);
  }
  points.emplace_back(0.05, 0.05, 2.1);  // far behind
  const report::View view = report::FindView(json::object(), points);
  EXPECT_NEAR(view.right.dot(view.up), 0.0, 1e-12);
  EXPECT_NEAR(view.Height({0.02, 0.03, 2.01}), 0.0, 2e-3);
  EXPECT_LT(view.normal.z(), 0.0);
}

TEST(ViewTest, OneLineOrOnePointStillMakesAView) {
  for (const std::vector<Vector3d>& points :
       {std::vector<Vector3d>{}, std::vector<Vector3d>{{0, 0, 2}},
        std::vector<Vector3d>{{0, 0, 2}, {0.1, 0, 2}, {0.2, 0, 2}}}) {
    const report::View view = report::FindView(json(), points);
    EXPECT_NEAR(view.normal.norm(), 1.0, 1e-12);
    EXPECT_NEAR(view.up.norm(), 1.0, 1e-12);
    EXPECT_NEAR(view.right.norm(), 1.0, 1e-12);
  }
}

// ---- numbers for people

TEST(PlotTest, NumbersAreShortAndExact) {
  EXPECT_EQ(NumberText(0.0), "0");
  EXPECT_EQ(NumberText(-0.0), "0");
  EXPECT_EQ(NumberText(0.005), "0.005");
  EXPECT_EQ(NumberText(-1234.5), "-1234.5");
  EXPECT_EQ(NumberText(1.0 / 3.0, 4), "0.3333");
  EXPECT_EQ(NumberText(0.00123456789, 6), "0.00123457");
  EXPECT_EQ(NumberText(123456.789, 6), "123457");
  EXPECT_EQ(NumberText(1e-9, 3), "1.00e-09");
  EXPECT_EQ(NumberText(std::numeric_limits<double>::infinity()), "not finite");
}

TEST(PlotTest, LengthsHaveUnitsOfTheirSize) {
  EXPECT_STREQ(report::UnitFor(20e-6).name, "µm");
  EXPECT_STREQ(report::UnitFor(0.02).name, "mm");
  EXPECT_STREQ(report::UnitFor(20.0).name, "m");
}

TEST(PlotTest, DegenerateAxesMakeAPicture) {
  for (const double value : {0.0, 1e9, -3.0, std::numeric_limits<double>::quiet_NaN()}) {
    report::Plot plot(600, 300, {"x", value, value}, {"y", value, value}, true);
    plot.Dot({value, value}, "sample", 2.0);
    plot.Circle({0, 0}, -1.0, "nominal");
    plot.Line({{0, 0}}, "plan");
    const std::string svg = plot.Svg("a \"picture\" <of> nothing");
    ExpectBalanced(svg);
    EXPECT_EQ(svg.find("nan"), std::string::npos);
    EXPECT_LT(svg.size(), 20000u);
  }
}

}  // namespace
}  // namespace mfx_test
