// How the part is found and how its frame is laid: references, datums, alignment.

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

#include "inspection/alignment.h"
#include "inspection/alignment_conditions.h"
#include "inspection/flatness.h"
#include "inspection/measurable.h"
#include "inspection/plan_draft.h"

namespace libmfx::inspection {
namespace {

using Eigen::Matrix3d;

bool IsBall(const PlannedFeature& feature) { return feature.type == "MatteSphereFeature"; }

AlignedPlace PlaceOf(const PlannedFeature& feature, const Matrix3d& directions) {
  return {feature.place, feature.place, Matrix3d::Zero(), directions};
}

/// What places leave free, for people; empty where they hold the part.
std::string FreeUnder(const std::vector<AlignedPlace>& places) {
  std::string why;
  const auto conditions = ConditionsOf(places, {0.0}, nullptr, why);
  return conditions ? WhatIsFree(*conditions) : why;
}

/// Why features do not tell where the part is, for people; empty where they do.
std::string WhyLoose(const Plan& plan, const std::vector<std::size_t>& features) {
  constexpr int kConditions = 6;
  std::vector<AlignedPlace> places;
  long measured = 0;
  for (const std::size_t index : features) {
    const PlannedFeature& feature = plan.features[index];
    places.push_back(PlaceOf(feature, feature.MeasuredDirections()));
    measured += std::lround(places.back().directions.trace());
  }
  if (measured < kConditions) {
    return "they measure " + std::to_string(measured) +
           " conditions, and a part takes six: three balls or openings, or six surface points";
  }
  const std::string free = FreeUnder(places);
  return free.empty() ? free : "they leave the part " + free;
}

/// Whether there are three balls that are not on a line.
bool CanBeFoundBy(const std::vector<Vector3d>& balls) {
  constexpr double kOnLine = 1e-3;  // of their length, the width of what counts as a line
  if (balls.size() < 3) return false;
  const auto spread = SpreadAboutPlane(balls);
  return spread && spread->width > kOnLine * spread->length;
}

bool MayBeMeasuredFrom(const PlannedFeature& feature, std::size_t station) {
  return std::find(feature.stations.begin(), feature.stations.end(), station) !=
         feature.stations.end();
}

void ReadReference(PlanDraft& draft, const PlanValue& value) {
  constexpr double kTolerance = 0.0002;  // m
  Reference reference;
  reference.tolerance = kTolerance;
  std::optional<PlanValue> name = value;
  if (value.value->is_object()) {
    const PlanObject object(draft.findings, value, "a reference", {"feature", "tolerance"});
    name = object.Need("feature", "the name of a feature");
    const auto told = object.Get("tolerance");
    const ToldIn in = InLengths(draft.plan.units);
    if (told) {
      reference.tolerance =
          ReadNumber(draft.findings, *told, in, kAnyExtent).value_or(reference.tolerance);
    }
  }
  if (!name) return;
  const auto feature = draft.feature_names.Find(draft.findings, *name, "feature");
  if (!feature) return;
  reference.feature = *feature;
  const std::vector<Reference>& others = draft.plan.references;
  const bool is_double = std::any_of(others.begin(), others.end(), [&](const Reference& other) {
    return other.feature == *feature;
  });
  if (is_double) {
    draft.findings.Error(*name, Quoted(draft.plan.features[*feature].name) + " stands twice");
    return;
  }
  if (draft.is_sound[*feature] && draft.plan.features[*feature].MeasuredDirections().isZero()) {
    draft.findings.Error(*name, Quoted(draft.plan.features[*feature].name) +
                                    " has no place that is measured, and cannot be a reference");
    return;
  }
  draft.plan.references.push_back(reference);
}

/// Each station is found by the references that may be measured from it.
void CheckReferences(PlanDraft& draft, const PlanValue& value) {
  const Plan& plan = draft.plan;
  for (std::size_t s = 0; s < plan.stations.size(); ++s) {
    std::vector<std::size_t> seen;
    std::vector<Vector3d> balls;
    for (const Reference& reference : plan.references) {
      const PlannedFeature& feature = plan.features[reference.feature];
      if (!MayBeMeasuredFrom(feature, s)) continue;
      seen.push_back(reference.feature);
      if (IsBall(feature)) balls.push_back(feature.place);
    }
    std::string where = Quoted(plan.stations[s].name);
    const std::string why = WhyLoose(plan, seen);
    if (!why.empty()) {
      draft.findings.Error(value, "the references do not tell where " + where + " stands: " + why);
    } else if (!plan.stations[s].pose && !CanBeFoundBy(balls)) {
      draft.findings.Error(value,
                           "the pose of " + where +
                               " is unknown, and is looked for by balls: at least three of "
                               "the references have to be MatteSphereFeature, not on a line");
    }
  }
}

Datum::Kind KindOfDatum(const std::string& word) {
  if (word == "plane") return Datum::Kind::kPlane;
  if (word == "line") return Datum::Kind::kLine;
  return Datum::Kind::kPoint;
}

/// The direction of a plane or a line; what is wrong has been told where there is none.
std::optional<Vector3d> DirectionOfDatum(PlanDraft& draft, const PlanObject& object,
                                         const Datum& datum) {
  const auto told = object.Get("direction");
  if (datum.kind == Datum::Kind::kPoint) {
    if (told) draft.findings.Warning(*told, "\"direction\" has no effect: a point has none");
    return Vector3d(Vector3d::Zero());
  }
  if (told) return ReadDirection(draft.findings, *told);
  if (datum.features.empty() || !draft.is_sound[datum.features[0]]) return std::nullopt;
  const PlannedFeature& first = draft.plan.features[datum.features[0]];
  if (!first.direction.isZero()) return first.direction;
  draft.findings.Error(object.self(), "\"direction\" is missing, and " + Quoted(first.name) +
                                          " has none of its own");
  return std::nullopt;
}

class DatumReader {
 public:
  explicit DatumReader(PlanDraft& draft) : _draft(draft), _findings(draft.findings) {}

  void Read(const PlanValue& value) {
    const std::size_t errors = _findings.errors();
    const PlanObject object(_findings, value, "a datum",
                            {"name", "constrains", "features", "direction"});
    Datum datum;
    datum.name = _names.Add(_findings, object, "datum");
    const auto kind = object.Need("constrains", "\"plane\", \"line\" or \"point\"");
    const auto word =
        kind ? ReadChoice(_findings, *kind, {"plane", "line", "point"}) : std::nullopt;
    if (word) datum.kind = KindOfDatum(*word);
    const auto features = object.Need("features", "an array of names");
    if (features) {
      constexpr std::size_t kMostFeatures = 100;
      datum.features =
          _draft.feature_names.FindAll(_findings, *features, "feature", 1, kMostFeatures)
              .value_or(std::vector<std::size_t>());
    }
    const auto direction = word ? DirectionOfDatum(_draft, object, datum) : std::nullopt;
    if (direction) datum.direction = *direction;
    _draft.plan.datums.push_back(datum);
    const bool is_sound =
        direction && _findings.errors() == errors && _draft.AllSound(datum.features);
    _all_sound = _all_sound && is_sound;
    if (_all_sound) Hold(value, datum);
  }

  /// What the datums leave free, for people; empty where they leave nothing, or are not sound.
  std::string Free() const {
    std::vector<AlignedPlace> places;
    for (const DatumPlaces& datum : _held) {
      places.insert(places.end(), datum.places.begin(), datum.places.end());
    }
    return _all_sound ? FreeUnder(places) : std::string();
  }

 private:
  /// A datum has to take something that those before it left.
  void Hold(const PlanValue& value, const Datum& datum) {
    DatumPlaces& held = _held.emplace_back();
    held.name = datum.name;
    for (const std::size_t index : datum.features) {
      const PlannedFeature& feature = _draft.plan.features[index];
      const Matrix3d taken = Shared(feature.MeasuredDirections(), TakenBy(datum));
      if (taken.isZero(0.0)) {
        _all_sound = false;
        return _findings.Error(value, Quoted(feature.name) +
                                          " is not measured in the directions that " +
                                          Quoted(datum.name) + " takes");
      }
      held.places.push_back(PlaceOf(feature, taken));
    }
    std::string why;
    if (FitDatums(_held, Eigen::Isometry3d::Identity(), why)) return;
    _all_sound = false;
    _findings.Error(value, why);
  }

  PlanDraft& _draft;
  PlanFindings& _findings;
  PlanNames _names;
  std::vector<DatumPlaces> _held;
  bool _all_sound = true;
};

}  // namespace

void ReadReferences(PlanDraft& draft, const PlanValue& value) {
  const std::size_t errors = draft.findings.errors();
  const auto list =
      ReadList(draft.findings, value, 1, std::max<std::size_t>(1, draft.is_sound.size()));
  if (!list) return;
  for (const PlanValue& element : *list) ReadReference(draft, element);
  std::vector<std::size_t> features;
  for (const Reference& reference : draft.plan.references) features.push_back(reference.feature);
  if (draft.findings.errors() != errors || !draft.AllSound(features)) return;
  if (draft.stations_are_sound) CheckReferences(draft, value);
}

void ReadDatums(PlanDraft& draft, const PlanValue& value) {
  constexpr std::size_t kMostDatums = 20;
  const auto list = ReadList(draft.findings, value, 1, kMostDatums);
  if (!list) return;
  DatumReader reader(draft);
  for (const PlanValue& element : *list) reader.Read(element);
  const std::string free = reader.Free();
  if (free.empty()) return;
  draft.findings.Warning(
      value, "the datums leave the part " + free + ", which stays as the references have it");
}

namespace {

void ReadBestFit(PlanDraft& draft, const PlanValue& self, const std::optional<PlanValue>& told) {
  Plan& plan = draft.plan;
  if (told) {
    const std::size_t most = std::max<std::size_t>(1, plan.features.size());
    const auto named = draft.feature_names.FindAll(draft.findings, *told, "feature", 1, most);
    if (!named) return;
    plan.alignment.features = *named;
  } else {
    for (std::size_t i = 0; i < plan.features.size(); ++i) {
      const bool is_measured = draft.is_sound[i] && !plan.features[i].MeasuredDirections().isZero();
      if (is_measured) plan.alignment.features.push_back(i);
    }
  }
  const bool all_sound =
      told ? draft.AllSound(plan.alignment.features)
           : std::find(draft.is_sound.begin(), draft.is_sound.end(), false) == draft.is_sound.end();
  if (!all_sound) return;
  const std::string why = WhyLoose(plan, plan.alignment.features);
  if (!why.empty()) {
    draft.findings.Error(told ? *told : self,
                         "the features of the best fit do not tell where the part is: " + why);
  }
}

}  // namespace

void ReadAlignment(PlanDraft& draft, const PlanValue& value) {
  PlanFindings& findings = draft.findings;
  AlignmentPlan& alignment = draft.plan.alignment;
  std::string method = "references";
  const PlanObject object(findings, value, "\"alignment\"", {"method", "features", "scale"});
  const auto told = object.Get("method");
  if (told) {
    method = ReadChoice(findings, *told, {"references", "datums", "best-fit"}).value_or("");
  }
  if (method == "datums") alignment.method = AlignmentPlan::Method::kDatums;
  if (method == "best-fit") alignment.method = AlignmentPlan::Method::kBestFit;
  const auto features = object.Get("features");
  if (features && method != "best-fit" && !method.empty()) {
    findings.Warning(*features, "\"features\" has no effect: \"method\" is " + Quoted(method));
  }
  if (method == "best-fit") ReadBestFit(draft, value, features);
  const auto scale = object.Get("scale");
  if (scale)
    alignment.scales = ReadChoice(findings, *scale, {"none", "temperature"}) == "temperature";
  if (alignment.scales && !draft.tells_expansion) {
    findings.Error(*scale,
                   "\"scale\" is \"temperature\", and nothing follows from it without "
                   "\"expansion_ppm_per_k\" in \"part\"");
  }
}

}  // namespace libmfx::inspection
