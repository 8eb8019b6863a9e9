#pragma once

#include <cstdint>
#include <vector>

#include "libmfx/data_structures/records.h"

namespace libmfx::sim {

/// How fast the instrument works.
struct Pace {
  double points_per_second = 1000.0;
  double settling = 0.1;  ///< seconds that a jump to the next line takes
};

/// The time of each sample over all drives of a measurement: every jump takes its settling, every
/// sample its share of a second. What the host does between two drives takes no time.
class Clock {
 public:
  explicit Clock(const Pace& pace) : _pace(pace) {}

  /// A drive along `path` begins.
  void Begin(const std::vector<data_structures::Position>& path);
  /// The next sample, on the move that ends with the drive point `index`.
  /// \returns its time, seconds since the first drive began
  double Tick(std::int32_t index);
  /// The drive is over.
  void End();

 private:
  double Now(std::int64_t jumps) const {
    return _start + static_cast<double>(jumps) * _pace.settling +
           static_cast<double>(_samples) / _pace.points_per_second;
  }

  Pace _pace;
  double _start = 0.0;
  std::int64_t _samples = 0;         ///< of this drive
  std::vector<std::int64_t> _jumps;  ///< up to each drive point
};

}  // namespace libmfx::sim
