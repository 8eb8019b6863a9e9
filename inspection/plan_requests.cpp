// Keys of requests as a plan tells them, in the library's units.

#include <limits>
#include <numbers>
#include <utility>

#include "inspection/plan_draft.h"
#include "inspection/requests.h"

namespace libmfx::inspection {
namespace {

using namespace win32_support;

/// The most that an angle of a request is told as, radians.
constexpr double kMostAngle = 2.0 * std::numbers::pi;
/// The most of a number that is neither a length nor an angle.
constexpr double kMostNumber = 1e9;

/// The unit of a key's numbers, and what they may be.
struct Terms {
  ToldIn in;
  Limits limits;

  bool Hold(const json& value) const {
    if (!value.is_number()) return false;
    const double number = in.unit * value.get<double>();
    return number >= limits.low && number <= limits.high;
  }
};

Terms TermsOf(const Units& units, const RequestKey& row) {
  if (row.unit == "rad") return {InAngles(units), {-kMostAngle, kMostAngle}};
  if (row.unit != "m") return {{}, {-kMostNumber, kMostNumber}};
  // A threshold that nothing exceeds is a way to say never.
  constexpr double kNever = std::numeric_limits<double>::max();
  const double most = row.key == "RescanThreshold" ? kNever : kFarthest;
  return {InLengths(units), {-most, most}};
}

enum class Shape { kNumber, kTriple, kTriples, kSegments, kNumbers, kSpacings };

/// The first element of a value that has not the shape that it should have. The place of an element
/// of a long list is looked for only where there is something to say about it.
struct Misshaped {
  std::vector<std::size_t> at;  ///< indices, from the outermost array on
  std::string needed;           ///< what it has to be; empty: a number
};

bool IsMisshaped(const json& value, Shape shape, const Terms& terms, Misshaped& fault);

bool AnyIsMisshaped(const json& array, Shape shape, const Terms& terms, Misshaped& fault) {
  for (std::size_t i = 0; i < array.size(); ++i) {
    fault.at.push_back(i);
    if (IsMisshaped(array[i], shape, terms, fault)) return true;
    fault.at.pop_back();
  }
  return false;
}

bool IsMisshaped(const json& value, Shape shape, const Terms& terms, Misshaped& fault) {
  if (shape == Shape::kNumber || (shape == Shape::kSpacings && !value.is_array())) {
    return !terms.Hold(value);
  }
  if (shape == Shape::kTriple) {
    fault.needed = "3 numbers in an array";
    if (!value.is_array() || value.size() != 3) return true;
    fault.needed.clear();
    return AnyIsMisshaped(value, Shape::kNumber, terms, fault);
  }
  fault.needed = "an array that is not empty";
  if (!value.is_array() || value.empty()) return true;
  fault.needed.clear();
  switch (shape) {
    case Shape::kTriples:
      return AnyIsMisshaped(value, Shape::kTriple, terms, fault);
    case Shape::kSegments:
      return AnyIsMisshaped(value, Shape::kTriples, terms, fault);
    case Shape::kSpacings:
      return AnyIsMisshaped(value, value[0].is_array() ? Shape::kNumbers : Shape::kNumber, terms,
                            fault);
    default:
      return AnyIsMisshaped(value, Shape::kNumber, terms, fault);
  }
}

json Scaled(const json& value, double unit) {
  if (!value.is_array()) return unit * value.get<double>();
  json scaled = json::array();
  for (const json& element : value) scaled.push_back(Scaled(element, unit));
  return scaled;
}

std::optional<json> ReadShape(PlanFindings& findings, const PlanValue& value, Shape shape,
                              const Terms& terms) {
  Misshaped fault;
  if (!IsMisshaped(*value.value, shape, terms, fault)) return Scaled(*value.value, terms.in.unit);
  PlanValue element = value;
  for (const std::size_t index : fault.at) element = ElementOf(findings, element, index);
  if (fault.needed.empty()) {
    ReadNumber(findings, element, terms.in, terms.limits);
  } else {
    findings.Error(element, element.label + " has to be " + fault.needed);
  }
  return std::nullopt;
}

std::optional<json> ReadKey(PlanFindings& findings, const Units& units, const RequestKey& row,
                            const PlanValue& value) {
  const Terms terms = TermsOf(units, row);
  switch (row.kind) {
    case REQUEST_NUMBER:
      return ReadShape(findings, value, Shape::kNumber, terms);
    case REQUEST_POINT:
      return ReadShape(findings, value, Shape::kTriple, terms);
    case REQUEST_SPACINGS:
      return ReadShape(findings, value, Shape::kSpacings, terms);
    case REQUEST_SEGMENTS:
      return ReadShape(findings, value, Shape::kSegments, terms);
    case REQUEST_DIRECTION:
      if (!ReadDirection(findings, value)) return std::nullopt;
      return *value.value;
    case REQUEST_TEXT:
      if (!ReadText(findings, value)) return std::nullopt;
      return *value.value;
    default:
      if (value.value->is_structured()) {
        findings.Error(value, value.label + " has to be one value, and no array or object");
        return std::nullopt;
      }
      return *value.value;  // what else may be wrong tells the check of the request
  }
}

/// Keys that a plan tells elsewhere.
bool IsTold(const RequestKey& row) {
  return (row.place == REQUEST_ROOT && row.key == "$id") ||
         (row.place == REQUEST_FEATURE && (row.key == "$type" || row.key == "Name"));
}

/// What a plan needs beyond what the type needs: without it nothing is known of the hole's place
/// across its direction, and no ball can be scanned.
bool IsNeeded(const RequestKey& row, std::string_view type) {
  return row.required || (type == "HoleFeature" && row.key == "Normal") ||
         (type == "MatteSphereFeature" && row.key == "Radius");
}

/// The keys of one object of a request.
class KeyReader {
 public:
  KeyReader(PlanFindings& findings, const Units& units, const FeatureDescriptor& type)
      : _findings(findings), _units(units), _type(type) {}

  /// \param needs whether what is needed has to be here
  ReadKeys Read(int place, const PlanValue& value, const std::string& what, bool needs) {
    ReadKeys keys;
    std::vector<std::string> known;
    for (const RequestKey& row : _type._request) {
      if (row.place == place && !IsTold(row)) known.push_back(row.key);
    }
    const PlanObject object(_findings, value, what, known, Elsewhere(place));
    for (const RequestKey& row : _type._request) {
      if (row.place != place || IsTold(row)) continue;
      const bool need = needs && IsNeeded(row, _type._request_type);
      const auto told = need ? object.Need(row.key, row.meaning) : object.Get(row.key);
      if (!told) continue;
      keys.sources.emplace(row.key, *told);
      if (row.kind == REQUEST_OBJECT) {
        const std::string within = Quoted(row.key) + " of " + _type._request_type;
        keys.values[row.key] = Read(REQUEST_PATH, *told, within, true).values;
      } else if (auto read = ReadKey(_findings, _units, row, *told)) {
        keys.values[row.key] = std::move(*read);
      }
    }
    return keys;
  }

 private:
  /// Keys that are unknown here, and where they belong.
  std::map<std::string, std::string> Elsewhere(int place) const {
    std::map<std::string, std::string> elsewhere;
    for (const RequestKey& row : _type._request) {
      if (IsTold(row)) {
        elsewhere[row.key] = row.key == "$type" ? "is told by the feature's own \"type\""
                                                : "is told by the feature's own \"name\"";
      } else if (row.place != place && row.place != REQUEST_PATH && place != REQUEST_PATH) {
        elsewhere[row.key] =
            row.place == REQUEST_ROOT ? "belongs in \"options\"" : "belongs in \"nominal\"";
      }
    }
    return elsewhere;
  }

  PlanFindings& _findings;
  const Units& _units;
  const FeatureDescriptor& _type;
};

}  // namespace

ReadKeys ReadOptions(PlanFindings& findings, const Units& units, std::string_view type,
                     const PlanValue& value) {
  const std::string what = "what " + std::string(type) + " has in \"options\"";
  return KeyReader(findings, units, *TypeNamed(type)).Read(REQUEST_ROOT, value, what, false);
}

ReadKeys ReadNominal(PlanFindings& findings, const Units& units, std::string_view type,
                     const PlanValue& value) {
  const std::string what = "the nominal of " + std::string(type);
  return KeyReader(findings, units, *TypeNamed(type)).Read(REQUEST_FEATURE, value, what, true);
}

}  // namespace libmfx::inspection
