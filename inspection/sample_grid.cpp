#include "inspection/sample_grid.h"

#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "libmfx/data_structures/records.h"

namespace libmfx::inspection {
namespace {

/// A row of elevation is never so low that there are more of them.
constexpr double kMostRows = 1e5;
/// Kept of the samples within a step of a row. Two scans of one window leave about three.
constexpr std::size_t kMostOfCell = 8;
/// Cells of a step's size hold one or two samples of an even scan. What holds more is finer than
/// the order of its samples told.
constexpr double kCrowded = 2.2;
constexpr int kMostTries = 6;
/// Steps to the neighbours that keep a sample company, how many there have to be, and how much
/// farther or nearer than they are apart they may be: a slope of 68 degrees.
constexpr double kNeighbours = 1.6;
constexpr int kLeastCompany = 2;
constexpr double kSteepest = 2.5;

}  // namespace

SampleGrid::SampleGrid(const std::vector<host::RawDataPoint>& samples, double spacing) {
  Take(samples);
  if (_samples.empty()) return;
  _step = StepAlong();
  if (!(_step > 0.0)) {
    std::vector<double> ranges(_samples.size());
    for (std::size_t i = 0; i < ranges.size(); ++i) ranges[i] = _samples[i].range;
    const auto middle = ranges.begin() + static_cast<std::ptrdiff_t>(ranges.size() / 2);
    std::nth_element(ranges.begin(), middle, ranges.end());
    _step = std::clamp(spacing / *middle, 1e-9, 1.0);
  }
  Sort();
  // Samples that were not taken in order are as far apart as the window is wide.
  for (int i = 0; i < kMostTries; ++i) {
    const double occupancy = Occupancy();
    if (!(occupancy > kCrowded)) break;
    _step /= std::sqrt(occupancy / 1.2);
    Sort();
  }
  Thin();
  LookForCompany();
  EstimateNoise();
}

void SampleGrid::Take(const std::vector<host::RawDataPoint>& samples) {
  _samples.reserve(samples.size());
  for (const host::RawDataPoint& sample : samples) {
    if (!std::isfinite(sample.quality) || !std::isfinite(sample.range) || !(sample.range > 0.0) ||
        !(std::fabs(sample.azimuth) < 1e6) || !(std::fabs(sample.elevation) < 1e6) ||
        !(sample.range < 1e6)) {
      continue;
    }
    GridSample s;
    s.direction = data_structures::AzElRange(sample.azimuth, sample.elevation, 1.0).ToPoint().xyz();
    s.elevation = std::asin(std::clamp(s.direction.y(), -1.0, 1.0));
    s.azimuth = -std::atan2(s.direction.x(), s.direction.z());
    s.range = sample.range;
    _samples.push_back(s);
  }
}

double SampleGrid::StepAlong() const {
  std::vector<double> steps;
  const std::size_t stride = 1 + _samples.size() / 200'000;
  for (std::size_t i = 0; i + 1 < _samples.size(); i += stride) {
    const double step = (_samples[i + 1].direction - _samples[i].direction).norm();
    if (step > 1e-9) steps.push_back(step);
  }
  if (steps.empty()) return 0.0;
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::nth_element(steps.begin(), middle, steps.end());
  return std::min(*middle, 1.0);
}

void SampleGrid::Sort() {
  const auto [low, high] =
      std::minmax_element(_samples.begin(), _samples.end(),
                          [](const auto& a, const auto& b) { return a.elevation < b.elevation; });
  _lowest = low->elevation;
  const double span = high->elevation - _lowest;
  _height = std::max(_step, span / kMostRows);
  _rows.assign(static_cast<std::size_t>(std::floor(span / _height)) + 2, 0);

  struct Key {
    std::size_t row;
    double azimuth;
    std::uint32_t index;
  };
  std::vector<Key> keys(_samples.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    keys[i] = {RowOf(_samples[i].elevation), _samples[i].azimuth, static_cast<std::uint32_t>(i)};
    ++_rows[keys[i].row + 1];
  }
  std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
    if (a.row != b.row) return a.row < b.row;
    return a.azimuth != b.azimuth ? a.azimuth < b.azimuth : a.index < b.index;
  });
  std::vector<GridSample> sorted(_samples.size());
  for (std::size_t i = 0; i < keys.size(); ++i) sorted[i] = _samples[keys[i].index];
  _samples = std::move(sorted);
  for (std::size_t row = 1; row < _rows.size(); ++row) _rows[row] += _rows[row - 1];
}

double SampleGrid::Occupancy() const {
  std::size_t cells = 0;
  for (std::size_t row = 0; row + 1 < _rows.size(); ++row) {
    double last = -1e9;
    for (std::size_t i = _rows[row]; i < _rows[row + 1]; ++i) {
      const double width = _step / std::max(std::cos(_samples[i].elevation), 1e-9);
      const double cell = std::floor(_samples[i].azimuth / width);
      if (cell != last) ++cells;
      last = cell;
    }
  }
  return static_cast<double>(_samples.size()) / static_cast<double>(cells);
}

void SampleGrid::Thin() {
  std::size_t kept = 0;
  for (std::size_t row = 0; row + 1 < _rows.size(); ++row) {
    const std::size_t begin = kept;
    const std::size_t from = std::exchange(_rows[row], begin);
    for (std::size_t i = from; i < _rows[row + 1]; ++i) {
      const GridSample s = _samples[i];
      const double width = _step / std::max(std::cos(s.elevation), 1e-9);
      const bool crowded =
          kept >= begin + kMostOfCell && s.azimuth - _samples[kept - kMostOfCell].azimuth < width;
      if (!crowded) _samples[kept++] = s;
    }
  }
  _rows.back() = kept;
  _samples.resize(kept);
}

void SampleGrid::LookForCompany() {
  _company.assign(_samples.size(), 0);
  for (std::size_t i = 0; i < _samples.size(); ++i) {
    const double range = _samples[i].range;
    const double most = kSteepest * _step * range;
    int company = -1;  // it meets itself
    const bool enough = VisitAround(i, kNeighbours * _step, [&](std::size_t j) {
      if (std::fabs(_samples[j].range - range) <= most) ++company;
      return company >= kLeastCompany;
    });
    _company[i] = enough ? 1 : 0;
  }
}

double SampleGrid::RoughnessAt(std::size_t i) const {
  const double most = kSteepest * _step * _samples[i].range;
  const Vector3d origin = _samples[i].Place();
  Vector3d sum = Vector3d::Zero();
  Eigen::Matrix3d squares = Eigen::Matrix3d::Zero();
  int count = 0;
  VisitAround(i, kNeighbours * _step, [&](std::size_t j) {
    if (std::fabs(_samples[j].range - _samples[i].range) > most) return false;
    const Vector3d off = _samples[j].Place() - origin;
    sum += off;
    squares += off * off.transpose();
    ++count;
    return false;
  });
  if (count < 6) return std::numeric_limits<double>::infinity();
  squares -= sum * sum.transpose() / count;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(squares, Eigen::EigenvaluesOnly);
  return std::sqrt(std::max(0.0, solver.eigenvalues()[0]) / (count - 3));
}

void SampleGrid::EstimateNoise() {
  std::vector<double> rough;
  const std::size_t stride = 1 + _samples.size() / 50'000;
  for (std::size_t i = 0; i < _samples.size(); i += stride) {
    const double each = _company[i] != 0 ? RoughnessAt(i) : _noise;
    if (std::isfinite(each)) rough.push_back(each);
  }
  if (rough.empty()) return;
  const auto quarter = rough.begin() + static_cast<std::ptrdiff_t>(rough.size() / 4);
  std::nth_element(rough.begin(), quarter, rough.end());
  _noise = *quarter;
}

}  // namespace libmfx::inspection
