#pragma once

#include <cstdint>
#include <vector>

#include "sim/obstacles/obstacle.h"

namespace libmfx::sim {

/// A cloud of grains, each smaller than the beam.
struct DustSpec {
  Vec3 center = Vec3::Zero();
  double reach = 0.005;    ///< radius of the cloud, metres
  int count = 100;         ///< grains
  double grain = 0.00003;  ///< radius of a grain, metres
  std::uint64_t seed = 1;  ///< of where they are
  bool flat = false;       ///< the grains lie in the plane through the centre across z
};

/// Spatter of a weld: half balls on a surface across z.
inline DustSpec Spatter() { return {.reach = 0.02, .count = 20, .grain = 0.0003, .flat = true}; }

/// Balls whose centres are spread evenly over a larger ball, or over the disc through its middle. A
/// tree of balls around balls finds the one that a ray meets.
class Dust : public Obstacle {
 public:
  explicit Dust(const DustSpec& spec);
  bool Intersect(const Ray& ray, Hit& hit) const override;
  void Gather(const Ray& middle, double spread, std::vector<const Face*>& faces) const override;

 private:
  class Grain : public Face {
   public:
    Grain(const Vec3& center, double radius) : _ball{center, radius} {}
    bool Intersect(const Ray& ray, Hit& hit) const override;
    const Ball& ball() const { return _ball; }

   private:
    Ball _ball;
  };
  /// A run of grains, and the ball around them.
  struct Node {
    Ball ball;
    std::size_t first;
    std::size_t count;
    std::size_t next;  ///< the node to go on with when a ray misses this ball
  };

  void Split(std::size_t first, std::size_t count);
  /// Calls `visit` with the grains that a beam may meet.
  template <typename Visit>
  void VisitNear(const Ray& middle, double spread, const Visit& visit) const;

  std::vector<Grain> _grains;
  std::vector<Node> _nodes;  ///< each before the halves that it is split into
};

}  // namespace libmfx::sim
