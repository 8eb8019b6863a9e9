#pragma once

#include <memory>

#include "sim/mesh/triangle_mesh.h"
#include "sim/part.h"

namespace libmfx::sim {

/// The body of a MeshPart: the triangles and the tree over them.
class TreePart : public Part {
 public:
  explicit TreePart(const TriangleMesh& mesh);
  ~TreePart() override;
  TreePart(const TreePart&) = delete;
  TreePart& operator=(const TreePart&) = delete;

  bool Intersect(const Ray& ray, Hit& hit) const override;
  double Reach() const override;
  Vec3 Center() const override;
  const Truth& truth() const override { return _truth; }
  bool HasFront() const override { return false; }

 private:
  struct Tree;
  std::unique_ptr<Tree> _tree;
  Truth _truth;
};

}  // namespace libmfx::sim
