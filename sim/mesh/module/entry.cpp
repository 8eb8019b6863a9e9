#include <memory>

#include "sim/mesh/mesh_module.h"
#include "sim/mesh/module/part_file_reader.h"
#include "sim/mesh/module/tree_part.h"

extern "C" __attribute__((visibility("default"))) const void* mfx_module() {
  using namespace libmfx::sim;
  static constexpr MeshModule kModule = {
      ReadTriangles,
      [](const TriangleMesh& mesh) -> std::unique_ptr<Part> {
        return std::make_unique<TreePart>(mesh);
      },
  };
  return &kModule;
}
