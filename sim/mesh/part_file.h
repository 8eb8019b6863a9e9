#pragma once

#include <filesystem>
#include <stdexcept>

#include "sim/mesh/triangle_mesh.h"

namespace libmfx::sim {

/// A part file that cannot be used; the text tells why, without the file's name.
class PartFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads the triangles of a part file (STL, OBJ, PLY and what else assimp knows), welded. The
/// files' coordinates come in single precision, which is 6e-8 of their size.
/// \param metres_per_unit of the file's coordinates
/// \throws PartFileError when the file cannot be read, holds no triangle or numbers that are not
/// finite, and when the module that reads files cannot be loaded
TriangleMesh ReadPartFile(const std::filesystem::path& file, double metres_per_unit);

}  // namespace libmfx::sim
