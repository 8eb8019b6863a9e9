#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "sim/part.h"
#include "sim/relief/relief.h"

namespace libmfx::sim {

/// A part whose surfaces are a little off their nominal shape. Where a ray meets the nominal
/// surface, the lifted one is looked for along the plane that touches it there: exact on flat
/// faces; on a curved one to the square of what the ray goes on meanwhile over its radius. Borders
/// of faces stay where they are, and nothing hides behind a crest, so lifts have to be small and
/// slopes gentle. A ray that skims along a surface at less than a 20th is taken as of a 20th.
///
/// The truth is that of the nominal part.
class ReliefPart : public Part {
 public:
  ReliefPart(std::shared_ptr<const Part> part, std::vector<std::unique_ptr<Relief>> reliefs);

  bool Intersect(const Ray& ray, Hit& hit) const override;
  double Reach() const override { return _part->Reach() + _largest; }
  Vec3 Center() const override { return _part->Center(); }
  const Truth& truth() const override { return _part->truth(); }
  bool HasFront() const override { return _part->HasFront(); }

 private:
  /// The hit on the lifted surface that belongs to one on the nominal surface.
  Hit Lifted(const Ray& ray, const Hit& nominal) const;

  std::shared_ptr<const Part> _part;
  std::vector<std::unique_ptr<Relief>> _reliefs;
  double _largest = 0.0;
};

}  // namespace libmfx::sim
