// What a descriptor tells of the requests of its type is what the type reads, and what
// docs/requests.md says.

#include "libmfx/win32_support/request_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "documents.h"
#include "libmfx/features/feature.h"
#include "libmfx/win32_support/exports.h"

namespace libmfx::win32_support {
namespace {

using features::Feature;
using nlohmann::json;
using test::QuotedIn;
using test::ReadDocument;
using test::Table;

/// A type as the documents name it.
struct Told {
  const char* heading;
  const char* name;     ///< in the column "read by"
  const char* example;  ///< among examples/requests
};

const std::map<std::string, Told>& ToldTypes() {
  static const std::map<std::string, Told> types = {
      {"ScanPathFeature", {"Scan path", "scan path", "scan_path"}},
      {"SurfaceNormalFeature", {"Surface normal", "surface normal", "surface-normal"}},
      {"MatteSphereFeature", {"Matte sphere", "sphere", "matte-sphere"}},
      {"HoleFeature", {"Hole", "hole", "hole"}},
      {"ThreadedHoleFeature", {"Threaded hole", "threaded hole", "threaded-hole"}},
      {"SlotFeature", {"Slot", "slot", "slot"}},
      {"StudFeature", {"Stud", "stud", "stud"}},
      {"EdgeFeature", {"Edge", "edge", "edge"}},
      {"PolygonFeature", {"Polygon", "polygon", "polygon"}},
      {"RectangleFeature", {"Rectangle", "rectangle", "rectangle"}},
  };
  return types;
}

const Told& ToldOf(const FeatureDescriptor& descriptor) {
  return ToldTypes().at(descriptor._request_type);
}

std::vector<std::shared_ptr<FeatureDescriptor>> Requested() {
  std::vector<std::shared_ptr<FeatureDescriptor>> types;
  for (const auto& descriptor : *GetFeatureDescriptors()) {
    if (!descriptor->_request_type.empty()) types.push_back(descriptor);
  }
  return types;
}

json ExampleOf(const FeatureDescriptor& descriptor) {
  const std::string file = ToldOf(descriptor).example;
  return json::parse(ReadDocument("examples/requests/" + file + ".json"));
}

json& ObjectOf(json& request, int place) {
  if (place == REQUEST_ROOT) return request;
  json& feature = request["Feature"];
  return place == REQUEST_FEATURE ? feature : feature["Path"];
}

std::string ErrorOf(const json& request) {
  return std::unique_ptr<Feature>(Feature::Create(request.dump()))->GetError();
}

TEST(RequestKeys, EveryTypeThatARequestNamesIsTold) {
  std::set<std::string> types;
  for (const auto& descriptor : Requested()) {
    types.insert(descriptor->_request_type);
    const std::string text = "{\"Feature\":{\"$type\":\"" + descriptor->_request_type + "\"}}";
    const std::unique_ptr<Feature> made(Feature::Create(text));
    const std::string& name = made->FeatureName();
    EXPECT_EQ(std::wstring(name.begin(), name.end()), descriptor->_name);
  }
  EXPECT_EQ(types.size(), ToldTypes().size());
}

TEST(RequestKeys, RequiredIsWhatIsRefusedWhereItIsMissing) {
  int required = 0;
  for (const auto& descriptor : Requested()) {
    for (const RequestKey& key : descriptor->_request) {
      json request = ExampleOf(*descriptor);
      ASSERT_EQ(ErrorOf(request), "");
      ObjectOf(request, key.place).erase(key.key);
      // Without "$type" a request asks for no class, and is refused later.
      if (key.key == "$type" && key.place == REQUEST_FEATURE) continue;
      EXPECT_EQ(!ErrorOf(request).empty(), key.required) << descriptor->_request_type << key.key;
      required += key.required ? 1 : 0;
    }
  }
  EXPECT_GE(required, 30);
}

TEST(RequestKeys, PositiveIsWhatIsRefusedAtZero) {
  int positive = 0;
  for (const auto& descriptor : Requested()) {
    for (const RequestKey& key : descriptor->_request) {
      if (key.kind != REQUEST_NUMBER && key.kind != REQUEST_WHOLE && key.kind != REQUEST_COUNT) {
        continue;
      }
      json request = ExampleOf(*descriptor);
      ObjectOf(request, key.place)[key.key] = 0;
      EXPECT_EQ(!ErrorOf(request).empty(), key.rule == REQUEST_POSITIVE)
          << descriptor->_request_type << " " << key.key;
      positive += key.rule == REQUEST_POSITIVE ? 1 : 0;
    }
  }
  EXPECT_EQ(positive, 11);
}

TEST(RequestKeys, ADirectionThatHasToHaveALengthIsRefusedWithoutOne) {
  int seen = 0;
  for (const auto& descriptor : Requested()) {
    for (const RequestKey& key : descriptor->_request) {
      if (key.rule != REQUEST_NOT_ZERO) continue;
      json request = ExampleOf(*descriptor);
      ObjectOf(request, key.place)[key.key] = {0, 0, 0};
      EXPECT_EQ(ErrorOf(request).substr(ErrorOf(request).rfind(' ')), " zero!") << key.key;
      ++seen;
    }
  }
  EXPECT_EQ(seen, 4);
}

TEST(RequestKeys, TheSearchHasThreeKeys) {
  for (const auto& descriptor : Requested()) {
    std::set<std::string> search;
    for (const RequestKey& key : descriptor->_request) {
      if (key.group == REQUEST_SEARCH) search.insert(key.key);
    }
    EXPECT_TRUE(search.empty() ||
                search == std::set<std::string>(
                              {"SearchEnabled", "SearchPointSpacing", "SearchRadiusMultiplier"}));
  }
}

/// What a document tells of a key.
struct ToldKey {
  std::string kind;
  std::string unit;
  std::string fallback;
};

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

/// The keys that docs/requests.md tells of a type, by place and name; its own table goes before
/// those of all types.
std::map<std::pair<int, std::string>, ToldKey> KeysToldOf(const Told& type) {
  std::map<std::pair<int, std::string>, ToldKey> keys;
  for (const Table& table : test::TablesOf(ReadDocument("docs/requests.md"))) {
    const bool root = table.heading == "At the root";
    const bool own = table.heading == type.heading && table.header.size() == 6;
    std::string read_by;
    for (const std::vector<std::string>& cells : table.rows) {
      if (!own && !root && table.heading != "In \"Feature\"") continue;
      if (!own && cells[5] != "the same") read_by = cells[5];
      if (!own && !IsNamed(read_by, type.name)) continue;
      int place = root ? REQUEST_ROOT : REQUEST_FEATURE;
      if (own && cells[1] == "root") place = REQUEST_ROOT;
      if (own && cells[1] == "\"Path\"") place = REQUEST_PATH;
      const std::size_t first = own ? 2 : 1;
      for (const std::string& key : QuotedIn(cells[0])) {
        const ToldKey told = {cells[first], cells[first + 1], cells[first + 2]};
        own ? void(keys[{place, key}] = told) : void(keys.try_emplace({place, key}, told));
      }
    }
  }
  return keys;
}

/// The words that tell a kind in a document.
std::set<std::string> WordsOf(int kind) {
  static const std::map<int, std::set<std::string>> words = {
      {REQUEST_NUMBER, {"number"}},
      {REQUEST_WHOLE, {"whole number"}},
      {REQUEST_COUNT, {"whole number"}},
      {REQUEST_BOOL, {"boolean"}},
      {REQUEST_SWITCH, {"whole number, not 0: yes"}},
      {REQUEST_TEXT, {"text"}},
      {REQUEST_POINT, {"point", "point, direction", "point, directions"}},
      {REQUEST_DIRECTION, {"direction", "point, direction", "point, directions"}},
      {REQUEST_SPACINGS, {"number or array"}},
      {REQUEST_SEGMENTS, {"array"}},
      {REQUEST_OBJECT, {"object"}}};
  return words.at(kind);
}

TEST(RequestKeys, AreThoseOfTheDocument) {
  for (const auto& descriptor : Requested()) {
    SCOPED_TRACE(descriptor->_request_type);
    auto told = KeysToldOf(ToldOf(*descriptor));
    for (const RequestKey& key : descriptor->_request) {
      const auto found = told.find({key.place, key.key});
      ASSERT_NE(found, told.end()) << key.key << " at " << key.place;
      EXPECT_TRUE(WordsOf(key.kind).contains(found->second.kind)) << key.key;
      // A row for points and directions gives the unit of the points.
      const bool has_row_of_its_own = key.kind != REQUEST_DIRECTION;
      EXPECT_EQ(has_row_of_its_own ? found->second.unit : "", key.unit) << key.key;
      told.erase(found);
    }
    for (const auto& [key, unused] : told) ADD_FAILURE() << key.second << " is not read";
  }
}

TEST(RequestKeys, DefaultsAreThoseOfTheDocument) {
  int checked = 0;
  for (const auto& descriptor : Requested()) {
    auto told = KeysToldOf(ToldOf(*descriptor));
    for (const RequestKey& key : descriptor->_request) {
      std::string shown = told[{key.place, key.key}].fallback;
      std::erase(shown, '*');
      if (shown == "true" || shown == "false") shown = shown == "true" ? "1" : "0";
      char* end = nullptr;
      const double value = std::strtod(shown.c_str(), &end);
      if (end == shown.c_str() || key.required) continue;
      EXPECT_NEAR(key.default_number, value, value == 0.0 ? 0.0 : 5e-4) << key.key;
      ++checked;
    }
  }
  EXPECT_GE(checked, 60);
}

}  // namespace
}  // namespace libmfx::win32_support
