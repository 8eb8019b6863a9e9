#pragma once

#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "libmfx/features/edge.h"

namespace libmfx::features {

/// Reaches what an edge keeps private.
struct EdgeAccess {
  template <typename... Arguments>
  static void Dump(const Edge& edge, const Arguments&... arguments) {
    edge.dump_vis(arguments...);
  }
};

}  // namespace libmfx::features

namespace libmfx::test {

using features::PointCloud;
using features::PointXYZW;
using features::RawDataPoint;
using features::VectorXYZW;

/// A place on a profile that stands in the plane y = 0, two metres ahead: x along a surface that
/// faces the instrument, `depth` below it.
struct Place {
  double x;
  double depth;
  PointXYZW point() const { return {x, 0.0, 2.0 + depth}; }
};

/// The border at x = 0.006, the surface point in x = 0, the edge point `offset` below the surface.
inline nlohmann::json EdgeRequest(double offset = 0.001, bool use_nominal_offset = false) {
  return {{"$id", "E1"},
          {"UseNominalOffset", use_nominal_offset},
          {"Feature",
           {{"$type", "EdgeFeature"},
            {"SurfacePoint", {0.0, 0.0, 2.0}},
            {"SurfaceNormal", {0.0, 0.0, -1.0}},
            {"EdgePoint", {0.006, 0.0, 2.0 + offset}}}}};
}

/// A surface up to the border and a flank of the slope `lateral` per depth down to `deepest`, a
/// sample every `spacing` along both.
inline std::vector<Place> BorderProfile(double border = 0.006, double lateral = 0.5,
                                        double deepest = 0.004, double spacing = 0.0001) {
  std::vector<Place> places;
  const int on_surface = static_cast<int>(std::lround((border + 0.005) / spacing));
  for (int i = 0; i <= on_surface; ++i) places.push_back({-0.005 + i * spacing, 0.0});
  const double step = spacing / std::hypot(1.0, lateral);
  for (int i = 1; i * step <= deepest; ++i)
    places.push_back({border + lateral * i * step, i * step});
  return places;
}

/// Samples of the places, all on the move to drive point `status`.
inline std::vector<RawDataPoint> SamplesOf(const std::vector<Place>& places, int status = 1,
                                           double quality = 80.0) {
  std::vector<RawDataPoint> samples;
  for (const Place& place : places) {
    const features::AzElRange aer(place.point());
    RawDataPoint sample{};
    sample.azimuth = aer.azimuth;
    sample.elevation = aer.elevation;
    sample.range = aer.range;
    sample.quality = quality;
    sample.status = status;
    samples.push_back(sample);
  }
  return samples;
}

/// An edge that has analysed the samples.
inline std::unique_ptr<features::Edge> Analyzed(const nlohmann::json& request,
                                                const std::vector<RawDataPoint>& samples) {
  auto edge = std::make_unique<features::Edge>(request.dump());
  edge->UpdateRawData(samples);
  edge->AnalyzeFeature();
  return edge;
}

/// A cloud of the places with quality and segment number, as an analysis cuts it from a scan.
inline PointCloud CloudOf(const std::vector<Place>& places) {
  Eigen::MatrixXd data(5, static_cast<Eigen::Index>(places.size()));
  for (std::size_t i = 0; i < places.size(); ++i) {
    const PointXYZW p = places[i].point();
    data.col(static_cast<Eigen::Index>(i)) << p.x(), p.y(), p.z(), 80.0 + static_cast<double>(i),
        1.0;
  }
  return PointCloud(data, {{features::EMBEDDING_XYZ, {0}}});
}

}  // namespace libmfx::test
