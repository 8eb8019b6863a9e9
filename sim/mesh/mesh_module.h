#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "sim/mesh/triangle_mesh.h"
#include "sim/part.h"

namespace libmfx::sim {

/// What the module "mesh" offers: all that needs Embree and assimp. Whoever only casts rays at
/// formulas never loads them.
struct MeshModule {
  /// As ReadPartFile, but for what it would throw.
  /// \returns what is wrong with the file; empty: nothing
  std::string (*read_part_file)(const std::filesystem::path& file, double metres_per_unit,
                                TriangleMesh& mesh);
  /// The body of a MeshPart.
  /// \returns why there is none; empty: there is one
  std::string (*make_part)(const TriangleMesh& mesh, std::unique_ptr<Part>& part);
};

}  // namespace libmfx::sim
