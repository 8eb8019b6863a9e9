#include "inspection/measured.h"

#include <string_view>

#include "host/errors.h"
#include "uncertainty/plan.h"

namespace libmfx::inspection {
namespace {

/// Where the value of a key belongs: a polygon's "Axis" lies in its surface, that of a stud or a
/// bore is its direction.
template <typename Numbers>
auto TripleOf(Numbers& numbers, std::string_view key, const PlannedFeature& feature)
    -> decltype(&numbers.place) {
  if (key == "Normal") return &numbers.direction;
  if (key == "Tangent") return &numbers.tangent;
  if (key != "Axis") return nullptr;
  return feature.type == "PolygonFeature" ? &numbers.tangent : &numbers.direction;
}

template <typename Numbers>
double* SizeOf(Numbers& numbers, std::string_view key) {
  if (key == "Length") return &numbers.length;
  if (key == "Width") return &numbers.width;
  if (key == "Radius") return &numbers.radius;
  return nullptr;
}

Vector3d WithSense(const Vector3d& direction, const Vector3d& nominal) {
  const Vector3d unit = direction.normalized();
  return unit.dot(nominal) < 0.0 ? Vector3d(-unit) : unit;
}

/// A value's numbers under its key.
void Put(const std::string& key, uncertainty::Kind kind, const Eigen::VectorXd& value,
         const PlannedFeature& feature, const Eigen::Isometry3d& pose, FeatureNumbers& numbers) {
  if (kind == uncertainty::Kind::kSize) {
    if (double* const size = SizeOf(numbers, key)) *size = value[0];
    return;
  }
  const Vector3d triple = value;
  if (kind == uncertainty::Kind::kPlace) {
    numbers.place = triple;
    return;
  }
  Vector3d* const direction = TripleOf(numbers, key, feature);
  if (direction == nullptr) return;
  const bool is_tangent = direction == &numbers.tangent;
  const Vector3d nominal = pose.linear() * (is_tangent ? feature.tangent : feature.direction);
  *direction = WithSense(triple, nominal);
}

/// What a fit alone knows of the sizes of an opening with straight sides, it knows of the places at
/// which its border was read: those lie up to a point spacing beside the border, all to the same
/// side. That is its standard uncertainty then, of a radius half of it.
void DoubtSizes(const json& request, const PlannedFeature& feature, FeatureSpread& spread) {
  const bool has_sides = feature.type == "SlotFeature" || feature.type == "RectangleFeature" ||
                         feature.type == "PolygonFeature";
  if (!has_sides) return;
  constexpr double kUsualSpacing = 1e-4;
  const double spacing = request.value("PointSpacing", kUsualSpacing);
  spread.length += spacing * spacing;
  spread.width += spacing * spacing;
  spread.radius += 0.25 * spacing * spacing;
}

}  // namespace

FeatureNumbers NumbersOf(const uncertainty::Values& values, const PlannedFeature& feature,
                         const Eigen::Isometry3d& pose) {
  FeatureNumbers numbers;
  if (feature.type == "ScanPathFeature") return numbers;
  for (const uncertainty::Value& value : values) {
    Put(value.key, value.kind, value.numbers, feature, pose, numbers);
  }
  return numbers;
}

void TakeUncertainty(const uncertainty::Uncertainty& sure, const PlannedFeature& feature,
                     const Eigen::Isometry3d& pose, Measured& measured) {
  if (feature.type == "ScanPathFeature" || sure.quantities.empty()) return;
  measured.is_sure = true;
  for (const uncertainty::QuantityUncertainty& q : sure.quantities) {
    if (!q.mean.allFinite() || !q.covariance.allFinite()) {
      measured.is_sure = false;
      continue;
    }
    Put(q.key, q.kind, q.mean, feature, pose, measured.numbers);
    if (q.kind == uncertainty::Kind::kPlace) {
      measured.spread.place = q.covariance;
    } else if (q.kind == uncertainty::Kind::kSize) {
      if (double* const size = SizeOf(measured.spread, q.key)) *size = q.covariance(0, 0);
    } else if (auto* const spread = TripleOf(measured.spread, q.key, feature)) {
      *spread = q.covariance;
    }
  }
}

Measured MeasuredOf(const HeldStep& step, const PlannedFeature& feature, std::size_t station,
                    const Eigen::Isometry3d& pose) {
  Measured measured;
  measured.was_tried = true;
  measured.station = station;
  measured.file = step.file;
  measured.warnings = step.outcome.warnings;
  if (!step.outcome.successful) {
    measured.reason = host::OneLine(step.outcome.error);
    return measured;
  }
  if (step.outcome.IsDoubtful()) {
    measured.reason = "measured with a warning: " + host::OneLine(step.outcome.warnings.front());
    return measured;
  }
  try {
    const uncertainty::AtFirst first = uncertainty::Glance(step.recording);
    measured.numbers = NumbersOf(first.measured, feature, pose);
    if (first.first) TakeUncertainty(*first.first, feature, pose, measured);
    DoubtSizes(feature.request, feature, measured.spread);
  } catch (const host::CallError& error) {
    measured.reason = host::OneLine(error.what());
    return measured;
  }
  measured.is_measured = feature.type == "ScanPathFeature" || measured.numbers.IsMeasured();
  if (!measured.is_measured) measured.reason = "the result tells no place";
  return measured;
}

}  // namespace libmfx::inspection
