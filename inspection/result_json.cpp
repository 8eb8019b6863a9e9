#include <Eigen/Core>
#include <Eigen/Geometry>
#include <array>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/writers.h"
#include "inspection/written.h"

namespace libmfx::inspection {
namespace {

using nlohmann::ordered_json;

ordered_json ArrayOf(const Vector3d& numbers) { return {numbers[0], numbers[1], numbers[2]}; }

ordered_json RowsOf(const Eigen::Matrix3d& matrix) {
  ordered_json rows = ordered_json::array();
  for (Eigen::Index i = 0; i < 3; ++i) rows.push_back(ArrayOf(matrix.row(i).transpose()));
  return rows;
}

/// An infinite limit is none.
ordered_json LimitOf(double value) {
  return std::isfinite(value) ? ordered_json(value) : ordered_json(nullptr);
}

void SetIfFinite(ordered_json& object, const char* key, double value) {
  if (std::isfinite(value)) object[key] = value;
}

void SetIfTold(ordered_json& object, const char* key, const std::string& text) {
  if (!text.empty()) object[key] = text;
}

/// The object of one sheet, part by part.
class Writer {
 public:
  explicit Writer(const Sheet& sheet)
      : _sheet(sheet), _plan(sheet.plan), _units(sheet.plan.units), _told(ToldResults(sheet)) {}

  ordered_json Told() const {
    ordered_json object = ordered_json::object();
    object["plan"] = Head();
    object["stations"] = Stations();
    object["alignment"] = Alignment();
    object["features"] = ordered_json::array();
    for (std::size_t i = 0; i < _plan.features.size(); ++i) {
      object["features"].push_back(Feature(i));
    }
    object["characteristics"] = ordered_json::array();
    for (std::size_t i = 0; i < _told.size(); ++i) {
      object["characteristics"].push_back(Asked(_plan.characteristics[i], _told[i]));
    }
    object["verdict"] = VerdictName(WholeVerdict(_told));
    object["counts"] = Counts();
    object["notes"] = _sheet.notes;
    return object;
  }

 private:
  ordered_json Head() const {
    const PartTold& part = _plan.part;
    ordered_json told = {{"name", part.name}, {"number", part.number}, {"material", part.material}};
    SetIfFinite(told, "expansion_ppm_per_k", RoundedTo(part.expansion * 1e6, 6));
    SetIfFinite(told, "temperature", RoundedTo(part.temperature, 6));
    SetIfFinite(told, "reference_temperature", RoundedTo(part.reference_temperature, 6));
    return {{"part", told},
            {"units", {{"length", _plan.units.length}, {"angle", _plan.units.angle}}},
            {"program", _sheet.program},
            {"time", _sheet.time},
            {"uncertainties", _sheet.uncertainties}};
  }

  ordered_json Stations() const {
    ordered_json stations = ordered_json::array();
    for (std::size_t i = 0; i < _plan.stations.size(); ++i) {
      ordered_json object = {{"name", _plan.stations[i].name}};
      if (i < _sheet.stations.size()) AppendStation(object, _sheet.stations[i]);
      stations.push_back(object);
    }
    return stations;
  }

  void AppendStation(ordered_json& object, const StationResult& found) const {
    SetIfTold(object, "instrument", found.instrument);
    const Eigen::Matrix3d rotation =
        found.pose.linear().unaryExpr([](double x) { return RoundedTo(x, kDirectionDecimals); });
    if (found.pose.matrix().allFinite()) {
      object["pose"] = {{"position", ArrayOf(_units.Lengths(found.pose.translation()))},
                        {"rotation", RowsOf(rotation)}};
    }
    if (found.position_standard.allFinite()) {
      object["position_standard"] = ArrayOf(_units.Lengths(found.position_standard));
    }
    if (found.turn_standard.allFinite()) {
      object["turn_standard"] =
          ArrayOf(found.turn_standard.unaryExpr([this](double x) { return _units.Angle(x); }));
    }
  }

  ordered_json Alignment() const {
    const AlignmentResult& alignment = _sheet.alignment;
    ordered_json references = ordered_json::array();
    for (std::size_t i = 0; i < _plan.references.size(); ++i) {
      const Reference& reference = _plan.references[i];
      ordered_json object = {{"feature", FeatureName(_plan, reference.feature)}};
      SetIfFinite(object, "tolerance", _units.Length(reference.tolerance));
      if (i < alignment.residuals.size()) {
        SetIfFinite(object, "residual", _units.Length(alignment.residuals[i]));
      }
      if (alignment.left_out == i) object["left_out"] = true;
      references.push_back(object);
    }
    ordered_json told = {{"method", alignment.method}};
    SetIfFinite(told, "scale", RoundedTo(alignment.scale, 12));
    told["references"] = references;
    return told;
  }

  ordered_json Feature(std::size_t index) const {
    const PlannedFeature& planned = _plan.features[index];
    const FeatureResult* measured = MeasuredFeature(_sheet, index);
    ordered_json object = {
        {"name", planned.name}, {"type", planned.type}, {"measured", measured != nullptr}};
    if (index < _sheet.features.size()) {
      const FeatureResult& result = _sheet.features[index];
      SetIfTold(object, "reason", result.reason);
      if (!result.warnings.empty()) object["warnings"] = result.warnings;
      if (result.station && *result.station < _plan.stations.size()) {
        object["station"] = _plan.stations[*result.station].name;
      }
      SetIfTold(object, "recording", result.recording);
    }
    if (HasPlace(planned)) object["place"] = Place(planned, measured);
    const FeatureNumbers none;
    const FeatureNumbers& numbers = measured ? measured->measured : none;
    AppendDirection(object, "direction", planned.direction, numbers.direction);
    AppendDirection(object, "tangent", planned.tangent, numbers.tangent);
    const FeatureSpread spread = measured ? measured->spread : FeatureSpread();
    AppendSize(object, "length", planned.length, numbers.length, spread.length);
    AppendSize(object, "width", planned.width, numbers.width, spread.width);
    AppendSize(object, "radius", planned.radius, numbers.radius, spread.radius);
    return object;
  }

  ordered_json Place(const PlannedFeature& planned, const FeatureResult* measured) const {
    ordered_json place = {{"nominal", ArrayOf(_units.Lengths(planned.place))}};
    if (!measured || !measured->measured.IsMeasured()) return place;
    place["measured"] = ArrayOf(_units.Lengths(measured->measured.place));
    place["deviation"] = ArrayOf(_units.Lengths(measured->measured.place - planned.place));
    const Eigen::Matrix3d& spread = measured->spread.place;
    // One that is zero was never told.
    if (spread.allFinite() && !spread.isZero(0.0)) {
      place["covariance"] = RowsOf(_units.Covariance(spread));
    }
    return place;
  }

  /// The deviation of a direction is the angle between the two.
  void AppendDirection(ordered_json& object, const char* key, const Vector3d& nominal,
                       const Vector3d& measured) const {
    const bool is_planned = nominal.allFinite() && !nominal.isZero(0.0);
    if (!is_planned && !measured.allFinite()) return;
    ordered_json told = ordered_json::object();
    if (is_planned) told["nominal"] = ArrayOf(RoundedTo(nominal, kDirectionDecimals));
    if (measured.allFinite()) told["measured"] = ArrayOf(RoundedTo(measured, kDirectionDecimals));
    if (is_planned && measured.allFinite()) {
      told["deviation"] =
          _units.Angle(std::atan2(nominal.cross(measured).norm(), nominal.dot(measured)));
    }
    object[key] = told;
  }

  void AppendSize(ordered_json& object, const char* key, double nominal, double measured,
                  double variance) const {
    ordered_json told = ordered_json::object();
    SetIfFinite(told, "nominal", _units.Length(nominal));
    if (std::isfinite(measured)) {
      told["measured"] = _units.Length(measured);
      SetIfFinite(told, "deviation", _units.Length(measured - nominal));
      if (variance > 0.0) SetIfFinite(told, "standard", _units.Length(std::sqrt(variance)));
    }
    if (!told.empty()) object[key] = told;
  }

  ordered_json Asked(const Characteristic& asked, const ToldResult& told) const {
    ordered_json object = {{"name", asked.name}, {"type", KindName(asked.kind)}};
    object["features"] = ordered_json::array();
    for (const std::size_t feature : asked.features) {
      object["features"].push_back(FeatureName(_plan, feature));
    }
    SetIfTold(object, "quantity", asked.quantity);
    object["unit"] = _units.UnitOf(asked);
    SetIfFinite(object, "nominal", _units.Of(asked, asked.nominal));
    object["lower"] = LimitOf(_units.Of(asked, asked.lower));
    object["upper"] = LimitOf(_units.Of(asked, asked.upper));
    if (told.measured) {
      object["measured"] = _units.Of(asked, *told.measured);
      SetIfFinite(object, "deviation", _units.Of(asked, *told.measured - asked.nominal));
    }
    if (told.standard) object["standard"] = _units.Of(asked, *told.standard);
    if (told.interval95) {
      object["interval95"] = {_units.Of(asked, (*told.interval95)[0]),
                              _units.Of(asked, (*told.interval95)[1])};
    }
    if (told.share_within) object["share_within"] = RoundedTo(*told.share_within, 6);
    object["verdict"] = VerdictName(told.verdict);
    SetIfTold(object, "reason", told.reason);
    return object;
  }

  ordered_json Counts() const {
    ordered_json counts = ordered_json::object();
    for (const Verdict verdict : {Verdict::kConforms, Verdict::kDoesNotConform, Verdict::kUndecided,
                                  Verdict::kNotMeasured}) {
      int count = 0;
      for (const ToldResult& told : _told) count += told.verdict == verdict ? 1 : 0;
      counts[std::string(VerdictName(verdict))] = count;
    }
    return counts;
  }

  const Sheet& _sheet;
  const Plan& _plan;
  UnitNumbers _units;
  std::vector<ToldResult> _told;
};

}  // namespace

std::string ResultJson(const Sheet& sheet) {
  return Writer(sheet).Told().dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace libmfx::inspection
