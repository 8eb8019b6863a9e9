// Features: what is nominal of them, and their requests.

#include <limits>
#include <utility>

#include "host/check_context.h"
#include "inspection/plan_draft.h"
#include "inspection/requests.h"

namespace libmfx::inspection {
namespace {

using host::check::TripleOfValue;

/// What "defaults" tell, by type.
using Defaults = std::map<std::string, ReadKeys>;

std::vector<std::string> KnownTypes() {
  std::vector<std::string> types;
  for (const auto* type : host::check::RequestedTypes()) types.push_back(type->_request_type);
  return types;
}

Defaults ReadDefaults(PlanDraft& draft, const PlanValue& value) {
  Defaults defaults;
  const PlanObject object(draft.findings, value, "\"defaults\"", KnownTypes());
  for (const auto& [type, told] : object.members()) {
    defaults[type] = ReadOptions(draft.findings, draft.plan.units, type, told);
  }
  return defaults;
}

/// The middle of the points of a path, the farthest of which count.
Vector3d MiddleOf(const json& segments) {
  Vector3d low = Vector3d::Constant(std::numeric_limits<double>::infinity());
  Vector3d high = -low;
  for (const json& segment : segments) {
    for (const json& point : segment) {
      const Vector3d place = TripleOfValue(point).value_or(Vector3d::Zero());
      low = low.cwiseMin(place);
      high = high.cwiseMax(place);
    }
  }
  return 0.5 * (low + high);
}

/// A direction of a nominal, of length 1; zero where there is none.
Vector3d DirectionOf(const json& nominal, const char* key) {
  const auto member = nominal.find(key);
  if (member == nominal.end()) return Vector3d::Zero();
  return TripleOfValue(*member).value_or(Vector3d::Zero()).stableNormalized();
}

/// The component of a vector across a direction, of length 1; zero where it lies along it.
Vector3d Across(const Vector3d& v, const Vector3d& direction) {
  const Vector3d across = v - v.dot(direction) * direction;
  return across.norm() > 1e-6 * v.norm() ? Vector3d(across.normalized()) : Vector3d::Zero();
}

/// Place, directions and sizes by the nominal of a request.
/// \returns false where two directions that have to be across each other are not
bool FillNominal(PlannedFeature& feature) {
  const json& nominal = feature.request["Feature"];
  const auto size = [&](const char* key) {
    return nominal.value(key, std::numeric_limits<double>::quiet_NaN());
  };
  const auto point = [&](const char* key) {
    return TripleOfValue(nominal[key]).value_or(Vector3d::Zero());
  };
  feature.length = size("Length");
  feature.width = size("Width");
  feature.radius = size("Radius");
  if (feature.type == "ScanPathFeature") {
    feature.place = MiddleOf(nominal["Path"]["Segments"]);
    return true;
  }
  if (feature.type == "EdgeFeature") {
    feature.place = point("EdgePoint");
    feature.direction = DirectionOf(nominal, "SurfaceNormal");
    feature.tangent = Across(feature.place - point("SurfacePoint"), feature.direction);
    return !feature.tangent.isZero();
  }
  feature.place = point("Location");
  const bool is_polygon = feature.type == "PolygonFeature";
  const bool has_normal = nominal.contains("Normal");
  feature.direction = DirectionOf(nominal, has_normal ? "Normal" : "Axis");
  const char* const tangent = is_polygon ? "Axis" : "Tangent";
  if (!nominal.contains(tangent)) return true;
  feature.tangent = Across(DirectionOf(nominal, tangent), feature.direction);
  return !feature.tangent.isZero();
}

void TellAlong(PlanFindings& findings, const PlannedFeature& feature, const PlanValue& nominal) {
  if (feature.type == "EdgeFeature") {
    findings.Error(nominal,
                   "\"EdgePoint\" stands under \"SurfacePoint\": the way from one to the "
                   "other has to lead across the border");
    return;
  }
  const char* const key = feature.type == "PolygonFeature" ? "Axis" : "Tangent";
  const auto value = MemberOf(findings, nominal, key);
  findings.Error(value ? *value : nominal,
                 Quoted(key) + " lies along \"Normal\", and has to lie across it");
}

class FeatureReader {
 public:
  FeatureReader(PlanDraft& draft, const Defaults& defaults)
      : _draft(draft), _findings(draft.findings), _defaults(defaults) {}

  void Read(const PlanValue& value) {
    const std::size_t errors = _findings.errors();
    const PlanObject object(_findings, value, "a feature",
                            {"name", "type", "nominal", "options", "stations"});
    PlannedFeature feature;
    RequestSource source;
    source.self = value;
    feature.at = value.path;
    for (const auto& [key, told] : object.members()) source.own.emplace(key, told);
    feature.name = _draft.feature_names.Add(_findings, object, "feature");
    const auto type = object.Need("type", "\"$type\" of its request: \"HoleFeature\", ...");
    const auto nominal = object.Need("nominal", "what its request has in \"Feature\"");
    if (type) feature.type = TypeOf(*type);
    if (nominal && !feature.type.empty()) ReadRequest(object, *nominal, feature, source);
    ReadStationsOf(object, feature);
    bool is_sound = _findings.errors() == errors;
    if (is_sound && !FillNominal(feature)) {
      TellAlong(_findings, feature, *nominal);
      is_sound = false;
    }
    _draft.plan.features.push_back(std::move(feature));
    _draft.sources.push_back(std::move(source));
    _draft.is_sound.push_back(is_sound);
  }

 private:
  std::string TypeOf(const PlanValue& value) {
    return ReadChoice(_findings, value, KnownTypes()).value_or("");
  }

  void ReadRequest(const PlanObject& object, const PlanValue& nominal, PlannedFeature& feature,
                   RequestSource& source) {
    json request = json::object();
    const auto defaults = _defaults.find(feature.type);
    if (defaults != _defaults.end()) {
      request = defaults->second.values;
      source.root = defaults->second.sources;
    }
    if (const auto told = object.Get("options")) {
      const ReadKeys options = ReadOptions(_findings, _draft.plan.units, feature.type, *told);
      request.update(options.values);
      for (const auto& [key, place] : options.sources) source.root[key] = place;
    }
    NeedOptions(feature.type, source);
    request["$id"] = feature.name;
    ReadKeys read = ReadNominal(_findings, _draft.plan.units, feature.type, nominal);
    read.values["$type"] = feature.type;
    read.values["Name"] = feature.name;
    request["Feature"] = std::move(read.values);
    feature.request = std::move(request);
  }

  void NeedOptions(const std::string& type, const RequestSource& source) {
    for (const auto& row : TypeNamed(type)->_request) {
      if (row.place != win32_support::REQUEST_ROOT || !row.required) continue;
      if (source.root.contains(row.key)) continue;
      _findings.Error(source.self, Quoted(row.key) + " is missing: neither \"options\" nor the " +
                                       "\"defaults\" of " + type + " tell it: " + row.meaning);
    }
  }

  void ReadStationsOf(const PlanObject& object, PlannedFeature& feature) {
    const std::size_t count = _draft.plan.stations.size();
    const auto told = object.Get("stations");
    if (!told) {
      for (std::size_t i = 0; i < count; ++i) feature.stations.push_back(i);
      return;
    }
    if (count == 0) return;  // what is wrong with them has been told
    const auto named = _draft.station_names.FindAll(_findings, *told, "station", 1, count);
    if (named) feature.stations = *named;
  }

  PlanDraft& _draft;
  PlanFindings& _findings;
  const Defaults& _defaults;
};

}  // namespace

void ReadFeatures(PlanDraft& draft, const PlanValue& value, const PlanValue* defaults) {
  constexpr std::size_t kMostFeatures = 1000;
  const Defaults by_type = defaults != nullptr ? ReadDefaults(draft, *defaults) : Defaults();
  const auto list = ReadList(draft.findings, value, 1, kMostFeatures);
  if (!list) return;
  FeatureReader reader(draft, by_type);
  for (const PlanValue& element : *list) reader.Read(element);
}

}  // namespace libmfx::inspection
