#include "inspection/plan_reader.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/json_places.h"
#include "inspection/plan_draft.h"
#include "libmfx/features/request_text.h"

namespace libmfx::inspection {
namespace {

using host::Severity;

/// Longer texts are no plans: what is read of one takes some ten times as much memory, bytes.
constexpr std::size_t kLongestText = std::size_t{16} << 20;

/// Temperatures of a part that can be measured, degrees Celsius.
constexpr Limits kTemperatures{-100.0, 500.0};
/// What a scene takes, 1/K.
constexpr Limits kExpansions{-500e-6, 500e-6};

/// Why a text holds no object, and where.
std::optional<host::JsonFault> FaultOfPlan(std::string_view text) {
  if (text.size() > kLongestText) {
    return host::JsonFault{0, "the plan has more than " + std::to_string(kLongestText) + " bytes"};
  }
  const auto fault = host::FaultOf(text, features::kRequestNesting);
  if (!fault) return std::nullopt;
  const bool is_object = fault->at != host::RootOf(text) || text.substr(fault->at, 1) == "/";
  if (is_object) return fault;
  return host::JsonFault{fault->at, "expected '{': a plan is a JSON object"};
}

void ReadUnits(PlanDraft& draft, const PlanValue& value) {
  const PlanObject object(draft.findings, value, "\"units\"", {"length", "angle"});
  Units& units = draft.plan.units;
  const auto length = object.Get("length");
  const auto angle = object.Get("angle");
  if (length) {
    units.length = ReadChoice(draft.findings, *length, {"mm", "m", "in"}).value_or(units.length);
  }
  if (angle) units.angle = ReadChoice(draft.findings, *angle, {"deg", "rad"}).value_or(units.angle);
}

void ReadPart(PlanDraft& draft, const PlanValue& value) {
  constexpr double kMillionth = 1e-6;
  PlanFindings& findings = draft.findings;
  const PlanObject object(findings, value, "\"part\"",
                          {"name", "number", "material", "expansion_ppm_per_k", "temperature",
                           "reference_temperature"});
  PartTold& part = draft.plan.part;
  const auto text = [&](const char* key, std::string& into) {
    const auto told = object.Get(key);
    if (told) into = ReadText(findings, *told).value_or(into);
  };
  const auto number = [&](const char* key, const ToldIn& in, const Limits& limits, double& into) {
    const auto told = object.Get(key);
    if (told) into = ReadNumber(findings, *told, in, limits).value_or(into);
    return told;
  };
  text("name", part.name);
  text("number", part.number);
  text("material", part.material);
  const auto expansion =
      number("expansion_ppm_per_k", {kMillionth, "ppm/K"}, kExpansions, part.expansion);
  draft.tells_expansion = expansion.has_value();
  const ToldIn degrees = {1.0, "degrees Celsius"};
  const auto temperature = number("temperature", degrees, kTemperatures, part.temperature);
  number("reference_temperature", degrees, kTemperatures, part.reference_temperature);
  if (temperature && !expansion && part.temperature != part.reference_temperature) {
    findings.Warning(*temperature, "\"temperature\" has no effect without \"expansion_ppm_per_k\"");
  }
}

/// Whether what is told of datums is used, and there where it is needed.
void CheckMethod(PlanDraft& draft, const PlanValue* datums, const PlanValue* alignment) {
  const bool needs = draft.plan.alignment.method == AlignmentPlan::Method::kDatums;
  if (needs && datums == nullptr) {
    draft.findings.Error(*alignment, "\"method\" is \"datums\", and the plan has none");
  }
  if (!needs && datums != nullptr) {
    draft.findings.Warning(*datums,
                           "the datums have no effect: \"method\" of \"alignment\" is not "
                           "\"datums\"");
  }
}

void TellUnused(PlanDraft& draft, const PlanValue& stations) {
  const Plan& plan = draft.plan;
  std::vector<bool> is_used(plan.stations.size(), false);
  for (const PlannedFeature& feature : plan.features) {
    for (const std::size_t station : feature.stations) is_used[station] = true;
  }
  for (std::size_t i = 0; i < is_used.size(); ++i) {
    if (is_used[i]) continue;
    draft.findings.Warning(ElementOf(draft.findings, stations, i),
                           "no feature may be measured from " + Quoted(plan.stations[i].name));
  }
}

void ReadAll(PlanDraft& draft, const PlanValue& root) {
  const PlanObject object(draft.findings, root, "a plan",
                          {"units", "part", "stations", "defaults", "features", "references",
                           "datums", "alignment", "characteristics"});
  const auto read = [&](const char* key, auto reader) {
    const auto told = object.Get(key);
    if (told) reader(draft, *told);
  };
  read("units", ReadUnits);
  read("part", ReadPart);
  const auto stations = object.Need("stations", "where the instrument stands");
  if (stations) ReadStations(draft, *stations);
  const auto features = object.Need("features", "what is measured");
  const auto defaults = object.Get("defaults");
  if (features) ReadFeatures(draft, *features, defaults ? &*defaults : nullptr);
  const auto references = object.Need("references", "features by which the part is found");
  if (references && features) ReadReferences(draft, *references);
  const auto datums = object.Get("datums");
  if (datums) ReadDatums(draft, *datums);
  const auto alignment = object.Get("alignment");
  if (alignment) ReadAlignment(draft, *alignment);
  CheckMethod(draft, datums ? &*datums : nullptr, alignment ? &*alignment : nullptr);
  read("characteristics", ReadCharacteristics);
  if (draft.stations_are_sound && features) TellUnused(draft, *stations);
  CheckFeatures(draft);
}

}  // namespace

std::string PlanNames::Add(PlanFindings& findings, const PlanObject& object,
                           const std::string& what) {
  const auto told = object.Get("name");
  const auto name = told ? ReadName(findings, *told) : std::nullopt;
  if (!told) object.Need("name", "a name of its own");
  _names.push_back(name.value_or(""));
  if (!name) return {};
  if (!_places.emplace(*name, _names.size() - 1).second) {
    findings.Error(*told, "a " + what + " before this one is named " + Quoted(*name) + ", too");
  }
  return *name;
}

std::optional<std::size_t> PlanNames::Find(PlanFindings& findings, const PlanValue& value,
                                           const std::string& what) const {
  const auto name = ReadName(findings, value);
  if (!name) return std::nullopt;
  const auto found = _places.find(*name);
  if (found != _places.end()) return found->second;
  findings.Error(value,
                 "there is no " + what + " " + Quoted(*name) + findings.Meant(*name, _names));
  return std::nullopt;
}

std::optional<std::vector<std::size_t>> PlanNames::FindAll(PlanFindings& findings,
                                                           const PlanValue& value,
                                                           const std::string& what,
                                                           std::size_t least,
                                                           std::size_t most) const {
  const auto list = ReadList(findings, value, least, most);
  if (!list) return std::nullopt;
  std::vector<std::size_t> indices;
  std::vector<bool> is_named(_names.size(), false);
  bool is_sound = true;
  for (const PlanValue& element : *list) {
    const auto index = Find(findings, element, what);
    is_sound = is_sound && index.has_value();
    if (!index) continue;
    if (is_named[*index]) {
      findings.Error(element, Quoted(_names[*index]) + " stands twice");
      is_sound = false;
    }
    is_named[*index] = true;
    indices.push_back(*index);
  }
  if (!is_sound) return std::nullopt;
  return indices;
}

bool PlanDraft::AllSound(const std::vector<std::size_t>& features) const {
  return std::all_of(features.begin(), features.end(),
                     [this](std::size_t index) { return is_sound[index]; });
}

ReadPlan ReadPlanText(const std::string& text) {
  if (const auto fault = FaultOfPlan(text)) {
    const host::TextPlace place = host::PlaceOf(text, fault->at);
    return {{}, {{Severity::kError, place.line, place.column, "", fault->text}}};
  }
  const auto strict = features::StrictJson(text);
  const json root = json::parse(strict.value_or(""), nullptr, false);
  PlanDraft draft(text);
  const PlanValue self{&root, host::RootOf(text), "", "the plan"};
  if (!root.is_object()) {
    draft.findings.Error(self, "this is no JSON object");
    return {{}, draft.findings.Take()};
  }
  if (const auto rest = host::AfterRoot(text)) {
    draft.findings.Tell(Severity::kError, *rest, "", "something follows the object of the plan");
  }
  ReadAll(draft, self);
  return {std::move(draft.plan), draft.findings.Take()};
}

}  // namespace libmfx::inspection
