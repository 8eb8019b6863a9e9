#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "sim/faces/face.h"
#include "sim/part.h"

namespace libmfx::sim {

/// A part made of faces that are known by their formulas.
class FacePart : public Part {
 public:
  FacePart(std::vector<std::unique_ptr<Face>> faces, double reach, Truth truth,
           bool has_front = true)
      : _faces(std::move(faces)), _reach(reach), _truth(std::move(truth)), _has_front(has_front) {}

  bool Intersect(const Ray& ray, Hit& hit) const override;
  double Reach() const override { return _reach; }
  const Truth& truth() const override { return _truth; }
  bool HasFront() const override { return _has_front; }

 private:
  std::vector<std::unique_ptr<Face>> _faces;
  double _reach;
  Truth _truth;
  bool _has_front;
};

}  // namespace libmfx::sim
