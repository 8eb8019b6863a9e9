#pragma once

#include "libmfx/features/feature.h"

namespace libmfx::features {

/// Drives a path that the host gives and returns the samples, with no geometry.
class LIBMFX_EXPORT CustomScan : public Feature {
 public:
  CustomScan();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit CustomScan(std::string json);
  explicit CustomScan(const messages::Request& request);
  /// Over a path whose spacings are kept.
  CustomScan(std::queue<Position> path, double quality_threshold);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();
  std::string GetUuid() override;
  double QualityThreshold() override;

 protected:
  std::string GenerateResult() const override;
  /// Keeps the samples at or above the quality threshold. While the data goes out by segment the
  /// host holds them already: all are dropped, and the analysis succeeds.
  bool Analyze() override;
  std::queue<Position> GenerateDrivePoints() override;

 private:
  const shared::FeatureClass& Class() const override;
  /// Unwraps a path into `_path`, or refuses one that no instrument can drive.
  void AcceptPath(std::queue<Position> path, bool allow_flip);

 protected:
  std::string _id;
  double _quality_threshold = 50.0;
  int _idc_method = -1;
  std::vector<RawDataPoint> _filtered_data;
  std::queue<Position> _path;
};

}  // namespace libmfx::features
