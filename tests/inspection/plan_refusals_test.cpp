// What keeps a plan from being carried out is told in words, at its line and column, and once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "inspection/plan_reader.h"
#include "plan_text.h"

namespace libmfx::inspection {
namespace {

using host::Severity;
using plan_test::Changed;
using plan_test::ExpectTold;
using plan_test::kGoodPlan;
using plan_test::Listed;
using plan_test::PlanCase;
using testing::HasSubstr;

/// The first finding of a text.
host::Finding First(const std::string& text) {
  const auto findings = ReadPlanText(text).findings;
  EXPECT_GE(findings.size(), 1u);
  return findings.empty() ? host::Finding() : findings[0];
}

TEST(PlanRefusalsTest, WhatIsNoObjectIsTold) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "expected '{': a plan is a JSON object"},
      {"  \n  [1]", "expected '{': a plan is a JSON object"},
      {"{\"a\": }", "expected a value"},
      {"{\"units\": {", "but the text ends here"},
      {"// nothing else", "a plan is a JSON object"},
      {"/* open", "no closing */"}};
  for (const auto& [text, words] : cases) {
    const host::Finding finding = First(text);
    EXPECT_EQ(finding.severity, Severity::kError);
    EXPECT_THAT(finding.text, HasSubstr(words)) << text;
  }
  EXPECT_EQ(First("  \n  [1]").line, 2);
  EXPECT_EQ(First("  \n  [1]").column, 3);
  EXPECT_EQ(First("{\"a\": }").column, 7);
}

TEST(PlanRefusalsTest, NestingAndLengthHaveAnEnd) {
  std::string deep = "{\"units\": ";
  for (int i = 0; i < 100; ++i) deep += "[";
  EXPECT_THAT(First(deep).text, HasSubstr("nest too deep"));
  const std::string open(100000, '[');
  EXPECT_THAT(First("{\"a\":" + open).text, HasSubstr("nest too deep"));
  EXPECT_THAT(First(std::string((std::size_t{16} << 20) + 1, ' ')).text,
              HasSubstr("more than 16777216 bytes"));
  std::string wide = "{\"units\": {";
  for (int i = 0; i < 200000; ++i) wide += "\"k" + std::to_string(i) + "\": 1,";
  EXPECT_THAT(Listed(ReadPlanText(wide + "\"z\": 1}}").findings), HasSubstr("no more than 100"));
}

TEST(PlanRefusalsTest, TheListOfFindingsHasAnEndAndNoWordsStandTwice) {
  std::string many = "{\"characteristics\": [";
  for (int i = 0; i < 9000; ++i) many += i == 0 ? "1" : ", 1";
  const auto findings = ReadPlanText(many + "]}").findings;
  EXPECT_EQ(findings.size(), 500u);
  EXPECT_TRUE(host::HasErrors(findings));
  // A wrong default is wrong once, however many features take it.
  ExpectTold({R"("PointSpacing": 0.2)", R"("PointSpacing": ^"wide")",
              "/defaults/HoleFeature/PointSpacing", "no number"});
}

TEST(PlanRefusalsTest, KeysThatNobodyKnowsAreTold) {
  const PlanCase cases[] = {
      {R"("alignment": {)", R"(^"alinement": 1, "alignment": {)", "/alinement",
       "\"alinement\" is no key of a plan; \"alignment\" may be meant"},
      {R"("number":)", R"(^"numbr":)", "/part/numbr", "; \"number\" may be meant"},
      {R"({"name": "left",)", R"({^"colour": 3, "name": "left",)", "/stations/1/colour",
       "\"colour\" is no key of a station"},
      {R"("ScanLines": 7)", R"(^"ScanLine": 7)", "/features/6/options/ScanLine",
       "\"ScanLines\" may be meant"},
      {R"("ScanLines": 7)", R"(^"Radius": 7)", "/features/6/options/Radius",
       "\"Radius\" belongs in \"nominal\""},
      {R"("Location": [80, 0, 0])", R"(^"PointSpacing": 1, "Location": [80, 0, 0])",
       "/features/7/nominal/PointSpacing", "\"PointSpacing\" belongs in \"options\""},
      {R"("Location": [80, 0, 0])", R"(^"Name": "x", "Location": [80, 0, 0])",
       "/features/7/nominal/Name", "is told by the feature's own \"name\""},
      {R"("ScanLines": 7)", R"(^"$id": "x")", "/features/6/options/$id", "own \"name\""},
      {R"({"Segments": [)", R"({^"Segment": 1, "Segments": [)", "/features/10/nominal/Path/Segment",
       "\"Segments\" may be meant"},
      {R"("EdgeFeature": {)", R"(^"Edge": {}, "EdgeFeature": {)", "/defaults/Edge",
       "\"EdgeFeature\" may be meant"},
      {R"("number": "B-4711",)", R"("number": "B-4711", ^"number": "B-4712",)", "/part/number",
       "stands twice"},
      {R"("number": "B-4711",)", R"("number": "B-4711", ^"a/b~": 1,)", "/part/a~1b~0",
       "\"a/b~\" is no key"}};
  for (const PlanCase& c : cases) ExpectTold(c);
}

// The last of two keys is read, and where its elements stand is looked for there.
TEST(PlanRefusalsTest, AListThatStandsTwiceIsReadAtItsLastPlace) {
  const std::string text =
      Changed(kGoodPlan, R"("references": [)", "\"references\": 1,\n\"references\": [5, ");
  EXPECT_THAT(Listed(ReadPlanText(text).findings),
              testing::AllOf(HasSubstr("30:1 error /references \"references\" stands twice"),
                             HasSubstr("30:16 error /references/0 ")));
}

TEST(PlanRefusalsTest, NamesAreTold) {
  const PlanCase cases[] = {
      {R"({"name": "F1",)", R"({"name": ^"H1",)", "/features/10/name",
       "a feature before this one is named \"H1\", too"},
      {R"({"name": "F1",)", R"({"name": ^"",)", "/features/10/name", "\"name\" is empty"},
      {R"({"name": "B", )", R"({"name": ^"   ", )", "/datums/1/name", "is empty"},
      {R"({"name": "flat", )", R"({"name": ^5, )", "/characteristics/5/name", "is no text"},
      {R"({"name": "flat", )", "{\"name\": ^\"" + std::string(101, 'x') + "\", ",
       "/characteristics/5/name", "more than 100 characters"},
      {R"({"name": "flat", )", R"({"name": ^"a\u0007", )", "/characteristics/5/name",
       "control character"},
      {R"({"name": "flat", )", R"({"name": ^"a\u0085", )", "/characteristics/5/name",
       "control character"},
      {R"("number": "B-4711")", R"("number": ^["B"])", "/part/number", "is no text"},
      {R"({"name": "flat", )", R"(^{)", "/characteristics/5", "\"name\" is missing"},
      {R"({"name": "flat", )", R"({"name": ^"window", )", "/characteristics/5/name",
       "a characteristic before this one"}};
  for (const PlanCase& c : cases) ExpectTold(c);
  // A hundred characters of two bytes are a name.
  std::string umlauts;
  for (int i = 0; i < 100; ++i) umlauts += "\xC3\xA4";
  const std::string long_name =
      Changed(kGoodPlan, R"("name": "flat")", "\"name\": \"" + umlauts + '"');
  EXPECT_EQ(Listed(ReadPlanText(long_name).findings), "");
}

TEST(PlanRefusalsTest, NumbersAreTold) {
  const PlanCase cases[] = {
      {R"("length": "mm")", R"("length": ^"cm")", "/units/length", "not one of: mm, m, in"},
      {R"("angle": "deg")", R"("angle": ^4)", "/units/angle", "not one of: deg, rad"},
      {R"("temperature": 25)", R"("temperature": ^1e400)", "/part/temperature",
       "\"temperature\" is 1e400, which is not finite"},
      {R"("temperature": 25)", R"("temperature": ^"25")", "/part/temperature", "is no number"},
      {R"("temperature": 25)", R"("temperature": ^-273)", "/part/temperature",
       "has to lie between -100 and 500 degrees Celsius"},
      {R"("expansion_ppm_per_k": 20)", R"("expansion_ppm_per_k": ^501)",
       "/part/expansion_ppm_per_k", "between -500 and 500 ppm/K"},
      {R"("position_off": 20)", R"("position_off": ^-1)", "/stations/0/position_off",
       "has to lie between 0 and 100000 mm"},
      {R"("angle_off": 5)", R"("angle_off": ^181)", "/stations/0/angle_off",
       "has to lie between 0 and 180 deg"},
      {R"("Location": [80, 0, 0])", R"("Location": [80, ^1e300, 0])",
       "/features/7/nominal/Location/1", "has to lie between -1000000 and 1000000 mm"},
      {R"("Location": [80, 0, 0])", R"("Location": ^[80, 0])", "/features/7/nominal/Location",
       "3 numbers in an array"},
      {R"("Location": [80, 0, 0])", R"("Location": [80, 0, ^null])",
       "/features/7/nominal/Location/2", "is null, which is no number"},
      {R"("Normal": [0, 0, 2])", R"("Normal": ^[0, 0, 0])", "/features/3/nominal/Normal",
       "a direction without a length"},
      {R"("Normal": [0, 0, 2])", R"("Normal": [0, ^"up", 2])", "/features/3/nominal/Normal/1",
       "is no number"},
      {R"([[50, 10, 0], [-50, 10, 0]])", R"([[50, 10, 0], ^[-50, 10]])",
       "/features/10/nominal/Path/Segments/1/1", "3 numbers in an array"},
      {R"([[50, 10, 0], [-50, 10, 0]])", R"(^7)", "/features/10/nominal/Path/Segments/1",
       "an array that is not empty"},
      {R"("PointSpacing": [1, 2])", R"("PointSpacing": [1, ^"x"])",
       "/features/10/options/PointSpacing/1", "is no number"},
      {R"("PointSpacing": [1, 2])", R"("PointSpacing": [[1], ^2])",
       "/features/10/options/PointSpacing/1", "an array that is not empty"},
      {R"("ChamferAngle": 30)", R"("ChamferAngle": ^400)", "/defaults/HoleFeature/ChamferAngle",
       "between -360 and 360 deg"},
      {R"("ScanLines": 7)", R"("ScanLines": ^[7])", "/features/6/options/ScanLines",
       "has to be one value"}};
  for (const PlanCase& c : cases) ExpectTold(c);
}

TEST(PlanRefusalsTest, StationsAreTold) {
  const std::string pose =
      R"({"position": [0, 0, 2000], "normal": [0, 0, -1], "tangent": [1, 0, 0]})";
  const PlanCase cases[] = {
      {R"("pose": "unknown")", R"("pose": ^"somewhere")", "/stations/1/pose",
       "not one of: unknown"},
      {R"({"name": "left", "pose": "unknown", "within": 3000, "azimuth": [-90, 45]})",
       R"(^{"name": "left"})", "/stations/1", "\"pose\" is missing"},
      {pose, R"(^{"normal": [0, 0, -1]})", "/stations/0/pose", "\"position\" is missing"},
      {pose, R"({"position": [0, 0, 2000], "tangent": ^[0, 0, 1]})", "/stations/0/pose/tangent",
       "lies along the normal"},
      {pose, R"(^{"position": [0, 0, 0]})", "/stations/0/pose", "\"normal\" is missing"},
      {pose, R"({"position": [0, 0, 2000], "rotation": [[1, 0, 0], [0, ^-1.002, 0], [0, 0, -1]]})",
       "/stations/0/pose/rotation/1/1", "between -1.001 and 1.001"},
      {pose, R"({"position": [0, 0, 2000], "rotation": ^[[1, 0, 0], [0.01, -1, 0], [0, 0, -1]]})",
       "/stations/0/pose/rotation", "square to each other by 0.01"},
      {pose, R"({"position": [0, 0, 2000], "rotation": ^[[1, 0, 0], [0, 1, 0], [0, 0, -1]]})",
       "/stations/0/pose/rotation", "it mirrors"},
      {pose, R"({"position": [0, 0, 2000], "rotation": ^[[1, 0, 0], [0, -1, 0]]})",
       "/stations/0/pose/rotation", "has 2 elements, and has to have 3"},
      {pose,
       R"({"position": [0, 0, 2000], "normal": ^[0, 0, -1], "rotation": [[1, 0, 0], [0, -1, 0], [0, 0, -1]]})",
       "/stations/0/pose/normal", "tell the same"},
      {R"("azimuth": [-90, 45])", R"("azimuth": ^[45, -90])", "/stations/1/azimuth",
       "from the lower to the higher"},
      {R"("azimuth": [-90, 45])", R"("azimuth": ^[-190, 180])", "/stations/1/azimuth",
       "more than a whole turn"},
      {R"("azimuth": [-90, 45])", R"("elevation": [-90, ^91])", "/stations/1/elevation/1",
       "between -90 and 90 deg"},
      {R"("stations": ["left", "front"])", R"("stations": ["left", ^"frond"])",
       "/features/6/stations/1", "there is no station \"frond\"; \"front\" may be meant"},
      {R"("stations": ["left", "front"])", R"("stations": ["left", ^"left"])",
       "/features/6/stations/1", "stands twice"},
      {R"("stations": ["left", "front"])", R"("stations": ^[])", "/features/6/stations",
       "at least 1"}};
  for (const PlanCase& c : cases) ExpectTold(c);
  std::string many = R"("stations": [{"name": "s0", "pose": "unknown"})";
  for (int i = 1; i < 21; ++i)
    many += R"(, {"name": "s)" + std::to_string(i) + R"(", "pose": "unknown"})";
  EXPECT_THAT(Listed(ReadPlanText("{" + many + "]}").findings),
              HasSubstr("\"stations\" has 21 elements, and can have no more than 20"));
}

TEST(PlanRefusalsTest, FeaturesAreTold) {
  const PlanCase cases[] = {
      {R"("name": "H2", "type": "HoleFeature")", R"("name": "H2", "type": ^"HolFeature")",
       "/features/7/type", "\"HoleFeature\" may be meant"},
      {R"({"Location": [80, 0, 0], "Normal": [0, 0, 1], "Radius": 6})",
       R"(^{"Location": [80, 0, 0], "Radius": 6})", "/features/7/nominal", "\"Normal\" is missing"},
      {R"({"Location": [0, -90, 0], "Radius": 12.7})", R"(^{"Location": [0, -90, 0]})",
       "/features/2/nominal", "\"Radius\" is missing"},
      {R"({"name": "F1", "type": "ScanPathFeature", "options": {"PointSpacing": [1, 2]},)",
       R"(^{"name": "F1", "type": "ScanPathFeature",)", "/features/10",
       "\"PointSpacing\" is missing: neither \"options\" nor the \"defaults\" of ScanPathFeature"},
      {R"("Tangent": [1, 0, 0.1])", R"("Tangent": ^[0, 0, -3])", "/features/8/nominal/Tangent",
       "\"Tangent\" lies along \"Normal\""},
      {R"({"SurfacePoint": [180, 0, 0], "SurfaceNormal": [0, 0, 1], "EdgePoint": [188, 0, -1]})",
       R"(^{"SurfacePoint": [188, 0, 0], "SurfaceNormal": [0, 0, 1], "EdgePoint": [188, 0, -1]})",
       "/features/9/nominal", "\"EdgePoint\" stands under \"SurfacePoint\""},
      {R"({"name": "F1", "type": "ScanPathFeature",)", R"(^{"type": "ScanPathFeature",)",
       "/features/10", "\"name\" is missing"}};
  for (const PlanCase& c : cases) ExpectTold(c);
  EXPECT_THAT(Listed(ReadPlanText(R"({"features": 5})").findings),
              HasSubstr("1:14 error /features \"features\" is 5, which is no array"));
  std::string many = R"({"features": [1)";
  for (int i = 0; i < 1000; ++i) many += ", 1";
  EXPECT_THAT(Listed(ReadPlanText(many + "]}").findings), HasSubstr("can have no more than 1000"));
}

TEST(PlanRefusalsTest, ReferencesAreTold) {
  const std::string good = R"(["B1", "B2", {"feature": "B3", "tolerance": 0.05}])";
  const PlanCase cases[] = {
      {good, R"(["B1", "B2", ^"B4"])", "/references/2",
       "there is no feature \"B4\"; \"B1\" may be"},
      {good, R"(["B1", "B2", ^"B1", "B3"])", "/references/2", "\"B1\" stands twice"},
      {good, R"(["B1", "B2", "B3", ^"F1"])", "/references/3", "no place that is measured"},
      {good, R"(["B1", "B2", ^{"tolerance": 0.05}])", "/references/2", "\"feature\" is missing"},
      {good, R"(["B1", "B2", {"feature": "B3", "tolerance": ^0}])", "/references/2/tolerance",
       "has to lie between 1e-06 and 1000000 mm"},
      {good, R"(["B1", "B2", {"feature": "B3", "tolerance": ^-1}])", "/references/2/tolerance",
       "\"tolerance\" is -1"},
      {good, R"(^[])", "/references", "at least 1"},
      {good, R"(^{"feature": "B1"})", "/references", "is no array"}};
  for (const PlanCase& c : cases) ExpectTold(c);
  const auto told = [&](const std::string& references) {
    return Listed(ReadPlanText(Changed(kGoodPlan, good, references)).findings);
  };
  EXPECT_THAT(told(R"(["P1", "P2", "P3"])"),
              HasSubstr("do not tell where \"front\" stands: they measure 3 conditions, and a part "
                        "takes six"));
  // Openings do where the pose is told, and not where it is unknown.
  const std::string openings = told(R"(["H1", "H2", "W1"])");
  EXPECT_THAT(openings, HasSubstr("the pose of \"left\" is unknown, and is looked for by balls"));
  EXPECT_THAT(openings, testing::Not(HasSubstr("\"front\"")));
  // On a line the part may turn: the third ball lies between the two others.
  const std::string line =
      Changed(Changed(kGoodPlan, "[0, -90, 0], \"Radius\"", "[10, 60, 0], \"Radius\""),
              R"("Location": [150, 60, 0])", R"("Location": [151, 60, 0])");
  EXPECT_THAT(Listed(ReadPlanText(line).findings),
              HasSubstr("they leave the part free to turn about the line through"));
  // A reference that may be measured from one station alone is missing at the other.
  const std::string from_one =
      Changed(kGoodPlan, R"({"name": "B3", )", R"({"name": "B3", "stations": ["front"], )");
  EXPECT_THAT(Listed(ReadPlanText(from_one).findings),
              testing::AllOf(HasSubstr("where \"left\" stands"),
                             testing::Not(HasSubstr("where \"front\""))));
}

TEST(PlanRefusalsTest, DatumsAndAlignmentAreTold) {
  const std::string c = R"({"name": "C", "constrains": "point", "features": ["H1"]})";
  const PlanCase cases[] = {
      {R"("constrains": "line")", R"("constrains": ^"axis")", "/datums/1/constrains",
       "not one of: plane, line, point"},
      {R"("features": ["P1", "P2", "P3"]})", R"("features": ["P1", "P2", ^"P4"]})",
       "/datums/0/features/2", "there is no feature \"P4\""},
      {R"("features": ["P1", "P2", "P3"]})", R"("features": ^[]})", "/datums/0/features",
       "at least 1"},
      {R"("direction": [2, 0, 0])", R"("direction": ^[0, 0, 0])", "/datums/1/direction",
       "without a length"},
      {c, R"(^{"name": "C", "constrains": "plane", "features": ["P2"]})", "/datums/2",
       "datum 'C' holds nothing that those before it leave free"},
      {c, R"(^{"name": "C", "constrains": "plane", "features": ["P1"], "direction": [1, 0, 0]})",
       "/datums/2", "\"P1\" is not measured in the directions that \"C\" takes"},
      {c, R"(^{"name": "C", "constrains": "line", "features": ["B1"]})", "/datums/2",
       "\"direction\" is missing, and \"B1\" has none of its own"},
      {c, R"({"name": "C", "constrains": "point", "features": ["H1"], "direction": ^[1, 0, 0]})",
       "/datums/2/direction", "has no effect", Severity::kWarning},
      {R"("scale": "temperature")", R"("scale": ^"heat")", "/alignment/scale", "none, temperature"},
      {R"("scale": "temperature"})", R"("features": ^["H1"]})", "/alignment/features",
       "has no effect: \"method\" is \"datums\"", Severity::kWarning}};
  for (const PlanCase& one : cases) ExpectTold(one);
  const auto told = [](const std::string& from, const std::string& to) {
    return Listed(ReadPlanText(Changed(kGoodPlan, from, to)).findings);
  };
  EXPECT_THAT(told(R"("method": "datums")", R"("method": "bestfit")"),
              HasSubstr("error /alignment/method \"method\" is \"bestfit\""));
  EXPECT_THAT(
      told(R"("method": "datums")", R"("method": "best-fit", "features": ["H1", "P1"])"),
      HasSubstr("the features of the best fit do not tell where the part is: they measure 4"));
  EXPECT_THAT(
      told(R"("expansion_ppm_per_k": 20, )", ""),
      testing::AllOf(HasSubstr("error /alignment/scale"), HasSubstr("warning /part/temperature")));
  EXPECT_THAT(told(R"("method": "datums", )", ""),
              HasSubstr("warning /datums the datums have no effect"));
  EXPECT_THAT(told(",\n    " + c, ""),
              HasSubstr("warning /datums the datums leave the part free to be "
                        "shifted along"));
  std::string none = kGoodPlan;
  none.erase(none.find("  \"datums\": ["),
             none.find("  \"alignment\"") - none.find("  \"datums\": ["));
  EXPECT_THAT(Listed(ReadPlanText(none).findings),
              HasSubstr("error /alignment \"method\" is \"datums\", and the plan has none"));
}

TEST(PlanRefusalsTest, CharacteristicsAreTold) {
  const std::string position = R"("type": "position", "features": ["H1"], "tolerance": 0.2})";
  const std::string distance = R"("nominal": 80, "limits": [-0.1, 0.2]})";
  const std::string at = "/characteristics/0";
  const PlanCase cases[] = {
      {position, R"("type": ^"place", "features": ["H1"], "tolerance": 0.2})", at + "/type",
       "not one of: size, coordinate, position, distance, angle, flatness, coplanarity, "
       "concentricity, pattern"},
      {position, R"("type": "position", "features": ^["H1", "H2"], "tolerance": 0.2})",
       at + "/features", "has 2 elements, and has to have 1"},
      {position, R"("type": "position", "features": ^"H1", "tolerance": 0.2})", at + "/features",
       "is no array"},
      {position, R"("type": "position", "features": [^"H9"], "tolerance": 0.2})",
       at + "/features/0", "there is no feature \"H9\""},
      {position, R"("type": "pattern", "features": ["H1", ^"H1"], "tolerance": 0.2})",
       at + "/features/1", "stands twice"},
      {position, R"("type": "position", "features": ["H1"], "tolerance": ^0})", at + "/tolerance",
       "\"tolerance\" is 0: it has to lie"},
      {position, R"("type": "position", "features": ["H1"], "tolerance": ^-0.2})",
       at + "/tolerance", "it has to lie"},
      {position, R"("type": "position", "features": ["H1"], "tolerance": 0.2, "limits": ^[0, 1]})",
       at + "/limits", "tells nothing of a position"},
      {position, R"("type": "position", "features": ["H1"], "tolerance": 0.2, "nominal": ^0})",
       at + "/nominal", "tells nothing of a position"},
      {position, R"("type": "position", "features": ["H1"], "tolerance": 0.2, "quantity": ^"x"})",
       at + "/quantity", "tells nothing of a position"},
      {"{\"name\": \"H1 position\", " + position,
       R"(^{"name": "H1 position", "type": "position", "features": ["H1"]})", at,
       "\"tolerance\" is missing"},
      {"{\"name\": \"H1 position\", " + position,
       R"(^{"name": "x", "type": "coordinate", "features": ["H1"], "tolerance": 1})", at,
       "\"quantity\" is missing"},
      {"{\"name\": \"H1 position\", " + position,
       R"(^{"name": "x", "type": "size", "features": ["H1"], "tolerance": 1})", at,
       "measures no diameter"},
      {"{\"name\": \"H1 position\", " + position,
       R"(^{"name": "x", "type": "size", "features": ["W1"], "tolerance": 1})", at,
       "has two sizes"},
      {"{\"name\": \"H1 position\", " + position,
       R"(^{"name": "x", "type": "position", "features": ["P1"], "tolerance": 1})", at,
       "is measured along its normal"},
      {distance, R"("limits": ^[0.2, -0.1]})", "/characteristics/1/limits", "in this order"},
      {distance, R"("limits": ^[0.1, 0.1]})", "/characteristics/1/limits", "not the same"},
      {distance, R"("limits": ^[null, null]})", "/characteristics/1/limits",
       "both \"limits\" are null"},
      {distance, R"("limits": [-0.1, ^"a"]})", "/characteristics/1/limits/1", "is no number"},
      {distance, R"("limits": ^[-0.1]})", "/characteristics/1/limits",
       "has 1 element, and has to have 2"},
      {distance, R"("tolerance": 0.1, "limits": ^[-0.1, 0.1]})", "/characteristics/1/limits",
       "tell the same"},
      {distance, R"("nominal": ^8, "limits": [-0.1, 0.2]})", "/characteristics/1/nominal",
       "\"nominal\" is 8, and by the nominals of its features it is 80 mm", Severity::kWarning},
      {R"("features": ["H1", "P1"], "limits")",
       R"("features": ["H1", "P1"], "quantity": ^"normal", "limits")",
       "/characteristics/3/quantity", "direction,direction"}};
  for (const PlanCase& c : cases) ExpectTold(c);
  EXPECT_THAT(Listed(ReadPlanText(Changed(kGoodPlan, distance, R"("nominal": 80})")).findings),
              HasSubstr("error /characteristics/1 \"tolerance\" or \"limits\" is missing"));
}

}  // namespace
}  // namespace libmfx::inspection
