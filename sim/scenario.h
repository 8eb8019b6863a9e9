#pragma once

#include <cmath>
#include <memory>
#include <optional>
#include <utility>

#include "libmfx/data_structures/point.h"
#include "sim/instrument.h"
#include "sim/parts/parts.h"
#include "sim/portable_math.h"

/// \file
/// Scenes in a few words of code, for tests and benchmarks:
///
///   auto scene = MakeScene(parts::MakeOpeningPlate(parts::RoundOpening(0.005)),
///                          Pose::Facing({0, 0, 2}), 0.05, Noise::Off());
///   Instrument instrument(scene, 7);
///   samples = instrument.Drive(feature.GetDrivePoints(false));

namespace libmfx::sim {

/// \param behind distance of the background plane from the part's origin; none: no background
inline Scene MakeScene(std::shared_ptr<const Part> part, const Pose& pose,
                       std::optional<double> behind = std::nullopt, const Noise& noise = Noise()) {
  Scene scene;
  scene.part = std::move(part);
  scene.pose = pose;
  scene.behind = behind;
  scene.noise = noise;
  return scene;
}

/// A pose at `position` whose normal leaves the line of sight by `incidence` radians, tilted about
/// an axis across it that `roll` turns around the line of sight.
inline Pose TiltedPose(const Vec3& position, double incidence, double roll = 0.0) {
  const Pose facing = Pose::Facing(position);
  const auto i = portable::SinCos(incidence);
  const auto r = portable::SinCos(roll);
  const Vec3 sideways = r.cosine * facing.rotation.col(0) + r.sine * facing.rotation.col(1);
  const Vec3 normal = i.cosine * facing.rotation.col(2) + i.sine * sideways;
  return Pose::Facing(position, normal, facing.rotation.col(0));
}

/// The cartesian point that a sample stands for.
inline Vec3 SamplePoint(const data_structures::RawDataPoint& sample) {
  return data_structures::AzElRange(sample.azimuth, sample.elevation, sample.range).ToPoint().xyz();
}

inline data_structures::PointXYZW ToPoint(const Vec3& p) {
  return data_structures::PointXYZW(p.x(), p.y(), p.z());
}
inline data_structures::VectorXYZW ToVector(const Vec3& v) {
  return data_structures::VectorXYZW(v.x(), v.y(), v.z());
}

}  // namespace libmfx::sim
