// What docs/uncertainty.md and the schema say about a model of the instrument is what its reader
// takes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "documents.h"
#include "host/errors.h"
#include "thrown.h"
#include "uncertainty/instrument_model.h"

namespace libmfx::uncertainty {
namespace {

using nlohmann::json;
using Pointer = nlohmann::json::json_pointer;
using testing::HasSubstr;

/// How the reader refuses a model; empty if it does not.
std::string RefusalOf(const json& model) {
  const auto* test = testing::UnitTest::GetInstance()->current_test_info();
  const auto path = std::filesystem::path(testing::TempDir()) /
                    ("mfx_" + std::string(test->test_suite_name()) + "_" + test->name() + ".json");
  std::ofstream(path) << model;
  std::string refusal =
      test::TextThrown<host::CallError>([&] { ReadInstrumentModel(path.string()); });
  std::filesystem::remove(path);
  return refusal;
}

/// The keys that the reader lists when it meets one that it does not know.
std::set<std::string> KnownTo(json model, const std::string& place) {
  model[Pointer(place + "/made_up")] = 1;
  std::smatch listed;
  const std::string text = RefusalOf(model);
  EXPECT_THAT(text, HasSubstr("made_up: unknown key"));
  std::regex_search(text, listed, std::regex(R"(\(known here: ([^)]*)\))"));
  std::istringstream names(listed[1]);
  std::set<std::string> keys;
  for (std::string name; std::getline(names >> std::ws, name, ',');) keys.insert(name);
  return keys;
}

std::set<std::string> KeysOf(const json& object) {
  std::set<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.insert(key);
  return keys;
}

json Schema() { return json::parse(test::ReadDocument("schemas/instrument-model.json")); }

json Example() {
  return json::parse(test::ReadDocument("examples/uncertainty/instrument.json"), nullptr, true,
                     true);
}

/// The places of the distributions of the example, which holds all, below "contributions".
std::vector<std::string> Places() {
  const json contributions = Example()["contributions"];
  std::vector<std::string> places;
  for (const auto& [key, value] : contributions.items()) {
    if (value.contains("distribution")) places.push_back("/" + key);
    if (!key.ends_with("_encoder")) continue;
    for (const auto& [wave, distribution] : value.items()) places.push_back("/" + key + "/" + wave);
  }
  return places;
}

/// What a distribution of a shape may be.
struct Limits {
  double least_mean = 0.0;
  double largest_mean = 0.0;
  double largest_size = 0.0;
};

/// The reader takes what lies on the limits, and nothing beyond.
void ExpectLimits(const std::string& place, const Limits& limits) {
  for (const char* shape : {"normal", "rectangular", "triangular", "arcsine"}) {
    SCOPED_TRACE(place + " " + shape);
    const std::string size = shape == std::string("normal") ? "standard" : "half_width";
    const auto refusal = [&](double mean, double of_size) {
      json model = Example();
      model[Pointer("/contributions" + place)] = {
          {"distribution", shape}, {size, of_size}, {"mean", mean}};
      return RefusalOf(model);
    };
    EXPECT_EQ(refusal(limits.least_mean, 0.0), "");
    EXPECT_EQ(refusal(limits.largest_mean, limits.largest_size), "");
    EXPECT_THAT(refusal(0.0, -1e-9), HasSubstr(size + ": "));
    EXPECT_THAT(refusal(0.0, 1.001 * limits.largest_size), HasSubstr(size + ": "));
    EXPECT_THAT(refusal(1.001 * limits.largest_mean, 0.0), HasSubstr("mean: "));
    EXPECT_THAT(refusal(1.001 * limits.least_mean - 1e-9, 0.0), HasSubstr("mean: "));
  }
}

TEST(ModelSchema, HasTheKeysThatTheReaderKnows) {
  const json properties = Schema()["properties"];
  const json example = Example();
  EXPECT_EQ(KnownTo(example, ""), KeysOf(properties));
  const json& contributions = properties["contributions"]["properties"];
  EXPECT_EQ(KnownTo(example, "/contributions"), KeysOf(contributions));
  for (const char* encoder : {"azimuth_encoder", "elevation_encoder"}) {
    EXPECT_EQ(KnownTo(example, std::string("/contributions/") + encoder),
              KeysOf(contributions[encoder]["properties"]));
  }
  // What stands in a scene too is said in the same words.
  const json scene = json::parse(test::ReadDocument("schemas/scene.json"))["properties"];
  for (const char* key : {"noise", "instrument", "surface"}) EXPECT_EQ(properties[key], scene[key]);
}

TEST(ModelSchema, HasTheLimitsOfTheReader) {
  const json contributions = Schema()["properties"]["contributions"]["properties"];
  const std::vector<std::string> places = Places();
  EXPECT_EQ(places.size(), 11U);
  for (const std::string& place : places) {
    const json& told = contributions[Pointer(
        std::regex_replace(place, std::regex("/"), "/properties/").substr(11))];
    ASSERT_EQ(told["oneOf"].size(), 2U) << place;
    const json normal = told["oneOf"][0]["properties"];
    const json bounded = told["oneOf"][1]["properties"];
    EXPECT_EQ(normal["distribution"], json({{"const", "normal"}}));
    EXPECT_EQ(bounded["distribution"], json({{"enum", {"rectangular", "triangular", "arcsine"}}}));
    EXPECT_EQ(normal["standard"], bounded["half_width"]);
    EXPECT_EQ(normal["mean"], bounded["mean"]);
    EXPECT_EQ(normal["standard"]["minimum"], 0);
    ExpectLimits(place, {normal["mean"]["minimum"], normal["mean"]["maximum"],
                         normal["standard"]["maximum"]});
  }
  json model;
  const json& expansion = contributions["expansion_ppm_per_k"];
  for (const char* end : {"minimum", "maximum"}) {
    model["contributions"]["expansion_ppm_per_k"] = expansion[end];
    EXPECT_EQ(RefusalOf(model), "");
    model["contributions"]["expansion_ppm_per_k"] = 1.001 * expansion[end].get<double>();
    EXPECT_THAT(RefusalOf(model), HasSubstr("expansion_ppm_per_k: "));
  }
}

std::string Document() { return test::ReadDocument("docs/uncertainty.md"); }

/// Both ends of a told range; none for an empty cell.
std::vector<double> RangeIn(const std::string& cell) {
  static const std::regex range(R"(([0-9.e-]+) to ([0-9.e-]+))");
  std::smatch match;
  if (!std::regex_match(cell, match, range)) return {};
  return {std::stod(match[1]), std::stod(match[2])};
}

/// The rows of the tables whose first column is this, by each of their keys.
std::map<std::string, std::vector<std::string>> RowsOf(const std::string& column) {
  std::map<std::string, std::vector<std::string>> rows;
  for (const test::Table& table : test::TablesOf(Document())) {
    if (table.header[0] != column) continue;
    for (const auto& cells : table.rows) {
      for (const std::string& key : test::QuotedIn(cells[0], '`')) rows[key] = cells;
    }
  }
  return rows;
}

TEST(ModelDocument, TellsEveryKeyAndItsLimits) {
  const auto contributions = RowsOf("key of `contributions`");
  const auto waves = RowsOf("key of an encoder's contribution");
  EXPECT_EQ(KnownTo(Example(), "/contributions"), KeysOf(contributions));
  EXPECT_EQ(KnownTo(Example(), "/contributions/azimuth_encoder"), KeysOf(waves));
  EXPECT_EQ(KnownTo(Example(), ""), KeysOf(RowsOf("key of a model")));
  for (const std::string& place : Places()) {
    const std::string key = place.substr(place.rfind('/') + 1);
    const auto& cells =
        key.ends_with("_urad") && waves.contains(key) ? waves.at(key) : contributions.at(key);
    const std::vector<double> mean = RangeIn(cells[1]);
    const std::vector<double> size = RangeIn(cells[2]);
    ASSERT_EQ(mean.size(), 2U) << key;
    ASSERT_EQ(size.size(), 2U) << key;
    EXPECT_EQ(size[0], 0.0);
    ExpectLimits(place, {mean[0], mean[1], size[1]});
  }
  json model;
  for (const double end : RangeIn(contributions.at("expansion_ppm_per_k")[1])) {
    model["contributions"]["expansion_ppm_per_k"] = end;
    EXPECT_EQ(RefusalOf(model), "");
    model["contributions"]["expansion_ppm_per_k"] = 1.001 * end;
    EXPECT_NE(RefusalOf(model), "");
  }
}

/// The standard deviation of 20,000 draws of a distribution of size 1, which is told to four
/// digits.
TEST(ModelDocument, TellsTheStandardDeviations) {
  const auto rows = RowsOf("`distribution`");
  const std::map<std::string, Distribution::Shape> shapes = {
      {"normal", Distribution::Shape::kNormal},
      {"rectangular", Distribution::Shape::kRectangular},
      {"triangular", Distribution::Shape::kTriangular},
      {"arcsine", Distribution::Shape::kArcsine}};
  EXPECT_EQ(KeysOf(json(rows)), KeysOf(json(shapes)));
  for (const auto& [name, shape] : shapes) {
    static const std::regex figure(R"((.*= )?(0\.[0-9]{4}|1) of .*)");
    std::smatch told;
    ASSERT_TRUE(std::regex_match(rows.at(name)[2], told, figure)) << rows.at(name)[2];
    sim::Rng rng(17);
    double squares = 0.0;
    for (int i = 0; i < 20000; ++i) squares += std::pow(Distribution{shape, 0.0, 1.0}.Draw(rng), 2);
    EXPECT_NEAR(std::sqrt(squares / 20000.0) / std::stod(told[2]), 1.0, 0.02) << name;
  }
}

// The lines that the document shows are what the reader says.
TEST(ModelDocument, ShowsTheWordsOfTheReader) {
  const std::vector<std::pair<std::string, json>> wrong = {
      {"/contributions/range_offset", {{"distribution", "normal"}, {"half_width", 5e-6}}},
      {"/contributions/range_scale_ppm", {{"distribution", "uniform"}, {"half_width", 1}}},
      {"/contributions/form", {{"distribution", "normal"}, {"standard", 0.001}}},
      {"/contributions/expansion_ppm_per_k", nullptr},
      {"/noise/range", -1e-5}};
  std::string shown;
  for (const test::Block& block : test::BlocksOf(Document())) {
    if (block.language == "text" && block.text.starts_with("instrument model ")) shown = block.text;
  }
  std::istringstream lines(shown);
  for (const auto& [place, value] : wrong) {
    std::string line;
    ASSERT_TRUE(std::getline(lines, line)) << place;
    json model = Example();
    model[Pointer(place)] = value;
    if (value.is_null()) model["contributions"].erase("expansion_ppm_per_k");
    const std::string refusal = RefusalOf(model);
    EXPECT_EQ(refusal.substr(refusal.find(".json: ")), line.substr(line.find(".json: ")));
  }
  std::string more;
  EXPECT_FALSE(std::getline(lines, more)) << more;
}

}  // namespace
}  // namespace libmfx::uncertainty
