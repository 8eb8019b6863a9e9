#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/numbers.h"
#include "inspection/qif_parts.h"

namespace libmfx::inspection {
namespace {

/// What the elements of a characteristic hold.
enum class Form { kLinear, kAngular, kAxis, kPosition, kFlatness, kConcentricity, kOther };

struct Element {
  std::string_view name;  ///< what the names of its elements begin with
  Form form;
};

std::string_view TypeOf(const Plan& plan, const Characteristic& asked) {
  if (asked.features.empty() || asked.features[0] >= plan.features.size()) return "";
  return plan.features[asked.features[0]].type;
}

Element SizeElement(const Plan& plan, const Characteristic& asked) {
  if (asked.quantity == "length") return {"Length", Form::kLinear};
  if (asked.quantity == "width") return {"Width", Form::kLinear};
  if (TypeOf(plan, asked) == "MatteSphereFeature") return {"SphericalDiameter", Form::kLinear};
  return {"Diameter", Form::kLinear};
}

// The nearest that the schema has to each kind:
//
// size          Diameter, of a ball SphericalDiameter; Length; Width
// coordinate    LinearCoordinate along x, y or z; along a normal, which is a direction of no axis,
//               UserDefinedLinear with words
// position      Position; its zone is a sphere of a ball, between two planes or lines of a point on
// a
//               surface or an edge, else a cylinder
// distance      DistanceBetween in three dimensions; along an axis in one
// angle         AngleBetween in three dimensions
// flatness      Flatness
// coplanarity   Flatness with one zone for all of its features ("CZ" of ISO 1101)
// concentricity Concentricity
// pattern       Position with one zone for all of its features ("CZ" of ISO 5458)
//
// A zone without a tolerance, which no plan can tell, has no element but UserDefinedLinear.
Element ElementOf(const Plan& plan, const Characteristic& asked) {
  using Kind = Characteristic::Kind;
  const Element other = {"UserDefinedLinear", Form::kOther};
  const bool has_zone = DecimalText(asked.upper).has_value();
  switch (asked.kind) {
    case Kind::kSize:
      return SizeElement(plan, asked);
    case Kind::kCoordinate:
      return asked.quantity == "normal" ? other : Element{"LinearCoordinate", Form::kAxis};
    case Kind::kDistance:
      return {"DistanceBetween", Form::kLinear};
    case Kind::kAngle:
      return {"AngleBetween", Form::kAngular};
    case Kind::kPosition:
    case Kind::kPattern:
      return has_zone ? Element{"Position", Form::kPosition} : other;
    case Kind::kFlatness:
    case Kind::kCoplanarity:
      return has_zone ? Element{"Flatness", Form::kFlatness} : other;
    case Kind::kConcentricity:
      return has_zone ? Element{"Concentricity", Form::kConcentricity} : other;
  }
  return other;
}

/// What UserDefinedLinear measures, in words.
std::string WordsOf(const Characteristic& asked) {
  if (asked.kind == Characteristic::Kind::kCoordinate) {
    return "the place along the feature's own direction, from its nominal place";
  }
  return std::string(KindName(asked.kind));
}

bool HasPair(const Characteristic& asked) {
  return (asked.kind == Characteristic::Kind::kDistance ||
          asked.kind == Characteristic::Kind::kAngle) &&
         asked.features.size() == 2;
}

std::string_view StatusOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kConforms:
      return "PASS";
    case Verdict::kDoesNotConform:
      return "FAIL";
    case Verdict::kUndecided:
      return "INDETERMINATE";
    case Verdict::kNotMeasured:
      break;
  }
  return "NOT_ANALYZED";
}

/// Writes the characteristics of one document.
class Writer {
 public:
  explicit Writer(QifDocument& document)
      : _document(document), _xml(document.xml), _plan(document.sheet().plan) {}

  void Definitions() {
    OpenList("CharacteristicDefinitions");
    for (std::size_t i = 0; i < _plan.characteristics.size(); ++i) Definition(i);
    _xml.Close();
  }

  void Nominals() {
    OpenList("CharacteristicNominals");
    for (std::size_t i = 0; i < _plan.characteristics.size(); ++i) Nominal(i);
    _xml.Close();
  }

  void Items() {
    OpenList("CharacteristicItems");
    for (std::size_t i = 0; i < _plan.characteristics.size(); ++i) Item(i);
    _xml.Close();
  }

  void Measurements() {
    OpenList("CharacteristicMeasurements");
    for (std::size_t i = 0; i < _plan.characteristics.size(); ++i) Measurement(i);
    _xml.Close();
  }

 private:
  void OpenList(std::string_view name) {
    _xml.Open(name, {{"n", std::to_string(_plan.characteristics.size())}});
  }

  void OpenCharacteristic(const Element& element, std::string_view aspect, int id) {
    _xml.Open(std::string(element.name) + "Characteristic" + std::string(aspect),
              {{"id", IdText(id)}});
  }

  /// A number of a characteristic in its unit.
  std::string Number(const Characteristic& asked, double value) const {
    return DecimalText(_document.units().Of(asked, value)).value_or("0");
  }

  void Definition(std::size_t index) {
    const Characteristic& asked = _plan.characteristics[index];
    const Element element = ElementOf(_plan, asked);
    OpenCharacteristic(element, "Definition", _document.CharacteristicIds(index).definition);
    _document.Remarks({{"type", std::string(KindName(asked.kind))}, {"quantity", asked.quantity}});
    _xml.Leaf("Name", asked.name);
    if (asked.kind == Characteristic::Kind::kCoplanarity ||
        asked.kind == Characteristic::Kind::kPattern) {
      _xml.Leaf("CommonZone", "true");
    }
    switch (element.form) {
      case Form::kLinear:
      case Form::kAngular:
      case Form::kAxis:
        Tolerance(asked);
        break;
      case Form::kOther:
        Tolerance(asked);
        _xml.Leaf("WhatToMeasure", WordsOf(asked));
        break;
      case Form::kPosition:
        _xml.Leaf("ToleranceValue", Number(asked, asked.upper));
        _xml.Leaf("MaterialCondition", "REGARDLESS");
        Zone(PositionZone(asked));
        break;
      case Form::kConcentricity:
        _xml.Leaf("ToleranceValue", Number(asked, asked.upper));
        Zone("DiametricalZone");
        break;
      case Form::kFlatness:
        _xml.Leaf("ToleranceValue", Number(asked, asked.upper));
        break;
    }
    _xml.Close();
  }

  /// The limits of the value itself; without any it is measured for its own sake.
  void Tolerance(const Characteristic& asked) {
    const bool has_upper = DecimalText(_document.units().Of(asked, asked.upper)).has_value();
    const bool has_lower = DecimalText(_document.units().Of(asked, asked.lower)).has_value();
    if (!has_upper && !has_lower) {
      _xml.Leaf("NonTolerance", "MEASURED");
      return;
    }
    _xml.Open("Tolerance");
    if (has_upper) _xml.Leaf("MaxValue", Number(asked, asked.upper));
    if (has_lower) _xml.Leaf("MinValue", Number(asked, asked.lower));
    _xml.Leaf("DefinedAsLimit", "true");
    _xml.Close();
  }

  void Zone(std::string_view shape) {
    _xml.Open("ZoneShape");
    _xml.Empty(shape);
    _xml.Close();
  }

  std::string_view PositionZone(const Characteristic& asked) const {
    const std::string_view type = TypeOf(_plan, asked);
    if (type == "MatteSphereFeature") return "SphericalZone";
    if (type == "SurfaceNormalFeature" || type == "EdgeFeature") return "NonDiametricalZone";
    return "DiametricalZone";
  }

  /// Ids of all features of a characteristic, one aspect of them; those of none are left out.
  std::vector<int> FeatureIds(const Characteristic& asked, int QifIds::*aspect) const {
    std::vector<int> ids;
    for (const std::size_t feature : asked.features) {
      if (feature >= _plan.features.size()) continue;
      const int id = _document.FeatureIds(feature).*aspect;
      if (id > 0) ids.push_back(id);
    }
    return ids;
  }

  void Nominal(std::size_t index) {
    const Characteristic& asked = _plan.characteristics[index];
    const Element element = ElementOf(_plan, asked);
    const QifIds& ids = _document.CharacteristicIds(index);
    OpenCharacteristic(element, "Nominal", ids.nominal);
    _xml.Leaf("CharacteristicDefinitionId", IdText(ids.definition));
    const std::vector<int> features = FeatureIds(asked, &QifIds::nominal);
    // Where the schema has a pair of features, it wants no list of them.
    if (!HasPair(asked)) _document.Ids("FeatureNominalIds", features);
    _xml.Leaf("Name", asked.name);
    const auto target = DecimalText(_document.units().Of(asked, asked.nominal));
    if (target && !IsZone(element)) _xml.Leaf("TargetValue", *target);
    if (element.form == Form::kAxis) {
      _xml.Leaf("Direction", asked.quantity == "x"   ? "XAXIS"
                             : asked.quantity == "y" ? "YAXIS"
                                                     : "ZAXIS");
    }
    if (asked.kind == Characteristic::Kind::kDistance ||
        asked.kind == Characteristic::Kind::kAngle) {
      Pair(asked, features);
    }
    _xml.Close();
  }

  static bool IsZone(const Element& element) {
    return element.form == Form::kPosition || element.form == Form::kFlatness ||
           element.form == Form::kConcentricity;
  }

  void Pair(const Characteristic& asked, const std::vector<int>& features) {
    if (HasPair(asked) && features.size() == 2) {
      _xml.Open("FeatureNominalPairs", {{"n", "1"}});
      _xml.Open("FeaturePair");
      _xml.Leaf("FirstFeature", IdText(features[0]));
      _xml.Leaf("SecondFeature", IdText(features[1]));
      _xml.Close();
      _xml.Close();
    }
    constexpr std::string_view axes = "xyz";
    const bool along_axis = asked.kind == Characteristic::Kind::kDistance &&
                            asked.quantity.size() == 1 &&
                            axes.find(asked.quantity[0]) != std::string_view::npos;
    if (along_axis) {
      _xml.Leaf("AnalysisVector",
                PointText(Vector3d::Unit(static_cast<Eigen::Index>(axes.find(asked.quantity[0])))));
    }
    _xml.Leaf("AnalysisMode", along_axis ? "ONEDIMENSIONAL" : "THREEDIMENSIONAL");
  }

  void Item(std::size_t index) {
    const Characteristic& asked = _plan.characteristics[index];
    const QifIds& ids = _document.CharacteristicIds(index);
    OpenCharacteristic(ElementOf(_plan, asked), "Item", ids.item);
    _xml.Leaf("Name", asked.name);
    _document.Ids("FeatureItemIds", FeatureIds(asked, &QifIds::item));
    _xml.Leaf("CharacteristicNominalId", IdText(ids.nominal));
    _xml.Close();
  }

  void Measurement(std::size_t index) {
    const Characteristic& asked = _plan.characteristics[index];
    const ToldResult& told = _document.results()[index];
    const Element element = ElementOf(_plan, asked);
    const QifIds& ids = _document.CharacteristicIds(index);
    OpenCharacteristic(element, "Measurement", ids.measurement);
    _document.Remarks(SureRemarks(asked, told));
    if (!told.reason.empty()) _xml.Leaf("Description", told.reason);
    _xml.Open("Status");
    _xml.Leaf("CharacteristicStatusEnum", StatusOf(told.verdict));
    _xml.Close();
    _xml.Leaf("CharacteristicItemId", IdText(ids.item));
    _document.Ids("FeatureMeasurementIds", FeatureIds(asked, &QifIds::measurement));
    if (element.form == Form::kAxis) {
      _xml.Open("TypeOfCoordinates");
      _xml.Leaf("CoordinateEnum", "CARTESIAN_3D");
      _xml.Close();
    }
    if (told.measured) Value(asked, told);
    _xml.Close();
  }

  void Value(const Characteristic& asked, const ToldResult& told) {
    const auto text = DecimalText(_document.units().Of(asked, *told.measured));
    if (!text) return;
    const auto standard =
        told.standard ? DecimalText(_document.units().Of(asked, std::max(0.0, *told.standard)))
                      : std::nullopt;
    if (standard) {
      _xml.Leaf("Value", *text, {{"combinedUncertainty", *standard}});
    } else {
      _xml.Leaf("Value", *text);
    }
  }

  std::vector<std::pair<std::string, std::string>> SureRemarks(const Characteristic& asked,
                                                               const ToldResult& told) const {
    std::vector<std::pair<std::string, std::string>> remarks;
    const auto add = [&](const char* name, double value) {
      std::string text;
      host::AppendNumber(text, value);
      remarks.emplace_back(name, text);
    };
    if (told.interval95) {
      add("low95", _document.units().Of(asked, (*told.interval95)[0]));
      add("high95", _document.units().Of(asked, (*told.interval95)[1]));
    }
    if (told.share_within) add("probability within", RoundedTo(*told.share_within, 6));
    return remarks;
  }

  QifDocument& _document;
  XmlText& _xml;
  const Plan& _plan;
};

}  // namespace

void WriteQifCharacteristics(QifDocument& document) {
  if (document.sheet().plan.characteristics.empty()) return;
  document.xml.Open("Characteristics");
  document.xml.Leaf("FormalStandardId", IdText(document.StandardId()));
  Writer writer(document);
  writer.Definitions();
  writer.Nominals();
  writer.Items();
  document.xml.Close();
}

void WriteQifMeasuredCharacteristics(QifDocument& document) {
  if (document.sheet().plan.characteristics.empty()) return;
  document.xml.Open("MeasuredCharacteristics");
  Writer(document).Measurements();
  document.xml.Close();
}

}  // namespace libmfx::inspection
