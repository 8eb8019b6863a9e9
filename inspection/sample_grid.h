#pragma once

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "host/wire.h"

/// \file
/// The samples of a scan by the directions that they were taken in.

namespace libmfx::inspection {

using Eigen::Vector3d;

/// A sample that tells a place.
struct GridSample {
  Vector3d direction = Vector3d::UnitZ();  ///< unit
  double elevation = 0.0;                  ///< radians
  double azimuth = 0.0;                    ///< radians, of one turn
  double range = 0.0;                      ///< m

  Vector3d Place() const { return range * direction; }
};

/// Samples in rows of elevation, each in order of azimuth, so that those around a direction are
/// found whatever the order in which they were taken, across the seam and over the poles. Memory:
/// about 120 bytes per sample while it is made, 50 afterwards.
class SampleGrid {
 public:
  /// Takes what is finite and has a range. Where many samples share a direction only a few of them
  /// are kept.
  /// \param spacing m, from which follows the step of samples that are too few to tell it
  SampleGrid(const std::vector<host::RawDataPoint>& samples, double spacing);

  std::size_t size() const { return _samples.size(); }
  const GridSample& operator[](std::size_t i) const { return _samples[i]; }
  /// Radians from a sample to the next: as many samples as squares of this side fill what was
  /// scanned.
  double step() const { return _step; }
  /// Whether others around it lie about as far away. A stray range, or one that is read between two
  /// surfaces, has none.
  bool HasCompany(std::size_t i) const { return _company[i] != 0; }

  /// m, of samples off the plane through their neighbours, as the smoothest quarter of the scan
  /// tells it; infinite where none has enough neighbours. What bends adds to it.
  double noise() const { return _noise; }

  /// Calls `visit` for the samples within an angle of a direction, as indices, until it tells to
  /// stop by `true`.
  /// \param direction unit
  /// \param angle radians
  /// \returns whether it was stopped
  template <typename Visitor>
  bool Visit(const Vector3d& direction, double angle, Visitor&& visit) const {
    return Visit(direction, std::asin(std::clamp(direction.y(), -1.0, 1.0)),
                 -std::atan2(direction.x(), direction.z()), angle, visit);
  }
  /// The same around a sample.
  template <typename Visitor>
  bool VisitAround(std::size_t i, double angle, Visitor&& visit) const {
    const GridSample& s = _samples[i];
    return Visit(s.direction, s.elevation, s.azimuth, angle, visit);
  }

 private:
  static constexpr double kPi = std::numbers::pi;

  void Take(const std::vector<host::RawDataPoint>& samples);
  /// The median angle from a sample to the next; 0 where none tells it.
  double StepAlong() const;
  void Sort();
  /// How many samples the cells of a step's size hold, of those that hold any.
  double Occupancy() const;
  void Thin();
  void LookForCompany();
  void EstimateNoise();
  /// Off the plane through a sample's neighbours; infinite for fewer than six.
  double RoughnessAt(std::size_t i) const;
  std::size_t RowOf(double elevation) const {
    const double row = std::floor((elevation - _lowest) / _height);
    return static_cast<std::size_t>(std::clamp(row, 0.0, static_cast<double>(_rows.size() - 2)));
  }

  template <typename Visitor>
  bool Visit(const Vector3d& direction, double elevation, double azimuth, double angle,
             Visitor& visit) const {
    if (_samples.empty()) return false;
    const double chord = 2.0 * std::sin(0.5 * std::min(angle, kPi));
    // How far the cap reaches along azimuth; one that holds a pole reaches all around.
    double reach = kPi;
    if (std::fabs(elevation) + angle < 0.5 * kPi) {
      reach = std::asin(std::min(1.0, std::sin(angle) / std::cos(elevation)));
    }
    const std::size_t last = RowOf(elevation + angle);
    for (std::size_t row = RowOf(elevation - angle); row <= last; ++row) {
      const Span span{row, chord * chord};
      if (VisitSpan(span, azimuth - reach, azimuth + reach, direction, visit)) return true;
      const double from = azimuth - reach + 2.0 * kPi;
      const double to = azimuth + reach - 2.0 * kPi;
      if (reach >= kPi) continue;
      if (from <= kPi && VisitSpan(span, from, kPi, direction, visit)) return true;
      if (to >= -kPi && VisitSpan(span, -kPi, to, direction, visit)) return true;
    }
    return false;
  }

  struct Span {
    std::size_t row;
    double squared_chord;
  };
  template <typename Visitor>
  bool VisitSpan(const Span& span, double from, double to, const Vector3d& direction,
                 Visitor& visit) const {
    const auto begin = _samples.begin() + static_cast<std::ptrdiff_t>(_rows[span.row]);
    const auto end = _samples.begin() + static_cast<std::ptrdiff_t>(_rows[span.row + 1]);
    const bool all = to - from >= 2.0 * kPi;
    auto at = all ? begin : std::lower_bound(begin, end, from, [](const auto& s, double azimuth) {
      return s.azimuth < azimuth;
    });
    for (; at != end && (all || at->azimuth <= to); ++at) {
      if ((at->direction - direction).squaredNorm() > span.squared_chord) continue;
      if (visit(static_cast<std::size_t>(at - _samples.begin()))) return true;
    }
    return false;
  }

  std::vector<GridSample> _samples;
  std::vector<std::size_t> _rows;  ///< where each begins, and where the last one ends
  std::vector<std::uint8_t> _company;
  double _step = 0.0;
  double _noise = std::numeric_limits<double>::infinity();
  double _lowest = 0.0;  ///< radians of elevation
  double _height = 1.0;  ///< radians of a row
};

}  // namespace libmfx::inspection
