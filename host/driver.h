#pragma once

#include <string>
#include <vector>

#include "host/wire.h"

namespace libmfx::host {

/// Whatever drives a path and brings samples back.
class Driver {
 public:
  virtual ~Driver() = default;

  /// What it is, for people.
  virtual std::string Name() const = 0;

  /// Drives along the points, in order, and returns the samples taken on the way.
  /// \param step the name of the drive step
  /// \throws CallError if there is no answer that can be used
  virtual std::vector<RawDataPoint> Drive(const std::vector<Position>& points,
                                          const std::string& step) = 0;

  /// Says that no further path will come.
  /// \throws CallError if the instrument said more than it was asked
  virtual void Finish() {}
};

}  // namespace libmfx::host
