#include "inspection/plan.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numbers>
#include <utility>

#include "inspection/measurable.h"

namespace libmfx::inspection {
namespace {

using Kind = Characteristic::Kind;

constexpr std::array<std::pair<Kind, std::string_view>, 9> kKinds = {{
    {Kind::kSize, "size"},
    {Kind::kCoordinate, "coordinate"},
    {Kind::kPosition, "position"},
    {Kind::kDistance, "distance"},
    {Kind::kAngle, "angle"},
    {Kind::kFlatness, "flatness"},
    {Kind::kCoplanarity, "coplanarity"},
    {Kind::kConcentricity, "concentricity"},
    {Kind::kPattern, "pattern"},
}};

}  // namespace

// A unit that nobody knows makes every number not a number: a factor that is guessed would not
// show.
double Units::Length() const {
  if (length == "mm") return 1e-3;
  if (length == "m") return 1.0;
  if (length == "in") return 0.0254;
  return std::numeric_limits<double>::quiet_NaN();
}

double Units::Angle() const {
  if (angle == "deg") return std::numbers::pi / 180.0;
  if (angle == "rad") return 1.0;
  return std::numeric_limits<double>::quiet_NaN();
}

Eigen::Matrix3d PlannedFeature::MeasuredDirections() const {
  switch (ShapeOf(type)) {
    case Shape::kBall:
    case Shape::kOpening:
      return Eigen::Matrix3d::Identity();
    case Shape::kCylinder:
      return Across(direction);
    case Shape::kSurfacePoint:
      return Along(direction);
    case Shape::kEdge:
      return Along(tangent);
    case Shape::kPath:
      break;
  }
  return Eigen::Matrix3d::Zero();
}

bool Characteristic::IsZone() const {
  return kind == Kind::kPosition || kind == Kind::kFlatness || kind == Kind::kCoplanarity ||
         kind == Kind::kConcentricity || kind == Kind::kPattern;
}

std::string_view KindName(Kind kind) {
  const auto* const found = std::find_if(kKinds.begin(), kKinds.end(),
                                         [&](const auto& row) { return row.first == kind; });
  return found == kKinds.end() ? std::string_view() : found->second;
}

std::optional<Kind> KindOf(std::string_view name) {
  const auto* const found = std::find_if(kKinds.begin(), kKinds.end(),
                                         [&](const auto& row) { return row.second == name; });
  if (found == kKinds.end()) return std::nullopt;
  return found->first;
}

std::optional<std::size_t> Plan::Find(std::string_view feature) const {
  for (std::size_t i = 0; i < features.size(); ++i) {
    if (features[i].name == feature) return i;
  }
  return std::nullopt;
}

}  // namespace libmfx::inspection
