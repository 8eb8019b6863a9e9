#include "uncertainty/first_estimate_parts.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

#include "libmfx/data_structures/records.h"

namespace libmfx::uncertainty::first {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;
using features::SampleFate;

Index Propagation::Add(const FitSpread& block) {
  const Index first = _count;
  _blocks.push_back(block);
  _count += block.covariance.rows();
  return first;
}

void Propagation::Tell(std::string_view key, ParameterFunction quantity) {
  _quantities.emplace_back(key, std::move(quantity));
}

std::optional<Uncertainty> Propagation::Of(const Values& measured) const {
  Uncertainty result;
  for (const Value& value : measured) {
    const auto known = std::find_if(_quantities.begin(), _quantities.end(),
                                    [&](const auto& q) { return q.first == value.key; });
    if (known == _quantities.end()) return std::nullopt;
    const MatrixXd jacobian = Jacobian(known->second, _count);
    if (jacobian.rows() != value.numbers.size() || !jacobian.allFinite()) return std::nullopt;
    result.quantities.push_back(Quantity(value, jacobian));
  }
  if (result.quantities.empty()) return std::nullopt;
  return result;
}

QuantityUncertainty Propagation::Quantity(const Value& value, const MatrixXd& jacobian) const {
  const Index rows = value.numbers.size();
  QuantityUncertainty told{.key = value.key,
                           .kind = value.kind,
                           .measured = value.numbers,
                           .mean = value.numbers,
                           .bias = VectorXd::Zero(rows),
                           .covariance = MatrixXd::Zero(rows, rows),
                           .interval95 = {}};
  // The effective degrees of freedom of a number: JCGM 100, G.4.1.
  VectorXd fourth = VectorXd::Zero(rows);
  Index first = 0;
  for (const FitSpread& block : _blocks) {
    const MatrixXd part = jacobian.middleCols(first, block.covariance.rows());
    const MatrixXd covariance = part * block.covariance * part.transpose();
    told.covariance += covariance;
    fourth += covariance.diagonal().cwiseAbs2() / block.freedom;
    first += block.covariance.rows();
  }
  for (Index i = 0; i < rows; ++i) {
    const double variance = std::max(0.0, told.covariance(i, i));
    const double freedom = fourth[i] > 0.0 ? variance * variance / fourth[i] : 1e9;
    const double half = CoverageFactor(std::max(1.0, freedom)) * std::sqrt(variance);
    told.interval95.push_back({value.numbers[i] - half, value.numbers[i] + half});
  }
  return told;
}

Samples Case::Of(SampleFate fate) const {
  Samples chosen;
  for (std::size_t i = 0; i < stages.fates.size(); ++i) {
    if (stages.fates[i] != fate) continue;
    const host::RawDataPoint& s = scan.samples[i];
    const data_structures::AzElRange at(s.azimuth, s.elevation, s.range);
    chosen.points.push_back(at.ToPoint().xyz());
    chosen.lines.push_back(s.status);
  }
  return chosen;
}

std::size_t Case::CountOf(SampleFate fate) const {
  return static_cast<std::size_t>(std::count(stages.fates.begin(), stages.fates.end(), fate));
}

std::optional<Vector3d> Case::Vector(std::string_view key) const {
  const Value* value = Find(measured, key);
  if (value == nullptr || value->numbers.size() != 3) return std::nullopt;
  return Vector3d(value->numbers);
}

double Case::Size(std::string_view key, double otherwise) const {
  const Value* value = Find(measured, key);
  return value != nullptr && value->numbers.size() == 1 ? value->numbers[0] : otherwise;
}

const host::Position* Case::EndOf(int segment) const {
  const bool known = segment >= 0 && static_cast<std::size_t>(segment) < scan.points.size();
  return known ? &scan.points[static_cast<std::size_t>(segment)] : nullptr;
}

double Case::Spacing() const {
  if (stages.lines.empty()) return 0.0;
  const host::Position* end = EndOf(stages.lines.front().segment);
  return end != nullptr ? end->point_spacing : 0.0;
}

Surface::Surface(const Vector3d& about, const Vector3d& normal)
    : origin(about), n(normal.normalized()), u(n.unitOrthogonal()), v(n.cross(u)) {}

bool Surface::Fit(const Samples& samples, std::size_t cut, std::optional<double> scatter,
                  Propagation& estimate) {
  const auto heights = [&](const VectorXd& p) {
    VectorXd r(static_cast<Index>(samples.points.size()));
    for (Index i = 0; i < r.size(); ++i) {
      const Vector3d d = samples.points[static_cast<std::size_t>(i)] - origin;
      r[i] = d.dot(n) - p[0] - p[1] * d.dot(u) - p[2] * d.dot(v);
    }
    return r;
  };
  auto spread = SpreadOfFit(heights, 3, samples.lines, scatter);
  if (!spread) return false;
  spread->covariance *= CostOfCut(samples.points.size(), cut);
  _first = estimate.Add(*spread);
  return true;
}

bool Surface::FitAround(const Case& c, Propagation& estimate) {
  const Samples all = c.Of(SampleFate::kSurface);
  if (!c.stages.surface) return false;
  const Vector3d point = c.stages.surface->Point().xyz();
  const Vector3d normal = c.stages.surface->Normal().xyz().normalized();
  Samples near;
  std::vector<double> heights;
  for (std::size_t i = 0; i < all.points.size(); ++i) {
    const double height = std::abs((all.points[i] - point).dot(normal));
    if (!(height <= 3.0 * c.Spacing())) continue;
    near.points.push_back(all.points[i]);
    near.lines.push_back(all.lines[i]);
    heights.push_back(height);
  }
  return Fit(near, 0, ScatterOfMost(std::move(heights)), estimate);
}

Vector3d Surface::Normal(const VectorXd& p) const {
  return (n - p[_first + 1] * u - p[_first + 2] * v).normalized();
}

Vector3d Surface::At(const Vector2d& place, const VectorXd& p) const {
  const double height = p[_first] + place.x() * p[_first + 1] + place.y() * p[_first + 2];
  return origin + place.x() * u + place.y() * v + height * n;
}

Vector2d Surface::Place(const Vector3d& point) const {
  return {(point - origin).dot(u), (point - origin).dot(v)};
}

Border BorderOf(const Case& c, const Surface& surface) {
  Border border;
  for (const features::StageEdge& edge : c.stages.edges) {
    const auto line =
        std::find_if(c.stages.lines.begin(), c.stages.lines.end(),
                     [&](const features::StageLine& l) { return l.segment == edge.segment; });
    if (line == c.stages.lines.end() || line->side < 0) continue;
    const auto side = static_cast<std::size_t>(line->side);
    if (side >= c.stages.lines.size()) continue;  // every side has a line
    if (side >= border.size()) border.resize(side + 1);
    border[side].push_back({surface.Place(edge.place.xyz()), line->sense});
  }
  return border;
}

}  // namespace libmfx::uncertainty::first
