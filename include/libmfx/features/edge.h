#pragma once

#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {

class SectionFrame;
struct SurfaceLine;

/// Measures one point on the border of a flat surface.
///
/// One straight scan line runs over the surface and past its border. Its samples are a profile: a
/// straight run along the surface, then a drop. The edge point is where the profile has fallen as
/// far below the measured surface as the nominal edge point lies below the nominal surface;
/// docs/edge.md tells the stages, and where that is on a rounded border. Lengths are metres, angles
/// radians, coordinates in the instrument's frame.
class LIBMFX_EXPORT Edge : public Feature {
 public:
  Edge();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit Edge(std::string json);
  explicit Edge(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  bool Analyze() override;
  std::queue<Position> GenerateDrivePoints() override;

  /// Replaces x, y, z of every column but the first and the last by the mean over a window around
  /// it, which stops one column short of being centred; towards the ends it narrows. The other rows
  /// stay.
  /// \param span odd number of columns of the window, at most those of `in`
  /// \returns false, with the error set, for a span that is even or too large
  bool smooth_sliding_window(const PointCloud& in, const long long& span, PointCloud& out);
  /// Cuts a profile into the run along the surface and the rest; both hold the column at the cut.
  /// \param split_index -1 on entry, then the index of that column; it keeps what was found when
  ///     the split fails
  /// \returns false, with the error set, if the profile is too short, or straight from end to end
  bool split_curve(const PointCloud& in, PointCloud& straight, PointCloud& curved,
                   long long& split_index);
  /// Projects the columns on the plane, subtracts `translation` and multiplies by the plane's TBN
  /// matrix.
  PointCloud transform(const PointCloud& cloud, geometry::Plane& plane,
                       const Eigen::Matrix<double, 3, 1>& translation);
  /// The same for one point; `w` is 1.
  PointXYZW transformPt(const PointXYZW& point, geometry::Plane& plane,
                        const Eigen::Matrix<double, 3, 1>& translation);

  using Profile = StageProfile;

 private:
  static shared::Settings SettingsTable();
  static shared::RequestKeys RequestTable();
  static shared::PlanChecks PlanTable();
  static shared::ResultKeys ResultTable();
  const shared::FeatureClass& Class() const override;
  /// Incidence and nominal offset; false with an error for a border that is seen from over the
  /// plate.
  bool DeriveFromRequest();
  /// The stages of an analysis, from the samples of the pass to the judgement.
  bool MeasureOnLine();
  /// The samples of the scan line, near enough to the nominal.
  bool SelectLine();
  /// The plane in which the profile lies.
  bool LayCrossSection(geometry::Plane plane, const PointCloud& straight);
  /// Measures the surface in the cross section and finds the edge below it.
  bool FindEdge(const PointCloud& curved, PointXYZW& edge);
  /// How far a sample, or a gap between two, may be from what the edge is read off.
  double Reach() const;
  /// How far along the surface the samples lie from the chosen one that are as near the level as
  /// it is, within noise: the farthest of them.
  double FarthestAlike(const SurfaceLine& surface, const Eigen::Matrix3Xd& below,
                       Eigen::Index chosen) const;
  bool FindEdgeAtOffset(const SectionFrame& frame, const SurfaceLine& surface,
                        const Eigen::Matrix3Xd& below, PointXYZW& edge);
  bool FindEdgeOnProfile(const SectionFrame& frame, const SurfaceLine& surface,
                         const Eigen::Matrix3Xd& profile, const Eigen::Matrix3Xd& below,
                         PointXYZW& edge);
  bool Judge(const PointXYZW& edge);
  /// What makes an edge point that is a single sample doubtful.
  void TellDoubts();
  /// Writes a script for a numeric plotting tool that draws the line in space.
  void dump_vis(std::string path, const PointCloud& line, const geometry::Plane& surface,
                const geometry::Plane& cross_section, const PointXYZW& edge,
                const PointCloud& curved = PointCloud()) const;

 protected:
  int _scan_lines = 1;  ///< read, and without effect: there is one line
  double _quality_threshold = 50.0;
  double _point_spacing = 0.0001;
  double _clearance_zone = 0.005;
  double _normal_reject_angle = 0.2617993877991494;
  bool _use_nominal_offset = false;
  double _incidence_angle = 0.0;  ///< between the line of sight and the nominal normal
  double _nominal_offset = 0.0;   ///< depth of the nominal edge point below the nominal surface
  int _idc_method = -1;           ///< a setting that nothing here reads
  PointXYZW _surface_point;
  VectorXYZW _surface_normal;
  PointXYZW _edge_point;
  PointCloud _scan_cloud;
  PointXYZW _scan_origin;
  PointXYZW _measured_point;
  double _quality = 0.0;
  Profile _profile;  ///< of the last analysis, as far as it got

  friend struct EdgeAccess;  ///< of the tests
};

}  // namespace libmfx::features
