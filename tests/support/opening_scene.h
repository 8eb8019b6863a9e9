#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <string>
#include <utility>

#include "converse.h"
#include "ideal_scan.h"
#include "libmfx/features/feature.h"
#include "paths.h"

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

inline const PlateFrame kPlate;

inline nlohmann::json TripleOf(const features::PointXYZW& p) { return {p.x(), p.y(), p.z()}; }
inline nlohmann::json TripleOf(const features::VectorXYZW& v) { return {v.x(), v.y(), v.z()}; }

/// Whether a point of the plate lies in the opening.
using IsOpen = std::function<bool(const features::PointXYZW&)>;

/// An opening whose centre is off by (u, v), turned by `angle` in the plate.
/// \param covers whether a place (along, across) lies in it, as seen from its centre
inline IsOpen OpeningAt(const std::function<bool(double, double)>& covers, double u, double v,
                        double angle) {
  return [=](const features::PointXYZW& p) {
    const double x = kPlate.u(p) - u;
    const double y = kPlate.v(p) - v;
    return covers(x * std::cos(angle) + y * std::sin(angle),
                  y * std::cos(angle) - x * std::sin(angle));
  };
}

/// A request for an opening in the middle of the plate.
/// \param direction the key of its direction in the plate
inline nlohmann::json OpeningRequest(const char* type, const char* direction,
                                     const nlohmann::json& root, const nlohmann::json& keys) {
  nlohmann::json request = root;
  nlohmann::json& feature = request["Feature"];
  feature = keys;
  feature["$type"] = type;
  feature["Location"] = TripleOf(kPlate.center);
  feature["Normal"] = TripleOf(kPlate.normal);
  feature[direction] = TripleOf(kPlate.tangent);
  return request;
}

/// An ideal flat plate with an opening, in which nothing comes back, seen by a beam that is driven
/// along the plate.
inline IdealDriver PlateWith(IsOpen is_open) {
  return IdealDriver([is_open = std::move(is_open)](const sim::Aim& aim) {
    return is_open(PlaceOf(aim)) ? 0.0 : aim.range;
  });
}

/// A feature that has been measured on an ideal plate.
/// \param max_passes most re-scans around a moved nominal
inline std::unique_ptr<features::Feature> MeasurePlate(const nlohmann::json& request,
                                                       IsOpen is_open, int max_passes = 0) {
  std::unique_ptr<features::Feature> feature(features::Feature::Create(request.dump()));
  IdealDriver plate = PlateWith(std::move(is_open));
  Converse(*feature, plate, max_passes);
  return feature;
}

/// What the analysis says of a scan of which nothing came back.
inline std::string ErrorWithoutSamples(const nlohmann::json& request) {
  const std::unique_ptr<features::Feature> feature(features::Feature::Create(request.dump()));
  feature->AnalyzeFeature();
  EXPECT_FALSE(feature->GetIsSuccessful());
  return feature->GetError();
}

}  // namespace libmfx::test
