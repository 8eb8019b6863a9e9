#pragma once

#include <memory>

#include "sim/mesh/triangle_mesh.h"
#include "sim/part.h"

namespace libmfx::sim {

/// A part made of triangles. The tree over them works in single precision on boxes that are padded
/// for its rounding, and so only proposes triangles; which of them a beam meets, and where, is
/// decided in double precision. The test of a triangle shears space along the ray and looks at the
/// signs of three edge functions (Woop, Benthin, Wald 2013); two triangles compute the function of
/// their common edge from the same numbers, so a beam cannot pass between them. Hits do not depend
/// on the tree, hence not on the processor that it was built for.
class MeshPart : public Part {
 public:
  /// \param mesh at least one triangle, all coordinates finite
  /// \throws ModuleError if the tree's module cannot be loaded
  explicit MeshPart(const TriangleMesh& mesh);

  bool Intersect(const Ray& ray, Hit& hit) const override { return _tree->Intersect(ray, hit); }
  double Reach() const override { return _tree->Reach(); }
  Vec3 Center() const override { return _tree->Center(); }
  const Truth& truth() const override { return _tree->truth(); }
  bool HasFront() const override { return _tree->HasFront(); }

 private:
  std::unique_ptr<Part> _tree;
};

}  // namespace libmfx::sim
