#include "geometry/cylinder/harmonic_fit.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace libmfx::geometry::cylinder {
namespace {

constexpr int kHarmonics = 2;
constexpr std::size_t kTerms = 4;  // cosine and sine of each
constexpr int kPitchColumn = kColumns, kSeries = kPitchColumn + 1;
constexpr int kHarmonicColumns = kSeries + 2 * kHarmonics;
constexpr int kPhaseBins = 24;

struct HarmonicModel {
  Model cylinder;  ///< its radius is the mean
  double pitch = 0.0;
  std::array<double, kTerms> series{};  ///< cosine and sine of each, outward

  double At(double phase) const {  // radians
    double value = 0.0;
    for (int k = 0; k < kHarmonics; ++k)
      value += series[2 * static_cast<std::size_t>(k)] * std::cos((k + 1) * phase) +
               series[2 * static_cast<std::size_t>(k) + 1] * std::sin((k + 1) * phase);
    return value;
  }
};

struct HarmonicRow {
  double residual, phase;
  Eigen::Matrix<double, kHarmonicColumns, 1> jacobian;
};

HarmonicRow RowOf(const Eigen::Vector3d& point, const HarmonicModel& model) {
  const Model& c = model.cylinder;
  const Row<double> smooth = EvaluateRow<double>(point.x(), point.y(), point.z(), c);
  const Eigen::Vector3d u = c.direction.normalized();
  const Eigen::Vector3d e1 = (Eigen::Vector3d::UnitX() - u.x() * u).normalized(), e2 = u.cross(e1);
  const Eigen::Vector3d q(point.x() - c.offset.x(), point.y() - c.offset.y(),
                          point.z() - c.reference_height);
  const double h = q.dot(u), hand = std::copysign(1.0, model.pitch), pitch = std::abs(model.pitch);
  HarmonicRow row;
  row.phase = kTurn * h / pitch - hand * std::atan2(q.dot(e2), q.dot(e1));
  row.residual = smooth.residual - model.At(row.phase);
  double by_phase = 0.0;
  for (int k = 0; k < kHarmonics; ++k) {
    const double cosine = std::cos((k + 1) * row.phase), sine = std::sin((k + 1) * row.phase);
    row.jacobian[kSeries + 2 * k] = -cosine;
    row.jacobian[kSeries + 2 * k + 1] = -sine;
    by_phase += (k + 1) * (model.series[2 * static_cast<std::size_t>(k) + 1] * cosine -
                           model.series[2 * static_cast<std::size_t>(k)] * sine);
  }
  std::copy_n(smooth.jacobian, kColumns, row.jacobian.data());
  row.jacobian[kPitchColumn] = by_phase * kTurn * h / (pitch * pitch) * hand;
  // Turning the axis lifts a point by its distance across, which moves its phase.
  const double by_height = -by_phase * kTurn / pitch;
  row.jacobian.segment<3>(kDirectionX) += by_height * (q - h * u) / c.direction.norm();
  return row;
}

void MoveHarmonics(HarmonicModel& model, const std::vector<int>& columns,
                   const Eigen::VectorXd& step) {
  Model& c = model.cylinder;
  double* const parameters[kSeries] = {&c.offset.x(),    &c.offset.y(),    &c.direction.x(),
                                       &c.direction.y(), &c.direction.z(), &c.radius,
                                       &model.pitch};
  for (Eigen::Index i = 0; i < step.size(); ++i) {
    const int column = columns[static_cast<std::size_t>(i)];
    if (column < kSeries) {
      *parameters[column] += step[i];
    } else {
      model.series[static_cast<std::size_t>(column - kSeries)] += step[i];
    }
  }
}

// The descent by plain least squares over the points that count.
class HarmonicProblem {
 public:
  HarmonicProblem(const Points& points, const std::vector<Eigen::Index>& counting,
                  const std::vector<int>& columns, HarmonicModel& model)
      : _points(points), _counting(counting), _columns(columns), _model(model) {
    _cost = Accumulate(model, _matrix, _gradient);
  }

  double cost() const { return _cost; }
  const Eigen::MatrixXd& matrix() const { return _matrix; }
  StepEquations Linearise() const {
    const bool free_axis = std::count(_columns.begin(), _columns.end(), kDirectionX) > 0;
    return {Reduce(_matrix, _columns, _model.cylinder, free_axis), -_gradient(_columns)};
  }
  double Try(const Eigen::VectorXd& step) {
    _tried = _model;
    MoveHarmonics(_tried, _columns, step);
    return _next_cost = Accumulate(_tried, _next_matrix, _next_gradient);
  }
  void Keep() {
    _model = _tried;
    _cost = _next_cost;
    _matrix = _next_matrix;
    _gradient = _next_gradient;
  }

 private:
  double Accumulate(const HarmonicModel& model, Eigen::MatrixXd& matrix,
                    Eigen::VectorXd& gradient) const {
    Eigen::Matrix<double, kHarmonicColumns, kHarmonicColumns> sums;
    Eigen::Matrix<double, kHarmonicColumns, 1> right;
    sums.setZero();
    right.setZero();
    double cost = 0.0;
    for (const Eigen::Index i : _counting) {
      const HarmonicRow row = RowOf(_points.at(i), model);
      sums.noalias() += row.jacobian * row.jacobian.transpose();
      right += row.residual * row.jacobian;
      cost += 0.5 * row.residual * row.residual;
    }
    matrix = sums;
    gradient = right;
    return cost;
  }

  const Points& _points;
  const std::vector<Eigen::Index>& _counting;
  const std::vector<int>& _columns;
  HarmonicModel& _model;
  HarmonicModel _tried;
  Eigen::MatrixXd _matrix, _next_matrix;
  Eigen::VectorXd _gradient, _next_gradient;
  double _cost = 0.0, _next_cost = 0.0;
};

// The extreme of the harmonics over the phases at which samples lie.
double CrestOf(const HarmonicModel& model, const Points& points,
               const std::vector<Eigen::Index>& counting, bool bore) {
  constexpr double kLeastShare = 0.2;  // of the samples that evenly filled phases would have
  std::array<double, kPhaseBins> counts{};
  for (const Eigen::Index i : counting) {
    const double turn = RowOf(points.at(i), model).phase / kTurn;
    const auto bin = static_cast<std::size_t>((turn - std::floor(turn)) * kPhaseBins);
    counts[std::min<std::size_t>(bin, kPhaseBins - 1)] += 1.0;
  }
  const double side = bore ? -1.0 : 1.0;
  const double least = kLeastShare * static_cast<double>(counting.size()) / kPhaseBins;
  double crest = -std::numeric_limits<double>::infinity();
  for (std::size_t bin = 0; bin < kPhaseBins; ++bin) {
    if (counts[bin] < least) continue;
    constexpr int kSteps = 8;
    for (int k = 0; k <= kSteps; ++k) {
      const double turn = (static_cast<double>(bin) + static_cast<double>(k) / kSteps) / kPhaseBins;
      crest = std::max(crest, side * model.At(kTurn * turn));
    }
  }
  return side * crest;
}

}  // namespace

std::optional<HarmonicSolution> FitHarmonics(const Points& points, const Model& smooth,
                                             const Helix& helix, bool fix_axis, bool fix_radius) {
  constexpr double kDeviations = 5.0, kMostOfDepth = 0.1, kMostOfPitch = 0.03, kOpen = 0.1;
  constexpr int kMostRounds = 60, kTrims = 4;
  Model unused;
  std::vector<int> columns = ListFreeParameters(unused, fix_axis, false).columns;
  for (int column = kPitchColumn; column < kHarmonicColumns; ++column) columns.push_back(column);
  HarmonicModel model{smooth, helix.pitch, {}};
  std::vector<Eigen::Index> counting(static_cast<std::size_t>(points.size()));
  for (std::size_t i = 0; i < counting.size(); ++i) counting[i] = static_cast<Eigen::Index>(i);
  HarmonicSolution solution;
  Eigen::MatrixXd matrix;
  for (int trim = 0; trim < kTrims; ++trim) {
    HarmonicProblem problem(points, counting, columns, model);
    const Descent descent = DampedDescent(problem, Damping(problem.matrix().diagonal().maxCoeff()),
                                          {kMostRounds, 1e-10});
    solution.rounds += descent.rounds;
    if (!descent.settled) return std::nullopt;
    matrix = problem.matrix();
    Eigen::ArrayXd all(points.size());
    for (Eigen::Index i = 0; i < points.size(); ++i)
      all[i] = std::abs(RowOf(points.at(i), model).residual);
    const double bound = RobustBound(all, kDeviations);
    std::vector<Eigen::Index> next;
    for (Eigen::Index i = 0; i < points.size(); ++i)
      if (all[i] <= bound) next.push_back(i);
    if (next == counting) break;
    counting = std::move(next);
  }
  for (const Eigen::Index i : counting) {
    const double residual = RowOf(points.at(i), model).residual;
    solution.cost += 0.5 * residual * residual;
    solution.largest = std::max(solution.largest, std::abs(residual));
  }
  const auto count = static_cast<Eigen::Index>(counting.size());
  const double left =
      std::sqrt(2.0 * solution.cost / static_cast<double>(std::max<Eigen::Index>(count, 1)));
  if (!(left <= kMostOfDepth * helix.depth && left <= kMostOfPitch * std::abs(model.pitch)))
    return std::nullopt;
  const double crest = CrestOf(model, points, counting, helix.bore);
  if (!std::isfinite(crest)) return std::nullopt;
  solution.uncertainty = Judge(matrix, solution.cost, count, model.cylinder, columns);
  solution.uncertainty.radius = std::hypot(solution.uncertainty.radius, kOpen * helix.depth);
  solution.model = model.cylinder;
  solution.model.radius = fix_radius ? smooth.radius : model.cylinder.radius + crest;
  if (fix_radius) solution.uncertainty.radius = 0.0;
  solution.pitch = model.pitch;
  solution.inliers = std::move(counting);
  return solution;
}

}  // namespace libmfx::geometry::cylinder
