#pragma once

#include <Eigen/Core>

#include "libmfx/features/feature.h"

namespace libmfx::features {

/// Fits a sphere by least squares of the algebraic form x^2 + y^2 + z^2 + ax + by + cz + d, solved
/// by a singular value decomposition about the centroid of the points. The algebraic solution does
/// not depend on the origin, so the centroid costs nothing and saves the digits that points far
/// from the origin would lose.
///
/// \param points shape (3, n), cartesian, any unit, n at least 4; for another shape the result is
/// false, a line says so on standard output, and nothing is written
/// \param residuals receives, for each point, its distance from the centre minus the radius:
/// positive outside the sphere
///
/// Points that do not span a sphere have a stated answer too: in a plane, the smallest sphere
/// through their circle; all in one place, that place with radius 0. NaN among the points gives
/// NaN.
LIBMFX_EXPORT bool SphereFitLS(const PointCloud& points, PointXYZW& center, double& radius,
                               Eigen::VectorXd& residuals);

/// How far a sphere and its points may be off, metres.
struct SphereTolerances {
  double fit;     ///< of a fitted radius from the nominal one; a random sample has a tenth of it
  double filter;  ///< of a point from the sphere
};

/// The tolerances that the analysis derives from the range of the surface, metres. They jump at
/// 2 m, where the long range begins.
LIBMFX_EXPORT SphereTolerances SphereTolerancesAt(double range);

/// Measures a matte tooling ball: a sphere of known radius, seen from one side.
///
/// A measurement has two scans: a stroke of 2 mm across the nominal that tells the distance of the
/// surface, then a star or a W inside a square box on the ball. The fitted sphere's error of radius
/// becomes a shift of the centre along the line of sight; the radius of the result is the nominal
/// one. The centre is drawn from random samples (`srand`, `rand` of the process, seeded by the
/// clock), so the last digits differ between runs, and two features analysed at once disturb each
/// other's draws.
///
/// Lengths are metres, angles radians, cartesian coordinates in the instrument's frame.
class LIBMFX_EXPORT SphereFit : public Feature {
 public:
  SphereFit();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit SphereFit(std::string json);
  explicit SphereFit(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();
  /// Takes the samples of the stroke, hands out the pattern around the nominal at their range, and
  /// then takes the samples of the pattern. With an error, true: nothing is left to drive.
  bool SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) override;

 protected:
  std::string GenerateResult() const override;
  bool Analyze() override;
  /// The ranging stroke: two positions, 1 mm to either side of the nominal. The class has no search
  /// pattern: where a search is asked for, the stroke begins an ordinary measurement.
  std::queue<Position> GenerateDrivePoints() override;

  /// The star: diameters of length `box` through `center`, each entered at the end that is nearest
  /// to the exit of the one before. 2 positions for each of max(lines, 2) diameters.
  /// \param normal (x, y, z, 0), facing the instrument; an error if it faces away
  /// \param box side of the pattern's box, metres
  std::queue<Position> ScanStar(const PointXYZW& center, Eigen::VectorXd normal, double box,
                                int lines);
  /// The W: max(lines, 2) legs across the box, each of which also advances along it. One position
  /// more than legs; the parameters are those of ScanStar.
  std::queue<Position> ScanW(const PointXYZW& center, Eigen::VectorXd normal, double box,
                             int lines);

  /// Keeps the samples whose azimuth (radians) differs from the centre's by at most `distance`
  /// (metres; the numbers are compared as they stand) and whose quality exceeds `quality`.
  /// \param cloud shape (5, n): azimuth, elevation, range, quality, segment number
  /// \param out receives shape (3, m): x, y, z
  bool FilterByDistance(const PointCloud& cloud, const AzElRange& center, PointCloud& out,
                        double distance, double quality);
  /// Deals the samples within `distance` of the centre's range and above `quality` out to four
  /// quadrants around `center`, and those near the nominal point to a centre patch as well.
  /// \param cloud shape (5, n), as above
  /// \param spurs five clouds, quadrants first; each receives shape (3, m): x, y, z, or stays at
  /// shape (5, 1), zeros, if no sample is its own
  bool FilterByDistanceFromAzElMedianSpur(const PointCloud& cloud, const AzElRange& center,
                                          PointCloud* const spurs, double distance, double quality);
  /// Of five clouds, the one whose sphere has the radius nearest to `nominal_radius`.
  bool FindBestFitSpur(PointCloud* const spurs, PointXYZW& center, double& radius,
                       Eigen::VectorXd& residuals, unsigned int& spur, double nominal_radius);
  /// Joins the clouds of 3 rows, in order.
  bool CombineDataSets3(const PointCloud* clouds, int count, PointCloud& out);
  /// Grows a consensus set out of random samples whose spheres have about the nominal radius, and
  /// fits it. `residuals` are those of all of `cloud`.
  bool SamplingSphereFit(const PointCloud& cloud, double nominal_radius, PointXYZW& center,
                         double& radius, Eigen::VectorXd& residuals, double tolerance);
  /// Splits a cloud by the distance of its points from a sphere; at most `tolerance` is good.
  bool FilterByError(const PointCloud& cloud, PointCloud& good, PointCloud& bad,
                     const PointXYZW& center, double radius, double tolerance);
  /// The quality in dB: 10 dB for each tenfold smaller standard error, scaled by the share of
  /// `total` that the residuals are.
  bool CalculateSFQuality(Eigen::VectorXd residuals, unsigned int total, double& quality);

  std::string _target_uuid;
  int ScanLines = 9;
  int NumPointsPerLine = 190;      ///< samples wanted for each scanned leg
  bool ScanElevation = true;       ///< the pattern's first direction follows elevation, not azimuth
  double QualityThreshold = 50.0;  ///< dB, of a sample and of the fit
  double NominalRadius = 0.0127;   ///< metres
  double BoxDimensionRatio = 0.75;  ///< side of the box as a share of the ball's diameter
  bool AdvancedFilter = true;
  bool StarScanPattern = true;
  bool UserFilters = false;        ///< keeps the two tolerances; false derives them from the range
  double FitTolerance = 0.000275;  ///< metres
  double FilterTolerance = 0.00055;  ///< metres
  double StdMultiplier = 0.75;
  int NumSamplePoints = 25;
  int IDCMethod = -1;      ///< stored only
  PointXYZW NominalPoint;  ///< moved along the line of sight by the ranging steps
  AzElRange _nominal_aer;  ///< the request's location
  AzElRange _refined_aer;  ///< the nominal at the range found in the analysis
  PointXYZW _scan_origin;
  PointCloud _scan_data;              ///< shape (5, n): all samples of the pattern, not filtered
  PointXYZW MeasuredPoint;            ///< centre of the ball
  double MeasuredRadius = 0.0;        ///< metres
  double Quality = 0.0;               ///< dB
  unsigned int _final_fit_count = 0;  ///< points of the last fit

 private:
  struct PatternFrame;
  struct FitState;

  static shared::Settings SettingsTable();
  static shared::RequestKeys RequestTable();
  static shared::PlanChecks PlanTable();
  static shared::ResultKeys ResultTable();
  const shared::FeatureClass& Class() const override;

  bool TakeSurfaceRange(const std::vector<RawDataPoint>& samples, std::queue<Position>& next);
  std::queue<Position> RangingStroke();
  bool BuildPatternFrame(const PointXYZW& center, Eigen::VectorXd& normal, int lines,
                         PatternFrame& frame);
  /// The pattern, or an error and an empty queue if no instrument could drive it.
  std::queue<Position> Drivable(std::queue<Position> pattern);
  void RebuildScanData();
  bool RefineRange();
  bool FitAdvanced(FitState& fit);
  bool FitSimple(FitState& fit);
  bool FinishFit(FitState& fit);
  /// Puts down into which parts the last filter dealt the samples out.
  void RecordParts();
  /// Puts down what a filter made of the points of `samples`, all of which it got: those in `kept`
  /// are fitted, the others dropped. Both are in the order of the samples.
  void RecordKept(const PointCloud& all, const PointCloud& kept, std::vector<std::size_t>& samples);

  /// The samples behind the columns of the latest filtered cloud, or of the joined quadrants.
  std::vector<std::size_t> _passed;
  std::vector<signed char> _quadrants;  ///< of each sample; -1: of none
  std::vector<bool> _in_patch;          ///< of the samples of the quadrants, in their order
};

}  // namespace libmfx::features
