#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

#include "libmfx/data_structures/records.h"
#include "sim/vec.h"

namespace libmfx::sim {

/// A queue of drive points that the instrument cannot carry out; the text is for the operator.
class DriveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Where the beam points when a sample is taken, in the branch of angles of the drive points.
struct Aim {
  Vec3 direction;  ///< unit
  double azimuth;
  double elevation;
  double range;         ///< of the point on the path, metres
  std::int32_t status;  ///< index of the drive point that ends the move
};

/// The way of the beam along a queue of drive points. It runs straight, in cartesian coordinates,
/// from drive point to drive point. A move to a drive point with a spacing of 0 is a jump and is
/// not sampled. A sampled line begins with a sample where it leaves the jump's end, and goes on
/// with one every `point_spacing` metres along the path, carried over the corners of a polyline. A
/// queue that begins with a positive spacing has one sample at its first point: the beam came from
/// nowhere.
class PathWalk {
 public:
  /// \throws DriveError for numbers that are not finite, a negative spacing or range, angles
  /// beyond 1000 rad, ranges beyond 1e6 m, or a path of more than kMaxSamples samples.
  explicit PathWalk(const std::vector<data_structures::Position>& path);

  static constexpr std::int64_t kMaxSamples = 5'000'000;

  /// How many samples the path asks for.
  std::int64_t samples() const { return _samples; }
  /// Calls `visit` for each sample in order. A point of the path at the instrument itself has no
  /// direction and is passed over.
  void Visit(const std::function<void(const Aim&)>& visit) const;

 private:
  struct Move {
    Vec3 start;
    Vec3 end;
    double first;    ///< metres from the start to the first sample
    double spacing;  ///< metres
    double length;   ///< metres
    std::int64_t count;
    std::size_t index;  ///< of the drive point that ends it
  };

  double AddMove(const std::vector<data_structures::Position>& path, std::size_t index,
                 double first);

  const std::vector<data_structures::Position>& _path;
  std::vector<Move> _moves;
  std::int64_t _samples = 0;
};

}  // namespace libmfx::sim
