// The schemas and what goes in and comes out: every message of the examples is valid by its schema,
// and a schema knows the keys that its reader knows, no more and no fewer.

#include "host/schema.h"

#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "documents.h"
#include "examples.h"
#include "libmfx/win32_support/exports.h"
#include "program_test.h"
#include "sim/scene.h"

#if __has_include(<valijson/validator.hpp>)
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>
#define MFX_HAS_VALIDATOR 1
#endif

namespace mfx_test {
namespace {

using namespace libmfx::host;
using namespace nlohmann::literals;
using libmfx::win32_support::FeatureDescriptor;
using libmfx::win32_support::RequestKey;

json SchemaOf(const std::string& name) {
  const auto text = SchemaText(name);
  return text ? json::parse(*text) : json();
}

#ifdef MFX_HAS_VALIDATOR
/// What a schema says against a value; empty: nothing.
std::string Against(const json& value, const std::string& name) {
  const json document = SchemaOf(name);
  valijson::Schema schema;
  valijson::SchemaParser(valijson::SchemaParser::kDraft7)
      .populateSchema(valijson::adapters::NlohmannJsonAdapter(document), schema);
  valijson::ValidationResults results;
  valijson::Validator validator;
  if (validator.validate(schema, valijson::adapters::NlohmannJsonAdapter(value), &results)) {
    return {};
  }
  std::string said = "refused";
  for (valijson::ValidationResults::Error error; results.popError(error);) {
    for (const std::string& part : error.context) said += part;
    said += ": " + error.description + "\n";
  }
  return said;
}
#else
std::string Against(const json&, const std::string&) {
  return "there is no validator on this machine: run scripts/setup.sh test, and build again";
}
#endif

/// The examples' file of a schema: "scan_path" of "request-scan-path".
std::string ExampleName(const std::string& schema) {
  const std::string name = schema.substr(schema.find('-') + 1);
  return name == "scan-path" ? "scan_path" : name;
}

std::vector<std::string> NamesThatBegin(const std::string& with) {
  std::vector<std::string> names;
  for (const std::string& name : SchemaNames()) {
    if (name.starts_with(with)) names.push_back(name);
  }
  return names;
}

TEST(SchemaTest, TheCallPrintsEachAndTheFolderHoldsThem) {
  const Ended names = RunMfx({"schema"});
  EXPECT_EQ(names.status, 0);
  EXPECT_EQ(Lines(names.out), SchemaNames());
  EXPECT_THAT(SchemaNames(), SizeIs(28));
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(Source("schemas"))) {
    files.insert(entry.path().stem());
  }
  for (const std::string& name : SchemaNames()) {
    std::ifstream file(Source("schemas/" + name + ".json"));
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(RunMfx({"schema", name}).out, text)
        << "mfx schema " << name << " > schemas/" << name << ".json writes it anew";
    EXPECT_EQ(files.erase(name), 1u) << name;
  }
  EXPECT_THAT(files, IsEmpty());
  const Ended unknown = RunMfx({"schema", "request-gear"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_THAT(unknown.err, HasSubstr("there is no schema 'request-gear'"));
}

std::set<std::string> KeysOf(const json& object) {
  std::set<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.insert(key);
  return keys;
}

// A class says what it reads in its tables, and its schema says the same.
TEST(SchemaTest, ARequestHasTheKeysThatItsTypeReads) {
  int types = 0;
  for (const auto& type : *GetFeatureDescriptors()) {
    if (type->_request_type.empty()) continue;
    ++types;
    const std::string name = RequestSchemaName(*type);
    SCOPED_TRACE(name);
    std::ifstream file(Source("schemas/" + name + ".json"));
    const json schema = json::parse(file);
    const json& feature = schema["properties"]["Feature"];
    EXPECT_EQ(feature["properties"]["$type"]["const"], type->_request_type);
    std::vector<std::pair<int, const json*>> objects = {{0, &schema}, {1, &feature}};
    if (feature["properties"].contains("Path")) {
      objects.emplace_back(2, &feature["properties"]["Path"]);
    }
    for (const auto& [place, object] : objects) {
      std::set<std::string> read;
      std::set<std::string> required;
      for (const RequestKey& key : type->_request) {
        if (key.place != place) continue;
        read.insert(key.key);
        if (key.required) required.insert(key.key);
      }
      std::set<std::string> told = KeysOf((*object)["properties"]);
      for (const char* remark : {"$schema", "$comment"}) told.erase(remark);
      if (place == 0) {
        for (const char* frame : {"Feature", "$type"}) EXPECT_EQ(told.erase(frame), 1u);
        required.insert("Feature");
      }
      EXPECT_EQ(told, read);
      const json& needed = (*object)["required"];
      EXPECT_EQ(std::set<std::string>(needed.begin(), needed.end()), required);
      EXPECT_EQ((*object)["additionalProperties"], false);
    }
  }
  EXPECT_EQ(types, 10);
}

TEST(SchemaTest, TheExamplesAreValid) {
  for (const std::string& name : NamesThatBegin("request-")) {
    const Example example(ExampleName(name));
    EXPECT_EQ(Against(example.request, name), "") << name;
    EXPECT_EQ(Against(example.scene, "scene"), "") << name;
  }
  EXPECT_EQ(Against(ReadJson(Source("examples/scenes/stl_plate.json")), "scene"), "");
}

TEST(SchemaTest, WhatIsWrongWithARequestIsRefused) {
  for (const std::string& name : NamesThatBegin("request-")) {
    const json sound = Example(ExampleName(name)).request;
    json unknown = sound;
    unknown["PointSpacin"] = 1;
    EXPECT_NE(Against(unknown, name), "") << name;
    json other = sound;
    other["Feature"]["$type"] = "GearFeature";
    EXPECT_NE(Against(other, name), "") << name;
    for (const auto& [key, value] : sound["Feature"].items()) {
      json wrong = sound;
      wrong["Feature"][key] = nullptr;
      EXPECT_NE(Against(wrong, name), "") << name << " " << key;
    }
  }
}

/// What `measure` prints of an example, and its recording.
struct Measured {
  json result;
  std::vector<std::string> recording;
};

Measured Measure(const Example& example, const std::string& scan_data = "json") {
  const Folder folder;
  const Ended ended = RunMfx({"measure", folder.Write("r.json", example.request.dump()), "--scene",
                              folder.Write("s.json", example.scene.dump()), "--record",
                              folder.Path("r.jsonl"), "--scan-data", scan_data, "-q"});
  return {json::parse(ended.out), Lines(folder.Read("r.jsonl"))};
}

void ExpectValidRecording(const Measured& measured) {
  EXPECT_GE(measured.recording.size(), 2u);
  for (const std::string& line : measured.recording) {
    EXPECT_EQ(Against(json::parse(line), "recording"), "") << line.substr(0, 200);
  }
}

TEST(SchemaTest, TheResultsAndRecordingsOfTheExamplesAreValid) {
  for (const std::string& name : NamesThatBegin("result-")) {
    if (name == "result-unknown") continue;
    SCOPED_TRACE(name);
    Example example(ExampleName(name));
    if (name == "result-stud") example.scene = Example("stud").scene;
    const Measured sound = Measure(example);
    EXPECT_EQ(sound.result["Success"], true);
    EXPECT_EQ(Against(sound.result, name), "");
    ExpectValidRecording(sound);
    if (name == "result-scan-path") continue;
    // A measured value that is none, a failure that states one, a key too many.
    json wrong = sound.result;
    wrong["Location"] = "here";
    EXPECT_NE(Against(wrong, name), "");
    json more = sound.result;
    more["Extra"] = 1;
    EXPECT_NE(Against(more, name), "");
    json both = sound.result;
    both["ErrorMessage"] = "none";
    EXPECT_NE(Against(both, name), "");
  }
}

TEST(SchemaTest, TheResultsOfFailuresAreValid) {
  for (const std::string& name : NamesThatBegin("result-")) {
    if (name == "result-unknown" || name == "result-scan-path") continue;
    SCOPED_TRACE(name);
    Example example(ExampleName(name));
    // Nothing is good enough.
    for (const char* key : {"QualityThreshold", "ScanQualityThreshold"}) example.request[key] = 99;
    const Measured failed = Measure(example);
    EXPECT_EQ(failed.result["Success"], false);
    EXPECT_EQ(Against(failed.result, name), "");
    ExpectValidRecording(failed);
    json stated = failed.result;
    stated["Radius"] = 1.0;
    EXPECT_NE(Against(stated, name), "");
  }
}

TEST(SchemaTest, OtherFormsOfResultsAndRecordingsAreValid) {
  for (const char* form : {"binary", "none"}) {
    const Measured measured = Measure(Example("scan_path"), form);
    EXPECT_EQ(Against(measured.result, "result-scan-path"), "") << form;
    ExpectValidRecording(measured);
  }
  Example unknown("hole");
  unknown.request["Feature"]["$type"] = "GearFeature";
  EXPECT_EQ(Against(Measure(unknown).result, "result-unknown"), "");
  for (const char* line : {"{}", "[]", R"({"drive":[[1,2,3]],"step":"INITIAL"})",
                           R"({"samples":[[1,2,3,4,0.5]]})", R"({"request":5})"}) {
    EXPECT_NE(Against(json::parse(line), "recording"), "") << line;
  }
}

TEST(SchemaTest, TheFindingsAreValid) {
  for (const char* text :
       {"{", "{}", "{\"Feature\":{\"$type\":\"HoleFeature\",\"Radius\":\"x\"}} a"}) {
    const Ended ended = RunMfx({"check", "-", "--json"}, {.input = text});
    const json findings = json::parse(ended.out);
    EXPECT_GE(findings["findings"].size(), 1u);
    EXPECT_EQ(Against(findings, "findings"), "") << ended.out;
  }
  EXPECT_NE(Against(json{{"findings", {{{"file", "a"}}}}}, "findings"), "");
}

// Which keys and limits it has is held against its reader where that is tested.
TEST(SchemaTest, TheModelOfAnInstrumentIsValid) {
  const json model = ReadJson(Source("examples/uncertainty/instrument.json"));
  EXPECT_EQ(Against(model, "instrument-model"), "");
  EXPECT_EQ(Against(json::object(), "instrument-model"), "");
  const std::vector<std::pair<std::string, json>> wrong = {
      {"/nois", true},
      {"/noise/range", -1},
      {"/instrument/settling", -1},
      {"/surface/mirror", 2},
      {"/contributions/range_offset/distribution", "rectangular"},
      {"/contributions/range_offset/half_width", 1},
      {"/contributions/range_offset/standard", -1},
      {"/contributions/range_scale_ppm/distribution", "uniform"},
      {"/contributions/range_scale_ppm/mean", 10001},
      {"/contributions/azimuth_encoder/third_urad", 1},
      {"/contributions/temperature", 20},
      {"/contributions/form/mean", -1e-6}};
  for (const auto& [place, value] : wrong) {
    json changed = model;
    changed[json::json_pointer(place)] = value;
    EXPECT_NE(Against(changed, "instrument-model"), "") << place;
  }
  json cold = model;
  cold["contributions"].erase("expansion_ppm_per_k");
  EXPECT_NE(Against(cold, "instrument-model"), "");
}

/// The keys that the reader of scenes lists when it meets one that it does not know.
std::set<std::string> KnownTo(json scene, const std::string& where) {
  scene[json::json_pointer(where + "/unknown")] = 1;
  try {
    libmfx::sim::Scene::FromJson(scene);
  } catch (const libmfx::sim::SceneError& error) {
    std::smatch listed;
    const std::string text = error.what();
    if (!std::regex_search(text, listed, std::regex(R"(\(known here: ([^)]*)\))"))) return {text};
    std::set<std::string> keys;
    std::istringstream names(listed[1]);
    for (std::string name; std::getline(names >> std::ws, name, ',');) keys.insert(name);
    return keys;
  }
  return {};
}

/// The same of several forms of one object, which its reader does not know all at once.
std::set<std::string> KnownToForms(json scene, const std::string& where,
                                   const std::vector<json>& forms) {
  std::set<std::string> keys;
  for (const json& form : forms) {
    scene[json::json_pointer(where)] = form;
    keys.merge(KnownTo(scene, where));
  }
  return keys;
}

// The reader of scenes refuses a key that it does not know, and lists those that it does.
TEST(SchemaTest, ASceneHasTheKeysThatItsReaderKnows) {
  const json schema = SchemaOf("scene")["properties"];
  json scene = Example("hole").scene;
  scene["noise"] = true;
  EXPECT_EQ(KnownTo(scene, ""), KeysOf(schema));
  const json turned = {{"position", {0, 0, 2}}, {"rotation", {{1, 0, 0}, {0, -1, 0}, {0, 0, -1}}}};
  json towards = scene["pose"];
  towards["tangent"] = {1, 0, 0};
  EXPECT_EQ(KnownToForms(scene, "/pose", {turned, towards}), KeysOf(schema["pose"]["properties"]));
  EXPECT_EQ(KnownToForms(scene, "/noise", {{{"lost", "zero"}}}),
            KeysOf(schema["noise"]["anyOf"][1]["properties"]));
}

/// Every object of a sound scene beneath `where` has the keys in its schema that its reader knows.
void ExpectSameKeys(const json& scene, const std::string& where, const json& schema) {
  const json& value = scene.at(json::json_pointer(where));
  if (value.is_array() && schema.contains("items")) {
    for (std::size_t i = 0; i < value.size(); ++i) {
      if (value[i].is_object()) {
        ExpectSameKeys(scene, where + "/" + std::to_string(i), schema["items"]);
      }
    }
  }
  if (!value.is_object()) return;
  if (schema.contains("oneOf")) {
    for (const json& kind : schema["oneOf"]) {
      if (kind["title"] == value["type"]) ExpectSameKeys(scene, where, kind);
    }
    return;
  }
  ASSERT_TRUE(schema.contains("properties")) << where;
  EXPECT_EQ(KnownTo(scene, where), KeysOf(schema["properties"])) << where;
  EXPECT_EQ(schema["additionalProperties"], false) << where;
  for (const auto& [key, child] : value.items()) {
    ExpectSameKeys(scene, where + "/" + key, schema["properties"][key]);
  }
}

// What spoils a measurement, as the document shows it: each object of it holds every key.
TEST(SchemaTest, WhatSpoilsAMeasurementHasTheKeysThatItsReaderKnows) {
  const json schema = SchemaOf("scene")["properties"];
  int checked = 0;
  for (const auto& [key, beginning] :
       std::map<std::string, std::string>{{"instrument", "{\"drift\""},
                                          {"surface", "{\"roughness\""},
                                          {"relief", "{\"waves\""},
                                          {"obstacles", "[{\"type\": \"cylinder\""}}) {
    for (const libmfx::test::Block& block :
         libmfx::test::BlocksOf(libmfx::test::ReadDocument("docs/scenes.md"))) {
      if (!block.text.starts_with(beginning)) continue;
      json scene = Example("hole").scene;
      scene[key] = json::parse(block.text);
      EXPECT_EQ(Against(scene, "scene"), "") << key;
      ExpectSameKeys(scene, "/" + key, schema[key]);
      ++checked;
    }
  }
  EXPECT_EQ(checked, 4);
}

/// A member of an assembly.
json MemberOf(const json& part) {
  return {{"name", "H1"}, {"part", part}, {"position", {0, 0, 0}}};
}

TEST(SchemaTest, APartHasTheKeysThatItsReaderKnows) {
  const json schema = SchemaOf("scene")["properties"]["part"];
  const json scene = Example("hole").scene;
  const json round = {{"shape", "round"}, {"radius", 0.005}};
  const std::map<std::string, std::vector<json>> forms = {
      {"plane", {json::object()}},
      {"plate", {{{"opening", round}}}},
      {"edge", {json::object()}},
      {"ball", {json::object()}},
      {"stud", {{{"radius", 0.005}}, {{"thread", "M6"}}}},
      {"bore", {{{"radius", 0.005}}, {{"thread", "M6"}}}},
      {"mesh", {{{"file", Source("examples/scenes/plate_with_hole.stl")}, {"unit", "mm"}}}},
      {"assembly", {{{"parts", json::array({MemberOf({{"type", "plane"}})})}}}}};
  EXPECT_EQ(schema["oneOf"].size(), forms.size());
  for (const json& part : schema["oneOf"]) {
    const std::string type = part["title"];
    std::vector<json> all = forms.at(type);
    for (json& form : all) form["type"] = type;
    EXPECT_EQ(KnownToForms(scene, "/part", all), KeysOf(part["properties"])) << type;
    for (const json& opening : part["properties"].value("/opening/oneOf"_json_pointer, json())) {
      json form = {{"shape", opening["title"]}};
      for (const std::string key : opening["required"]) {
        if (key != "shape") form[key] = key == "sides" ? json(6) : json(0.01);
      }
      if (opening["title"] == "obround") form["length"] = 0.02;
      EXPECT_EQ(KnownToForms(scene, "/part/opening", {form}), KeysOf(opening["properties"]))
          << opening["title"];
    }
  }
}

/// How the reader of scenes refuses one; empty: it takes it.
std::string Refusal(const json& scene) {
  try {
    libmfx::sim::Scene::FromJson(scene);
  } catch (const libmfx::sim::SceneError& error) {
    return error.what();
  }
  return {};
}

TEST(SchemaTest, AThreadIsWhatItsReaderTakes) {
  const json schema = SchemaOf("scene")["properties"]["part"];
  json scene = Example("hole").scene;
  for (const char* type : {"stud", "bore"}) {
    scene["part"] = {{"type", type}};
    const json named = {{"name", "M8"}};
    const json sized = {{"major_diameter", 0.01}, {"pitch", 0.001}};
    for (const json& part : schema["oneOf"]) {
      if (part["title"] != type) continue;
      EXPECT_EQ(KnownToForms(scene, "/part/thread", {named, sized}),
                KeysOf(part.at("/properties/thread/anyOf/1/properties"_json_pointer)));
    }
    const std::vector<std::pair<json, bool>> cases = {
        {"M24", true},
        {named, true},
        {sized, true},
        {{{"name", "M8"}, {"depth", 0.2}, {"flank_angle_deg", 90}, {"left_handed", true}}, true},
        {{{"name", "M4"}, {"depth", 1.05}, {"flank_angle_deg", 20}}, true},
        {{{"name", "M8"}, {"depth", 0.19}}, false},
        {{{"name", "M8"}, {"depth", 1.06}}, false},
        {{{"name", "M8"}, {"flank_angle_deg", 19}}, false},
        {{{"name", "M8"}, {"flank_angle_deg", 91}}, false},
        {{{"name", "M8"}, {"left_handed", "yes"}}, false},
        {{{"name", "M8"}, {"starts", 3}, {"run_out", 0.002}, {"crest_radius", 0.0003}}, true},
        {{{"name", "M8"}, {"starts", 9}}, false},
        {{{"name", "M8"}, {"starts", 1.5}}, false},
        {{{"name", "M8"}, {"run_out", -1}}, false},
        {{{"name", "M8"}, {"crest_radius", "worn"}}, false},
        {{{"name", "M8"}, {"pitch", 0.001}}, false},
        {{{"name", "8"}}, false},
        {{{"pitch", 0.001}}, false},
        {json::object(), false}};
    for (const auto& [thread, sound] : cases) {
      scene["part"]["thread"] = thread;
      EXPECT_EQ(Refusal(scene).empty(), sound) << Refusal(scene);
      EXPECT_EQ(Against(scene, "scene").empty(), sound) << thread;
    }
  }
}

TEST(SchemaTest, AFormIsWhatItsReaderTakes) {
  const json schema = SchemaOf("scene")["properties"]["part"];
  json scene = Example("hole").scene;
  const json wave = {{"count", 3}, {"amplitude", 1e-5}};
  for (const char* type : {"stud", "bore"}) {
    scene["part"] = {{"type", type}, {"radius", 0.004}, {"form", {{"lobes", {wave}}}}};
    for (const json& part : schema["oneOf"]) {
      if (part["title"] != type) continue;
      const json& form = part["properties"]["form"]["properties"];
      EXPECT_EQ(KnownTo(scene, "/part/form"), KeysOf(form));
      EXPECT_EQ(KnownTo(scene, "/part/form/lobes/0"),
                KeysOf(form.at("/lobes/items/properties"_json_pointer)));
    }
    const std::vector<std::pair<json, bool>> cases = {
        {json::object(), true},
        {{{"lobes", json::array()}}, true},
        {{{"lobes", {wave, wave}}, {"taper", -1e-5}, {"barrel", 1e-5}}, true},
        {{{"bend", 1e-5}, {"bend_deg", -360}}, true},
        {{{"bend_deg", 361}}, false},
        {{{"taper", "much"}}, false},
        {{{"oval", 1}}, false},
        {{{"lobes", 3}}, false},
        {{{"lobes", std::vector<json>(17, wave)}}, false},
        {{{"lobes", {{{"count", 3}}}}}, false},
        {{{"lobes", {{{"count", 1}, {"amplitude", 0}}}}}, false},
        {{{"lobes", {{{"count", 101}, {"amplitude", 0}}}}}, false},
        {{{"lobes", {{{"count", 3}, {"amplitude", -1e-5}}}}}, false},
        {json::array(), false}};
    for (const auto& [form, sound] : cases) {
      scene["part"]["form"] = form;
      EXPECT_EQ(Refusal(scene).empty(), sound) << Refusal(scene);
      EXPECT_EQ(Against(scene, "scene").empty(), sound) << form;
    }
  }
}

TEST(SchemaTest, AMemberOfAnAssemblyIsWhatItsReaderTakes) {
  json scene = Example("hole").scene;
  const json hole = scene["part"];
  const json sound = MemberOf({{"type", "plane"}});
  json other = MemberOf(hole);
  other["name"] = "H2";
  const auto with = [&sound](const char* key, const json& value) {
    json member = sound;
    member[key] = value;
    return member;
  };
  const json turn = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  json turned = with("rotation", turn);
  json towards = with("normal", {1, 0, 0});
  towards["tangent"] = {0, 0, 1};
  scene["part"] = {{"type", "assembly"}, {"parts", json::array({sound})}};
  const json schema = SchemaOf("scene")["properties"]["part"];
  for (const json& part : schema["oneOf"]) {
    if (part["title"] != "assembly") continue;
    EXPECT_EQ(KnownToForms(scene, "/part/parts/0", {turned, towards}),
              KeysOf(part.at("/properties/parts/items/properties"_json_pointer)));
  }
  json both = turned;
  both["tangent"] = {1, 0, 0};
  json many = json::array();
  for (int i = 0; i < 201; ++i) many.push_back(with("name", std::to_string(i)));
  json most = many;
  most.erase(200);
  const auto less = [&sound](const char* key) {
    json member = sound;
    member.erase(key);
    return json::array({member});
  };
  const auto alone = [&with](const char* key, const json& value) {
    return json::array({with(key, value)});
  };
  const std::vector<std::pair<json, bool>> cases = {{json::array({sound}), true},
                                                    {{sound, other}, true},
                                                    {{turned, other}, true},
                                                    {{towards, other}, true},
                                                    {most, true},
                                                    {many, false},
                                                    {json::array(), false},
                                                    {5, false},
                                                    {{sound, 5}, false},
                                                    {less("name"), false},
                                                    {less("part"), false},
                                                    {less("position"), false},
                                                    {json::array({both}), false},
                                                    {alone("name", ""), false},
                                                    {alone("name", 1), false},
                                                    {alone("colour", "red"), false},
                                                    {alone("position", {0, 0}), false},
                                                    {alone("normal", {0, "up", 0}), false},
                                                    {alone("part", "plane"), false},
                                                    {alone("part", {{"type", "gear"}}), false},
                                                    {alone("part", {{"type", "plate"}}), false},
                                                    {alone("part", scene["part"]), false}};
  for (const auto& [parts, accepted] : cases) {
    scene["part"]["parts"] = parts;
    EXPECT_EQ(Refusal(scene).empty(), accepted) << Refusal(scene);
    EXPECT_EQ(Against(scene, "scene").empty(), accepted) << parts.dump().substr(0, 200);
  }
}

}  // namespace
}  // namespace mfx_test
