// The schema of plans, the document and the reader say the same.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "documents.h"
#include "host/check_context.h"
#include "inspection/plan_reader.h"
#include "plan_text.h"

#if __has_include(<valijson/validator.hpp>)
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>
#define MFX_HAS_VALIDATOR 1
#endif

namespace libmfx::inspection {
namespace {

using libmfx::test::BlocksOf;
using libmfx::test::ReadDocument;
using plan_test::kGoodPlan;
using plan_test::Listed;

json PlanSchema() { return json::parse(ReadDocument("schemas/inspection-plan.json")); }

json WithoutComments(const std::string& text) { return json::parse(text, nullptr, true, true); }

#ifdef MFX_HAS_VALIDATOR
/// The schema, read once.
class Validation {
 public:
  Validation() {
    valijson::SchemaParser(valijson::SchemaParser::kDraft7)
        .populateSchema(valijson::adapters::NlohmannJsonAdapter(_document), _schema);
  }

  /// What it says against a value; empty: nothing.
  std::string Against(const json& value) {
    valijson::ValidationResults results;
    valijson::Validator validator;
    if (validator.validate(_schema, valijson::adapters::NlohmannJsonAdapter(value), &results)) {
      return {};
    }
    std::string said = "refused";
    for (valijson::ValidationResults::Error error; results.popError(error);) {
      for (const std::string& part : error.context) said += part;
      said += ": " + error.description + "\n";
    }
    return said;
  }

 private:
  json _document = PlanSchema();
  valijson::Schema _schema;
};
#else
class Validation {
 public:
  std::string Against(const json&) {
    return "there is no validator on this machine: run scripts/setup.sh test, and build again";
  }
};
#endif

std::string ExampleOfTheDocument() {
  for (const auto& block : BlocksOf(ReadDocument("docs/inspection.md"))) {
    if (block.language == "json" && block.text.find("\"stations\"") != std::string::npos) {
      return block.text;
    }
  }
  return {};
}

TEST(PlanSchemaTest, TheExampleOfTheDocumentIsValidAndReadWithoutAFinding) {
  const std::string example = ExampleOfTheDocument();
  const ReadPlan read = ReadPlanText(example);
  EXPECT_EQ(Listed(read.findings), "");
  EXPECT_EQ(read.plan.features.size(), 8u);
  EXPECT_EQ(read.plan.datums.size(), 3u);
  EXPECT_EQ(read.plan.characteristics.size(), 2u);
  Validation schema;
  EXPECT_EQ(schema.Against(WithoutComments(example)), "");
  EXPECT_EQ(schema.Against(WithoutComments(kGoodPlan)), "");
}

TEST(PlanSchemaTest, TheShippedExampleIsValidAndReadWithoutAFinding) {
  const std::string example = ReadDocument("examples/inspection/plan.json");
  EXPECT_EQ(Listed(ReadPlanText(example).findings), "");
  EXPECT_EQ(Validation().Against(WithoutComments(example)), "");
}

TEST(PlanSchemaTest, WhatTheSchemaRefusesTheReaderRefusesToo) {
  const std::vector<std::pair<std::string, json>> wrong = {
      {"/units/length", "cm"},
      {"/unit", 1},
      {"/part/temperature", 501},
      {"/part/colour", "red"},
      {"/stations", json::array()},
      {"/stations/0/name", ""},
      {"/stations/0/pose", "here"},
      {"/stations/0/pose/position", {1, 2}},
      {"/stations/0/pose/rotation", {{1, 0, 0}, {0, -1, 0}, {0, 0, -1}}},
      {"/stations/0/position_off", -1},
      {"/stations/1/azimuth", {1}},
      {"/defaults/HoleFeature/PointSpacin", 1},
      {"/defaults/GearFeature", json::object()},
      {"/features/0/type", "GearFeature"},
      {"/features/0/nominal/Normal", {0, 0, 1}},
      {"/features/0/nominal/Location", {0, 0}},
      {"/features/6/options/Radius", 1},
      {"/features/6/options/ScanLines", {7}},
      {"/features/6/stations", json::array()},
      {"/features/8/nominal/Length", 0},
      {"/features/10/nominal/Path/Segments", json::array()},
      {"/features/10/options/PointSpacing", json::array()},
      {"/references", {"B1", "B2", 3}},
      {"/references/2/tolerance", 0},
      {"/datums/0/constrains", "axis"},
      {"/datums/0/direction", "up"},
      {"/alignment/method", "bestfit"},
      {"/alignment/scale", true},
      {"/characteristics/0/type", "place"},
      {"/characteristics/0/features", {"H1", "H2"}},
      {"/characteristics/0/tolerance", 0},
      {"/characteristics/0/limits", {0, 1}},
      {"/characteristics/0/quantity", "x"},
      {"/characteristics/1/tolerance", 1},
      {"/characteristics/1/limits", {nullptr, nullptr}},
      {"/characteristics/1/limits", {1}},
      {"/characteristics/3/quantity", "x"},
      {"/characteristics/5/features", {"P1", "P2", "P3"}}};
  const json good = WithoutComments(kGoodPlan);
  Validation schema;
  for (const auto& [place, value] : wrong) {
    json changed = good;
    changed[json::json_pointer(place)] = value;
    EXPECT_NE(schema.Against(changed), "") << place;
    EXPECT_TRUE(host::HasErrors(ReadPlanText(changed.dump()).findings)) << place << " " << value;
  }
  const std::vector<std::string> needed = {"/stations",
                                           "/features",
                                           "/references",
                                           "/stations/0/pose",
                                           "/stations/0/pose/position",
                                           "/features/0/name",
                                           "/features/0/type",
                                           "/features/0/nominal",
                                           "/features/0/nominal/Radius",
                                           "/features/7/nominal/Normal",
                                           "/references/2/feature",
                                           "/datums/0/features",
                                           "/characteristics/0/name",
                                           "/characteristics/0/tolerance",
                                           "/characteristics/1/limits",
                                           "/characteristics/4/quantity"};
  for (const std::string& place : needed) {
    json changed = good;
    const json::json_pointer pointer(place);
    ASSERT_EQ(changed[pointer.parent_pointer()].erase(pointer.back()), 1u) << place;
    EXPECT_NE(schema.Against(changed), "") << place;
    EXPECT_TRUE(host::HasErrors(ReadPlanText(changed.dump()).findings)) << place;
  }
}

std::set<std::string> KeysOf(const json& object) {
  std::set<std::string> keys;
  for (const auto& [key, value] : object["properties"].items()) {
    if (key != "$schema" && key != "$comment") keys.insert(key);
  }
  return keys;
}

// A class says what it reads in its tables, and the schema says the same.
TEST(PlanSchemaTest, AFeatureHasTheKeysThatItsTypeReads) {
  const json schema = PlanSchema();
  const json& types = schema["properties"]["features"]["items"]["oneOf"];
  std::size_t compared = 0;
  for (const auto* type : host::check::RequestedTypes()) {
    SCOPED_TRACE(type->_request_type);
    std::set<std::string> root, nominal, needed;
    for (const auto& row : type->_request) {
      if (row.key == "$type" || row.key == "$id" || row.key == "Name") continue;
      if (row.place == win32_support::REQUEST_ROOT) root.insert(row.key);
      if (row.place != win32_support::REQUEST_FEATURE) continue;
      nominal.insert(row.key);
      if (row.required) needed.insert(row.key);
    }
    if (type->_request_type == "HoleFeature") needed.insert("Normal");
    if (type->_request_type == "MatteSphereFeature") needed.insert("Radius");
    EXPECT_EQ(KeysOf(schema["definitions"]["options-" + type->_request_type]), root);
    EXPECT_EQ(schema["properties"]["defaults"]["properties"].count(type->_request_type), 1u);
    for (const json& told : types) {
      if (told["title"] != type->_request_type) continue;
      ++compared;
      const json& object = told["properties"]["nominal"];
      EXPECT_EQ(KeysOf(object), nominal);
      EXPECT_EQ(std::set<std::string>(object["required"].begin(), object["required"].end()),
                needed);
      EXPECT_EQ(object["additionalProperties"], false);
    }
  }
  EXPECT_EQ(compared, types.size());
  EXPECT_EQ(compared, 10u);
}

}  // namespace
}  // namespace libmfx::inspection
