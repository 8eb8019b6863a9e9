#include "geometry/cylinder/sight_fit.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "geometry/cylinder/sight_descent.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kComparedBound = 0.05;      // of residuals, where models are compared, pitches
constexpr double kApart = 0.25;              // told apart: the sides of most crests' ends, pitches
constexpr double kRoughly = 1e-4;            // a relative fall that ends a descent of many
constexpr double kFirstWidth = 0.04;         // pitches
constexpr Eigen::Index kMostRefined = 2000;  // points of the last descent

std::size_t StrideFor(Eigen::Index points, Eigen::Index sample) {
  return static_cast<std::size_t>(std::max<Eigen::Index>(1, points / sample));
}

// Whether a sight line ends in the groove that it enters: near the limb of a stud the wall curves
// away from it.
bool EndsNearby(const Entry& entry, double pitch, bool bore) {
  constexpr double kLeastInward = 0.15, kMostCurving = 0.3;
  if (!entry.meets) return false;
  if (bore) return true;
  const double curving = 0.5 * entry.around * entry.around * pitch / (entry.along * entry.distance);
  return entry.inward >= kLeastInward && curving <= kMostCurving * entry.inward;
}

}  // namespace

SightFit::SightFit(const Points& points, const Eigen::Vector3d& instrument,
                   const std::vector<int>& columns, const ThreadModel& start)
    : _start(start), _columns(columns) {
  // The length of a direction means nothing, and differences would make something of it: near the
  // local z its first two terms do.
  std::erase(_columns, kDirectionZ);
  _with_beam = _columns;
  _with_beam.push_back(kBeamWidth);
  _flattest = SeenProfile::kSteepest;
  double senses = 0.0;
  const EntryFinder entry(start.cylinder, start.profile.bore);
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    SightLine line{points.at(i), (points.at(i) - instrument).normalized()};
    const Entry met = entry(line);
    if (!EndsNearby(met, std::abs(start.pitch), start.profile.bore)) continue;
    senses += met.sense;
    _flattest = std::min(_flattest, met.inward / met.along);
    _steepest = std::max(_steepest, met.inward / met.along);
    line.near = NearTurn(met.cosine, met.sine);
    _lines.push_back(line);
    _places.push_back(i);
  }
  _sense = senses < 0.0 ? -1.0 : 1.0;
  // A model that moves and grooves that curve take some room beyond.
  _flattest *= 0.7;
  _steepest *= 1.3;
}

SightTask SightFit::TaskOn(Eigen::Index sample, const std::vector<int>& columns, double bound,
                           SeenProfiles& profiles) const {
  return {_lines, columns, _start.profile, profiles, StrideFor(size(), sample), bound};
}

std::optional<SightModel> SightFit::Find(double depth) const {
  constexpr int kPhasesTried = 8;
  constexpr double kCrestsTried[] = {0.0, 0.09};  // wider than the basic one's, half
  constexpr std::size_t kKept = 4;
  struct Tried {
    SightModel model;
    double cost;
  };
  // Where hardly a line of sight ends in the groove that it enters, they tell nothing of a thread.
  if (size() < 2 * static_cast<Eigen::Index>(_with_beam.size())) return std::nullopt;
  std::vector<int> columns = _columns;
  std::erase(columns, kCrest);
  std::erase(columns, kRoot);
  std::vector<Tried> tried;
  SeenProfiles profiles({_flattest, _steepest});
  SightTask task = TaskOn(300, columns, 1.5 * depth, profiles);
  const auto descend = [&](Tried& t, int rounds) {
    DescendSight(task, {rounds, kRoughly}, t.model);
    t.cost = Biweighted(SightResiduals(task, t.model), task.bound);
  };
  for (const double wider : kCrestsTried) {
    for (int k = 0; k < kPhasesTried; ++k) {
      Tried t{{_start, kFirstWidth}, 0.0};
      t.model.thread.phase += static_cast<double>(k) / kPhasesTried;
      t.model.thread.profile.crest += wider;
      descend(t, 4);
      tried.push_back(std::move(t));
    }
  }
  std::erase_if(tried, [](const Tried& t) { return !std::isfinite(t.cost); });
  const auto cheaper = [](const Tried& a, const Tried& b) { return a.cost < b.cost; };
  std::stable_sort(tried.begin(), tried.end(), cheaper);
  tried.resize(std::min(tried.size(), kKept));
  if (tried.empty()) return std::nullopt;
  task.columns = _columns;
  task.stride = StrideFor(size(), 400);
  task.bound = 0.8 * depth;
  for (Tried& t : tried) descend(t, 6);
  SightModel best = std::min_element(tried.begin(), tried.end(), cheaper)->model;
  task.columns = _with_beam;
  DescendSight(task, {6, kRoughly}, best);
  task.bound = SightBound(SightResiduals(task, best));
  DescendSight(task, {6, kRoughly}, best);
  return BestOfVariants(best);
}

// Where the edges of crests are blurred, much the same is seen of a wider crest farther out on the
// same two flanks; of one that only keeps the flank that faces the instrument; and of a narrow beam
// and one of which an instrument takes the stronger side. A descent rests on either, beside the
// true one.
std::vector<SightModel> SightFit::VariantsOf(const SightModel& model) const {
  struct Slide {
    double crest;  // wider, half of it, pitches
    bool both;     // whether both flanks stay
  };
  constexpr Slide kSlides[] = {{0.0, true},   {-0.06, true}, {0.06, true},
                               {0.06, false}, {0.12, false}, {-0.06, false}};
  const bool free_radius = std::count(_columns.begin(), _columns.end(), kRadius) > 0;
  std::vector<SightModel> variants;
  for (const double resolution : {SeenProfile::kMelts, kApart}) {
    for (const Slide& slide : kSlides) {
      if (slide.both ? slide.crest != 0.0 && !free_radius : resolution == SeenProfile::kMelts)
        continue;
      SightModel moved = model;
      moved.resolution = resolution;
      moved.width = std::max(moved.width, kFirstWidth);
      Move(moved.thread, kCrest, slide.crest);
      const double wider = moved.thread.profile.crest - model.thread.profile.crest;
      const double outward = moved.thread.profile.bore ? 1.0 : -1.0;
      if (slide.both) {
        moved.thread.cylinder.radius +=
            outward * wider * moved.thread.profile.slope * std::abs(moved.thread.pitch);
      } else {
        moved.thread.phase += _sense * wider;
      }
      variants.push_back(moved);
    }
  }
  return variants;
}

// \return the models, that which explains the most first
std::vector<SightModel> SightFit::Sorted(std::vector<SightModel> models) const {
  struct Compared {
    SightModel model;
    double cost;
  };
  SeenProfiles profiles({_flattest, _steepest});
  const SightTask task = TaskOn(1000, _columns, kComparedBound * std::abs(_start.pitch), profiles);
  std::vector<Compared> all;
  double deviation = task.bound;
  const UsualProfile usual = UsualFor(_start.profile, task.size());
  for (const SightModel& model : models) {
    const Eigen::VectorXd residuals = SightResiduals(task, model);
    if (!residuals.allFinite()) continue;
    all.push_back({model, Biweighted(residuals, task.bound)});
    deviation = std::min(deviation, SightBound(residuals) / kSightDeviations);
  }
  for (Compared& c : all) c.cost += usual.Cost(c.model.thread.profile, deviation);
  std::stable_sort(all.begin(), all.end(),
                   [](const Compared& a, const Compared& b) { return a.cost < b.cost; });
  models.clear();
  for (const Compared& c : all) models.push_back(c.model);
  return models;
}

// How far the sides of a crest's end are apart hangs on the slope of the sight lines, which differs
// around a wall: so an instrument may tell them apart on a part of it.
bool SightFit::FindResolution(SightModel& model) const {
  constexpr double kResolutions[] = {0.2, 0.3, 0.4, 0.5, 0.6, 0.7, SeenProfile::kMelts};
  SeenProfiles profiles({_flattest, _steepest});
  const SightTask task =
      TaskOn(1000, _columns, kComparedBound * std::abs(model.thread.pitch), profiles);
  const double before = model.resolution;
  double least = Biweighted(SightResiduals(task, model), task.bound);
  for (const double resolution : kResolutions) {
    SightModel tried = model;
    tried.resolution = resolution;
    const double cost = Biweighted(SightResiduals(task, tried), task.bound);
    if (!(cost < 0.99 * least)) continue;
    least = cost;
    model.resolution = resolution;
  }
  return model.resolution != before;
}

SightModel SightFit::BestOfVariants(const SightModel& model) const {
  constexpr std::size_t kKept = 2;
  SeenProfiles profiles({_flattest, _steepest});
  const SightTask task =
      TaskOn(300, _with_beam, kComparedBound * std::abs(model.thread.pitch), profiles);
  std::vector<SightModel> variants = VariantsOf(model);
  for (SightModel& variant : variants) DescendSight(task, {8, kRoughly}, variant);
  variants = Sorted(std::move(variants));
  variants.resize(std::min(variants.size(), kKept));
  for (SightModel& variant : variants) CloseIn(task.bound, variant);
  variants.push_back(model);
  variants = Sorted(std::move(variants));
  SightModel best = variants.empty() ? model : variants.front();
  if (FindResolution(best)) CloseIn(task.bound, best);
  return best;
}

void SightFit::CloseIn(double bound, SightModel& model) const {
  constexpr int kMostBounds = 3;
  constexpr Eigen::Index kCloseIn = 700;
  SeenProfiles profiles({_flattest, _steepest});
  SightTask task = TaskOn(kCloseIn, _with_beam, bound, profiles);
  for (int k = 0; k < kMostBounds; ++k) {
    const double last = task.bound;
    task.weights = SightWeights(task, model, task.bound / kSightDeviations);
    DescendSight(task, {8, kRoughly}, model);
    task.bound = SightBound(SightResiduals(task, model));
    if (std::abs(task.bound - last) < 0.02 * last) break;
  }
}

double SightFit::Refine(SightModel& model) const {
  SeenProfiles profiles({_flattest, _steepest});
  SightTask task = TaskOn(kMostRefined, _with_beam, 0.0, profiles);
  task.bound = SightBound(SightResiduals(task, model));
  task.weights = SightWeights(task, model, task.bound / kSightDeviations);
  task.bound = SightBound(SightResiduals(task, model));
  DescendSight(task, {10, 1e-7}, model);
  task.weights.resize(0);
  return SightBound(SightResiduals(task, model));
}

UsualProfile SightFit::usual() const { return UsualFor(_start.profile, size()); }

Eigen::VectorXd SightFit::Sampled(const SightModel& model) const {
  SeenProfiles profiles({_flattest, _steepest});
  return SightResiduals(TaskOn(1000, _columns, 0.0, profiles), model);
}

Eigen::VectorXd SightFit::Residuals(const SightModel& model) const {
  SeenProfiles profiles({_flattest, _steepest});
  return SightResiduals({_lines, _columns, _start.profile, profiles, 1, 0.0}, model);
}

Eigen::VectorXd SightFit::Outward(const SightModel& model) const {
  constexpr double kLeastChange = 0.3, kMostAside = 1.3;
  SeenProfiles profiles({_flattest, _steepest});
  const SightTask task{_lines, {kRadius}, _start.profile, profiles, 1, 0.0};
  const Sight sight = Look(task, model);
  std::optional<ShapeReadings> shapes;
  const Eigen::ArrayXd change = SightJacobian(task, model, sight, shapes).col(0);
  Eigen::VectorXd outward = -sight.residuals.array() / change;
  for (Eigen::Index i = 0; i < outward.size(); ++i) {
    const Entry& entry = sight.lines[static_cast<std::size_t>(i)].entry;
    const bool tells =
        std::abs(change[i]) >= kLeastChange && std::abs(entry.around) <= kMostAside * entry.inward;
    if (!tells) outward[i] = std::numeric_limits<double>::quiet_NaN();
  }
  return outward;
}

Eigen::MatrixXd SightFit::NormalMatrix(const SightModel& model, double bound) const {
  SeenProfiles profiles({_flattest, _steepest});
  const SightTask task = TaskOn(kMostRefined, _with_beam, bound, profiles);
  const Sight sight = Look(task, model);
  Eigen::MatrixXd jacobian = Eigen::MatrixXd::Zero(task.size(), kSightColumns);
  std::optional<ShapeReadings> shapes;
  jacobian(Eigen::all, _with_beam) = SightJacobian(task, model, sight, shapes);
  const Eigen::Vector3d& d = model.thread.cylinder.direction;
  jacobian.col(kDirectionZ) =
      -(d.x() * jacobian.col(kDirectionX) + d.y() * jacobian.col(kDirectionY)) / d.z();
  const Eigen::VectorXd counts = (sight.residuals.array().abs() <= bound).cast<double>();
  return static_cast<double>(task.stride) * jacobian.transpose() * counts.asDiagonal() * jacobian;
}

}  // namespace libmfx::geometry::cylinder
