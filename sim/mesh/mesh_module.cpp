#include "sim/mesh/mesh_module.h"

#include <string>

#include "sim/mesh/mesh_part.h"
#include "sim/mesh/part_file.h"
#include "sim/module.h"

namespace libmfx::sim {
namespace {

const MeshModule& Module() {
  static const auto* const module = static_cast<const MeshModule*>(LoadModule("mesh"));
  return *module;
}

}  // namespace

MeshPart::MeshPart(const TriangleMesh& mesh) : _tree(Module().make_part(mesh)) {}

TriangleMesh ReadPartFile(const std::filesystem::path& file, double metres_per_unit) {
  try {
    return Module().read_part_file(file, metres_per_unit);
  } catch (const ModuleError& error) {
    throw PartFileError(std::string("cannot be read (") + error.what() + ")");
  }
}

}  // namespace libmfx::sim
