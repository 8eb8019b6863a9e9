#pragma once

#include <filesystem>

#include "sim/mesh/triangle_mesh.h"

/// \file
/// Closed meshes with known shapes, for tests, benchmarks and examples. Metres.

namespace libmfx::sim::mesh_shapes {

/// A box around the origin.
TriangleMesh Box(const Vec3& size);

/// A sphere around the origin whose vertices lie on it: 8 * 4^levels triangles.
TriangleMesh Sphere(double radius, int levels);

/// A square plate with a round hole: front in z = 0, side length `side`, the hole's wall of
/// `segments` flat pieces whose corners lie on the circle. `segments` is a multiple of 8.
TriangleMesh PlateWithHole(double radius, double side, double thickness, int segments);

/// A square block whose upper side, around z = 0, is a grid of `cells` by `cells` squares with
/// waves of the given height, and whose depth is `side`: 2 * cells^2 + 12 * cells triangles.
TriangleMesh WavyBlock(double side, double wave_height, int cells);

/// Writes a mesh as binary STL, its coordinates multiplied by `scale`.
/// \returns whether the file could be written
bool WriteStl(const TriangleMesh& mesh, double scale, const std::filesystem::path& file);

}  // namespace libmfx::sim::mesh_shapes
