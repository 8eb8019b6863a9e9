#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "inspection/qif_parts.h"

namespace libmfx::inspection {
namespace {

/// What the elements of a feature hold.
enum class Form { kRound, kBall, kWall, kSided, kEdge, kPoint, kOther };

struct Shape {
  std::string_view type;     ///< "$type" of its requests
  std::string_view element;  ///< what the names of its elements begin with
  Form form;
  std::string_view side;  ///< whether the material is around it or inside
};

// The nearest that the schema has to each type. A polygon has none: what is told is the circle
// through its corners, over which its diameter is told too. A hole is a circle and no cylinder,
// since its place is that of its rim. Of a threaded hole and a stud the diameter is that of the
// crests.
constexpr Shape kShapes[] = {
    {"MatteSphereFeature", "Sphere", Form::kBall, "EXTERNAL"},
    {"HoleFeature", "Circle", Form::kRound, "INTERNAL"},
    {"PolygonFeature", "Circle", Form::kRound, "INTERNAL"},
    {"ThreadedHoleFeature", "Cylinder", Form::kWall, "INTERNAL"},
    {"StudFeature", "Cylinder", Form::kWall, "EXTERNAL"},
    {"SlotFeature", "ElongatedCircle", Form::kSided, "INTERNAL"},
    {"RectangleFeature", "OppositeParallelLines", Form::kSided, "INTERNAL"},
    {"EdgeFeature", "EdgePoint", Form::kEdge, "NOT_APPLICABLE"},
    {"SurfaceNormalFeature", "Point", Form::kPoint, ""},
};
// A free path has neither a place nor a size; nor has a feature whose nominal is not told in full.
constexpr Shape kOther = {"", "OtherNonShape", Form::kOther, ""};

bool IsSize(double metres) { return DecimalText(metres).has_value(); }

bool IsUnit(const Vector3d& direction) {
  return direction.allFinite() && std::fabs(direction.norm() - 1.0) < 1e-6;
}

/// Whether a plan tells all that the schema wants of a feature of this form.
bool IsTold(const PlannedFeature& planned, Form form) {
  if (!HasPlace(planned)) return false;
  switch (form) {
    case Form::kBall:
      return IsSize(planned.radius);
    case Form::kRound:
    case Form::kWall:
      return IsSize(planned.radius) && IsUnit(planned.direction);
    case Form::kSided:
      return IsSize(planned.length) && IsSize(planned.width) && IsUnit(planned.direction) &&
             IsUnit(planned.tangent);
    case Form::kEdge:
      return IsUnit(planned.direction) && IsUnit(planned.tangent);
    case Form::kPoint:
      return true;
    case Form::kOther:
      break;
  }
  return false;
}

Shape ShapeOf(const PlannedFeature& planned) {
  for (const Shape& shape : kShapes) {
    if (shape.type == planned.type && IsTold(planned, shape.form)) return shape;
  }
  return kOther;
}

/// Writes the features of one document.
class Writer {
 public:
  explicit Writer(QifDocument& document)
      : _document(document), _xml(document.xml), _plan(document.sheet().plan) {}

  void Definitions() {
    OpenList("FeatureDefinitions", _plan.features.size());
    for (std::size_t i = 0; i < _plan.features.size(); ++i) Definition(i);
    _xml.Close();
  }

  void Nominals() {
    OpenList("FeatureNominals", _plan.features.size());
    for (std::size_t i = 0; i < _plan.features.size(); ++i) Nominal(i);
    _xml.Close();
  }

  void Items() {
    OpenList("FeatureItems", _plan.features.size());
    for (std::size_t i = 0; i < _plan.features.size(); ++i) Item(i);
    _xml.Close();
  }

  void Measurements() {
    std::size_t count = 0;
    for (std::size_t i = 0; i < _plan.features.size(); ++i) {
      count += _document.FeatureIds(i).measurement > 0 ? 1 : 0;
    }
    if (count == 0) return;
    OpenList("MeasuredFeatures", count);
    for (std::size_t i = 0; i < _plan.features.size(); ++i) {
      if (_document.FeatureIds(i).measurement > 0) Measurement(i);
    }
    _xml.Close();
  }

 private:
  void OpenList(std::string_view name, std::size_t count) {
    _xml.Open(name, {{"n", std::to_string(count)}});
  }

  void OpenFeature(const Shape& shape, std::string_view aspect, int id) {
    _xml.Open(std::string(shape.element) + "Feature" + std::string(aspect), {{"id", IdText(id)}});
  }

  void Length(std::string_view name, double metres) {
    _xml.Leaf(name, DecimalText(_document.units().Length(metres)).value_or("0"));
  }

  void Definition(std::size_t index) {
    const PlannedFeature& planned = _plan.features[index];
    const Shape shape = ShapeOf(planned);
    OpenFeature(shape, "Definition", _document.FeatureIds(index).definition);
    _document.Remarks({{"type", planned.type}});
    if (!shape.side.empty()) _xml.Leaf("InternalExternal", shape.side);
    switch (shape.form) {
      case Form::kBall:
      case Form::kRound:
      case Form::kWall:
        Length("Diameter", 2.0 * planned.radius);
        break;
      case Form::kSided:
        // Both tell the overall extents, the length along the centre line.
        Length(IsRectangle(shape) ? "Width" : "Diameter", planned.width);
        Length("Length", planned.length);
        if (IsRectangle(shape)) {
          _xml.Open("EndType");
          _xml.Leaf("SlotEndEnum", "FLAT");
          _xml.Close();
        }
        break;
      case Form::kOther:
        _xml.Leaf("Description", "what has neither a place nor a size");
        break;
      case Form::kEdge:
      case Form::kPoint:
        break;
    }
    _xml.Close();
  }

  void Point(std::string_view name, const Vector3d& place) {
    _xml.Leaf(name, PointText(_document.units().Lengths(place)));
  }

  void Direction(std::string_view name, const Vector3d& direction) {
    _xml.Leaf(name, PointText(RoundedTo(direction, kDirectionDecimals)));
  }

  void Nominal(std::size_t index) {
    const PlannedFeature& planned = _plan.features[index];
    const Shape shape = ShapeOf(planned);
    OpenFeature(shape, "Nominal", _document.FeatureIds(index).nominal);
    _xml.Leaf("Name", planned.name);
    _xml.Leaf("FeatureDefinitionId", IdText(_document.FeatureIds(index).definition));
    switch (shape.form) {
      case Form::kBall:
        Point("Location", planned.place);
        break;
      case Form::kRound:
        Point("Location", planned.place);
        Direction("Normal", planned.direction);
        break;
      case Form::kWall:
        _xml.Open("Axis");
        Point("AxisPoint", planned.place);
        Direction("Direction", planned.direction);
        _xml.Close();
        break;
      case Form::kSided:
        _xml.Open("CenterLine");
        Point("StartPoint", planned.place);
        Direction("Vector", planned.tangent);
        _xml.Close();
        Direction("Normal", planned.direction);
        break;
      case Form::kEdge:
        // The edge's own surface looks across the border, the one beside it is the surface.
        Point("Location", planned.place);
        Direction("Normal", planned.tangent);
        Direction("AdjacentNormal", planned.direction);
        break;
      case Form::kPoint:
        Point("Location", planned.place);
        if (IsUnit(planned.direction)) Direction("Normal", planned.direction);
        break;
      case Form::kOther:
        break;
    }
    _xml.Close();
  }

  void Item(std::size_t index) {
    const QifIds& ids = _document.FeatureIds(index);
    const Shape shape = ShapeOf(_plan.features[index]);
    OpenFeature(shape, "Item", ids.item);
    _xml.Leaf("FeatureNominalId", IdText(ids.nominal));
    _xml.Leaf("FeatureName", _plan.features[index].name);
    if (shape.form != Form::kOther) {
      _xml.Open("DeterminationMode");
      _xml.Empty("Checked");
      _xml.Close();
    }
    _xml.Close();
  }

  void MeasuredPoint(std::string_view name, const FeatureResult& result) {
    const std::string text = PointText(_document.units().Lengths(result.measured.place));
    std::string standard[3];
    for (int i = 0; i < 3; ++i) {
      const double variance = result.spread.place(i, i);
      if (!(variance > 0.0)) continue;
      standard[i] = DecimalText(_document.units().Length(std::sqrt(variance))).value_or("");
    }
    if (standard[0].empty() || standard[1].empty() || standard[2].empty()) {
      _xml.Leaf(name, text);
      return;
    }
    _xml.Leaf(name, text,
              {{"xCombinedUncertainty", standard[0]},
               {"yCombinedUncertainty", standard[1]},
               {"zCombinedUncertainty", standard[2]}});
  }

  void MeasuredLength(std::string_view name, double metres, double variance) {
    const auto text = DecimalText(_document.units().Length(metres));
    if (!text) return;
    const auto standard =
        variance > 0.0 ? DecimalText(_document.units().Length(std::sqrt(variance))) : std::nullopt;
    if (standard) {
      _xml.Leaf(name, *text, {{"combinedUncertainty", *standard}});
    } else {
      _xml.Leaf(name, *text);
    }
  }

  void MeasuredDirection(std::string_view name, const Vector3d& direction) {
    if (IsUnit(direction)) Direction(name, direction);
  }

  void Measurement(std::size_t index) {
    const QifIds& ids = _document.FeatureIds(index);
    const Shape shape = ShapeOf(_plan.features[index]);
    const FeatureResult& result = *MeasuredFeature(_document.sheet(), index);
    OpenFeature(shape, "Measurement", ids.measurement);
    _document.Remarks({{"recording", result.recording}});
    _xml.Leaf("FeatureItemId", IdText(ids.item));
    _xml.Leaf("FeatureName", _plan.features[index].name);
    if (result.measured.IsMeasured()) MeasuredNumbers(shape, result);
    _xml.Close();
  }

  void MeasuredNumbers(const Shape& shape, const FeatureResult& result) {
    const FeatureNumbers& measured = result.measured;
    switch (shape.form) {
      case Form::kBall:
        MeasuredPoint("Location", result);
        MeasuredLength("Diameter", 2.0 * measured.radius, 4.0 * result.spread.radius);
        break;
      case Form::kRound:
        MeasuredPoint("Location", result);
        MeasuredDirection("Normal", measured.direction);
        MeasuredLength("Diameter", 2.0 * measured.radius, 4.0 * result.spread.radius);
        break;
      case Form::kWall:
        MeasuredLine("Axis", "AxisPoint", "Direction", result, measured.direction);
        MeasuredLength("Diameter", 2.0 * measured.radius, 4.0 * result.spread.radius);
        break;
      case Form::kSided:
        MeasuredSides(shape, result);
        break;
      case Form::kEdge:
        MeasuredPoint("Location", result);
        MeasuredDirection("Normal", measured.tangent);
        MeasuredDirection("AdjacentNormal", measured.direction);
        break;
      case Form::kPoint:
        MeasuredPoint("Location", result);
        MeasuredDirection("Normal", measured.direction);
        break;
      case Form::kOther:
        break;
    }
  }

  /// A slot tells its width first, a rectangle its centre line.
  void MeasuredSides(const Shape& shape, const FeatureResult& result) {
    const FeatureNumbers& measured = result.measured;
    const bool is_rectangle = IsRectangle(shape);
    if (!is_rectangle) MeasuredLength("Diameter", measured.width, result.spread.width);
    MeasuredLine("CenterLine", "StartPoint", "Vector", result, measured.tangent);
    MeasuredDirection("Normal", measured.direction);
    if (is_rectangle) MeasuredLength("Width", measured.width, result.spread.width);
    MeasuredLength("Length", measured.length, result.spread.length);
  }

  /// A line has a place and a direction, or is not told at all.
  void MeasuredLine(std::string_view name, std::string_view point, std::string_view along,
                    const FeatureResult& result, const Vector3d& direction) {
    if (!IsUnit(direction)) return;
    _xml.Open(name);
    MeasuredPoint(point, result);
    Direction(along, direction);
    _xml.Close();
  }

  static bool IsRectangle(const Shape& shape) { return shape.type == "RectangleFeature"; }

  QifDocument& _document;
  XmlText& _xml;
  const Plan& _plan;
};

}  // namespace

void WriteQifFeatures(QifDocument& document) {
  if (document.sheet().plan.features.empty()) return;
  document.xml.Open("Features");
  Writer writer(document);
  writer.Definitions();
  writer.Nominals();
  writer.Items();
  document.xml.Close();
}

void WriteQifMeasuredFeatures(QifDocument& document) { Writer(document).Measurements(); }

}  // namespace libmfx::inspection
