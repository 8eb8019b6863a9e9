#include "sim/mesh/mesh_module.h"

#include <memory>
#include <stdexcept>
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

std::unique_ptr<Part> TreeOf(const TriangleMesh& mesh) {
  std::unique_ptr<Part> tree;
  const std::string why = Module().make_part(mesh, tree);
  if (!why.empty()) throw std::runtime_error(why);
  return tree;
}

/// \throws PartFileError where there is no module to read with
const MeshModule& Reader() {
  try {
    return Module();
  } catch (const ModuleError& error) {
    throw PartFileError(std::string("cannot be read (") + error.what() + ")");
  }
}

}  // namespace

MeshPart::MeshPart(const TriangleMesh& mesh) : _tree(TreeOf(mesh)) {}

TriangleMesh ReadPartFile(const std::filesystem::path& file, double metres_per_unit) {
  TriangleMesh mesh;
  const std::string wrong = Reader().read_part_file(file, metres_per_unit, mesh);
  if (!wrong.empty()) throw PartFileError(wrong);
  return mesh;
}

}  // namespace libmfx::sim
