// What is asked about features.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "host/numbers.h"
#include "inspection/characteristics.h"
#include "inspection/evaluator.h"
#include "inspection/plan_draft.h"

namespace libmfx::inspection {
namespace {

using Kind = Characteristic::Kind;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

constexpr Kind kKinds[] = {Kind::kSize,        Kind::kCoordinate,    Kind::kPosition,
                           Kind::kDistance,    Kind::kAngle,         Kind::kFlatness,
                           Kind::kCoplanarity, Kind::kConcentricity, Kind::kPattern};

std::vector<std::string> KindNames() {
  std::vector<std::string> names;
  for (const Kind kind : kKinds) names.emplace_back(KindName(kind));
  return names;
}

/// How many features a kind takes.
std::pair<std::size_t, std::size_t> CountOf(Kind kind) {
  constexpr std::size_t kMany = 1000;
  switch (kind) {
    case Kind::kDistance:
    case Kind::kAngle:
    case Kind::kConcentricity:
      return {2, 2};
    case Kind::kFlatness:
    case Kind::kCoplanarity:
      return {4, kMany};
    case Kind::kPattern:
      return {2, kMany};
    default:
      return {1, 1};
  }
}

std::vector<std::string> QuantitiesOf(Kind kind) {
  switch (kind) {
    case Kind::kSize:
      return {"diameter", "length", "width"};
    case Kind::kCoordinate:
      return {"x", "y", "z", "normal"};
    case Kind::kDistance:
      return {"x", "y", "z"};
    case Kind::kAngle:
      return {"direction,direction", "direction,tangent", "tangent,direction", "tangent,tangent"};
    default:
      return {};
  }
}

class CharacteristicReader {
 public:
  explicit CharacteristicReader(PlanDraft& draft) : _draft(draft), _findings(draft.findings) {}

  void Read(const PlanValue& value) {
    const std::size_t errors = _findings.errors();
    const PlanObject object(
        _findings, value, "a characteristic",
        {"name", "type", "features", "quantity", "nominal", "tolerance", "limits"});
    Characteristic asked;
    asked.at = value.path;
    asked.name = _names.Add(_findings, object, "characteristic");
    const auto type = object.Need("type", "\"size\", \"position\", \"distance\", ...");
    const auto features = object.Need("features", "an array of names");
    const auto kind = type ? ReadChoice(_findings, *type, KindNames()) : std::nullopt;
    if (!kind) return;
    asked.kind = *KindOf(*kind);
    asked.is_angle = asked.kind == Kind::kAngle;
    if (features) ReadFeatures(*features, asked);
    ReadQuantity(object, asked);
    const bool can_be_told =
        _findings.errors() == errors && _draft.AllSound(asked.features) && IsTold(value, asked);
    if (asked.IsZone()) {
      ReadZone(object, asked);
    } else {
      ReadDeviations(object, can_be_told, asked);
    }
    // Once more with its limits, and a nominal that was told.
    if (can_be_told && _findings.errors() == errors) IsTold(value, asked);
    _draft.plan.characteristics.push_back(std::move(asked));
  }

 private:
  ToldIn In(const Characteristic& asked) const {
    return asked.is_angle ? InAngles(_draft.plan.units) : InLengths(_draft.plan.units);
  }

  bool IsTold(const PlanValue& value, const Characteristic& asked) {
    const std::string why = WhyNotTold(asked, _draft.plan);
    if (!why.empty()) _findings.Error(value, why);
    return why.empty();
  }

  void ReadFeatures(const PlanValue& value, Characteristic& asked) {
    const auto [least, most] = CountOf(asked.kind);
    const auto named = _draft.feature_names.FindAll(_findings, value, "feature", least, most);
    if (named) asked.features = *named;
  }

  void ReadQuantity(const PlanObject& object, Characteristic& asked) {
    const std::vector<std::string> words = QuantitiesOf(asked.kind);
    const auto told = object.Get("quantity");
    if (told && words.empty()) {
      _findings.Error(*told,
                      "\"quantity\" tells nothing of a " + std::string(KindName(asked.kind)));
    } else if (told) {
      asked.quantity = ReadChoice(_findings, *told, words).value_or("");
    } else if (asked.kind == Kind::kAngle) {
      asked.quantity = words.front();
    } else if (asked.kind == Kind::kCoordinate) {
      object.Need("quantity", "\"x\", \"y\", \"z\" or \"normal\"");
    } else if (asked.kind == Kind::kSize && asked.features.size() == 1) {
      // Of a type with two sizes none, which is then refused.
      asked.quantity = SizeOf(asked, _draft.plan.features[asked.features[0]]);
    }
  }

  void ReadZone(const PlanObject& object, Characteristic& asked) {
    const std::string kind(KindName(asked.kind));
    for (const char* key : {"limits", "nominal"}) {
      const auto told = object.Get(key);
      if (told) {
        _findings.Error(*told, Quoted(key) + " tells nothing of a " + kind +
                                   ", whose value is a width: it takes \"tolerance\"");
      }
    }
    asked.lower = -kInfinity;
    const auto tolerance = object.Need("tolerance", "the largest " + kind + " that conforms");
    if (tolerance) {
      asked.upper =
          ReadNumber(_findings, *tolerance, InLengths(_draft.plan.units), kAnyExtent).value_or(0.0);
    }
  }

  void ReadDeviations(const PlanObject& object, bool has_nominal, Characteristic& asked) {
    const auto tolerance = object.Get("tolerance");
    const auto limits = object.Get("limits");
    if (tolerance && limits) {
      _findings.Error(*limits, "\"limits\" and \"tolerance\" tell the same");
    } else if (!tolerance && !limits && object.is_sound()) {
      _findings.Error(object.self(), "\"tolerance\" or \"limits\" is missing: what conforms");
    }
    double lower = -kInfinity;
    double upper = kInfinity;
    if (tolerance) {
      const Limits most = {kLeast, asked.is_angle ? std::numbers::pi : kFarthest};
      upper = ReadNumber(_findings, *tolerance, In(asked), most).value_or(kInfinity);
      lower = -upper;
    } else if (limits) {
      ReadLimits(*limits, asked, lower, upper);
    }
    const double own = has_nominal ? NominalOf(asked, _draft.plan) : 0.0;
    asked.nominal = own;
    if (const auto told = object.Get("nominal")) {
      const double most = asked.is_angle ? 2.0 * std::numbers::pi : kFarthest;
      const double least = asked.kind == Kind::kSize ? kLeast : -most;
      asked.nominal = ReadNumber(_findings, *told, In(asked), {least, most}).value_or(own);
      if (has_nominal) CompareNominals(*told, asked, own, std::max(Size(lower), Size(upper)));
    }
    asked.lower = asked.nominal + lower;
    asked.upper = asked.nominal + upper;
  }

  static double Size(double limit) { return std::isfinite(limit) ? std::abs(limit) : 0.0; }

  void ReadLimits(const PlanValue& value, const Characteristic& asked, double& lower,
                  double& upper) {
    const auto pair = ReadList(_findings, value, 2, 2);
    if (!pair) return;
    const double most = asked.is_angle ? 2.0 * std::numbers::pi : kFarthest;
    const auto read = [&](const PlanValue& limit, double& into) {
      if (limit.value->is_null()) return true;
      const auto number = ReadNumber(_findings, limit, In(asked), {-most, most});
      if (number) into = *number;
      return number.has_value();
    };
    const bool has_lower = read((*pair)[0], lower);
    const bool has_upper = read((*pair)[1], upper);
    if (!has_lower || !has_upper) return;
    if (std::isinf(lower) && std::isinf(upper)) {
      _findings.Error(value, "both \"limits\" are null, and every value would conform");
    } else if (!(lower < upper)) {
      _findings.Error(value,
                      "\"limits\" are the lower and the upper one, in this order, and not "
                      "the same");
    }
  }

  /// A nominal that is told may differ from that of the nominals, by as much as the limits do.
  void CompareNominals(const PlanValue& value, const Characteristic& asked, double own,
                       double most) {
    constexpr double kRounding = 1e-6;
    const double off = std::abs(std::abs(asked.nominal) - std::abs(own));
    if (!std::isfinite(own) || off <= most + kRounding) return;
    const ToldIn in = In(asked);
    _findings.Warning(value, "\"nominal\" is " + host::Rounded(asked.nominal / in.unit, 6) +
                                 ", and by the nominals of its features it is " +
                                 host::Rounded(own / in.unit, 6) + " " + in.name);
  }

  PlanDraft& _draft;
  PlanFindings& _findings;
  PlanNames _names;
};

}  // namespace

void ReadCharacteristics(PlanDraft& draft, const PlanValue& value) {
  constexpr std::size_t kMostCharacteristics = 10000;
  const auto list = ReadList(draft.findings, value, 0, kMostCharacteristics);
  if (!list) return;
  CharacteristicReader reader(draft);
  for (const PlanValue& element : *list) reader.Read(element);
}

}  // namespace libmfx::inspection
