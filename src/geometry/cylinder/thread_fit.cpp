#include "geometry/cylinder/thread_fit.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>

#include "geometry/cylinder/harmonic_fit.h"
#include "geometry/cylinder/radial_fit.h"
#include "geometry/cylinder/sight_descent.h"
#include "geometry/cylinder/sight_fit.h"

namespace libmfx::geometry::cylinder {
namespace {

// What a fit of a thread goes on.
struct Wall {
  const Points& points;
  const Model& smooth;
  const Eigen::Vector3d& instrument;
  bool fix_axis, fix_radius;
};

// The smooth fit runs through the middle of what is seen, and that lies the deeper the more steeply
// the sight lines go in: it differs around the wall, so that centre and radius are off by a tenth
// of the pitch and more. With the mean depth taken out they are right to a few hundredths, and the
// pitch is found more sharply.
void SetMeanDepths(const Model& model, double pitch, const Profile& profile,
                   const Eigen::Vector3d& instrument, Points& points) {
  constexpr double kLeastAlong = 1e-3;
  const Eigen::Vector3d base(model.offset.x(), model.offset.y(), model.reference_height);
  const Eigen::Vector3d u = model.direction.normalized();
  const double side = profile.bore ? -1.0 : 1.0;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const Eigen::Vector3d w = (points.at(i) - instrument).normalized();
    const Eigen::Vector3d q = points.at(i) - base;
    const double inward = std::max(0.0, -side * w.dot((q - q.dot(u) * u).normalized()));
    const double tangent = inward / std::max(std::abs(w.dot(u)), kLeastAlong);
    points.depth[i] = side * std::abs(pitch) * MeanDepthSeen(tangent, profile);
  }
}

// The phase of the crests by the first harmonic of the radial distances. Starts that count from
// here turn with the wall.
double CrestPhase(const Points& points, const Model& model, const Helix& helix) {
  const Eigen::Vector3d base(model.offset.x(), model.offset.y(), model.reference_height);
  const Eigen::Vector3d u = model.direction.normalized();
  const Eigen::Vector3d e1 = (Eigen::Vector3d::UnitX() - u.x() * u).normalized(), e2 = u.cross(e1);
  const double hand = std::copysign(1.0, helix.pitch), side = helix.bore ? -1.0 : 1.0;
  std::complex<double> sum = 0.0;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const Eigen::Vector3d q = points.at(i) - base;
    const double a = q.dot(e1), b = q.dot(e2);
    const double phase = kTurn * q.dot(u) / std::abs(helix.pitch) - hand * std::atan2(b, a);
    sum += side * (std::hypot(a, b) - model.radius) * std::polar(1.0, phase);
  }
  return std::arg(sum) / kTurn;
}

// The smooth fit with the mean depth of a profile taken out.
std::optional<Model> CorrectedFor(const Wall& wall, const Model& near, double pitch,
                                  const Profile& profile) {
  Points expected = wall.points;
  Model model = near;
  SetMeanDepths(near, pitch, profile, wall.instrument, expected);
  if (!Minimize(expected, model, wall.fix_axis, wall.fix_radius).converged) return std::nullopt;
  return model;
}

Model CorrectSmoothFit(const Wall& wall, Helix& helix) {
  Model model = wall.smooth;
  for (int round = 0; round < 2; ++round) {
    const auto next = CorrectedFor(wall, model, helix.pitch, Profile::Basic(helix.bore));
    if (!next) return wall.smooth;
    model = *next;
    helix.pitch = SharpenPitch(wall.points, model, wall.instrument, helix);
  }
  return model;
}

void Judge(Eigen::MatrixXd matrix, const std::vector<int>& columns, const UsualProfile& usual,
           ThreadSolution& solution) {
  const auto count = static_cast<Eigen::Index>(solution.inliers.size());
  const double deviation =
      std::sqrt(2.0 * solution.cost / static_cast<double>(std::max<Eigen::Index>(1, count)));
  std::vector<int> all(static_cast<std::size_t>(matrix.cols()));
  std::iota(all.begin(), all.end(), 0);
  Eigen::VectorXd unused = Eigen::VectorXd::Zero(matrix.cols());
  usual.Add(solution.model.profile, all, deviation, matrix, unused);
  solution.uncertainty = Judge(matrix, solution.cost, count, solution.model.cylinder, columns);
}

// What a beam reads off edges is known to a part of its width only: it hangs on how its rays lie,
// on how the surface returns them, and on which of two echoes the instrument takes. No sample tells
// that, and samples on the same edges err alike. The shares are those of simulated scans with known
// truth.
Uncertainty OfBeam(double width, const Points& points, const Uncertainty& by_noise) {
  constexpr double kOfRadius = 0.32, kOfCenter = 0.36, kOfAxis = 0.28;
  const double length = std::max(points.z.maxCoeff() - points.z.minCoeff(), 1e-3);
  // What is fixed is certain.
  Uncertainty of_beam;
  if (by_noise.radius > 0.0) of_beam.radius = kOfRadius * width;
  if (by_noise.center > 0.0) of_beam.center = kOfCenter * width;
  if (by_noise.axis > 0.0) of_beam.axis = kOfAxis * width / length;
  return of_beam;
}

// Beyond this a sample lies off a thread, whatever a beam makes of its edges.
double StrayBound(double bound, const ThreadModel& model) {
  constexpr double kOfPitch = 0.1;
  return std::max(bound, kOfPitch * std::abs(model.pitch));
}

double RmsOf(const ThreadSolution& solution) {
  if (solution.inliers.empty()) return std::numeric_limits<double>::infinity();
  return std::sqrt(2.0 * solution.cost / static_cast<double>(solution.inliers.size()));
}

// What is left of a point that a solution doesn't follow, pitches.
constexpr double kOfOthers = 0.05;

// What a solution leaves of the points it was judged by, where one that it doesn't follow leaves
// `other`: of two solutions the one that follows few points well is not the better one.
double LeftBy(const ThreadSolution& solution, double other) {
  const auto judged = static_cast<double>(solution.judged);
  const double others = judged - static_cast<double>(solution.inliers.size());
  return std::sqrt((2.0 * solution.cost + others * other * other) / judged);
}

// Whether the profile was seen well enough to tell how it lies. Where the beam is as wide as a
// groove, or so flat along the wall that it returns from little more than the crests' edges, what
// is left after the fit comes near to the depth that was seen, and the fit may rest anywhere.
bool IsResolved(const ThreadSolution& solution, const Helix& helix) {
  constexpr double kMostLeft = 0.25;
  return RmsOf(solution) <= kMostLeft * helix.depth;
}

// The smooth fit with the mean depth of the thread taken out is right to a few hundredths of the
// pitch, on a stud to a tenth: a radius far from it lies on a flank beside the true crests. But a
// profile that nearly all points lie on needs no such witness.
bool IsBesideFlank(const ThreadSolution& solution, const Wall& wall) {
  const double most_beside = solution.model.profile.bore ? 0.1 : 0.2;  // pitches
  constexpr double kMostScatter = 0.015;
  constexpr double kNearlyAll = 0.97;
  const double pitch = std::abs(solution.model.pitch);
  if (static_cast<double>(solution.inliers.size()) >=
          kNearlyAll * static_cast<double>(wall.points.size()) &&
      RmsOf(solution) <= kMostScatter * pitch)
    return false;
  const auto corrected = CorrectedFor(wall, solution.model.cylinder, pitch, solution.model.profile);
  if (!corrected) return true;
  return !(std::abs(solution.model.cylinder.radius - corrected->radius) <= most_beside * pitch);
}

// The inliers of a solution, by how far each lies outward of the thread.
Points WithoutThread(const Points& points, const std::vector<Eigen::Index>& inliers,
                     const std::vector<double>& outward, const Model& crests) {
  Points inside(static_cast<Eigen::Index>(inliers.size()));
  for (std::size_t i = 0; i < inliers.size(); ++i)
    inside.set(static_cast<Eigen::Index>(i), points.at(inliers[i]));
  inside.depth =
      Eigen::Map<const Eigen::ArrayXd>(outward.data(), inside.size()) - Residuals(inside, crests);
  return inside;
}

// By the radial distance to the profile, on all points.
ThreadSolution FitRadially(const RadialFit& fit, const Points& points,
                           const std::vector<int>& columns, const ThreadModel& start) {
  ThreadSolution solution;
  solution.free_parameters = static_cast<int>(columns.size());
  solution.model = start;
  const RadialOutcome outcome = fit.Refine(solution.model);
  solution.converged = outcome.converged;
  solution.rounds = outcome.rounds;
  solution.judged = points.size();
  const ThreadEvaluator evaluate(solution.model);
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(kThreadColumns, kThreadColumns);
  std::vector<double> outward;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const ThreadRow row = evaluate(points.at(i));
    if (!(std::abs(row.residual) <= StrayBound(outcome.bound, solution.model))) ++solution.astray;
    if (!(std::abs(row.residual) <= outcome.bound)) continue;
    solution.inliers.push_back(i);
    outward.push_back(row.residual);
    solution.cost += 0.5 * row.residual * row.residual;
    solution.largest = std::max(solution.largest, std::abs(row.residual));
    matrix.noalias() += row.jacobian * row.jacobian.transpose();
  }
  Judge(std::move(matrix), columns, fit.usual(), solution);
  solution.unthreaded = WithoutThread(points, solution.inliers, outward, solution.model.cylinder);
  solution.of_beam = OfBeam(RmsOf(solution), points, solution.uncertainty);
  return solution;
}

// By what the beam should read.
ThreadSolution FitAlongSight(const SightFit& fit, const Points& points,
                             const std::vector<int>& columns, SightModel model) {
  const double bound = fit.Refine(model);
  const Eigen::VectorXd residuals = fit.Residuals(model), outward = fit.Outward(model);
  const Eigen::MatrixXd matrix = fit.NormalMatrix(model, bound);
  ThreadSolution solution;
  solution.along_sight = true;
  solution.free_parameters = fit.FreeParameters();
  solution.model = model.thread;
  solution.judged = fit.size();
  solution.converged = residuals.allFinite() && matrix.allFinite();
  std::vector<Eigen::Index> telling;
  std::vector<double> told;
  for (Eigen::Index i = 0; i < residuals.size(); ++i) {
    if (!(std::abs(residuals[i]) <= StrayBound(bound, solution.model))) ++solution.astray;
    if (!(std::abs(residuals[i]) <= bound)) continue;
    solution.inliers.push_back(fit.places()[static_cast<std::size_t>(i)]);
    if (std::isfinite(outward[i])) {
      telling.push_back(solution.inliers.back());
      told.push_back(outward[i]);
    }
    solution.cost += 0.5 * residuals[i] * residuals[i];
    solution.largest = std::max(solution.largest, std::abs(residuals[i]));
  }
  std::vector<int> all = columns;
  all.push_back(kBeamWidth);
  Judge(matrix, all, fit.usual(), solution);
  solution.unthreaded = WithoutThread(points, telling, told, solution.model.cylinder);
  const double beam = std::max(model.width * std::abs(model.thread.pitch), RmsOf(solution));
  solution.of_beam = OfBeam(beam, points, solution.uncertainty);
  return solution;
}

// Whether a model follows its points better than another, by the residuals of both: by their mean
// square, where a point that neither noise nor the better of the two explains counts no more than
// one that just isn't noise.
bool FollowsBetter(const Eigen::VectorXd& residuals, const Eigen::VectorXd& than) {
  const double bound = std::min(SightBound(residuals), SightBound(than));
  const auto mean_square = [bound](const Eigen::VectorXd& of) {
    return of.array().square().min(bound * bound).mean();
  };
  return mean_square(residuals) < mean_square(than);
}

// Whether the radial distances are small enough for the crests' edges to be believed: what they
// leave tells how wide the beam was.
bool IsSharp(const ThreadSolution& solution, const Helix& helix) {
  constexpr double kMostOfPitch = 0.03, kMostOfDepth = 0.2;
  return RmsOf(solution) <= kMostOfPitch * std::abs(solution.model.pitch) &&
         RmsOf(solution) <= kMostOfDepth * helix.depth;
}

// A thread of flanks with one slope, along the sight lines or radially, as it leaves less.
class ProfileFit {
 public:
  ProfileFit(const Wall& wall, const std::vector<int>& columns, const ThreadModel& start,
             const Helix& helix)
      : _wall(wall),
        _columns(columns),
        _start(start),
        _helix(helix),
        _radial(wall.points, columns, start.profile),
        _sight(wall.points, wall.instrument, columns, start) {}

  std::optional<ThreadSolution> Find() const {
    if (const auto found = _helix.around ? std::nullopt : _sight.Find(_helix.depth)) {
      const bool sharp_first = IsNarrow(*found);
      for (const bool sharp : {sharp_first, !sharp_first}) {
        const ThreadSolution solution =
            sharp ? FitRadially(_radial, _wall.points, _columns, found->thread)
                  : FitAlongSight(_sight, _wall.points, _columns, *found);
        if (Holds(solution) && (!sharp || IsSharp(solution, _helix))) return solution;
      }
    }
    const auto found = _radial.Find(_start);
    if (!found) return std::nullopt;
    const ThreadSolution solution = FitRadially(_radial, _wall.points, _columns, *found);
    if (!Holds(solution)) return std::nullopt;
    return solution;
  }

 private:
  // Whether the samples lie on a profile itself, as well as on what a beam shows of one: by what
  // should be read along the sight lines, or, of points that nothing could have seen from one
  // place, by the distances to it.
  bool IsNarrow(const SightModel& found) const {
    constexpr Eigen::Index kSample = 1000;
    constexpr int kRounds = 12;
    SightModel narrow{found.thread, SeenProfile::kNarrowest};
    _radial.Explore(narrow.thread, {_radial.BoundOf(narrow.thread), kSample, kRounds, true});
    const Eigen::VectorXd seen = _sight.Sampled(found);
    return FollowsBetter(_sight.Sampled(narrow), seen) ||
           FollowsBetter(_radial.Residuals(narrow.thread), seen);
  }

  bool Holds(const ThreadSolution& s) const {
    // What hides a profile hides the axis of a short wall as well: few points tell neither.
    constexpr std::size_t kFewestInSight = 300;
    if (!s.converged || !IsResolved(s, _helix)) return false;
    if (s.along_sight && s.inliers.size() < kFewestInSight) return false;
    return !IsBesideFlank(s, _wall);
  }

  const Wall& _wall;
  const std::vector<int>& _columns;
  const ThreadModel& _start;
  const Helix& _helix;
  RadialFit _radial;
  SightFit _sight;
};

ThreadSolution Envelope(const Wall& wall, const Helix& helix) {
  const auto found = FitHarmonics(wall.points, wall.smooth, helix, wall.fix_axis, wall.fix_radius);
  if (!found) return {};
  ThreadSolution solution;
  solution.converged = solution.envelope = true;
  solution.rounds = found->rounds;
  Model unused;
  constexpr int kPitchAndHarmonics = 5;
  solution.free_parameters =
      static_cast<int>(ListFreeParameters(unused, wall.fix_axis, false).columns.size()) +
      kPitchAndHarmonics;
  solution.model = {found->model, found->pitch, 0.0, Profile::Basic(helix.bore)};
  solution.cost = found->cost;
  solution.largest = found->largest;
  solution.inliers = found->inliers;
  solution.judged = wall.points.size();
  solution.astray = wall.points.size() - static_cast<Eigen::Index>(found->inliers.size());
  solution.uncertainty = found->uncertainty;
  return solution;
}

}  // namespace

ThreadSolution FitThread(const Points& points, const Model& smooth, Helix helix,
                         const Eigen::Vector3d& instrument, bool fix_axis, bool fix_radius) {
  Model unused;
  std::vector<int> columns = ListFreeParameters(unused, fix_axis, fix_radius).columns;
  columns.insert(columns.end(), {kPhase, kPitch, kCrest, kRoot});
  const Wall wall{points, smooth, instrument, fix_axis, fix_radius};
  // Flanks of other angles, and helices of any profile, are looked for where more than this is
  // left: a beam blurs a profile, and then leaves more.
  constexpr double kGood = 0.012, kGoodAlongSight = 0.03;  // pitches
  constexpr double kMuchLess = 0.6;
  constexpr double kFewAstray = 0.15, kMostAstray = 0.3;  // of the points
  std::optional<ThreadSolution> best;
  const double other = kOfOthers * std::abs(helix.pitch);
  const auto left = [&](const ThreadSolution& s) { return LeftBy(s, other); };
  const auto is_good = [&] {
    return best && left(*best) <=
                       (best->along_sight ? kGoodAlongSight : kGood) * std::abs(best->model.pitch);
  };
  const auto strays = [&](double most) {
    return !best || static_cast<double>(best->astray) > most * static_cast<double>(points.size());
  };
  // Patches of flanks can show half the pitch.
  for (const double stretch : {1.0, 2.0}) {
    if (!strays(kFewAstray)) break;
    Helix tried = helix;
    tried.pitch *= stretch;
    const Model corrected = CorrectSmoothFit(wall, tried);
    const double phase = CrestPhase(points, corrected, tried);
    for (const double slope : kFlankSlopes) {
      const ThreadModel start{corrected, tried.pitch, phase, Profile::Basic(helix.bore, slope)};
      const auto found = ProfileFit(wall, columns, start, tried).Find();
      if (found && (!best || left(*found) < kMuchLess * left(*best))) best = *found;
      if (is_good()) return *best;
    }
  }
  if (strays(kMostAstray)) best.reset();
  if (best && best->along_sight) return *best;
  const ThreadSolution envelope = Envelope(wall, helix);
  const bool better = envelope.converged && (!best || left(envelope) < kMuchLess * left(*best));
  return better || !best ? envelope : *best;
}

}  // namespace libmfx::geometry::cylinder
