// What a measurement says of the part, for people: millimetres, degrees, and what was not measured.

#include "host/quantities.h"

#include <algorithm>
#include <cmath>

#include "examples.h"
#include "host/conversation.h"
#include "host/errors.h"
#include "host/labels.h"
#include "host/scene_driver.h"
#include "program_test.h"
#include "sim/scene.h"

namespace mfx_test {
namespace {

using namespace libmfx::host;
using libmfx::features::Stages;
using testing::ElementsAre;

/// An example measured in the process.
struct Outcome {
  explicit Outcome(const Example& example) : request(example.request.dump()) {
    SceneDriver driver(libmfx::sim::Scene::FromJson(example.scene), std::nullopt);
    const Conversation told = Measure(request, driver, {});
    successful = told.successful;
    result = json::parse(told.result);
    warnings = told.warnings.size();
    quantities = QuantitiesOf(request, told.result, told.stages);
  }

  const Quantity& At(const std::string& name) const {
    const auto found = std::find_if(quantities.begin(), quantities.end(),
                                    [&](const Quantity& q) { return q.name == name; });
    if (found == quantities.end()) throw std::out_of_range(name);
    return *found;
  }

  std::string request;
  bool successful = false;
  json result;
  std::size_t warnings = 0;
  std::vector<Quantity> quantities;
};

std::vector<std::string> NamesOf(const std::vector<Quantity>& quantities) {
  std::vector<std::string> names;
  names.reserve(quantities.size());
  for (const Quantity& q : quantities) names.push_back(q.name);
  return names;
}

// ---- each type

TEST(QuantitiesTest, AHoleIsToldInMillimetresAndDegreesWithTheRadiusThatWasFitted) {
  const Outcome hole(Example("hole"));
  ASSERT_TRUE(hole.successful);
  EXPECT_THAT(NamesOf(hole.quantities), ElementsAre("Location x", "Location y", "Location z",
                                                    "Location, distance from the nominal",
                                                    "Normal, angle to the nominal", "Radius"));
  const Quantity& x = hole.At("Location x");
  EXPECT_EQ(x.unit, "mm");
  EXPECT_EQ(x.source, Source::kMeasured);
  EXPECT_DOUBLE_EQ(*x.nominal, 250.8);
  EXPECT_DOUBLE_EQ(*x.measured, 1000.0 * hole.result["Location"][0].get<double>());
  EXPECT_NEAR(*x.Deviation(), -0.8, 0.05);
  EXPECT_NEAR(*hole.At("Location, distance from the nominal").measured, 0.9, 0.05);
  const Quantity& angle = hole.At("Normal, angle to the nominal");
  EXPECT_EQ(angle.unit, "°");
  EXPECT_LT(*angle.measured, 0.2);
  EXPECT_FALSE(angle.Deviation());  // it is one itself
  const Quantity& radius = hole.At("Radius");
  EXPECT_EQ(radius.source, Source::kRepeated);
  EXPECT_EQ(*radius.nominal, 6.0);
  EXPECT_NEAR(*radius.measured, 6.0, 0.05);
  EXPECT_NE(*radius.measured, 6.0);
  EXPECT_THAT(NotesOf(hole.quantities), IsEmpty());
}

TEST(QuantitiesTest, AHoleOfAnotherRadiusIsToldBesideTheNominalThatTheResultRepeats) {
  // Below what the library warns of, and above, by 0.1 and 0.5 mm.
  for (const double nominal : {0.0059, 0.0055}) {
    Example example("hole");
    example.request["Feature"]["Radius"] = nominal;
    const Outcome hole(example);
    ASSERT_TRUE(hole.successful);
    EXPECT_EQ(hole.result["Radius"], nominal);
    EXPECT_EQ(hole.warnings, nominal < 0.0058 ? 1U : 0U);
    const Quantity& radius = hole.At("Radius");
    EXPECT_NEAR(*radius.measured, 6.0, 0.03);
    EXPECT_TRUE(radius.IsOff());
    EXPECT_THAT(
        NotesOf(hole.quantities),
        ElementsAre("Radius: the fit found " + SentenceText(*radius.measured, "mm") +
                    ", the result repeats the nominal " + SentenceText(1000.0 * nominal, "mm")));
  }
}

TEST(QuantitiesTest, OfAChamferedHoleTheRimIsFittedAndTheBoreIsNot) {
  Example example("hole");
  example.request["Feature"]["Location"] = example.scene["pose"]["position"];
  example.request["ChamferDepth"] = 0.001;  // 45 degrees: the rim is 1 mm wider
  example.request["Feature"]["Radius"] = 0.005;
  const std::string request = example.request.dump();
  Stages stages;
  stages.fitted = {{"RimRadius", 0.0065}};
  const auto told = QuantitiesOf(
      request,
      R"({"Location":[0.25,0.1,2.2],"Normal":[0,0.35,-0.94],"Radius":0.005,"Success":true})",
      stages);
  ASSERT_GE(told.size(), 2U);
  const Quantity& bore = told[told.size() - 2];
  EXPECT_EQ(bore.name, "Radius");
  EXPECT_NEAR(*bore.nominal, 5.0, 1e-9);
  EXPECT_FALSE(bore.measured);
  const Quantity& rim = told.back();
  EXPECT_EQ(rim.source, Source::kBeside);
  EXPECT_NEAR(*rim.nominal, 6.0, 1e-3);
  EXPECT_NEAR(*rim.Deviation(), 0.5, 1e-3);
  EXPECT_THAT(NotesOf(told),
              ElementsAre(StartsWith("Radius of the rim: the fit found 6.5 mm, the nominal is 6"),
                          "not measured, as the request tells it: Radius 5 mm"));
}

TEST(QuantitiesTest, ABallIsToldWithTheRadiusThatWasFitted) {
  const Outcome ball(Example("matte-sphere"));
  ASSERT_TRUE(ball.successful);
  const Quantity& radius = ball.At("Radius");
  EXPECT_EQ(radius.source, Source::kRepeated);
  EXPECT_EQ(*radius.nominal, 12.7);
  EXPECT_NE(*radius.measured, 12.7);
  EXPECT_NEAR(*radius.measured, 12.7, 0.08);
  EXPECT_THAT(NotesOf(ball.quantities), IsEmpty());

  Stages stages;
  stages.fitted = {{"Radius", 0.0130}};
  const auto off = QuantitiesOf(ball.request, ball.result.dump(), stages);
  EXPECT_THAT(NotesOf(off),
              ElementsAre("Radius: the fit found 13 mm, the result repeats the nominal 12.7 mm; "
                          "the centre lies off along the line of sight by as much"));
}

TEST(QuantitiesTest, OfAStudTheHeightIsToldAndWhatAFlagHolds) {
  for (const char* type : {"stud", "threaded-hole"}) {
    Example example(type);
    const Outcome free(example);
    ASSERT_TRUE(free.successful);
    const double offset = 1000.0 * example.request["Feature"]["Offset"].get<double>();
    EXPECT_NEAR(*free.At("Location along the axis").nominal, offset, 0.01);
    EXPECT_THAT(NotesOf(free.quantities),
                ElementsAre(StartsWith("not measured, as the request tells it: Location along")));
    EXPECT_EQ(free.At("Radius").source, Source::kMeasured);
    EXPECT_NEAR(*free.At("Radius").measured, 5.0, 0.1);
    // Across the axis alone, so the offset has no part in it.
    EXPECT_LT(*free.At("Location, distance from the nominal").measured, 0.8 * offset);

    example.request["FixRadius"] = true;
    example.request["FixAxis"] = true;
    const Outcome held(example);
    ASSERT_TRUE(held.successful);
    EXPECT_EQ(held.result["Radius"], example.request["Feature"]["Radius"]);
    const double radius = 1000.0 * example.request["Feature"]["Radius"].get<double>();
    EXPECT_FALSE(held.At("Radius").measured);
    EXPECT_EQ(held.At("Radius").remark, "held by \"FixRadius\"");
    EXPECT_FALSE(held.At("Axis").measured);
    const auto notes = NotesOf(held.quantities);
    ASSERT_EQ(notes.size(), 1U);
    EXPECT_THAT(notes[0], testing::EndsWith(" mm; Axis; Radius " + SentenceText(radius, "mm")));
  }
}

TEST(QuantitiesTest, ARescanOfAStudRaisesItsCentreAndNotItsDeviation) {
  const Example example("stud");
  const std::string request = example.request.dump();
  const json axis = example.request["Feature"]["Axis"];
  // As after one re-scan: the centre stands at twice the offset.
  json location = example.request["Feature"]["Location"];
  double norm = 0.0;
  for (const json& a : axis) norm += a.get<double>() * a.get<double>();
  for (std::size_t i = 0; i < 3; ++i) {
    location[i] = location[i].get<double>() + 0.004 * axis[i].get<double>() / std::sqrt(norm);
  }
  const json result = {
      {"Location", location}, {"Axis", axis}, {"Radius", 0.005}, {"Success", true}};
  const auto told = QuantitiesOf(request, result.dump(), {});
  EXPECT_NEAR(*told[3].measured, 0.0, 1e-9);
  EXPECT_EQ(told[4].name, "Location along the axis");
  EXPECT_NEAR(*told[4].nominal, 4.0, 1e-9);
}

TEST(QuantitiesTest, OpeningsMeasureAllThatTheyState) {
  for (const char* type : {"rectangle", "slot"}) {
    const Outcome opening(Example{type});
    ASSERT_TRUE(opening.successful);
    EXPECT_NEAR(*opening.At("Length").Deviation(), 0.0, 0.5);
    EXPECT_NEAR(*opening.At("Width").measured, 1000.0 * opening.result["Width"].get<double>(),
                1e-9);
    EXPECT_LT(*opening.At("Tangent, angle to the nominal").measured, 2.0);
    EXPECT_THAT(NotesOf(opening.quantities), IsEmpty());
    for (const Quantity& q : opening.quantities) {
      EXPECT_EQ(q.source, Source::kMeasured) << q.name;
      EXPECT_TRUE(q.measured) << q.name;
    }
  }
  const Outcome polygon(Example("polygon"));
  ASSERT_TRUE(polygon.successful);
  EXPECT_EQ(polygon.At("Radius").source, Source::kMeasured);
  EXPECT_NEAR(polygon.At("Radius").nominal.value(), 12.0, 1e-12);
  EXPECT_LT(polygon.At("Axis, angle to the nominal").measured.value(), 2.0);
  EXPECT_TRUE(polygon.At("Sides").is_count);
  EXPECT_EQ(*polygon.At("Sides").nominal, 6.0);
  EXPECT_THAT(NotesOf(polygon.quantities), IsEmpty());
}

TEST(QuantitiesTest, PointsTellAlongWhichDirectionTheyWereMeasured) {
  const Outcome face(Example("surface-normal"));
  ASSERT_TRUE(face.successful);
  EXPECT_THAT(NotesOf(face.quantities),
              ElementsAre("not measured, as the request tells it: Location across the line of "
                          "sight"));
  const Outcome edge(Example("edge"));
  ASSERT_TRUE(edge.successful);
  EXPECT_THAT(NotesOf(edge.quantities),
              ElementsAre("not measured, as the request tells it: Location along the border; "
                          "Location, depth below the surface 1.0004 mm"));
}

// ---- what has none

TEST(QuantitiesTest, AFailureHasMeasuredNothing) {
  Example example("hole");
  example.request["Feature"]["Radius"] = 0.0045;  // a third too small: refused
  const Outcome hole(example);
  ASSERT_FALSE(hole.successful);
  ASSERT_FALSE(hole.quantities.empty());
  for (const Quantity& q : hole.quantities) EXPECT_FALSE(q.measured) << q.name;
  EXPECT_EQ(*hole.At("Radius").nominal, 4.5);
  EXPECT_THAT(NotesOf(hole.quantities), IsEmpty());

  Stages stages;
  stages.fitted = {{"RimRadius", 0.006}};
  const auto told = QuantitiesOf(hole.request, R"({"Success":false,"Radius":0.0045})", stages);
  EXPECT_FALSE(told.back().measured);
  EXPECT_EQ(told.back().remark, "the fit found 6 mm");
}

TEST(QuantitiesTest, WhatIsNoMeasurementOfAPartHasNoQuantities) {
  for (const char* request :
       {"", "no JSON", "[]", R"({"Feature":{"$type":"NoSuchFeature"}})",
        R"({"Feature":{"$type":"HoleFeature"}})",
        R"({"Feature":{"$type":"ScanPathFeature","Path":{"Segments":[[[0,0,2],[0,0.1,2]]]}},
            "PointSpacing":0.01})"}) {
    EXPECT_TRUE(QuantitiesOf(request, R"({"Success":true})", {}).empty()) << request;
  }
}

TEST(QuantitiesTest, ResultsOfAnyFormDoNoHarm) {
  const std::string request = Example("hole").request.dump();
  Stages stages;
  stages.fitted = {{"RimRadius", std::nan("")}, {"Other", 1.0}};
  for (const char* result :
       {"<<not yet>>", "[]", "3", "{}", R"({"Success":true})", R"({"Success":"false"})",
        R"({"Success":true,"Location":[0,null,2],"Normal":[1],"Radius":"x"})"}) {
    const auto told = QuantitiesOf(request, result, stages);
    EXPECT_EQ(told.size(), 6U);
    for (const Quantity& q : told) EXPECT_FALSE(q.measured) << q.name;
    EXPECT_TRUE(NotesOf(told).empty());
  }
}

TEST(QuantitiesTest, TheRequestIsReadByTheRulesOfTheLibrary) {
  json request = Example("rectangle").request;
  request["Feature"]["Length"] = "0.03";  // a text that spells a number is one
  const auto told = QuantitiesOf(request.dump(), R"({"Success":true,"Length":0.0301})", {});
  const auto length =
      std::find_if(told.begin(), told.end(), [](const Quantity& q) { return q.name == "Length"; });
  ASSERT_NE(length, told.end());
  EXPECT_NEAR(*length->Deviation(), 0.1, 1e-9);
}

// ---- texts

TEST(QuantitiesTest, NumbersForTablesHaveDecimalsOfTheirUnit) {
  EXPECT_EQ(TableText(11.10004, "mm"), "11.1000");
  EXPECT_EQ(TableText(-0.00001, "mm"), "0.0000");
  EXPECT_EQ(TableText(0.00001, "mm", true), "0.0000");
  EXPECT_EQ(TableText(0.1, "mm", true), "+0.1000");
  EXPECT_EQ(TableText(-0.1, "mm", true), "-0.1000");
  EXPECT_EQ(TableText(1.23456, "°"), "1.235");
  EXPECT_EQ(TableText(6.0, ""), "6");
  EXPECT_EQ(TableText(std::nan(""), "mm"), "not finite");
  EXPECT_GT(TableText(1e300, "mm").size(), 300U);
  EXPECT_EQ(SentenceText(10.0, "mm"), "10 mm");
  EXPECT_EQ(SentenceText(11.1, "mm"), "11.1 mm");
  EXPECT_EQ(SentenceText(0.0, "°"), "0°");
  EXPECT_EQ(SentenceText(100.0, ""), "100");
}

// ---- the program

TEST(QuantitiesTest, TheProgramTellsAfterTheResultWhatNoSampleBearsOut) {
  Folder folder;
  Example example("hole");
  example.request["Feature"]["Radius"] = 0.0055;
  const Ended measured =
      RunMfx({"-q", "measure", folder.Write("q", example.request.dump()), "--check=off", "--scene",
              Source("examples/scenes/hole.json"), "--record", folder.Path("r.jsonl")});
  EXPECT_EQ(measured.status, 0);
  const auto lines = Lines(measured.err);
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_THAT(lines[0], StartsWith("mfx: warning: The fitted rim has a radius of 6.0"));
  EXPECT_THAT(lines[1], testing::MatchesRegex("mfx: note: Radius: the fit found 6\\.0[0-9]* mm, "
                                              "the result repeats the nominal 5\\.5 mm"));
  EXPECT_EQ(json::parse(measured.out)["Radius"], 0.0055);
  EXPECT_EQ(RunMfx({"-q", "replay", folder.Path("r.jsonl")}).err, measured.err);
}

// ---- labels

TEST(LabelsTest, TheFirstEqualsSignEndsTheKey) {
  EXPECT_EQ(LabelOf("part=A=7"), (Labels::value_type{"part", "A=7"}));
  EXPECT_EQ(LabelOf("note="), (Labels::value_type{"note", ""}));
  EXPECT_EQ(LabelOf("Prüfer=Ä"), (Labels::value_type{"Prüfer", "Ä"}));
  for (const char* bad : {"", "part", "=7", " \t=7", "a\nb=7", "a=\x01", "a=\xff"}) {
    EXPECT_THROW(LabelOf(bad), CallError) << bad;
  }
}

TEST(LabelsTest, ABadOneEndsTheCallBeforeAnythingIsDriven) {
  Folder folder;
  const Ended ended = RunMfx({"measure", Source("examples/requests/hole.json"), "--instrument",
                              "touch " + folder.Path("started"), "--label", "part"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("mfx: a label has the form KEY=VALUE, not 'part'"));
  EXPECT_THAT(folder.Names(), IsEmpty());
}

}  // namespace
}  // namespace mfx_test
