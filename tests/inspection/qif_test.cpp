// The QIF document of a sheet: well formed, valid by the published schema where this machine has
// it, and with the numbers that the sheet has.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "full_sheet.h"
#include "host/numbers.h"
#include "inspection/qif_xml.h"
#include "inspection/writers.h"

namespace libmfx::inspection::sheet_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// An element with what is directly inside of it.
struct Element {
  std::string name;
  std::map<std::string, std::string> attributes;
  std::string text;
  std::vector<Element> inside;

  const Element* Find(const std::string& wanted) const {
    for (const Element& element : inside) {
      if (element.name == wanted) return &element;
    }
    return nullptr;
  }
  /// The text along a path of names; nothing where there is none.
  std::optional<std::string> At(const std::vector<std::string>& path) const {
    const Element* element = this;
    for (const std::string& step : path) {
      element = element->Find(step);
      if (!element) return std::nullopt;
    }
    return element->text;
  }
  std::optional<double> Number(const std::vector<std::string>& path) const {
    const auto told = At(path);
    return told ? host::NumberOf<double>(*told) : std::nullopt;
  }
};

/// Reads what the documents here are made of: elements, attributes, texts and references.
class Reader {
 public:
  explicit Reader(const std::string& text) : _text(text) {}

  Element Document() {
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    EXPECT_TRUE(_text.starts_with(head));
    _at = head.size();
    Element root = Next();
    EXPECT_EQ(_text.substr(_at), "\n") << "something follows the root";
    return root;
  }

 private:
  Element Next() {
    Element element;
    Take("<");
    element.name = Until(" />");
    while (_text.at(_at) == ' ') {
      ++_at;
      const std::string key = Until("=");
      Take("=\"");
      EXPECT_TRUE(element.attributes.emplace(key, Plain(Until("\""))).second) << key;
      Take("\"");
    }
    if (_text.at(_at) == '/') {
      Take("/>");
      return element;
    }
    Take(">");
    for (;;) {
      element.text += Plain(Until("<"));
      if (_text.substr(_at, 2) == "</") break;
      element.inside.push_back(Next());
    }
    Take("</" + element.name + ">");
    return element;
  }

  void Take(const std::string& wanted) {
    if (_text.compare(_at, wanted.size(), wanted) != 0) {
      throw std::runtime_error("no '" + wanted + "' at: " + _text.substr(_at, 60));
    }
    _at += wanted.size();
  }

  std::string Until(const char* ends) {
    const std::size_t end = _text.find_first_of(ends, _at);
    if (end == std::string::npos) throw std::runtime_error("the document ends too soon");
    const std::string between = _text.substr(_at, end - _at);
    _at = end;
    return between;
  }

  static std::string Plain(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto c = static_cast<unsigned char>(text[i]);
      EXPECT_TRUE(c >= 0x20 || c == '\n' || c == '\t') << "a character that XML does not allow";
      EXPECT_NE(c, '>');
      if (c != '&') {
        plain += text[i];
        continue;
      }
      const std::size_t end = text.find(';', i);
      if (end == std::string::npos) throw std::runtime_error("a bare ampersand: " + text);
      static const std::map<std::string, char> known = {{"amp", '&'},  {"lt", '<'},   {"gt", '>'},
                                                        {"quot", '"'}, {"#13", '\r'}, {"#10", '\n'},
                                                        {"#9", '\t'}};
      plain += known.at(text.substr(i + 1, end - i - 1));
      i = end;
    }
    return plain;
  }

  const std::string& _text;
  std::size_t _at = 0;
};

Element DocumentOf(const std::string& text) { return Reader(text).Document(); }
Element DocumentOf(const Sheet& sheet) { return DocumentOf(ResultQif(sheet)); }

void ForEach(const Element& element, const std::function<void(const Element&)>& look) {
  look(element);
  for (const Element& inside : element.inside) ForEach(inside, look);
}

/// The elements of a list below the root.
const std::vector<Element>& ListOf(const Element& root, const std::vector<std::string>& path) {
  const Element* element = &root;
  for (const std::string& step : path) {
    element = element->Find(step);
    if (!element) throw std::runtime_error("no element " + step);
  }
  return element->inside;
}

/// Every id is of its own, every reference is one of them, and every list counts its elements.
void ExpectSoundIds(const Element& root) {
  std::set<int> ids;
  std::set<int> named;
  ForEach(root, [&](const Element& element) {
    if (const auto id = element.attributes.find("id"); id != element.attributes.end()) {
      EXPECT_TRUE(ids.insert(std::stoi(id->second)).second) << id->second;
    }
    if (element.name.ends_with("Id") && element.name != "QPId") {
      named.insert(std::stoi(element.text));
    }
    if (element.name == "FirstFeature" || element.name == "SecondFeature") {
      named.insert(std::stoi(element.text));
    }
    if (const auto n = element.attributes.find("n"); n != element.attributes.end()) {
      EXPECT_EQ(n->second, std::to_string(element.inside.size())) << element.name;
    }
  });
  for (const int id : named) EXPECT_TRUE(ids.contains(id)) << id;
  EXPECT_EQ(root.attributes.at("idMax"), std::to_string(*ids.rbegin()));
}

/// The folder of the published schema: named by the environment, else beside the checkout. It is no
/// part of the project.
fs::path SchemaFolder() {
  if (const char* told = std::getenv("LIBMFX_QIF_SCHEMA")) return told;
  return fs::path(LIBMFX_SOURCE_DIR) / ".." / "shared" / "qif3";
}

/// What the checker says of a document; empty: it is valid.
std::string SaidByTheSchema(const std::string& document) {
  std::string file = (fs::temp_directory_path() / "libmfx-qif-XXXXXX").string();
  const int descriptor = mkstemp(file.data());
  if (descriptor < 0) return "no file can be written";
  close(descriptor);
  std::ofstream(file, std::ios::binary) << document;
  const std::string call = "xmllint --nonet --noout --schema '" +
                           (SchemaFolder() / "QIFDocument.xsd").string() + "' '" + file + "' 2>&1";
  std::string said;
  std::FILE* pipe = popen(call.c_str(), "r");
  char part[4096];
  while (pipe && std::fgets(part, sizeof part, pipe)) said += part;
  const int status = pipe ? pclose(pipe) : -1;
  fs::remove(file);
  return status == 0 ? "" : "status " + std::to_string(status) + ": " + said;
}

/// Why no document can be checked here; empty: it can.
std::string WhyUnchecked() {
  if (!fs::exists(SchemaFolder() / "QIFDocument.xsd")) {
    return "the schema of QIF 3.0 is not in " + SchemaFolder().string() +
           "; LIBMFX_QIF_SCHEMA names another folder";
  }
  if (std::system("xmllint --version > /dev/null 2>&1") != 0) {
    return "xmllint is not on this machine";
  }
  return {};
}

TEST(ResultQifTest, IsValidByThePublishedSchema) {
  if (const std::string why = WhyUnchecked(); !why.empty()) GTEST_SKIP() << why;
  Sheet sheet = FullSheet();
  EXPECT_EQ(SaidByTheSchema(ResultQif(sheet)), "");
  // What is wrong is refused, so the words above say something.
  std::string wrong = ResultQif(sheet);
  wrong.replace(wrong.find("<CharacteristicStatusEnum>PASS"), 30, "<CharacteristicStatusEnum>FINE");
  EXPECT_THAT(SaidByTheSchema(wrong), HasSubstr("FINE"));
  for (const auto& [length, angle] : {std::pair{"m", "rad"}, {"in", "deg"}}) {
    sheet.plan.units = {length, angle};
    EXPECT_EQ(SaidByTheSchema(ResultQif(sheet)), "") << length;
  }
}

TEST(ResultQifTest, SheetsWithHolesAreValidToo) {
  if (const std::string why = WhyUnchecked(); !why.empty()) GTEST_SKIP() << why;
  EXPECT_EQ(SaidByTheSchema(ResultQif(Sheet())), "");
  Sheet unasked = FullSheet();
  unasked.plan.characteristics.clear();
  unasked.characteristics.clear();
  unasked.time = "yesterday";
  EXPECT_EQ(SaidByTheSchema(ResultQif(unasked)), "");
  Sheet unmeasured = FullSheet();
  unmeasured.features.clear();
  unmeasured.characteristics.clear();
  unmeasured.stations.clear();
  EXPECT_EQ(SaidByTheSchema(ResultQif(unmeasured)), "");
  // Numbers that are none, or too large or too small to be told.
  Sheet odd = FullSheet();
  constexpr double nan = FeatureNumbers::kNone;
  for (const double value : {nan, 1e300, -1e15, 1e-300, std::numeric_limits<double>::infinity()}) {
    SCOPED_TRACE(value);
    for (std::size_t i = 0; i < odd.features.size(); ++i) {
      PlannedFeature& planned = odd.plan.features[i];
      planned.radius = planned.length = value;
      if (i % 2 == 0) planned.place.setConstant(value);
      if (i % 3 == 0) planned.direction.setConstant(value);
      FeatureResult& result = odd.features[i];
      result.measured.place.setConstant(value);
      result.measured.direction.setConstant(value);
      result.measured.length = result.measured.radius = value;
      result.spread.place.setConstant(value);
      result.spread.length = value;
    }
    for (std::size_t i = 0; i < odd.characteristics.size(); ++i) {
      odd.plan.characteristics[i].nominal = value;
      if (i % 2 == 0) odd.plan.characteristics[i].upper = value;
      odd.characteristics[i].measured = odd.characteristics[i].standard = value;
      odd.characteristics[i].interval95 = {value, value};
    }
    const std::string document = ResultQif(odd);
    EXPECT_EQ(SaidByTheSchema(document), "");
    ExpectSoundIds(DocumentOf(document));
  }
}

TEST(ResultQifTest, IdsAreUniqueAndReferencesRight) {
  ExpectSoundIds(DocumentOf(FullSheet()));
  Sheet sheet = FullSheet();
  sheet.plan.characteristics[0].features = {99, kStud};
  ExpectSoundIds(DocumentOf(sheet));
  sheet.features.clear();
  ExpectSoundIds(DocumentOf(sheet));
}

TEST(ResultQifTest, EachTypeHasItsElements) {
  const Element root = DocumentOf(FullSheet());
  const std::vector<std::string> names = {
      "Sphere",        "Circle",          "Cylinder",
      "Cylinder",      "ElongatedCircle", "OppositeParallelLines",
      "Circle",        "EdgePoint",       "Point",
      "OtherNonShape", "Circle"};
  const auto& definitions = ListOf(root, {"Features", "FeatureDefinitions"});
  const auto& nominals = ListOf(root, {"Features", "FeatureNominals"});
  const auto& measured =
      ListOf(root, {"Results", "MeasurementResultsSet", "MeasurementResults", "MeasuredFeatures"});
  ASSERT_THAT(definitions, SizeIs(names.size()));
  ASSERT_THAT(measured, SizeIs(names.size() - 1)) << "the last one was not measured";
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(definitions[i].name, names[i] + "FeatureDefinition");
    EXPECT_EQ(nominals[i].name, names[i] + "FeatureNominal");
    if (i < measured.size()) {
      EXPECT_EQ(measured[i].name, names[i] + "FeatureMeasurement");
    }
  }
  EXPECT_EQ(definitions[kBall].Number({"Diameter"}), 12.0);
  EXPECT_EQ(definitions[kStud].At({"InternalExternal"}), "EXTERNAL");
  EXPECT_EQ(definitions[kThread].At({"InternalExternal"}), "INTERNAL");
  EXPECT_EQ(nominals[kEdge].At({"Normal"}), "1 0 0") << "across the border";
  EXPECT_EQ(nominals[kEdge].At({"AdjacentNormal"}), "0 0 1") << "of the surface";
  EXPECT_EQ(nominals[kSlot].At({"CenterLine", "Vector"}), "1 0 0");
  EXPECT_EQ(measured[kSlot].Number({"Diameter"}), 12.05);
  EXPECT_EQ(measured[kRectangle].Number({"Length"}), 30.05);
  EXPECT_EQ(measured[kStud].Number({"Diameter"}), 11.986);
  EXPECT_EQ(measured[kStud].Find("Diameter")->attributes.at("combinedUncertainty"), "0.004");
  EXPECT_EQ(measured[kStud].At({"Axis", "AxisPoint"}), "300.012 -150.023 10.034");
  // No measurement tells the radius of a hole or a ball.
  EXPECT_EQ(measured[kHole].Find("Diameter"), nullptr);
  EXPECT_EQ(measured[kBall].Find("Diameter"), nullptr);
  EXPECT_EQ(measured[kHole].At({"Location"}), "100.012 -50.023 10.034");
  EXPECT_EQ(measured[kHole].Find("Location")->attributes.at("yCombinedUncertainty"), "0.02");
}

TEST(ResultQifTest, EachKindHasItsElementsAndNumbers) {
  const Sheet sheet = FullSheet();
  const Element root = DocumentOf(sheet);
  const std::vector<std::string> names = {
      "Diameter",         "SphericalDiameter", "Length",       "Width",    "LinearCoordinate",
      "LinearCoordinate", "UserDefinedLinear", "Position",     "Position", "Position",
      "DistanceBetween",  "DistanceBetween",   "AngleBetween", "Flatness", "Flatness",
      "Concentricity",    "Position",          "Position"};
  const auto& definitions = ListOf(root, {"Characteristics", "CharacteristicDefinitions"});
  const auto& nominals = ListOf(root, {"Characteristics", "CharacteristicNominals"});
  const auto& measured = ListOf(root, {"Results", "MeasurementResultsSet", "MeasurementResults",
                                       "MeasuredCharacteristics", "CharacteristicMeasurements"});
  ASSERT_THAT(measured, SizeIs(names.size()));
  const double half = 0.51e-9;  // of the last decimal that is told, m and radians
  for (std::size_t i = 0; i < names.size(); ++i) {
    SCOPED_TRACE(names[i]);
    const Characteristic& asked = sheet.plan.characteristics[i];
    const CharacteristicResult& judged = sheet.characteristics[i];
    const double unit = asked.is_angle ? sheet.plan.units.Angle() : sheet.plan.units.Length();
    EXPECT_EQ(definitions[i].name, names[i] + "CharacteristicDefinition");
    EXPECT_EQ(nominals[i].name, names[i] + "CharacteristicNominal");
    EXPECT_EQ(measured[i].name, names[i] + "CharacteristicMeasurement");
    const auto upper = definitions[i].Find("ToleranceValue")
                           ? definitions[i].Number({"ToleranceValue"})
                           : definitions[i].Number({"Tolerance", "MaxValue"});
    EXPECT_EQ(upper.has_value(), std::isfinite(asked.upper));
    if (upper) {
      EXPECT_NEAR(*upper * unit, asked.upper, half);
    }
    EXPECT_EQ(definitions[i].Find("NonTolerance") != nullptr,
              !std::isfinite(asked.upper) && !std::isfinite(asked.lower));
    const auto value = measured[i].Number({"Value"});
    EXPECT_EQ(value.has_value(), judged.verdict != Verdict::kNotMeasured);
    if (!value) continue;
    EXPECT_NEAR(*value * unit, judged.measured, half);
    const auto standard =
        host::NumberOf<double>(measured[i].Find("Value")->attributes.at("combinedUncertainty"));
    EXPECT_NEAR(standard.value() * unit, 20e-6, half);
  }
  EXPECT_EQ(nominals[4].At({"Direction"}), "XAXIS");
  EXPECT_EQ(nominals[5].At({"Direction"}), "ZAXIS");
  EXPECT_EQ(nominals[10].At({"AnalysisMode"}), "THREEDIMENSIONAL");
  EXPECT_EQ(nominals[11].At({"AnalysisVector"}), "0 1 0");
  EXPECT_NE(definitions[7].Find("ZoneShape")->Find("DiametricalZone"), nullptr);
  EXPECT_NE(definitions[8].Find("ZoneShape")->Find("SphericalZone"), nullptr);
  EXPECT_NE(definitions[9].Find("ZoneShape")->Find("NonDiametricalZone"), nullptr);
  EXPECT_EQ(definitions[13].Find("CommonZone"), nullptr);
  EXPECT_EQ(definitions[14].At({"CommonZone"}), "true");
  EXPECT_EQ(definitions[16].At({"CommonZone"}), "true");
}

TEST(ResultQifTest, VerdictsAreStatuses) {
  Sheet sheet = FullSheet();
  const auto results = [&] {
    return ListOf(DocumentOf(sheet), {"Results", "MeasurementResultsSet"}).front();
  };
  const Element all = results();
  const auto& measured = ListOf(all, {"MeasuredCharacteristics", "CharacteristicMeasurements"});
  const auto status = [&](std::size_t i) {
    return measured[i].At({"Status", "CharacteristicStatusEnum"});
  };
  EXPECT_EQ(status(0), "PASS");
  EXPECT_EQ(status(1), "FAIL");
  EXPECT_EQ(status(2), "INDETERMINATE");
  EXPECT_EQ(status(17), "NOT_ANALYZED");
  EXPECT_THAT(measured[17].At({"Description"}).value(), HasSubstr("was not measured"));
  const auto whole = [&] { return results().At({"InspectionStatus", "InspectionStatusEnum"}); };
  EXPECT_EQ(whole(), "FAIL");
  for (auto& result : sheet.characteristics) {
    if (result.verdict == Verdict::kDoesNotConform) result.verdict = Verdict::kConforms;
  }
  EXPECT_EQ(whole(), "NOT_MEASURED");
  sheet.plan.characteristics.resize(3);
  EXPECT_EQ(whole(), "UNKNOWN");
  sheet.plan.characteristics.resize(2);
  EXPECT_EQ(whole(), "PASS");
  sheet.plan.characteristics.clear();
  EXPECT_EQ(whole(), "UNDEFINED");
}

TEST(ResultQifTest, NamesFromOutsideAreEscaped) {
  const Element root = DocumentOf(FullSheet());
  const auto& nominals = ListOf(root, {"Features", "FeatureNominals"});
  // What no XML document may hold is replaced, all else comes back.
  EXPECT_EQ(nominals[kNasty].At({"Name"}), "=B<2> & \"x\",\n'y'\xEF\xBF\xBD \xEF\xBF\xBD \xC3\xA4");
  const Element& part = ListOf(root, {"Product", "PartSet"}).front();
  EXPECT_EQ(part.At({"Header", "Name"}), "Bracket <1>");
  EXPECT_EQ(part.At({"ModelNumber"}), "B-4711");
  EXPECT_EQ(ListOf(part, {"Attributes"}).front().attributes.at("value"), "aluminium & more");
}

TEST(ResultQifTest, TheSameSheetHasTheSameBytesAndAnotherAnotherId) {
  Sheet sheet = FullSheet();
  EXPECT_TRUE(ResultQif(sheet) == ResultQif(FullSheet()));
  const auto id = [&] { return DocumentOf(sheet).At({"QPId"}).value(); };
  std::set<std::string> ids = {id()};
  sheet.time = "2026-01-31T23:59:58Z";
  ids.insert(id());
  sheet.characteristics[0].measured += 1e-6;
  ids.insert(id());
  EXPECT_THAT(ids, SizeIs(3));
  for (const std::string& one : ids) {
    EXPECT_TRUE(std::regex_match(
        one, std::regex("[0-9a-f]{8}-[0-9a-f]{4}-8[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")))
        << one;
  }
}

TEST(XmlTest, DecimalsHaveNoExponent) {
  EXPECT_EQ(DecimalText(0.1), "0.1");
  EXPECT_EQ(DecimalText(-0.0), "0");
  EXPECT_EQ(DecimalText(1e-9), "0.000000001");
  EXPECT_EQ(DecimalText(1e-300), "0");
  EXPECT_EQ(DecimalText(123456789012345.0), "123456789012345");
  for (const double value : {1e15, -1e15, std::nan(""), HUGE_VAL}) {
    EXPECT_EQ(DecimalText(value), std::nullopt);
  }
}

TEST(XmlTest, ATimeIsOneThatExists) {
  EXPECT_TRUE(IsUtcTime("2026-01-31T23:59:59Z"));
  EXPECT_TRUE(IsUtcTime("2024-02-29T00:00:00Z"));
  for (const char* text : {"", "2026-02-29T00:00:00Z", "2026-13-01T00:00:00Z",
                           "2026-01-01T24:00:00Z", "2026-01-01T00:60:00Z", "2026-01-01 00:00:00Z",
                           "2026-01-01T00:00:00", "0000-01-01T00:00:00Z", "2026-01-01T00:00:-1Z",
                           "2026-00-01T00:00:00Z", "+026-01-01T00:00:00Z"}) {
    EXPECT_FALSE(IsUtcTime(text)) << text;
  }
}

}  // namespace
}  // namespace libmfx::inspection::sheet_test
