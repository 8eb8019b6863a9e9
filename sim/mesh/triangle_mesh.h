#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "sim/vec.h"

namespace libmfx::sim {

/// Triangles over shared vertices, in double precision, metres.
struct TriangleMesh {
  std::vector<Vec3> vertices;
  std::vector<std::array<std::uint32_t, 3>> triangles;  ///< indices into `vertices`

  /// Makes vertices with the same coordinates one, and drops triangles that lost a corner by it.
  void Weld();
};

/// An edge that an odd number of triangles meet at: a beam could pass there into the part.
struct OpenEdges {
  std::size_t count = 0;
  Vec3 example = Vec3::Zero();  ///< the middle of one of them
};

/// The open edges of a welded mesh; nothing for a closed one.
std::optional<OpenEdges> FindOpenEdges(const TriangleMesh& mesh);

}  // namespace libmfx::sim
