#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <vector>

#include "libmfx/export.h"
#include "libmfx/geometry/wall_form.h"

/// \file
/// Fit of a cylinder, smooth or with a screw thread, to points on the part of its wall that the
/// instrument saw. Lengths are metres, directions and points are in the instrument's frame, in
/// whose origin the instrument stands.

namespace libmfx::geometry {

/// Fits the wall of a stud or a bore. It keeps the points near a nominal cylinder, drops those that
/// lie on a flat end or alone, and brings the sum of squared distances to the wall to its minimum
/// over axis and radius. Nothing is held between two calls; calls on different threads don't meet.
class LIBMFX_EXPORT ThreadedCylinderFitter {
 public:
  /// A nominal or a fitted cylinder.
  struct Cylinder {
    Eigen::Vector3d point = Eigen::Vector3d::Zero();  ///< on the axis; for the nominal: in its base
    Eigen::Vector3d axis = Eigen::Vector3d::UnitZ();  ///< fitted: unit length, sense of the nominal
    double radius = 0.0;                              ///< metres; of a thread: of its crests
    int inliers = 0;                                  ///< points the fit ran on; nominal: not read
  };

  /// What `FitBasePlane` leaves free.
  enum BasePlaneMode {
    kFixedNormal = 0,   ///< the height alone: the plane stands square to the given normal
    kFreePlane = 1,     ///< height and normal, least squares of the distances
    kTrimmedPlane = 2,  ///< as the free plane, and again without the points beyond the tolerance
  };

  struct BasePlane {
    Eigen::Vector3d point = Eigen::Vector3d::Zero();    ///< centroid of the points that were used
    Eigen::Vector3d normal = Eigen::Vector3d::UnitZ();  ///< unit, on the side of the given normal
    double scale = 0.0;  ///< mean squared distance of those points from the centroid, m^2
    double rms = 0.0;    ///< root mean squared distance from the plane, metres
    int points = 0;
  };

  /// How a fit went. Filled as far as the fit got, also when it throws.
  struct Statistics {
    int windowed = 0;  ///< points in the window of height and radius
    int end_face = 0;  ///< of those, dropped as lying on a flat end or on the base
    int isolated = 0;  ///< of the rest, dropped as lying far from all others
    int inliers = 0;   ///< points the reported cylinder was fitted to
    /// Of the points that were neither on an end nor alone, those clearly off what was fitted. A
    /// thread leaves more points out than these: where its edges blur the beam.
    int astray = 0;
    /// Of the last fit: 2 offsets, and 3 of the axis and 1 radius unless fixed; of a thread its
    /// phase, pitch and the widths of crest and root as well. A thread that was fitted along the
    /// sight lines turns the axis by 2, and the width of the beam was free with it. Of a helix of
    /// no known profile the pitch and four terms of its harmonics, and the mean radius in any case.
    int free_parameters = 0;
    int rounds = 0;             ///< damped rounds of the last fit
    double cost = 0.0;          ///< sum of squared residuals of the inliers, m^2
    double rms = 0.0;           ///< root mean square of those residuals, metres
    double max_residual = 0.0;  ///< largest absolute one, metres
    /// Standard uncertainties: by the noise of the residuals; of a smooth wall of 50 points and
    /// more by what its form leaves open; and by what a wide beam makes of the curving of a smooth
    /// wall or of the edges of a thread, which no residual tells. 0 of what is fixed.
    double center_uncertainty = 0.0;  ///< of the axis at mid-height, metres
    double axis_uncertainty = 0.0;    ///< of the direction, radians
    double radius_uncertainty = 0.0;  ///< metres
    /// Of a smooth wall, or of a thread whose profile was found, of 50 points and more.
    std::optional<WallForm> form;
    bool threaded = false;       ///< a helical profile was found: `radius` is that of the crests
    double pitch = 0.0;          ///< metres along the axis a turn, negative: left-handed
    double profile_depth = 0.0;  ///< metres from the crests to the deepest points seen
    bool has_base = false;       ///< a base was seen around the cylinder
    BasePlane base;
  };

  /// What became of a point.
  enum class Use : unsigned char {
    kOutside,   ///< of the window
    kBase,      ///< of the base around the cylinder, which was measured
    kEndFace,   ///< dropped as lying on a flat end or on the base
    kIsolated,  ///< dropped as lying far from all others
    kLeftOut,   ///< in the window, and not followed by the fit
    kFitted     ///< an inlier
  };

  /// Fits a cylinder to `points` (metres, instrument's frame; points that are not finite are
  /// passed over).
  ///
  /// The nominal plane passes `nominal.point` square to `nominal.axis` (any length but zero); the
  /// height of a point is its signed distance from it along the axis. A point is kept when its
  /// height is from `bottom_offset` to `height`, both included, and its distance to the nominal
  /// axis differs from `nominal.radius` by at most `radius_tolerance`. Points farther from the axis
  /// than that, with a height of at most `plane_tolerance` either way, are the base. From 30 of
  /// them on its plane is measured: square to the nominal axis when the axis is fixed, else freely
  /// and trimmed with half of `plane_tolerance` (see `FitBasePlane`). A kept point less than
  /// `bottom_offset` above the measured plane is dropped. Points that leave the plane open, or a
  /// plane turned by more than 45 degrees, drop none.
  ///
  /// `thread_depth` is the least depth of a helical profile, in nominal radii, that makes a thread
  /// of the wall; `thread_share` is the share of points, in every stretch of one pitch, taken as
  /// its crests.
  ///
  /// `fix_axis` holds the direction, `fix_radius` the radius at the nominal. `statistics` may be
  /// null, and so may `uses`, which receives a value for each point, as far as the fit got.
  ///
  /// \return point: of the axis on the plane of the bottom offset; axis; radius; inliers.
  /// \throws std::invalid_argument, with the first that holds of "NominalCylinderAxis must be a
  ///   non-zero vector", "NominalRadius must be positive", "nominalCylinderBottomOffset must be
  ///   less than nominalCylinderHeight", "RadiusTolerance must be positive", "PlaneTolerance must
  ///   be positive" (a NaN breaks its condition).
  /// \throws std::runtime_error: "Too few inlier points for cylinder fitting" with 9 or fewer
  /// points
  ///   kept; "Cylinder fitting failed" when the fit doesn't converge, when the points leave the
  ///   cylinder open (a single scan line, say), or when it ends on another cylinder than the one
  ///   the window was laid around: a radius off by more than the tolerance or an axis turned by
  ///   more than 45 degrees.
  static Cylinder Fit(const std::vector<Eigen::Vector3d>& points, const Cylinder& nominal,
                      double bottom_offset, double height, double radius_tolerance,
                      double plane_tolerance, double thread_depth, double thread_share,
                      bool fix_axis, bool fix_radius, Statistics* statistics,
                      std::vector<Use>* uses = nullptr);

  /// Fits a plane to the points of a base. `normal` is the direction that `kFixedNormal` holds and
  /// to whose side the result's normal turns; `tolerance` is read by `kTrimmedPlane` alone.
  /// \throws std::runtime_error "Too few points for plane fitting" with fewer than 3 points, also
  ///   after trimming, and "Plane fitting failed" when points in one line or in one spot leave the
  ///   normal open; std::invalid_argument for a mode that doesn't exist.
  static BasePlane FitBasePlane(const std::vector<Eigen::Vector3d>& points,
                                const Eigen::Vector3d& normal, int mode, double tolerance);

  /// Removes from both vectors, which run in step, the samples of poor quality and those that are
  /// not finite. The order of the rest stays. Numbers of the points, which run in step with them,
  /// may come along.
  /// \return how many were removed.
  static std::size_t RemoveLowQuality(std::vector<Eigen::Vector3d>& points,
                                      std::vector<double>& qualities,
                                      std::vector<std::size_t>* numbers = nullptr);
};

}  // namespace libmfx::geometry
