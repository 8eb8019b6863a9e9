#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/numbers.h"
#include "inspection/qif_parts.h"
#include "inspection/writers.h"

namespace libmfx::inspection {

QifDocument::QifDocument(const Sheet& sheet)
    : _sheet(sheet),
      _units(sheet.plan.units),
      _results(ToldResults(sheet)),
      _features(sheet.plan.features.size()),
      _characteristics(sheet.plan.characteristics.size()) {
  const auto number = [this](QifIds& ids, bool is_measured) {
    ids.definition = ++_last;
    ids.nominal = ++_last;
    ids.item = ++_last;
    if (is_measured) ids.measurement = ++_last;
  };
  _part = ++_last;
  _standard = ++_last;
  _results_id = ++_last;
  for (std::size_t i = 0; i < _features.size(); ++i) {
    number(_features[i], MeasuredFeature(sheet, i) != nullptr);
  }
  for (QifIds& ids : _characteristics) number(ids, true);
}

void QifDocument::Ids(std::string_view name, const std::vector<int>& ids) {
  if (ids.empty()) return;
  xml.Open(name, {{"n", std::to_string(ids.size())}});
  for (const int id : ids) xml.Leaf("Id", IdText(id));
  xml.Close();
}

void QifDocument::Remarks(const std::vector<std::pair<std::string, std::string>>& remarks) {
  std::size_t count = 0;
  for (const auto& [name, text] : remarks) count += text.empty() ? 0 : 1;
  if (count == 0) return;
  xml.Open("Attributes", {{"n", std::to_string(count)}});
  for (const auto& [name, text] : remarks) {
    if (!text.empty()) xml.Empty("AttributeStr", {{"name", name}, {"value", text}});
  }
  xml.Close();
}

std::string PointText(const Vector3d& point) {
  std::string text;
  for (const double x : point) {
    if (!text.empty()) text += ' ';
    host::AppendNumber(text, x);
  }
  return text;
}

namespace {

struct UnitWords {
  std::string_view key, name, factor;  ///< the factor is empty of the unit of the SI itself
};

constexpr UnitWords kLengths[] = {
    {"mm", "millimeter", "0.001"}, {"m", "meter", ""}, {"in", "inch", "0.0254"}};
constexpr UnitWords kAngles[] = {{"deg", "degree", "0.0174532925199433"}, {"rad", "radian", ""}};

void WriteUnit(XmlText& xml, std::string_view element, std::string_view si, const UnitWords& unit) {
  xml.Open(element);
  xml.Leaf("SIUnitName", si);
  xml.Leaf("UnitName", unit.name);
  if (!unit.factor.empty()) {
    xml.Open("UnitConversion");
    xml.Leaf("Factor", unit.factor);
    xml.Close();
  }
  xml.Close();
}

void WriteUnits(XmlText& xml, const Units& units) {
  xml.Open("FileUnits");
  xml.Open("PrimaryUnits");
  for (const UnitWords& unit : kAngles) {
    if (unit.key == units.angle) WriteUnit(xml, "AngularUnit", "radian", unit);
  }
  for (const UnitWords& unit : kLengths) {
    if (unit.key == units.length) WriteUnit(xml, "LinearUnit", "meter", unit);
  }
  xml.Close();
  xml.Close();
}

void WriteStandard(QifDocument& document) {
  XmlText& xml = document.xml;
  xml.Open("StandardsDefinitions", {{"n", "1"}});
  xml.Open("Standard", {{"id", IdText(document.StandardId())}});
  xml.Open("Organization");
  xml.Leaf("StandardsOrganizationEnum", "ISO");
  xml.Close();
  xml.Leaf("Designator", "ISO 1101");
  xml.Close();
  xml.Close();
}

void WriteProduct(QifDocument& document) {
  XmlText& xml = document.xml;
  const Plan& plan = document.sheet().plan;
  xml.Open("Product");
  xml.Open("PartSet", {{"n", "1"}});
  xml.Open("Part", {{"id", IdText(document.PartId())}});
  document.Remarks({{"material", plan.part.material}});
  xml.Open("Header");
  xml.Leaf("Name", plan.part.name);
  xml.Close();
  if (!plan.part.number.empty()) xml.Leaf("ModelNumber", plan.part.number);
  std::vector<int> features, characteristics;
  for (std::size_t i = 0; i < plan.features.size(); ++i) {
    features.push_back(document.FeatureIds(i).nominal);
  }
  for (std::size_t i = 0; i < plan.characteristics.size(); ++i) {
    characteristics.push_back(document.CharacteristicIds(i).nominal);
  }
  document.Ids("FeatureNominalIds", features);
  document.Ids("CharacteristicNominalIds", characteristics);
  xml.Close();
  xml.Close();
  xml.Open("RootPart");
  xml.Leaf("Id", IdText(document.PartId()));
  xml.Close();
  xml.Close();
}

std::string_view StatusOf(const QifDocument& document) {
  if (document.results().empty()) return "UNDEFINED";
  switch (WholeVerdict(document.results())) {
    case Verdict::kConforms:
      return "PASS";
    case Verdict::kDoesNotConform:
      return "FAIL";
    case Verdict::kUndecided:
      return "UNKNOWN";
    case Verdict::kNotMeasured:
      break;
  }
  return "NOT_MEASURED";
}

/// What the schema has no element for.
std::vector<std::pair<std::string, std::string>> RemarksOf(const Sheet& sheet) {
  std::vector<std::pair<std::string, std::string>> remarks = {
      {"uncertainties", sheet.uncertainties}, {"alignment", sheet.alignment.method}};
  for (std::size_t i = 0; i < sheet.plan.stations.size() && i < sheet.stations.size(); ++i) {
    remarks.emplace_back("station",
                         sheet.plan.stations[i].name + ": " + sheet.stations[i].instrument);
  }
  for (const std::string& note : sheet.notes) remarks.emplace_back("note", note);
  return remarks;
}

void WriteResults(QifDocument& document) {
  XmlText& xml = document.xml;
  xml.Open("Results");
  xml.Open("MeasurementResultsSet", {{"n", "1"}});
  xml.Open("MeasurementResults", {{"id", IdText(document.ResultsId())}});
  document.Remarks(RemarksOf(document.sheet()));
  if (IsUtcTime(document.sheet().time)) {
    xml.Open("InspectionTraceability");
    xml.Leaf("InspectionStart", document.sheet().time);
    xml.Close();
  }
  WriteQifMeasuredFeatures(document);
  WriteQifMeasuredCharacteristics(document);
  xml.Open("InspectionStatus");
  xml.Leaf("InspectionStatusEnum", StatusOf(document));
  xml.Close();
  xml.Close();
  xml.Close();
  xml.Close();
}

}  // namespace

std::string ResultQif(const Sheet& sheet) {
  QifDocument document(sheet);
  XmlText& xml = document.xml;
  // Time and program belong to the content, so that no two inspections have one id.
  if (IsUtcTime(sheet.time)) {
    xml.Open("Version");
    xml.Leaf("TimeCreated", sheet.time);
    xml.Close();
  }
  xml.Open("Header");
  xml.Open("Application");
  xml.Leaf("Name", sheet.program);
  xml.Close();
  xml.Close();
  if (!sheet.plan.characteristics.empty()) WriteStandard(document);
  WriteUnits(xml, sheet.plan.units);
  WriteProduct(document);
  WriteQifFeatures(document);
  WriteQifCharacteristics(document);
  WriteResults(document);

  XmlText head;
  head.Leaf("QPId", UuidOf(xml.Text()));
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<QIFDocument xmlns=\"http://qifstandards.org/xsd/qif3\" versionQIF=\"3.0.0\" idMax=\"" +
         IdText(document.LastId()) + "\">\n" + head.Text() + xml.Text() + "</QIFDocument>\n";
}

}  // namespace libmfx::inspection
