#pragma once

#include <filesystem>
#include <memory>

#include "sim/mesh/triangle_mesh.h"
#include "sim/part.h"

namespace libmfx::sim {

/// What the module "mesh" offers: all that needs Embree and assimp. Whoever only casts rays at
/// formulas never loads them.
struct MeshModule {
  /// As ReadPartFile.
  TriangleMesh (*read_part_file)(const std::filesystem::path& file, double metres_per_unit);
  /// The body of a MeshPart.
  std::unique_ptr<Part> (*make_part)(const TriangleMesh& mesh);
};

}  // namespace libmfx::sim
