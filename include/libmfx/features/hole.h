#pragma once

#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/features/search_spiral.h"
#include "libmfx/geometry/circle.h"
#include "libmfx/geometry/plane.h"
#include "libmfx/math/acc_stats.h"
#include "libmfx/math/gaussian_window.h"

namespace libmfx::features {

namespace shared {
class ScanLayout;
}

using math::GaussianWindow;
struct Bore;

/// Measures a round hole in a flat surface: its centre, its normal and the fit's quality.
///
/// The hole is scanned by a star of straight lines through its nominal centre. The surface around
/// it is found as a robust plane, the rim as one point a line, the centre by circles through them;
/// where the beam is slanted, the wall that it sees below the far rim and an empirical shift refine
/// the centre. docs/hole.md tells the stages with pictures.
///
/// Lengths are metres, angles radians, coordinates in the instrument's frame. A segment cloud has
/// the rows x, y, z, quality, segment number; an edge cloud x, y, z, segment number.
class LIBMFX_EXPORT Hole : public Feature {
 public:
  Hole();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit Hole(std::string json);
  explicit Hole(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  std::string GenerateResult() const override;
  bool Analyze() override;
  std::queue<Position> GenerateDrivePoints() override;

  /// Lines that run straight through the hole: three drive points each, of which the move to the
  /// first is the jump from the line before. Raises `_scan_lines` to 2.
  std::queue<Position> GenerateStarPattern();
  /// Half lines that stop inside the rim: four drive points an angle, of which the moves to the
  /// first and the third are jumps. Raises `_scan_lines` to 2.
  std::queue<Position> GenerateFastStarPattern();

  /// Fits the surface to the points between two distances (closed) from `center`, weighted along
  /// each line by half Gaussians that fall towards the rim, and cuts points beyond half of the
  /// worst residual until it is below `tolerance`, at most 10 times. The normal then faces the scan
  /// origin.
  /// \param first_sigma, cut_sigma of the windows before and after the first cut, in line lengths
  /// \param inliers one cloud a segment: the points kept, with the final weight as sixth row
  /// \param outliers one cloud a segment: the points cut, five rows
  /// \return false with an error text
  bool FitRobustPlane(const PointXYZW& center, double min_distance, double max_distance,
                      double first_sigma, double cut_sigma, double tolerance,
                      std::vector<PointCloud>& inliers, std::vector<PointCloud>& outliers);
  /// An edge cloud with the point nearest `reference` of each segment that has one, projected onto
  /// the surface.
  /// \param check_isolated skips points without close neighbours along their line
  /// \param isolation_radius what counts as close
  PointCloud FindEdgesRawDist(std::vector<PointCloud>& segments, const PointXYZW& reference,
                              const bool& check_isolated, const double& isolation_radius);
  /// The same over all lines at once, without the test of isolation: the edge cloud of the points
  /// nearest `reference` (`flag` true) or farthest from it.
  PointCloud FindEdges(std::vector<PointCloud>& segments, PointXYZW& reference, const bool& flag);
  /// The point of a segment that is nearest `reference`, or farthest from it.
  /// \return false if there is none; `edge` is then left alone
  bool FindEdgePointForSegment(const bool& nearest, const PointCloud& segment,
                               const PointXYZW& reference, const bool& check_isolated,
                               PointXYZW& edge, const double& isolation_radius);
  /// Whether fewer than 5 points, `point` itself counted, lie within `radius` of it among the
  /// columns from 5 before to 5 after `index`.
  /// \param window not read: the reach is fixed
  bool IsIsolatedPoint(const PointCloud& cloud, const PointXYZW& point, long long& index,
                       const long long& window, const double& radius);
  /// Whether at most `_max_points_inside` points lie well within the circle.
  bool HoleValid(const std::vector<PointCloud>& segments, const geometry::Circle& circle);

  /// Collects, line by line, the feet on the surface of the samples that lie on the hole's wall.
  /// \param outliers the points that the surface fit cut, one cloud a segment
  /// \param wall_points one cloud a segment, five rows
  /// \param circle the rim
  /// \param a, b the smallest and the largest depth below the surface at which wall was seen
  /// \return whether there is wall enough to fit a circle to
  bool CircleHasWall(const std::vector<PointCloud>& outliers, std::vector<PointCloud>& wall_points,
                     const geometry::Circle& circle, double& a, double& b);
  /// The same for a beam almost along the bore, where wall shows among the points that the surface
  /// fit kept; keeps what CircleHasWall found.
  /// \param b the largest depth at which CircleHasWall saw wall
  bool CircleHasWallX(const std::vector<PointCloud>& inliers, std::vector<PointCloud>& wall_points,
                      const geometry::Circle& circle, const double& b);
  /// Fits the circle whose centre is reported, to wall and edge points, and shifts it.
  /// \param circle the rim; receives the new centre and radius
  /// \return false with an error text
  bool FitInnerCircle(const std::vector<PointCloud>& inliers, const PointCloud& edge_points,
                      const std::vector<PointCloud>& wall_points, geometry::Circle& circle);
  /// Moves the centre towards the instrument, in proportion to the angle of incidence: 50
  /// micrometres at 60 degrees. Always true.
  bool LinearBiasShift(geometry::Circle& circle);
  /// Moves the centre away from the instrument; less for holes of radius below 8 mm. Always true.
  bool LowIncidentBiasShift(geometry::Circle& circle);
  /// Moves the centre towards the instrument by amplitude / (exp(-steepness * incidence) + 1) +
  /// offset micrometres. Always true.
  bool SigmoidBiasShift(double amplitude, double steepness, double offset,
                        geometry::Circle& circle);
  /// Moves the centre to where the surface points around the circle show it: to the middle of the
  /// innermost points of the lines.
  /// \param inliers the points that the surface fit kept, one cloud a segment
  /// \return false, with the circle left alone, if they do not show it
  bool PlaneCentroidBiasShift(const std::vector<PointCloud>& inliers, geometry::Circle& circle);

 private:
  static shared::Settings SettingsTable();
  static shared::RequestKeys RequestTable();
  static shared::PlanChecks PlanTable();
  static shared::ResultKeys ResultTable();
  static shared::SearchNominal SearchTable();
  const shared::FeatureClass& Class() const override;
  void DeriveFromRequest();
  /// What the moves of the pattern are for, as the settings stand.
  shared::ScanLayout Layout() const;
  std::queue<Position> Star(const char* name, const shared::ScanLayout& layout);

 protected:
  // The stages of Analyze, in order; each false comes with an error text, but that of a re-scan.
  void CutIntoSegments();
  void NoteView();
  bool FitRim(const std::vector<PointCloud>& planar);
  bool FitCenter(const std::vector<PointCloud>& inliers, const std::vector<PointCloud>& outliers);
  bool Judge(const std::vector<PointCloud>& inliers);
  bool Report();
  int CountInside(const std::vector<PointCloud>& segments, const geometry::Circle& circle) const;
  // What makes the result doubtful, once nothing speaks against it.
  void TellDoubts(const std::vector<PointCloud>& inliers, const std::vector<PointCloud>& outliers);
  void TellRadius();
  void TellSamplesAbove(const std::vector<PointCloud>& inliers,
                        const std::vector<PointCloud>& outliers);

  Bore BoreBelow(const geometry::Circle& circle) const;
  /// The direction along the surface away from the instrument; zero right below it.
  VectorXYZW ShiftDirection(const geometry::Circle& circle) const;

  int _scan_lines = 9;           ///< star lines
  int _max_points_inside = 10;   ///< points inside the hole before it is rejected
  double _radius = 1.0;          ///< working radius: nominal plus chamfer
  double _nominal_radius = 0.0;  ///< as the request gives it
  double _clearance_zone = 0.005;
  double _point_spacing = 0.0001;
  double _quality_threshold = 50.0;
  double _chamfer_offset = 0.0;  ///< radial width of the chamfer
  double _chamfer_depth = 0.0;
  double _chamfer_angle = 0.7853981633974483;        ///< from the hole's axis
  double _normal_reject_angle = 0.2617993877991494;  ///< between fitted and nominal normal
  double _inside_radius_fraction = 0.5;              ///< of `_radius`: what counts as well inside
  double _incidence_angle = 0.0;                     ///< line of sight to fitted normal
  double _isolation_radius = 0.0;
  bool _has_chamfer = false;
  bool _low_incidence = false;
  bool _has_wall = false;
  bool _use_fast_star = false;  ///< chooses the pattern and which segments are jumps
  int _idc_method = -1;         ///< a setting that nothing here reads
  int _segment_point_count = 0;
  PointCloud _scan_cloud;             ///< all samples that pass, 5 rows
  std::vector<PointCloud> _segments;  ///< the samples of each scan line
  PointXYZW _input_center_pt;         ///< nominal; moved by a search and a re-scan
  PointXYZW _scan_origin;             ///< where the instrument stands
  VectorXYZW _input_normal;           ///< nominal; moved by a search and a re-scan
  geometry::Plane _plane;             ///< the surface
  geometry::Circle _circle;
  PointCloud _edge_points;      ///< the rim points that the circle rests on
  VectorXYZW _far_side_offset;  ///< along the surface, away from the instrument, to the rim
  math::AccStats _residual_stats;
  PointXYZW _measured_center;
  VectorXYZW _measured_normal;
  double _measured_radius = 0.0;
  double _quality = 0.0;  ///< 0 to 100

 private:
  void NoteSamples(const std::vector<PointCloud>& inliers);
  /// FindEdgesRawDist, which leaves its segments as they are.
  PointCloud NearestEdges(const std::vector<PointCloud>& segments, const PointXYZW& reference,
                          bool check_isolated, double isolation_radius);

  std::vector<std::vector<Eigen::Index>> _columns;  ///< of the scan, for each of `_segments`
  std::vector<std::size_t> _samples;                ///< of the pass, for each column of the scan
};

}  // namespace libmfx::features
