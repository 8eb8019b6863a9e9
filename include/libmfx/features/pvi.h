#pragma once

#include "libmfx/features/feature.h"

namespace libmfx::features {

/// Plane-vector intersect: measures one point of a surface. A small box of samples around the
/// nominal point gives a plane; the result is where the line of sight meets it.
class LIBMFX_EXPORT PVI : public Feature {
 public:
  PVI();
  explicit PVI(std::string json);
  explicit PVI(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  bool Analyze() override;
  /// A zigzag across the box, square to the line of sight along one axis of the box.
  std::queue<Position> GenerateDrivePoints() override;
  /// Peels off the worst sample, one after the other, until their share has reached the limit, and
  /// drops those up to the last that cut the scatter. The plane is fitted to the three coordinate
  /// rows as they stand; the residual of a column is its signed distance from it.
  bool RemoveOutliers(PointCloud& cloud);

 private:
  static shared::Settings SettingsTable();
  static shared::RequestKeys RequestTable();
  static shared::PlanChecks PlanTable();
  static shared::ResultKeys ResultTable();
  const shared::FeatureClass& Class() const override;
  /// \param removed receives the columns that were dropped
  bool DropOutliers(PointCloud& cloud, std::vector<Eigen::Index>& removed);
  /// Measures the point and the normal on the plane of the kept samples and judges them.
  bool MeasureOnPlane();
  /// Warns of what speaks against the plane.
  /// \param usable the samples before the outliers were dropped, cartesian
  void TellDoubts(const PointCloud& usable);

 protected:
  PointXYZW _nominal_point;
  VectorXYZW _nominal_normal;
  double _box_dimension = 0.003;  ///< side of the box, metres
  int _number_of_scan_lines = 0;
  int _number_of_points = 25;
  double _quality_threshold = 50.0;
  int _max_iterations = 4;
  double _angle_thresh = 1.3962634015954636;  ///< radians, in spite of its label
  double _min_scan_timeout = 5.0;
  double _max_filter_percentage = 30.0;
  double _range_filter_multiplier = 2.5;
  double _nominal_to_measured_angle = 1.3962634015954636;  ///< radians, in spite of its label
  double _filter_cut_ratio = 0.9;
  bool _scan_elevation = true;
  double _distance_threshold = 0.003;  ///< metres
  int _idc_method = -1;
  PointXYZW _measured_point;
  VectorXYZW _measured_normal;
  double _quality = 0.0;  ///< dB: 40 at a scatter of 1 m, 10 more for each tenth of it
  PointXYZW _scan_origin;
  PointCloud _scan_data;
};

}  // namespace libmfx::features
