#include "libmfx/geometry/cylinder_fitter.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

#include "geometry/cylinder/end_faces.h"
#include "geometry/cylinder/form.h"
#include "geometry/cylinder/frame.h"
#include "geometry/cylinder/helix.h"
#include "geometry/cylinder/isolated.h"
#include "geometry/cylinder/least_squares.h"
#include "geometry/cylinder/smooth_fit.h"
#include "geometry/cylinder/thread_fit.h"

namespace libmfx::geometry {
namespace {

using cylinder::Frame;
using cylinder::Model;
using cylinder::Points;
using Cylinder = ThreadedCylinderFitter::Cylinder;
using Statistics = ThreadedCylinderFitter::Statistics;
using Use = ThreadedCylinderFitter::Use;
using PointList = std::vector<Eigen::Vector3d>;

constexpr Eigen::Index kTooFewPoints = 9;
constexpr double kZeroDirection = 1e-12;
constexpr double kLeastAlignment = 0.70710678118654752;  // cosine of 45 degrees
// A radius or an axis position that its own residuals leave open by more than this share of the
// radius is not a measurement.
constexpr double kMostUncertainty = 0.1;
constexpr double kCoverage = 3.0;  // standard uncertainties that make a bound

void Validate(const Cylinder& nominal, double bottom_offset, double height, double radius_tolerance,
              double plane_tolerance) {
  const auto require = [](bool holds, const char* text) {
    if (!holds) throw std::invalid_argument(text);
  };
  require(nominal.axis.allFinite() && nominal.axis.cwiseAbs().maxCoeff() > kZeroDirection,
          "NominalCylinderAxis must be a non-zero vector");
  require(nominal.radius > 0.0 && std::isfinite(nominal.radius), "NominalRadius must be positive");
  require(height > bottom_offset,
          "nominalCylinderBottomOffset must be less than nominalCylinderHeight");
  require(radius_tolerance > 0.0, "RadiusTolerance must be positive");
  require(plane_tolerance > 0.0, "PlaneTolerance must be positive");
}

// Heights and radii that bound the points of a fit, in nominal radii.
struct Window {
  double bottom, top, radius_tolerance, plane_tolerance;
};

struct Sorted {
  Points wall;
  PointList base;
  std::vector<std::size_t> of_wall, of_base;  // which points these are, in step with them
  std::vector<Use>& uses;                     // of every point
};

// What turning a point into the local frame may do to it, nominal radii: a point at the very end of
// a window belongs to it.
constexpr double kRounding = 1e-11;

void Shorten(std::size_t count, Points& points) {
  const auto kept = static_cast<Eigen::Index>(count);
  for (Eigen::ArrayXd* column : {&points.x, &points.y, &points.z, &points.depth})
    column->conservativeResize(kept);
}

// Both ends of the height window and both of the radial one belong to it. The lower end isn't
// raised to the base nor the upper one lowered to the top of the part: where these reach into the
// window, the points tell so themselves.
Sorted SortPoints(const PointList& points, const Frame& frame, const Window& window,
                  std::vector<Use>& uses) {
  Sorted sorted{Points(static_cast<Eigen::Index>(points.size())), {}, {}, {}, uses};
  sorted.of_wall.reserve(points.size());
  sorted.uses.assign(points.size(), Use::kOutside);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Eigen::Vector3d p = frame.ToLocal(points[i]);
    const double height = p.dot(frame.axis());
    const double deviation = (p - height * frame.axis()).norm() - 1.0;
    if (!std::isfinite(deviation)) continue;
    if (std::abs(deviation) <= window.radius_tolerance + kRounding) {
      if (!(height >= window.bottom - kRounding && height <= window.top + kRounding)) continue;
      sorted.wall.set(static_cast<Eigen::Index>(sorted.of_wall.size()), p);
      sorted.of_wall.push_back(i);
      sorted.uses[i] = Use::kLeftOut;
    } else if (deviation > 0.0 && std::abs(height) <= window.plane_tolerance) {
      sorted.base.push_back(p);
      sorted.of_base.push_back(i);
    }
  }
  Shorten(sorted.of_wall.size(), sorted.wall);
  return sorted;
}

void RequireEnough(const Points& wall) {
  if (wall.size() <= kTooFewPoints)
    throw std::runtime_error("Too few inlier points for cylinder fitting");
}

// \return how many points of the wall were marked
std::size_t Drop(const std::vector<bool>& marked, Use why, Sorted& sorted) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < sorted.of_wall.size(); ++i) {
    if (marked[i]) {
      sorted.uses[sorted.of_wall[i]] = why;
      continue;
    }
    sorted.wall.set(static_cast<Eigen::Index>(kept), sorted.wall.at(static_cast<Eigen::Index>(i)));
    sorted.of_wall[kept++] = sorted.of_wall[i];
  }
  const std::size_t dropped = sorted.of_wall.size() - kept;
  Shorten(kept, sorted.wall);
  sorted.of_wall.resize(kept);
  return dropped;
}

// The base as it was seen around the cylinder, in the local frame, when there is enough of it and
// it is flat. The bottom offset clears the wall of the base; it holds from the measured base as it
// holds from the nominal one.
void DropBase(const Frame& frame, const Window& window, bool fix_axis, Sorted& sorted,
              Statistics& statistics) {
  constexpr std::size_t kFewestBasePoints = 30;
  if (sorted.base.size() < kFewestBasePoints) return;
  ThreadedCylinderFitter::BasePlane base;
  try {
    const int mode =
        fix_axis ? ThreadedCylinderFitter::kFixedNormal : ThreadedCylinderFitter::kTrimmedPlane;
    base = ThreadedCylinderFitter::FitBasePlane(sorted.base, frame.axis(), mode,
                                                0.5 * window.plane_tolerance);
  } catch (const std::runtime_error&) {
    return;  // no plane in these points: the nominal plane alone bounds the wall
  }
  if (base.normal.dot(frame.axis()) < kLeastAlignment) return;
  for (const std::size_t i : sorted.of_base) sorted.uses[i] = Use::kBase;
  std::vector<bool> low(sorted.of_wall.size());
  for (std::size_t i = 0; i < low.size(); ++i) {
    const Eigen::Vector3d p = sorted.wall.at(static_cast<Eigen::Index>(i));
    const double height = (p - base.point).dot(base.normal);
    low[i] = height < window.bottom * (1.0 - 1e-9);
  }
  Drop(low, Use::kEndFace, sorted);
  statistics.has_base = true;
  statistics.base = base;
  statistics.base.point = frame.ToInstrument(base.point);
  statistics.base.normal = frame.rotation().transpose() * base.normal;
  statistics.base.scale *= frame.scale() * frame.scale();
  statistics.base.rms *= frame.scale();
}

// A fit, smooth or of a thread; lengths in nominal radii.
struct Fitted {
  Model model;
  bool converged = false;
  int rounds = 0;
  int free_parameters = 0;
  Eigen::Index inliers = 0;
  Eigen::Index astray = 0;  // clearly off what was fitted
  double cost = 0.0;        // half the sum of squares
  double largest = 0.0;
  cylinder::Uncertainty uncertainty;  // by noise
  cylinder::Uncertainty of_beam;      // by what a beam makes of the edges of a thread
  std::optional<cylinder::FormEstimate> form;
  std::optional<cylinder::Helix> thread;
  std::vector<Eigen::Index> followed;  // places of the inliers in the points
};

// The places in `points` of those that were selected, which are in the same order.
std::vector<Eigen::Index> PlacesOf(const Points& selected, const Points& points) {
  std::vector<Eigen::Index> places;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const auto next = static_cast<Eigen::Index>(places.size());
    if (next == selected.size()) break;
    if (selected.at(next) == points.at(i)) places.push_back(i);
  }
  return places;
}

// The wall curves under a beam, which reads the nearer part of it more where it slants: so radius
// and centre are off by some squares of the beam's width over the radius, as simulated scans with
// known truth are. The width is that of the rangefinders there are, and none of the samples tells
// it.
cylinder::Uncertainty OfCurving(const Points& points, const Model& model,
                                const Eigen::Vector3d& instrument,
                                const cylinder::Uncertainty& by_noise) {
  constexpr double kWidth = 19e-6;  // of a beam, a standard deviation, by its range
  const bool bore = cylinder::SideSeen(points, model, instrument) == cylinder::SeenFrom::kInside;
  const double of_radius = bore ? 5.0 : 3.0, of_center = bore ? 5.5 : 3.6;
  const double curving = kWidth * kWidth * instrument.squaredNorm() / model.radius;
  cylinder::Uncertainty of_beam;
  if (by_noise.radius > 0.0) of_beam.radius = of_radius * curving;
  if (by_noise.center > 0.0) of_beam.center = of_center * curving;
  return of_beam;
}

// What a beam makes of the edges of a thread differs around it and may pass for form: by a tenth
// of what it does to the radius, as simulated scans of perfect threads show.
std::optional<cylinder::FormEstimate> FormOfThread(const cylinder::ThreadSolution& thread,
                                                   bool fix_axis, bool fix_radius) {
  constexpr double kShared = 0.1;
  auto estimate = cylinder::EstimateForm(thread.unthreaded, thread.model.cylinder, fix_axis,
                                         fix_radius, kShared * thread.of_beam.radius);
  if (!estimate) return std::nullopt;
  WallForm& form = estimate->form;
  form.threaded = true;
  for (double* uncertainty : {&form.roundness_uncertainty, &form.taper_uncertainty,
                              &form.barrel_uncertainty, &form.bend_uncertainty})
    *uncertainty = std::hypot(*uncertainty, thread.of_beam.radius);
  return estimate;
}

Fitted FitWall(const Points& points, const Model& nominal, const Eigen::Vector3d& instrument,
               double thread_depth, double thread_share, bool fix_axis, bool fix_radius) {
  const cylinder::SmoothSolution smooth =
      cylinder::FitSmooth(points, nominal, fix_axis, fix_radius);
  Model model = smooth.model;
  const std::vector<int> free = cylinder::ListFreeParameters(model, fix_axis, fix_radius).columns;
  Fitted fitted;
  fitted.model = smooth.model;
  fitted.free_parameters = static_cast<int>(free.size());
  fitted.converged = smooth.outcome.converged;
  fitted.rounds = smooth.outcome.rounds;
  fitted.inliers = smooth.points.size();
  fitted.astray = points.size() - smooth.points.size();
  fitted.cost = smooth.outcome.sums.cost;
  if (!fitted.converged) return fitted;
  fitted.followed = PlacesOf(smooth.points, points);
  fitted.thread =
      cylinder::FindHelix(smooth.points, smooth.model, instrument, thread_depth, thread_share);
  if (fitted.thread) {
    const cylinder::ThreadSolution thread = cylinder::FitThread(
        smooth.points, smooth.model, *fitted.thread, instrument, fix_axis, fix_radius);
    fitted.model = thread.model.cylinder;
    fitted.converged = thread.converged;
    fitted.rounds = thread.rounds;
    fitted.free_parameters = thread.free_parameters;
    fitted.inliers = static_cast<Eigen::Index>(thread.inliers.size());
    fitted.astray = thread.astray + points.size() - smooth.points.size();
    fitted.cost = thread.cost;
    fitted.largest = thread.largest;
    fitted.uncertainty = thread.uncertainty;
    fitted.of_beam = thread.of_beam;
    fitted.thread->pitch = thread.model.pitch;
    if (thread.uncertainty.determined) fitted.form = FormOfThread(thread, fix_axis, fix_radius);
    std::vector<Eigen::Index> followed;
    for (const Eigen::Index i : thread.inliers) {
      followed.push_back(fitted.followed[static_cast<std::size_t>(i)]);
    }
    fitted.followed = std::move(followed);
    return fitted;
  }
  fitted.largest = cylinder::Residuals(smooth.points, model).abs().maxCoeff();
  fitted.uncertainty =
      cylinder::Judge(smooth.outcome.sums.matrix, fitted.cost, fitted.inliers, model, free);
  fitted.of_beam = OfCurving(smooth.points, model, instrument, fitted.uncertainty);
  if (fitted.uncertainty.determined)
    fitted.form = cylinder::EstimateForm(smooth.points, model, fix_axis, fix_radius);
  return fitted;
}

// In metres.
WallForm Scaled(WallForm form, double scale) {
  for (double* length :
       {&form.roundness, &form.roundness_uncertainty, &form.taper, &form.taper_uncertainty,
        &form.barrel, &form.barrel_uncertainty, &form.bend, &form.bend_uncertainty}) {
    *length *= scale;
  }
  return form;
}

// Part of the residuals that were taken for noise is form, which no number of points averages out.
void FillUncertainties(const Fitted& fitted, double scale, Statistics& statistics) {
  const cylinder::Uncertainty &by_noise = fitted.uncertainty, &of_beam = fitted.of_beam;
  const cylinder::FormEstimate form = fitted.form.value_or(cylinder::FormEstimate());
  const double noise = std::sqrt(form.noise_share);
  statistics.center_uncertainty =
      std::hypot(noise * by_noise.center, of_beam.center, form.center) * scale;
  statistics.axis_uncertainty = std::hypot(noise * by_noise.axis, of_beam.axis, form.axis);
  statistics.radius_uncertainty =
      std::hypot(noise * by_noise.radius, of_beam.radius, form.radius) * scale;
  if (fitted.form) statistics.form = Scaled(fitted.form->form, scale);
}

void FillStatistics(const Fitted& fitted, double scale, Statistics& statistics) {
  statistics.inliers = static_cast<int>(fitted.inliers);
  statistics.astray = static_cast<int>(fitted.astray);
  statistics.rounds = fitted.rounds;
  statistics.free_parameters = fitted.free_parameters;
  statistics.cost = 2.0 * fitted.cost * scale * scale;
  statistics.rms = std::sqrt(statistics.cost / std::max(1.0, static_cast<double>(fitted.inliers)));
  statistics.max_residual = fitted.largest * scale;
  FillUncertainties(fitted, scale, statistics);
  if (!fitted.thread) return;
  statistics.threaded = true;
  statistics.pitch = fitted.thread->pitch * scale;
  statistics.profile_depth = fitted.thread->depth * scale;
}

// Whether a fit is a measurement of the cylinder the window was laid around.
bool IsSound(const Fitted& fitted, const Frame& frame, const Window& window) {
  const Model& model = fitted.model;
  if (!fitted.converged || !fitted.uncertainty.determined) return false;
  if (!model.offset.allFinite() || !model.direction.allFinite()) return false;
  if (!(std::abs(model.radius - 1.0) <= window.radius_tolerance) || !(model.radius > 0.0))
    return false;
  const double bound = kMostUncertainty / kCoverage;
  if (!(fitted.uncertainty.radius <= bound) || !(fitted.uncertainty.center <= bound)) return false;
  return std::abs(model.direction.normalized().dot(frame.axis())) >= kLeastAlignment;
}

// The cylinder stands for the whole of the window, of which a part was seen.
void SpreadOverWindow(const Frame& frame, const Window& window, bool fix_axis, bool fix_radius,
                      Fitted& fitted) {
  const Model& model = fitted.model;
  const double along = model.direction.normalized().dot(frame.axis());
  if (!fitted.form || !(std::abs(along) > 0.5)) return;
  const Eigen::Vector3d origin(model.offset.x(), model.offset.y(), model.reference_height);
  const double reference = origin.dot(frame.axis());
  const double bottom = (window.bottom - reference) / along;
  const double top = (window.top - reference) / along;
  fitted.form->GoOn(std::min(bottom, top), std::max(bottom, top), fix_axis, fix_radius);
}

// Back to the instrument's frame, the point on the plane of the bottom offset.
Cylinder ToCylinder(const Fitted& fitted, const Frame& frame, double bottom) {
  const Model& model = fitted.model;
  Eigen::Vector3d direction = model.direction.normalized();
  if (direction.dot(frame.axis()) < 0.0) direction = -direction;
  Eigen::Vector3d point(model.offset.x(), model.offset.y(), model.reference_height);
  point += direction * ((bottom - point.dot(frame.axis())) / direction.dot(frame.axis()));
  Cylinder result;
  result.axis = (frame.rotation().transpose() * direction).normalized();
  result.point = frame.ToInstrument(point);
  result.radius = model.radius * frame.scale();
  result.inliers = static_cast<int>(fitted.inliers);
  return result;
}

}  // namespace

Cylinder ThreadedCylinderFitter::Fit(const PointList& points, const Cylinder& nominal,
                                     double bottom_offset, double height, double radius_tolerance,
                                     double plane_tolerance, double thread_depth,
                                     double thread_share, bool fix_axis, bool fix_radius,
                                     Statistics* statistics, std::vector<Use>* uses) {
  Statistics scratch;
  Statistics& filled = statistics != nullptr ? *statistics : scratch;
  filled = Statistics();
  Validate(nominal, bottom_offset, height, radius_tolerance, plane_tolerance);
  const double scale = nominal.radius;
  const Frame frame(nominal.point, nominal.axis.stableNormalized(), scale);
  const Window window{bottom_offset / scale, height / scale, radius_tolerance / scale,
                      plane_tolerance / scale};
  std::vector<Use> unasked;
  Sorted sorted = SortPoints(points, frame, window, uses != nullptr ? *uses : unasked);
  filled.windowed = static_cast<int>(sorted.wall.size());
  RequireEnough(sorted.wall);
  DropBase(frame, window, fix_axis, sorted, filled);
  Drop(cylinder::MarkEndFaces(sorted.wall, frame.axis()), Use::kEndFace, sorted);
  filled.end_face = filled.windowed - static_cast<int>(sorted.wall.size());
  filled.isolated =
      static_cast<int>(Drop(cylinder::MarkIsolated(sorted.wall), Use::kIsolated, sorted));
  RequireEnough(sorted.wall);

  const Points& wall = sorted.wall;
  const Model start = frame.Nominal(wall.z.mean());
  Fitted fitted = FitWall(wall, start, frame.ToLocal(Eigen::Vector3d::Zero()), thread_depth,
                          thread_share, fix_axis, fix_radius);
  SpreadOverWindow(frame, window, fix_axis, fix_radius, fitted);
  FillStatistics(fitted, scale, filled);
  for (const Eigen::Index i : fitted.followed) {
    sorted.uses[sorted.of_wall[static_cast<std::size_t>(i)]] = Use::kFitted;
  }
  if (!IsSound(fitted, frame, window)) throw std::runtime_error("Cylinder fitting failed");
  return ToCylinder(fitted, frame, window.bottom);
}

}  // namespace libmfx::geometry
