#pragma once

#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <string>

#include "libmfx/features/feature.h"
#include "plate_sampler.h"

namespace libmfx::test {

/// A plate about (0, 0, 2) whose frame is turned out of the instrument's axes; plate coordinates
/// are u along the tangent, v across it, metres.
struct PlateFrame {
  features::PointXYZW center{0.02, -0.03, 2.0};
  features::VectorXYZW normal = features::VectorXYZW(0.2, -0.1, -1.0).normalized();
  features::VectorXYZW tangent =
      normal.cross(features::VectorXYZW(0.3, 1.0, 0.1)).cross(normal).normalized();

  features::VectorXYZW across() const { return normal.cross(tangent); }
  double u(const features::PointXYZW& p) const { return (p - center).dot(tangent); }
  double v(const features::PointXYZW& p) const { return (p - center).dot(across()); }
  features::PointXYZW At(double u_at, double v_at) const {
    return center + tangent * u_at + across() * v_at;
  }
};

inline nlohmann::json TripleOf(const features::PointXYZW& p) { return {p.x(), p.y(), p.z()}; }
inline nlohmann::json TripleOf(const features::VectorXYZW& v) { return {v.x(), v.y(), v.z()}; }

/// Drives a feature over an ideal plate and analyses what comes back.
inline std::unique_ptr<features::Feature> MeasurePlate(
    const nlohmann::json& request, const std::function<bool(const features::PointXYZW&)>& is_open) {
  std::unique_ptr<features::Feature> feature(features::Feature::Create(request.dump()));
  const auto samples = SamplePlate(feature->GetDrivePoints(false), is_open);
  feature->UpdateRawData(samples);
  feature->AnalyzeFeature();
  return feature;
}

/// Drives the passes that a feature asks for around its moved nominal, at most ten.
/// \return the error text when it is done
inline std::string RescanPlate(features::Feature& feature,
                               const std::function<bool(const features::PointXYZW&)>& is_open) {
  for (int pass = 0; pass < 10 && !feature.GetIsSuccessful(); ++pass) {
    if (!feature.GetError().empty()) return feature.GetError();
    feature.UpdateRawData(SamplePlate(feature.GetDrivePoints(true), is_open));
    feature.AnalyzeFeature();
  }
  return feature.GetIsSuccessful() ? "" : "still not done";
}

}  // namespace libmfx::test
