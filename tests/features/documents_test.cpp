// What the tables of docs/requests.md and docs/errors.md say of the keys of a request is what the
// features do: defaults, required keys, who reads a key, who refuses a value.

#include "documents.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "features/shared/feature_class.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using test::QuotedIn;
using test::ReadDocument;
using test::Table;
using test::TablesOf;
using win32_support::FeatureSetting;

/// A feature type as the documents and the examples name it.
struct Type {
  const char* heading;                          ///< its section of docs/requests.md
  const char* name;                             ///< as the column "read by" names it
  const char* example;                          ///< its file among examples/requests
  std::map<std::string, std::string> settings;  ///< of keys that have another name as a setting
};

const std::vector<Type> kTypes = {
    {"Scan path", "scan path", "scan_path", {}},
    {"Surface normal", "surface normal", "surface-normal", {}},
    {"Matte sphere", "sphere", "matte-sphere", {{"UseStarPattern", "StarScanPattern"}}},
    {"Hole",
     "hole",
     "hole",
     {{"ScanQualityThreshold", "QualityThreshold"}, {"ScanLines", "NumScanLines"}}},
    {"Threaded hole",
     "threaded hole",
     "threaded-hole",
     {{"ScanQualityThreshold", "QualityThreshold"}}},
    {"Slot", "slot", "slot", {{"ScanQualityThreshold", "QualityThreshold"}}},
    {"Stud", "stud", "stud", {}},
    {"Edge", "edge", "edge", {}},
    {"Polygon", "polygon", "polygon", {{"ScanQualityThreshold", "QualityThreshold"}}},
    {"Rectangle",
     "rectangle",
     "rectangle",
     {{"ScanQualityThreshold", "QualityThreshold"}, {"ScansPerSide", "ScanPassesPerSide"}}},
};

json ExampleOf(const Type& type) {
  return json::parse(ReadDocument("examples/requests/" + std::string(type.example) + ".json"));
}

std::unique_ptr<Feature> Make(const json& request) {
  return std::unique_ptr<Feature>(Feature::Create(request.dump()));
}

/// A row of a table with the columns "key", "level", ..., "default".
struct Row {
  std::vector<std::string> keys;
  std::string level;  ///< root, Feature or Path
  std::string fallback;
};

std::vector<Row> RowsOf(const Type& type) {
  std::vector<Row> rows;
  for (const Table& table : TablesOf(ReadDocument("docs/requests.md"))) {
    if (table.heading != type.heading || table.header.size() != 6) continue;
    for (const std::vector<std::string>& cells : table.rows) {
      const std::vector<std::string> level = QuotedIn(cells[1]);
      rows.push_back({QuotedIn(cells[0]), level.empty() ? cells[1] : level[0], cells[4]});
    }
  }
  return rows;
}

/// The object of a request that holds the keys of a level.
json& LevelOf(json& request, const std::string& level) {
  if (level == "root") return request;
  json& feature = request["Feature"];
  return level == "Feature" ? feature : feature[level];
}

/// The setting that a key of a request ends up in, null where there is none.
const FeatureSetting* SettingOf(const Type& type, const std::string& key) {
  const auto other = type.settings.find(key);
  const std::string name = other == type.settings.end() ? key : other->second;
  const std::unique_ptr<Feature> feature = Make(ExampleOf(type));
  for (const FeatureSetting& row : shared::DescriptorOf(*feature)->_settings) {
    if (row.kind == win32_support::KIND_RESULT) continue;
    if (row.name == std::wstring(name.begin(), name.end())) return &row;
  }
  return nullptr;
}

/// The value of a number or a switch.
double ValueOf(const Feature& feature, const FeatureSetting& row) {
  if (row.type == win32_support::SETTING_DOUBLE) return feature.GetSetting<double>(row.name);
  if (row.type == win32_support::SETTING_BOOL) return feature.GetSetting<bool>(row.name) ? 1 : 0;
  return feature.GetSetting<int>(row.name);
}

double DefaultOf(const FeatureSetting& row) {
  if (row.type == win32_support::SETTING_DOUBLE) return row.default_double;
  if (row.type == win32_support::SETTING_BOOL) return row.default_bool ? 1 : 0;
  return row.default_int;
}

/// A default as the table tells it, and by how much it may be rounded; nothing if it is no number
/// and no switch.
struct Told {
  double value = 0.0;
  double rounding = 0.0;
};

std::optional<Told> ToldIn(std::string cell) {
  std::erase(cell, '*');
  if (cell == "false" || cell == "true") return Told{cell == "true" ? 1.0 : 0.0, 0.0};
  const std::size_t end = cell.find_first_not_of("-0123456789.");
  const std::string number = cell.substr(0, end);
  if (number.empty()) return std::nullopt;
  const bool is_rounded = end != std::string::npos && cell[end] == ' ';  // "1.396 (80°)"
  const std::size_t point = number.find('.');
  const double decimals =
      point == std::string::npos ? 0.0 : static_cast<double>(number.size() - point - 1);
  const double rounding = is_rounded || decimals == 3 ? 0.5 * std::pow(10.0, -decimals) : 0.0;
  return Told{json::parse(number).get<double>(), rounding};
}

TEST(RequestsDocument, TellsTheDefaultsOfTheSettings) {
  int checked = 0;
  for (const Type& type : kTypes) {
    EXPECT_FALSE(RowsOf(type).empty()) << type.heading;
    for (const Row& row : RowsOf(type)) {
      const std::optional<Told> told = ToldIn(row.fallback);
      for (const std::string& key : row.keys) {
        const FeatureSetting* setting = SettingOf(type, key);
        if (!told || setting == nullptr) continue;
        EXPECT_LE(std::abs(told->value - DefaultOf(*setting)), told->rounding)
            << type.heading << ": " << key << " is " << DefaultOf(*setting);
        ++checked;
      }
    }
  }
  EXPECT_GE(checked, 50);
}

TEST(RequestsDocument, TellsWhichKeysAreRequired) {
  int required = 0;
  for (const Type& type : kTypes) {
    for (const Row& row : RowsOf(type)) {
      for (const std::string& key : row.keys) {
        json request = ExampleOf(type);
        LevelOf(request, row.level).erase(key);
        const bool is_required = row.fallback.starts_with("required");
        EXPECT_EQ(!Make(request)->GetError().empty(), is_required) << type.heading << ": " << key;
        required += is_required ? 1 : 0;
      }
    }
  }
  EXPECT_GE(required, 30);
}

/// Whether a key at a level of the request moves the setting that it ends up in.
bool Moves(const Type& type, const std::string& key, const std::string& level,
           const FeatureSetting& setting) {
  json request = ExampleOf(type);
  request.erase(key);
  request["Feature"].erase(key);
  const double before = ValueOf(*Make(request), setting);
  const bool is_switch = setting.type == win32_support::SETTING_BOOL;
  LevelOf(request, level)[key] = is_switch ? json(before == 0.0) : json(7.0);
  return ValueOf(*Make(request), setting) != before;
}

TEST(RequestsDocument, TellsTheLevelOfEveryKey) {
  int checked = 0;
  for (const Type& type : kTypes) {
    for (const Row& row : RowsOf(type)) {
      for (const std::string& key : row.keys) {
        const FeatureSetting* setting = SettingOf(type, key);
        if (setting == nullptr) continue;
        // Without its required keys a request is not read on.
        if (row.fallback.starts_with("required") && row.level == "Feature") continue;
        EXPECT_EQ(Moves(type, key, "root", *setting), row.level == "root")
            << type.heading << ": " << key;
        EXPECT_EQ(Moves(type, key, "Feature", *setting), row.level == "Feature")
            << type.heading << ": " << key;
        ++checked;
      }
    }
  }
  EXPECT_GE(checked, 50);
}

/// Whether the column "read by" names the type.
bool IsNamed(std::string cell, const std::string& name) {
  const bool all = cell.starts_with("all");
  if (all) cell.erase(0, cell.starts_with("all but ") ? 8 : 3);
  for (std::size_t i = cell.find(" and "); i != std::string::npos; i = cell.find(" and ")) {
    cell = cell.substr(0, i) + ", " + cell.substr(i + 5);
  }
  const bool listed = (", " + cell + ",").find(", " + name + ",") != std::string::npos;
  return all ? !listed : listed;
}

TEST(RequestsDocument, TellsWhoReadsTheSharedKeys) {
  EXPECT_TRUE(IsNamed("hole, stud and edge", "edge"));
  EXPECT_FALSE(IsNamed("threaded hole", "hole"));
  EXPECT_FALSE(IsNamed("all but hole", "hole"));
  EXPECT_TRUE(IsNamed("all", "hole"));
  int checked = 0;
  for (const Table& table : TablesOf(ReadDocument("docs/requests.md"))) {
    if (table.heading != "At the root") continue;
    std::string read_by;
    for (const std::vector<std::string>& cells : table.rows) {
      if (cells[5] != "the same") read_by = cells[5];
      const std::string key = QuotedIn(cells[0]).at(0);
      for (Type type : kTypes) {
        if (key == "QualityThreshold") type.settings.clear();
        const FeatureSetting* setting = SettingOf(type, key);
        if (setting == nullptr) continue;
        EXPECT_EQ(Moves(type, key, "root", *setting), IsNamed(read_by, type.name))
            << key << " of " << type.name;
        ++checked;
      }
    }
  }
  EXPECT_GE(checked, 40);
}

/// How a feature refuses a request before its first scan, or an empty text.
std::string Refusal(const json& request) {
  const std::unique_ptr<Feature> feature = Make(request);
  if (feature->GetError().empty()) feature->GetDrivePoints(false);
  return feature->GetError();
}

/// The rows of the table of docs/errors.md that tells who refuses a key at 0 and below.
std::vector<std::vector<std::string>> RefusedValues() {
  for (const Table& table : TablesOf(ReadDocument("docs/errors.md"))) {
    if (table.header == std::vector<std::string>{"key", "refused by", "text"}) return table.rows;
  }
  return {};
}

TEST(ErrorsDocument, TellsWhoRefusesWhichValueAtZeroAndBelow) {
  // All keys of sizes, spacings and counts that a request may hold, with their level.
  const std::map<std::string, std::string> keys = {
      {"PointSpacing", "root"},      {"LineSpacing", "root"},        {"ClearanceZone", "root"},
      {"ScanLines", "root"},         {"NumberOfPoints", "root"},     {"NumPointsPerLine", "root"},
      {"BoxDimension", "root"},      {"BoxDimensionRatio", "root"},  {"ScanPassesPerArc", "root"},
      {"ScanPassesPerSide", "root"}, {"ScansPerSide", "root"},       {"SearchPointSpacing", "root"},
      {"RescanThreshold", "root"},   {"Radius", "Feature"},          {"Offset", "Feature"},
      {"Height", "Feature"},         {"Length", "Feature"},          {"Width", "Feature"},
      {"Sides", "Feature"},          {"RadiusTolerance", "Feature"}, {"PlaneTolerance", "Feature"}};
  std::map<std::string, std::vector<std::string>> told;
  for (const auto& cells : RefusedValues()) told[QuotedIn(cells[0]).at(0)] = cells;
  EXPECT_EQ(told.size(), 9u);
  for (const auto& [key, cells] : told) EXPECT_TRUE(keys.contains(key)) << key;

  for (const auto& [key, level] : keys) {
    const bool in_search = key == "SearchPointSpacing";  // and not before it
    for (const Type& type : kTypes) {
      const bool is_refused =
          !in_search && told.contains(key) && IsNamed(told.at(key)[1], type.name);
      for (const double value : {0.0, -1.0}) {
        json request = ExampleOf(type);
        LevelOf(request, level)[key] = value;
        const std::string text = Refusal(request);
        EXPECT_EQ(!text.empty(), is_refused)
            << key << " of " << type.name << " at " << value << ": " << text;
        if (!is_refused) continue;
        const std::string quoted = QuotedIn(told.at(key)[2]).at(0);
        const std::size_t open = quoted.find("...");
        EXPECT_EQ(text.substr(0, open), quoted.substr(0, open)) << type.name;
      }
    }
  }
}

TEST(ErrorsDocument, TellsWhatADirectionOfLengthZeroEndsIn) {
  const char* const kParallel =
      "Normal and tangent are (anti-)parallel! Unable to create scan pattern!";
  const std::map<std::pair<std::string, std::string>, std::string> expected = {
      {{"surface normal", "Normal"}, "Nominal normal is zero!"},
      {{"polygon", "Normal"}, "Nominal normal is zero!"},
      {{"polygon", "Axis"}, "Nominal axis is zero!"},
      {{"edge", "SurfaceNormal"}, "Axis is zero!"},
      {{"rectangle", "Normal"}, kParallel},
      {{"rectangle", "Tangent"}, kParallel},
      {{"slot", "Normal"}, kParallel},
      {{"slot", "Tangent"}, kParallel},
      {{"stud", "Axis"}, "The angle of the feature is too small for a reliable extraction!"},
      {{"threaded hole", "Axis"},
       "The angle of the feature is too large for a reliable extraction!"},
      {{"hole", "Normal"}, ""}};
  const std::string errors = ReadDocument("docs/errors.md");
  std::size_t seen = 0;
  for (const Type& type : kTypes) {
    for (const char* key : {"Normal", "Tangent", "Axis", "SurfaceNormal"}) {
      json request = ExampleOf(type);
      if (!request["Feature"].contains(key)) continue;
      ++seen;
      for (const json& zero : {json{0, 0, 0}, json("none")}) {
        request["Feature"][key] = zero;
        const std::string text = Refusal(request);
        EXPECT_EQ(text, expected.at({type.name, key})) << type.name << ", " << key;
        EXPECT_NE(errors.find(text), std::string::npos) << text;
      }
    }
  }
  EXPECT_EQ(seen, expected.size());
}

TEST(RequestsDocument, TellsWhatFollowsTheObjectAndTheHolesNormal) {
  for (const Type& type : kTypes) {
    const std::string text = ExampleOf(type).dump();
    const std::unique_ptr<Feature> plain(Feature::Create(text));
    const std::unique_ptr<Feature> followed(Feature::Create("// first\n" + text + " } and more"));
    const std::unique_ptr<Feature> preceded(Feature::Create("more " + text));
    EXPECT_EQ(followed->FeatureName(), plain->FeatureName());
    EXPECT_EQ(preceded->FeatureName(), "UnknownFeature");
  }
  json hole = ExampleOf(kTypes[3]);
  hole["ScanOrigin"] = {0.0, 0.0, 0.2};
  hole["Feature"].erase("Normal");
  const auto normal = Make(hole)->GetSetting<VectorXYZW>(L"NominalNormal");
  const json& place = hole["Feature"]["Location"];
  const Eigen::Vector3d sight(place[0].get<double>(), place[1].get<double>(),
                              place[2].get<double>() - 0.2);
  EXPECT_LT((normal.xyz() - sight.normalized()).norm(), 1e-12);
}

TEST(RequestsDocument, ASphereWhoseLocationIsNoArrayLooksAtTheOrigin) {
  json sphere = ExampleOf(kTypes[2]);
  sphere["Feature"]["Location"] = "none";
  const std::unique_ptr<Feature> feature = Make(sphere);
  EXPECT_EQ(feature->GetError(), "");
  EXPECT_EQ(feature->GetSetting<PointXYZW>(L"NominalPoint").xyz(), Eigen::Vector3d::Zero());
  sphere["Feature"].erase("Location");
  EXPECT_EQ(Make(sphere)->GetError(), "Request does not contain nominal location!");
}

}  // namespace
}  // namespace libmfx::features
