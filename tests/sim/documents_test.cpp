// What docs/scenes.md says about scenes is what the reader of scenes takes, and what
// docs/instrument.md says of the instrument is what it does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <optional>
#include <queue>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "documents.h"
#include "libmfx/features/feature.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

std::string ScenesDocument() { return test::ReadDocument("docs/scenes.md"); }

TEST(ScenesDocument, ItsExampleIsASoundScene) {
  const std::string text = ScenesDocument();
  const auto start = text.find("```json\n") + 8;
  const std::string example = text.substr(start, text.find("```", start) - start);
  const Scene scene = Scene::FromText(example);
  EXPECT_EQ(scene.part->truth().values.at("radius"), 0.005);
  EXPECT_EQ(scene.behind, 0.05);
}

TEST(ScenesDocument, NoiseTableTellsEveryKeyWithItsDefault) {
  const std::string text = ScenesDocument();
  const auto start = text.find("## The noise");
  std::istringstream lines(text.substr(start, text.find("\n## ", start + 1) - start));
  const std::regex row(R"(\| `(\w+)` \| ([0-9.e-]+) \|.*)");
  nlohmann::json noise = nlohmann::json::object();
  std::smatch match;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_match(line, match, row)) noise[match[1]] = nlohmann::json::parse(match[2].str());
  }
  EXPECT_EQ(noise.size(), 17U);
  const nlohmann::json part = {{"type", "plane"}};
  const nlohmann::json pose = {{"position", {0, 0, 2}}};
  const Noise told = Scene::FromJson({{"part", part}, {"pose", pose}, {"noise", noise}}).noise;
  const Noise defaults;
  EXPECT_EQ(told.range, defaults.range);
  EXPECT_EQ(told.range_per_metre, defaults.range_per_metre);
  EXPECT_EQ(told.angle, defaults.angle);
  EXPECT_EQ(told.footprint, defaults.footprint);
  EXPECT_EQ(told.rays, defaults.rays);
  EXPECT_EQ(told.speckle, defaults.speckle);
  EXPECT_EQ(told.resolution, defaults.resolution);
  EXPECT_EQ(told.mixed, defaults.mixed);
  EXPECT_EQ(told.mixed_penalty, defaults.mixed_penalty);
  EXPECT_EQ(told.stray, defaults.stray);
  EXPECT_EQ(told.stray_span, defaults.stray_span);
  EXPECT_EQ(told.quality_peak, defaults.quality_peak);
  EXPECT_EQ(told.quality_incidence, defaults.quality_incidence);
  EXPECT_EQ(told.quality_range, defaults.quality_range);
  EXPECT_EQ(told.quality_noise, defaults.quality_noise);
  EXPECT_EQ(told.quality_floor, defaults.quality_floor);
  EXPECT_EQ(told.max_range, defaults.max_range);
}

/// The sound scene with the least that a part of a type needs.
nlohmann::json LeastScene(const std::string& type) {
  nlohmann::json part = {{"type", type}};
  if (type == "plate") part["opening"] = {{"shape", "round"}, {"radius", 0.01}};
  if (type == "stud" || type == "bore") part["radius"] = 0.0127;
  if (type == "mesh") {
    part["file"] = LIBMFX_SOURCE_DIR "/examples/scenes/plate_with_hole.stl";
    part["unit"] = "mm";
  }
  if (type == "assembly") {
    part["parts"] = nlohmann::json::array(
        {{{"name", "H1"}, {"part", {{"type", "plane"}}}, {"position", {0, 0, 0}}},
         {{"name", "H2"}, {"part", {{"type", "ball"}}}, {"position", {0, 0, 0.1}}}});
  }
  return {{"part", part}, {"pose", {{"position", {0, 0, 1}}}}, {"noise", false}};
}

/// How the reader of scenes refuses a key at a place of a scene; empty if it does not.
std::string RefusalOf(nlohmann::json scene, const std::string& place, const std::string& key) {
  scene[nlohmann::json::json_pointer(place)][key] = nlohmann::json::object();
  try {
    Scene::FromJson(scene);
  } catch (const SceneError& error) {
    return error.what();
  }
  return "";
}

/// The keys that the reader of scenes lists as known beside a made-up one, but "type": those that a
/// part may do without are not all among them.
std::set<std::string> KnownKeys(const nlohmann::json& scene, const std::string& place) {
  static const std::regex head(".*known here: ");
  const std::string list = std::regex_replace(RefusalOf(scene, place, "made_up"), head, "");
  std::istringstream words(std::regex_replace(list, std::regex("[,)]"), " "));
  std::set<std::string> keys;
  for (std::string word; words >> word;) keys.insert(word);
  keys.erase("type");
  return keys;
}

/// The keys of the tables of a section of docs/scenes.md.
std::set<std::string> ToldKeys(const std::string& heading, const std::string& column = "key") {
  std::set<std::string> keys;
  for (const test::Table& table : test::TablesOf(ScenesDocument())) {
    if (!table.heading.starts_with(heading) || table.header[0] != column) continue;
    for (const auto& cells : table.rows) {
      for (const std::string& key : test::QuotedIn(cells[0], '`')) keys.insert(key);
    }
  }
  return keys;
}

const std::vector<std::string> kParts = {"plane", "plate", "edge", "ball",
                                         "stud",  "bore",  "mesh", "assembly"};

/// Every key that is told is known, and every key that is listed as known is told.
void ExpectTold(const nlohmann::json& scene, const std::string& place,
                const std::set<std::string>& told) {
  SCOPED_TRACE(scene.dump() + " " + place);
  EXPECT_THAT(RefusalOf(scene, place, "made_up"), testing::HasSubstr("made_up: unknown key"));
  EXPECT_FALSE(told.empty());
  for (const std::string& key : KnownKeys(scene, place)) EXPECT_TRUE(told.contains(key)) << key;
  for (const std::string& key : told) {
    const std::string refusal = RefusalOf(scene, place, key);
    EXPECT_THAT(refusal, testing::Not(testing::HasSubstr(key + ": unknown key"))) << key;
  }
}

TEST(ScenesDocument, TellsEveryKey) {
  nlohmann::json scene = LeastScene("plane");
  scene["noise"] = nlohmann::json::object();
  ExpectTold(scene, "", ToldKeys("The scene"));
  ExpectTold(scene, "/pose", ToldKeys("The pose"));
  ExpectTold(scene, "/noise", ToldKeys("The noise"));
  for (const std::string& type : kParts) {
    ExpectTold(LeastScene(type), "/part", ToldKeys("`" + type + "`"));
  }
  // Which keys an opening has depends on its shape; together they are those of the table.
  std::set<std::string> of_openings;
  for (const nlohmann::json& opening :
       {nlohmann::json{{"shape", "round"}, {"radius", 0.01}},
        nlohmann::json{{"shape", "polygon"}, {"radius", 0.01}, {"sides", 6}},
        nlohmann::json{{"shape", "rectangle"}, {"length", 0.02}, {"width", 0.01}}}) {
    nlohmann::json plate = LeastScene("plate");
    plate["part"]["opening"] = opening;
    of_openings.merge(KnownKeys(plate, "/part/opening"));
  }
  EXPECT_EQ(of_openings, ToldKeys("`plate`", "key of `opening`"));
  // A thread has a name, or diameter and pitch.
  std::set<std::string> of_threads;
  for (const nlohmann::json& thread :
       {nlohmann::json{{"name", "M8"}},
        nlohmann::json{{"major_diameter", 0.01}, {"pitch", 0.001}}}) {
    const nlohmann::json part = {{"type", "bore"}, {"thread", thread}};
    of_threads.merge(
        KnownKeys({{"part", part}, {"pose", LeastScene("bore")["pose"]}}, "/part/thread"));
  }
  EXPECT_EQ(of_threads, ToldKeys("Threads", "key of `thread`"));
  ExpectTold(LeastScene("assembly"), "/part/parts/0", ToldKeys("`assembly`", "key of `parts`"));
  nlohmann::json formed = LeastScene("stud");
  formed["part"]["form"]["lobes"] = {{{"count", 2}, {"amplitude", 1e-5}}};
  EXPECT_EQ(KnownKeys(formed, "/part/form"), ToldKeys("Errors of form", "key of `form`"));
  EXPECT_EQ(KnownKeys(formed, "/part/form/lobes/0"), ToldKeys("Errors of form", "key of `lobes`"));
}

/// What a raster over a scene brings back, from straight ahead and from aside.
/// \param step of the raster, of 81 lines
std::vector<double> Seen(nlohmann::json scene, int step = 1) {
  std::vector<double> seen;
  for (const nlohmann::json& normal : {nlohmann::json{0, 0, -1}, nlohmann::json{0.8, 0.2, -0.6}}) {
    scene["pose"]["normal"] = normal;
    Instrument instrument(Scene::FromJson(scene), 1);
    std::queue<data_structures::Position> raster;
    for (int i = -40; i <= 40; i += step) {
      const double y = 0.00025 * i * std::abs(i);  // finer in the middle
      const double x = i % 2 == 0 ? 0.4 : -0.4;
      raster.emplace(data_structures::PointXYZW(-x, y, 1.0), 0.0);
      raster.emplace(data_structures::PointXYZW(x, y, 1.0), 0.0007);
    }
    for (const auto& sample : instrument.Drive(raster)) {
      seen.insert(seen.end(), {sample.azimuth, sample.elevation, sample.range});
    }
  }
  return seen;
}

/// A default of the tables: a number, or a number of radii of 0.0127 m.
std::optional<double> DefaultIn(const std::string& cell) {
  static const std::regex number(R"(([0-9.]+)( radii| of the radius)?)");
  std::smatch match;
  if (!std::regex_match(cell, match, number)) return std::nullopt;
  return std::stod(match[1]) * (match[2].length() > 0 ? 0.0127 : 1.0);
}

TEST(ScenesDocument, TellsTheDefaultsOfTheParts) {
  int checked = 0;
  for (const std::string& type : kParts) {
    const nlohmann::json least = LeastScene(type);
    const std::vector<double> by_default = Seen(least);
    for (const test::Table& table : test::TablesOf(ScenesDocument())) {
      if (!table.heading.starts_with("`" + type + "`")) continue;
      for (const auto& cells : table.rows) {
        const std::vector<std::string> keys = test::QuotedIn(cells[0], '`');
        std::istringstream defaults(cells[1]);
        for (const std::string& key : keys) {
          std::string word;
          std::getline(defaults >> std::ws, word, ',');
          const std::optional<double> told = DefaultIn(word);
          if (!told) continue;
          nlohmann::json scene = least;
          nlohmann::json& section =
              table.header[0] == "key" ? scene["part"] : scene["part"]["opening"];
          if (key == "chamfer_angle_deg") section["chamfer_depth"] = 0.002;
          const std::vector<double> before = key == "chamfer_angle_deg" ? Seen(scene) : by_default;
          if (section.value("shape", "") == "round" && key == "corner_radius") continue;
          section[key] = *told;
          EXPECT_TRUE(Seen(scene) == before) << type << ": " << key;
          ++checked;
        }
      }
    }
  }
  EXPECT_GE(checked, 25);
}

// The table of basic profiles against what is cut.
TEST(ScenesDocument, TellsTheBasicProfiles) {
  int checked = 0;
  for (const test::Table& table : test::TablesOf(ScenesDocument())) {
    if (table.header[0] != "flank angle") continue;
    for (const auto& cells : table.rows) {
      const bool any_other = cells[0] == "any other";
      Thread thread;
      thread.flank_angle = (any_other ? 90.0 : std::stod(cells[0])) * kPi / 180.0;
      const std::size_t figure = cells[1].find("= ");
      // H of 90 degrees is half a pitch.
      const double told =
          any_other
              ? 5.0 / 16.0
              : std::stod(figure == std::string::npos ? cells[1] : cells[1].substr(figure + 2));
      EXPECT_NEAR(thread.Depth() / thread.pitch, told, 5.1e-4) << cells[0];
      const auto flat = [&](const std::string& cell) {
        return cell.starts_with("P/") ? 1.0 / std::stod(cell.substr(2)) : std::stod(cell);
      };
      const ThreadProfile profile(thread, WallKind::kBore);
      EXPECT_EQ(profile.SlopeAt(0.49 * flat(cells[2])), 0.0) << cells[0];
      EXPECT_NE(profile.SlopeAt(0.51 * flat(cells[2])), 0.0) << cells[0];
      EXPECT_EQ(profile.SlopeAt(0.5 - 0.49 * flat(cells[3])), 0.0) << cells[0];
      EXPECT_NE(profile.SlopeAt(0.5 - 0.51 * flat(cells[3])), 0.0) << cells[0];
      ++checked;
    }
  }
  EXPECT_EQ(checked, 4);
}

// What a thread is without a key is what the table says.
TEST(ScenesDocument, TellsTheDefaultsOfThreads) {
  nlohmann::json scene = LeastScene("bore");
  scene["part"] = {{"type", "bore"}, {"thread", {{"name", "M24"}}}};
  const std::vector<double> by_default = Seen(scene);
  int checked = 0;
  for (const test::Table& table : test::TablesOf(ScenesDocument())) {
    if (table.header[0] != "key of `thread`") continue;
    for (const auto& cells : table.rows) {
      const std::string key = test::QuotedIn(cells[0], '`')[0];
      if (key == "name" || key == "major_diameter") continue;
      const std::string told = std::regex_replace(cells[1], std::regex("`"), "");
      nlohmann::json changed = scene;
      changed["part"]["thread"][key] = nlohmann::json::parse(told);
      EXPECT_TRUE(Seen(changed) == by_default) << key;
      const std::map<std::string, nlohmann::json> others = {
          {"depth", 0.9}, {"left_handed", true},    {"flank_angle_deg", 58},
          {"starts", 2},  {"crest_radius", 0.0007}, {"run_out", 0.01}};
      changed["part"]["thread"][key] = others.at(key);
      EXPECT_FALSE(Seen(changed) == by_default) << key;
      ++checked;
    }
  }
  EXPECT_EQ(checked, 6);
}

// The example of a form is taken; and what a form is without a key is what the tables say.
TEST(ScenesDocument, TellsTheDefaultsOfForms) {
  nlohmann::json form;
  for (const test::Block& block : test::BlocksOf(ScenesDocument())) {
    if (block.language == "json" && block.text.starts_with("{\"lobes\"")) {
      form = nlohmann::json::parse(block.text);
    }
  }
  int checked = 0;
  for (const test::Table& table : test::TablesOf(ScenesDocument())) {
    const bool of_lobes = table.header[0] == "key of `lobes`";
    if (!of_lobes && table.header[0] != "key of `form`") continue;
    for (const auto& cells : table.rows) {
      const std::string key = test::QuotedIn(cells[0], '`')[0];
      if (cells[1] == "required") continue;
      nlohmann::json told = LeastScene("stud");
      told["part"]["form"] = form;
      const std::vector<double> whole = Seen(told);
      nlohmann::json left_out = told;
      nlohmann::json& there = of_lobes ? told["part"]["form"]["lobes"][0] : told["part"]["form"];
      nlohmann::json& gone =
          of_lobes ? left_out["part"]["form"]["lobes"][0] : left_out["part"]["form"];
      there[key] = key == "lobes" ? nlohmann::json::array() : nlohmann::json::parse(cells[1]);
      ASSERT_EQ(gone.erase(key), 1U) << key << " is not in the example";
      const std::vector<double> without = Seen(left_out);
      EXPECT_TRUE(Seen(told) == without) << key;
      EXPECT_FALSE(whole == without) << key;
      ++checked;
    }
  }
  EXPECT_EQ(checked, 6);
}

/// The block of docs/scenes.md that begins so.
nlohmann::json ExampleOf(const std::string& beginning) {
  for (const test::Block& block : test::BlocksOf(ScenesDocument())) {
    if (block.language == "json" && block.text.starts_with(beginning)) {
      return nlohmann::json::parse(block.text);
    }
  }
  return nullptr;
}

/// The tables of an object of the scene, and of the objects within it, against its reader: all keys
/// are told and known, and a key that is left out is its default. The example holds every key.
/// \returns how many defaults were held to what is measured
int CheckObject(const std::string& key, const std::string& beginning, const std::string& heading,
                const std::map<std::string, std::string>& columns) {
  nlohmann::json scene = LeastScene("plate");
  scene["noise"] = nlohmann::json::object();
  scene["behind"] = 0.05;
  scene[key] = ExampleOf(beginning);
  int checked = 0;
  for (const auto& [place, column] : columns) {
    const std::string pointer = "/" + key + place;
    std::set<std::string> told_keys = ToldKeys(heading, column);
    told_keys.erase("type");
    EXPECT_EQ(KnownKeys(scene, pointer), told_keys) << pointer;
    for (const test::Table& table : test::TablesOf(ScenesDocument())) {
      if (!table.heading.starts_with(heading) || table.header[0] != column) continue;
      for (const auto& cells : table.rows) {
        std::istringstream defaults(cells[1]);
        for (const std::string& name : test::QuotedIn(cells[0], '`')) {
          std::string word;
          std::getline(defaults >> std::ws, word, ',');
          const std::optional<double> told = DefaultIn(word);
          if (!told) continue;
          nlohmann::json explicitly = scene;
          explicitly[nlohmann::json::json_pointer(pointer)][name] = *told;
          nlohmann::json left_out = scene;
          left_out[nlohmann::json::json_pointer(pointer)].erase(name);
          EXPECT_TRUE(Seen(explicitly, 7) == Seen(left_out, 7)) << pointer << "/" << name;
          ++checked;
        }
      }
    }
  }
  return checked;
}

TEST(ScenesDocument, TellsWhatIsWrongWithTheInstrument) {
  EXPECT_EQ(CheckObject("instrument", "{\"drift\"", "The instrument",
                        {{"", "key"},
                         {"/drift", "key of `drift`"},
                         {"/vibration", "key of `vibration`"},
                         {"/azimuth_encoder", "key of an encoder"},
                         {"/elevation_encoder", "key of an encoder"},
                         {"/focus", "key of `focus`"},
                         {"/bursts", "key of `bursts`"}}),
            23);
}

TEST(ScenesDocument, TellsWhatTheSurfacesAreLike) {
  EXPECT_EQ(CheckObject("surface", "{\"roughness\"", "The surface",
                        {{"", "key"},
                         {"/roughness", "key of `roughness`"},
                         {"/patches/0", "key of `patches`"},
                         {"/lay", "key of `lay`"},
                         {"/gloss", "key of `gloss`"}}),
            9);
}

TEST(ScenesDocument, TellsTheBurr) {
  nlohmann::json scene = LeastScene("plate");
  scene["part"]["opening"]["burr"] = ExampleOf("{\"height\"");
  EXPECT_EQ(KnownKeys(scene, "/part/opening/burr"), ToldKeys("Burrs", "key of `burr`"));
  for (const std::string part : {"/part/opening", "/part"}) {
    if (part == "/part") scene["part"] = {{"type", "bore"}, {"radius", 0.01}};
    const nlohmann::json::json_pointer burr(part + "/burr");
    scene[burr] = {{"height", 1e-4}};
    const std::vector<double> least = Seen(scene, 7);
    scene[burr] = {{"height", 1e-4}, {"width", 1e-4}, {"patches", 1}, {"share", 1}};
    EXPECT_TRUE(Seen(scene, 7) == least) << part;
  }
}

// The example of an assembly has all keys of a place, and its truth is named as it is told.
TEST(ScenesDocument, TellsTheAssembly) {
  nlohmann::json scene = LeastScene("assembly");
  scene["part"] = ExampleOf("{\"type\": \"assembly\"");
  const nlohmann::json truth = Scene::FromJson(scene).TruthJson();
  EXPECT_EQ(truth.at("H1.radius"), 0.005);
  // The part faces the instrument: its x is against the instrument's.
  EXPECT_EQ(truth.at("H1.center"), nlohmann::json({0.05, 0.0, 1.0}));
  EXPECT_TRUE(truth.contains("S1.major_radius"));
  EXPECT_TRUE(truth.contains("B1.center"));
  // What is left out is what the table says.
  const std::vector<double> by_default = Seen(scene, 3);
  nlohmann::json& hole = scene["part"]["parts"][0];
  hole["normal"] = {0, 0, 1};
  hole["tangent"] = {1, 0, 0};
  EXPECT_TRUE(Seen(scene, 3) == by_default);
}

TEST(ScenesDocument, TellsTheObstacles) {
  EXPECT_EQ(CheckObject("obstacles", "[{\"type\": \"cylinder\"", "The obstacles",
                        {{"/0", "key of a `cylinder`"},
                         {"/1", "key of a `box`"},
                         {"/2", "key of `dust`"},
                         {"/3", "key of `spatter`"}}),
            8);
}

TEST(ScenesDocument, TellsTheRelief) {
  EXPECT_EQ(CheckObject("relief", "{\"waves\"", "The relief",
                        {{"", "key"},
                         {"/waves/0", "key of `waves`"},
                         {"/flatness", "key of `flatness`"},
                         {"/marks", "key of `marks`"}}),
            7);
}

// Each line has the file's name before what the reader says; "..." stands for the rest.
TEST(ScenesDocument, WrongScenesAreRefusedInTheseWords) {
  const nlohmann::json member = LeastScene("assembly")["part"]["parts"][0];
  nlohmann::json nested_member = member;
  nested_member["part"] = LeastScene("assembly")["part"];
  nlohmann::json placeless = LeastScene("assembly")["part"]["parts"][1];
  placeless.erase("position");
  const std::map<std::string, std::pair<std::string, nlohmann::json>> wrong = {
      {"part.opening.radius", {"/part/opening/radius", -0.005}},
      {"part.thicknes", {"/part/thicknes", 0.01}},
      {"part.type", {"/part/type", "gear"}},
      {"part.thread.depth",
       {"/part", {{"type", "stud"}, {"thread", {{"name", "M8"}, {"depth", 3}}}}}},
      {"part.form.taper",
       {"/part", {{"type", "stud"}, {"radius", 0.004}, {"form", {{"taper", 0.001}}}}}},
      {"part.opening.burr",
       {"/part/opening",
        {{"shape", "round"},
         {"radius", 0.005},
         {"edge_radius", 1e-4},
         {"burr", {{"height", 1e-4}}}}}},
      {"part.parts", {"/part", {{"type", "assembly"}, {"parts", nlohmann::json::array()}}}},
      {"part.parts[0].part.type",
       {"/part", {{"type", "assembly"}, {"parts", nlohmann::json::array({nested_member})}}}},
      {"part.parts[1].name", {"/part", {{"type", "assembly"}, {"parts", {member, member}}}}},
      {"part.parts[1].position", {"/part", {{"type", "assembly"}, {"parts", {member, placeless}}}}},
      {"part.unit", {"/part", {{"type", "mesh"}, {"file", "cover.stl"}}}},
      {"pose.position", {"/pose/position", {0, 0, -2}}},
      {"noise.range", {"/noise", {{"range", -1e-5}}}},
      {"instrument.settling", {"/instrument", {{"settling", -1}}}}};
  std::string shown;
  for (const test::Block& block : test::BlocksOf(ScenesDocument())) {
    if (block.language == "text") shown = block.text;
  }
  std::istringstream lines(shown);
  std::size_t seen = 0;
  for (std::string line; std::getline(lines, line);) {
    ASSERT_TRUE(line.starts_with("hole.json: ")) << line;
    line.erase(0, 11);
    const auto change = wrong.find(line.substr(0, line.find(':')));
    if (change == wrong.end()) continue;  // of a part file
    ++seen;
    nlohmann::json scene = LeastScene("plate");
    scene[nlohmann::json::json_pointer(change->second.first)] = change->second.second;
    try {
      Scene::FromJson(scene);
      ADD_FAILURE() << line;
    } catch (const SceneError& error) {
      const std::size_t open = line.find("...");
      EXPECT_EQ(std::string(error.what()).substr(0, open), line.substr(0, open));
    }
  }
  EXPECT_EQ(seen, wrong.size());
}

TEST(InstrumentDocument, TellsTheQualityByIncidence) {
  const auto tables = test::TablesOf(test::ReadDocument("docs/instrument.md"));
  ASSERT_FALSE(tables.empty());
  const test::Table& table = tables.front();
  ASSERT_EQ(table.header.front(), "incidence at 2 m");
  const Noise noise;
  for (std::size_t i = 1; i < table.header.size(); ++i) {
    const double incidence = std::stod(table.header[i]) * std::numbers::pi / 180.0;
    const double quality =
        noise.quality_peak + noise.quality_incidence * std::log10(std::cos(incidence));
    EXPECT_NEAR(std::stod(table.rows[0][i]), quality, 0.5) << table.header[i];
    EXPECT_EQ(table.rows[0][i].find("lost") != std::string::npos, quality < noise.quality_floor);
    Scene scene =
        MakeScene(parts::MakePlane({}), TiltedPose({0, 0, 2}, incidence), {}, Noise::Off());
    Instrument instrument(scene, 1);
    std::queue<data_structures::Position> across;
    across.emplace(data_structures::PointXYZW(-1e-4, 0, 2), 0.0);
    across.emplace(data_structures::PointXYZW(1e-4, 0, 2), 1e-4);
    const auto samples = instrument.Drive(across);
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_NEAR(samples[1].quality, quality, 0.05) << table.header[i];
  }
}

// The lines of the example stand in this test, which is compiled; and they measure.
TEST(InstrumentDocument, ItsExampleIsThisOne) {
  const std::unique_ptr<features::Feature> feature(
      features::Feature::Create(test::ReadDocument("examples/requests/scan_path.json")));
  // clang-format off
  auto part = sim::parts::MakeOpeningPlate(sim::parts::RoundOpening(0.005));
  auto scene = sim::MakeScene(part, sim::Pose::Facing({0, 0, 2}), 0.05);
  sim::Instrument instrument(scene, 7);
  auto samples = instrument.Drive(feature->GetDrivePoints(false));
  // clang-format on
  EXPECT_GT(samples.size(), 10U);
  const std::string own = test::ReadDocument("tests/sim/documents_test.cpp");
  int checked = 0;
  for (const test::Block& block : test::BlocksOf(test::ReadDocument("docs/instrument.md"))) {
    if (block.language != "cpp") continue;
    std::istringstream lines(block.text);
    for (std::string line; std::getline(lines, line);) {
      if (line.empty()) continue;
      const std::string indent = line.starts_with("#") ? "" : "  ";
      EXPECT_NE(own.find("\n" + indent + line + "\n"), std::string::npos) << line;
      ++checked;
    }
  }
  EXPECT_EQ(checked, 5);
}

}  // namespace
}  // namespace libmfx::sim
