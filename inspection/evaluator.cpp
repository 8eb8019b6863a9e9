#include "inspection/evaluator.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "inspection/flatness.h"
#include "inspection/measurable.h"
#include "inspection/pattern.h"

namespace libmfx::inspection {
namespace {

using Kind = Characteristic::Kind;

constexpr double kNone = FeatureNumbers::kNone;
/// Nominals that are told with rounded digits differ by less, m.
constexpr double kRounded = 1e-9;

double Size(const FeatureNumbers& numbers, const std::string& size) {
  if (size == "length") return numbers.length;
  if (size == "width") return numbers.width;
  return size == "diameter" ? 2.0 * numbers.radius : kNone;
}

/// ISO 1101: twice the distance of the second's place from the first's axis.
double Concentricity(const FeatureNumbers& datum, const FeatureNumbers& other) {
  const Vector3d off = other.place - datum.place;
  return 2.0 * off.cross(datum.direction.normalized()).norm();
}

double Flatness(const std::vector<FeatureNumbers>& own) {
  std::vector<Vector3d> places;
  places.reserve(own.size());
  for (const FeatureNumbers& numbers : own) places.push_back(numbers.place);
  return MinimumZone(places).value_or(kNone);
}

/// What a type has not is NaN, as in what was measured.
FeatureNumbers NominalNumbers(const PlannedFeature& feature) {
  FeatureNumbers numbers;
  numbers.place = feature.place;
  if (!feature.direction.isZero(0.0)) numbers.direction = feature.direction;
  if (!feature.tangent.isZero(0.0)) numbers.tangent = feature.tangent;
  numbers.length = feature.length;
  numbers.width = feature.width;
  numbers.radius = feature.radius;
  return numbers;
}

}  // namespace

std::optional<std::pair<bool, bool>> TangentsOf(const std::string& quantity) {
  if (quantity.empty() || quantity == "direction,direction") return std::pair(false, false);
  if (quantity == "direction,tangent") return std::pair(false, true);
  if (quantity == "tangent,direction") return std::pair(true, false);
  if (quantity == "tangent,tangent") return std::pair(true, true);
  return std::nullopt;
}

Vector3d AxisOf(const std::string& quantity) {
  if (quantity == "x") return Vector3d::UnitX();
  if (quantity == "y") return Vector3d::UnitY();
  return quantity == "z" ? Vector3d::UnitZ() : Vector3d(Vector3d::Zero());
}

std::string SizeOf(const Characteristic& characteristic, const PlannedFeature& feature) {
  const bool is_told = !characteristic.quantity.empty();
  if (is_told || !MeasuresSize(feature.type, "diameter")) return characteristic.quantity;
  return "diameter";
}

Evaluator::Evaluator(const Characteristic& characteristic, const Plan& plan)
    : _characteristic(characteristic) {
  for (const std::size_t index : characteristic.features) {
    const PlannedFeature& feature = plan.features[index];
    _features.push_back(&feature);
    _nominals.push_back(NominalNumbers(feature));
    _measured.push_back(feature.MeasuredDirections());
    _across.push_back(PositionDirections(feature));
  }
  if (_features.empty()) return;
  _axis = AxisOf(characteristic.quantity);
  if (characteristic.kind == Kind::kCoordinate && characteristic.quantity == "normal") {
    _axis = _features[0]->direction;
  }
  if (_features.size() == 2) _shared = Shared(_measured[0], _measured[1]);
  _nominal = Number(_nominals);
  if (characteristic.kind == Kind::kDistance && !_axis.isZero(0.0)) TellDistanceUpwards();
}

// A distance along an axis is told in the sense in which the nominals have it, so that it is not
// negative, and a straight function of the places even where it is near zero. A plan that tells a
// negative nominal wants the other sense.
void Evaluator::TellDistanceUpwards() {
  const bool is_negative = _characteristic.nominal < 0.0;
  if (std::fabs(_nominal) <= kRounded || (_nominal < 0.0) == is_negative) return;
  _axis = -_axis;
  _nominal = -_nominal;
}

Vector3d Evaluator::Completed(std::size_t i, const FeatureNumbers& own) const {
  return _features[i]->place + _measured[i] * (own.place - _features[i]->place);
}

double Evaluator::Coordinate(const FeatureNumbers& own) const {
  if (_axis.isZero(0.0)) return kNone;
  const double along = _axis.dot(Completed(0, own));
  if (_characteristic.quantity != "normal") return along;
  return along - _axis.dot(_features[0]->place);
}

// Without an axis it is the length of what both features measure of the way from one to the other.
// Of two studs with parallel axes this is the distance across them, at whatever heights they are
// told. Of all others the nominal way lies in the measured directions, or WhyNotTold refuses it.
double Evaluator::Distance(const std::vector<FeatureNumbers>& own) const {
  if (!_characteristic.quantity.empty()) {
    return _axis.isZero(0.0) ? kNone : _axis.dot(Completed(1, own[1]) - Completed(0, own[0]));
  }
  return (_shared * (own[1].place - own[0].place)).norm();
}

double Evaluator::Angle(const std::vector<FeatureNumbers>& own) const {
  const auto tangents = TangentsOf(_characteristic.quantity);
  if (!tangents) return kNone;
  const Vector3d& a = tangents->first ? own[0].tangent : own[0].direction;
  const Vector3d& b = tangents->second ? own[1].tangent : own[1].direction;
  return std::atan2(a.cross(b).norm(), a.dot(b));
}

double Evaluator::Pattern(const std::vector<FeatureNumbers>& own) const {
  std::vector<PatternPlace> places;
  places.reserve(own.size());
  for (std::size_t i = 0; i < own.size(); ++i) {
    places.push_back({_features[i]->place, own[i].place, _measured[i]});
  }
  const auto off = OffNominals(places);
  if (!off) return kNone;
  double largest = 0.0;
  for (std::size_t i = 0; i < own.size(); ++i) {
    largest = std::max(largest, 2.0 * (_across[i] * (*off)[i]).norm());
  }
  return largest;
}

double Evaluator::Number(const std::vector<FeatureNumbers>& own) const {
  const std::size_t count = own.size();
  switch (_characteristic.kind) {
    case Kind::kSize:
      return Size(own[0], SizeOf(_characteristic, *_features[0]));
    case Kind::kCoordinate:
      return Coordinate(own[0]);
    case Kind::kPosition:
      return 2.0 * (_across[0] * (own[0].place - _features[0]->place)).norm();
    case Kind::kDistance:
      return count == 2 ? Distance(own) : kNone;
    case Kind::kAngle:
      return count == 2 ? Angle(own) : kNone;
    case Kind::kFlatness:
    case Kind::kCoplanarity:
      return Flatness(own);
    case Kind::kConcentricity:
      return count == 2 ? Concentricity(own[0], own[1]) : kNone;
    case Kind::kPattern:
      return Pattern(own);
  }
  return kNone;
}

std::optional<double> Evaluator::Value(const std::vector<FeatureNumbers>& own) const {
  if (own.empty() || own.size() != _features.size()) return std::nullopt;
  for (const FeatureNumbers& numbers : own) {
    if (!numbers.IsMeasured()) return std::nullopt;
  }
  const double value = Number(own);
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace libmfx::inspection
