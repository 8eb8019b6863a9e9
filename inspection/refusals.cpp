#include <Eigen/Core>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/numbers.h"
#include "inspection/characteristics.h"
#include "inspection/evaluator.h"
#include "inspection/flatness.h"
#include "inspection/measurable.h"

namespace libmfx::inspection {
namespace {

using Eigen::Matrix3d;
using Kind = Characteristic::Kind;

/// Nominal places whose width is less than this share of their length are on a line: a plane
/// through what was measured of them would be turned by as many errors as the length has widths.
constexpr double kOnLine = 1e-3;
/// Nominals that are told with rounded digits are off a plane or an axis by less, m.
constexpr double kRounded = 1e-9;

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

std::string Words(const Vector3d& vector) {
  std::string text = "(";
  for (Eigen::Index i = 0; i < 3; ++i) {
    if (i > 0) text += ", ";
    text += host::Rounded(std::fabs(vector[i]) < 5e-4 ? 0.0 : vector[i], 3);
  }
  return text + ')';
}

/// "a HoleFeature request", "an EdgeFeature request"
std::string Request(const PlannedFeature& feature) {
  return (ShapeOf(feature.type) == Shape::kEdge ? "an " : "a ") + feature.type + " request";
}

/// In which directions a place is measured.
std::string MeasuredWords(const PlannedFeature& feature) {
  const std::string name = Quoted(feature.name);
  switch (ShapeOf(feature.type)) {
    case Shape::kCylinder:
      return name + " is measured across its axis " + Words(feature.direction) + " alone";
    case Shape::kSurfacePoint:
      return name + " is measured along its normal " + Words(feature.direction) + " alone";
    case Shape::kEdge:
      return name + " is measured across its border, along " + Words(feature.tangent) + ", alone";
    case Shape::kBall:
    case Shape::kOpening:
      return name + " is measured in all directions";
    case Shape::kPath:
      break;
  }
  return name + " is a free path, of which no place is measured";
}

/// Why a place is not told along a direction; empty where it is.
std::string WhyNotAlong(const PlannedFeature& feature, const Vector3d& along,
                        const std::string& words) {
  const Matrix3d measured = feature.MeasuredDirections();
  if (Holds(measured, along)) return {};
  const std::string text = MeasuredWords(feature);
  if (measured.isZero(0.0)) return text;
  const bool is_open = (measured * along).norm() <= kHeld * along.norm();
  return text + (is_open ? ", and not " : ", and only in part ") + words;
}

std::string WhyNoSize(const Characteristic& characteristic, const PlannedFeature& feature) {
  const std::string name = Quoted(feature.name);
  const std::string size = SizeOf(characteristic, feature);
  if (size.empty() && MeasuresSize(feature.type, "length")) {
    return name + R"( has two sizes: "quantity" has to be "length" or "width")";
  }
  const bool is_diameter = size.empty() || size == "diameter";
  if (!is_diameter && size != "length" && size != "width") {
    return R"("quantity" of a size is "diameter", "length" or "width", and not )" + Quoted(size);
  }
  if (is_diameter && feature.type == "HoleFeature") {
    return name +
           ": a HoleFeature request measures no diameter. A ThreadedHoleFeature request measures "
           "that of a bore, of a smooth one too";
  }
  if (is_diameter && ShapeOf(feature.type) == Shape::kBall) {
    return name +
           ": a MatteSphereFeature request takes the ball's diameter as known, and no other "
           "request measures it";
  }
  if (!MeasuresSize(feature.type, size)) {
    return name + ": " + Request(feature) + " measures no " + (size.empty() ? "size" : size);
  }
  if (is_diameter && Repeats(feature, "Radius")) {
    return name + R"( keeps its nominal radius: its diameter is measured without "FixRadius")";
  }
  return {};
}

std::string WhyNoCoordinate(const Characteristic& characteristic, const PlannedFeature& feature) {
  const std::string& quantity = characteristic.quantity;
  if (quantity != "normal") {
    const Vector3d axis = AxisOf(quantity);
    if (!axis.isZero(0.0)) return WhyNotAlong(feature, axis, "along " + quantity);
    return R"("quantity" of a coordinate is "x", "y", "z" or "normal", and not )" +
           Quoted(quantity);
  }
  if (feature.direction.isZero(0.0)) {
    return Quoted(feature.name) +
           R"( has no direction of its own: "quantity" has to be "x", "y" or "z")";
  }
  return WhyNotAlong(feature, feature.direction, "along its direction " + Words(feature.direction));
}

std::string WhyNoPosition(const PlannedFeature& feature) {
  const Shape shape = ShapeOf(feature.type);
  if (shape == Shape::kPath) return MeasuredWords(feature);
  if (shape == Shape::kSurfacePoint) {
    return MeasuredWords(feature) +
           R"(, and a position is told across it: ask for its coordinate "normal")";
  }
  if (PositionDirections(feature).isZero(0.0)) {
    return Quoted(feature.name) +
           R"( has no direction, across which a position is told: its nominal needs "Normal")";
  }
  return {};
}

std::string WhyNoDistance(const Characteristic& characteristic, const PlannedFeature& a,
                          const PlannedFeature& b) {
  const std::string& quantity = characteristic.quantity;
  if (quantity.empty() && characteristic.nominal < 0.0) {
    return "its nominal is negative, and a distance never is";
  }
  if (!quantity.empty()) {
    const Vector3d axis = AxisOf(quantity);
    if (axis.isZero(0.0)) {
      return R"("quantity" of a distance is "x", "y" or "z", or it is left out, and not )" +
             Quoted(quantity);
    }
    const std::string why = WhyNotAlong(a, axis, "along " + quantity);
    return why.empty() ? WhyNotAlong(b, axis, "along " + quantity) : why;
  }
  const Matrix3d of_a = a.MeasuredDirections();
  const Matrix3d of_b = b.MeasuredDirections();
  const Matrix3d shared = Shared(of_a, of_b);
  const bool are_cylinders =
      ShapeOf(a.type) == Shape::kCylinder && ShapeOf(b.type) == Shape::kCylinder;
  const bool are_parallel = std::fabs(shared.trace() - 2.0) < 0.5;
  if (are_cylinders && are_parallel) return {};
  const Vector3d way = b.place - a.place;
  if (!shared.isZero(0.0) && Holds(shared, way)) return {};
  const Vector3d unit = way.norm() > 0.0 ? Vector3d(way.normalized()) : way;
  const std::string words = "along the way " + Words(unit) + " between the two";
  std::string why = WhyNotAlong(a, way, words);
  if (why.empty()) why = WhyNotAlong(b, way, words);
  if (why.empty()) why = MeasuredWords(a) + ", and " + MeasuredWords(b);
  return why + R"(: tell as "quantity" an axis along which both are measured)";
}

std::string WhyNoDirection(const PlannedFeature& feature, bool is_tangent) {
  const bool is_measured =
      is_tangent ? MeasuresTangent(feature.type) : MeasuresDirection(feature.type);
  if (!is_measured) {
    return Quoted(feature.name) + ": " + Request(feature) + " measures no " +
           (is_tangent ? "tangent" : "direction");
  }
  if ((is_tangent ? feature.tangent : feature.direction).isZero(0.0)) {
    return Quoted(feature.name) + " has no " + (is_tangent ? "tangent" : "direction");
  }
  if (!is_tangent && Repeats(feature, "Axis")) {
    return Quoted(feature.name) +
           R"( keeps its nominal axis: its direction is measured without "FixAxis")";
  }
  return {};
}

std::string WhyNoAngle(const Characteristic& characteristic, const PlannedFeature& a,
                       const PlannedFeature& b) {
  const auto tangents = TangentsOf(characteristic.quantity);
  if (!tangents) {
    return R"("quantity" of an angle is two of "direction" and "tangent" with a comma between )"
           "them, and not " +
           Quoted(characteristic.quantity);
  }
  const std::string why = WhyNoDirection(a, tangents->first);
  return why.empty() ? WhyNoDirection(b, tangents->second) : why;
}

std::string WhyNoFlatness(const std::vector<const PlannedFeature*>& features) {
  std::vector<Vector3d> places;
  places.reserve(features.size());
  for (const PlannedFeature* feature : features) places.push_back(feature->place);
  const std::optional<PlaneSpread> plane = SpreadAboutPlane(places);
  if (!plane || !(plane->width > kOnLine * plane->length)) {
    return "its nominal places lie on a line, through which no one plane goes";
  }
  for (const PlannedFeature* feature : features) {
    // Of either sense: the one that people tell first.
    Vector3d normal = plane->normal;
    Eigen::Index largest = 0;
    normal.cwiseAbs().maxCoeff(&largest);
    if (normal[largest] < 0.0) normal = -normal;
    const std::string why =
        WhyNotAlong(*feature, normal, "along the normal " + Words(normal) + " of the plane");
    if (!why.empty()) return why;
  }
  return {};
}

std::string WhyNoConcentricity(const PlannedFeature& datum, const PlannedFeature& other) {
  const Shape shape = ShapeOf(datum.type);
  if (shape != Shape::kOpening && shape != Shape::kCylinder) {
    return Quoted(datum.name) + ": " + Request(datum) + " measures no axis";
  }
  const std::string why = WhyNoDirection(datum, false);
  if (!why.empty()) return why;
  const Matrix3d measured = other.MeasuredDirections();
  const Matrix3d across = Across(datum.direction);
  if ((across - measured * across).norm() <= kHeld) return {};
  if (measured.isZero(0.0)) return MeasuredWords(other);
  return MeasuredWords(other) + ", and not in all directions across the axis " +
         Words(datum.direction) + " of " + Quoted(datum.name);
}

std::string WhyNotOfTheirNumber(const Characteristic& characteristic, const Plan& plan) {
  const std::size_t count = characteristic.features.size();
  const Kind kind = characteristic.kind;
  std::string wanted;
  if (kind == Kind::kSize || kind == Kind::kCoordinate || kind == Kind::kPosition) {
    if (count != 1) wanted = "one feature";
  } else if (kind == Kind::kFlatness || kind == Kind::kCoplanarity) {
    if (count < 4) wanted = "four features or more: a plane goes through any three";
  } else if (kind == Kind::kPattern) {
    if (count < 2) wanted = "two features or more";
  } else if (count != 2) {
    wanted = "two features";
  }
  if (!wanted.empty()) return "it has " + std::to_string(count) + ", and takes " + wanted;
  std::set<std::size_t> seen;
  for (const std::size_t i : characteristic.features) {
    if (i >= plan.features.size()) return "it names a feature that the plan does not have";
    if (!seen.insert(i).second) return "it names " + Quoted(plan.features[i].name) + " twice";
  }
  return {};
}

std::string WhyNotOfTheirKind(const Characteristic& characteristic,
                              const std::vector<const PlannedFeature*>& features) {
  switch (characteristic.kind) {
    case Kind::kSize:
      return WhyNoSize(characteristic, *features[0]);
    case Kind::kCoordinate:
      return WhyNoCoordinate(characteristic, *features[0]);
    case Kind::kDistance:
      return WhyNoDistance(characteristic, *features[0], *features[1]);
    case Kind::kAngle:
      return WhyNoAngle(characteristic, *features[0], *features[1]);
    case Kind::kFlatness:
    case Kind::kCoplanarity:
      return WhyNoFlatness(features);
    case Kind::kConcentricity:
      return WhyNoConcentricity(*features[0], *features[1]);
    case Kind::kPosition:
    case Kind::kPattern:
      break;
  }
  for (const PlannedFeature* feature : features) {
    std::string why = WhyNoPosition(*feature);
    if (!why.empty()) return why;
  }
  return {};
}

}  // namespace

std::string WhyNotTold(const Characteristic& characteristic, const Plan& plan) {
  std::string why = WhyNotOfTheirNumber(characteristic, plan);
  if (!why.empty()) return why;
  std::vector<const PlannedFeature*> features;
  features.reserve(characteristic.features.size());
  for (const std::size_t i : characteristic.features) features.push_back(&plan.features[i]);
  why = WhyNotOfTheirKind(characteristic, features);
  if (!why.empty()) return why;
  if (std::isnan(characteristic.lower) || std::isnan(characteristic.upper)) {
    return "its limits are not numbers";
  }
  if (characteristic.lower > characteristic.upper) return "its lower limit is above its upper one";
  const double nominal = NominalOf(characteristic, plan);
  if (!std::isfinite(nominal)) return "its nominals have no such value";
  // A part without any deviation would not conform.
  if (characteristic.IsZone() && characteristic.upper > 0.0 &&
      nominal > characteristic.upper + kRounded) {
    return "its nominals themselves come to " + host::LengthText(nominal) +
           ", more than its tolerance";
  }
  return {};
}

}  // namespace libmfx::inspection
