#pragma once

#include <filesystem>

#include "sim/mesh/triangle_mesh.h"

namespace libmfx::sim {

/// The body of ReadPartFile.
TriangleMesh ReadTriangles(const std::filesystem::path& file, double metres_per_unit);

}  // namespace libmfx::sim
