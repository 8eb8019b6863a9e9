#include <memory>

#include "sim/mesh/mesh_module.h"
#include "sim/mesh/module/part_file_reader.h"
#include "sim/mesh/module/tree_part.h"
#include "sim/module.h"

extern "C" __attribute__((visibility("default"))) const void* mfx_module() {
  using namespace libmfx::sim;
  static constexpr MeshModule kModule = {
      [](const std::filesystem::path& file, double metres_per_unit, TriangleMesh& mesh) {
        return WhatFails([&] { mesh = ReadTriangles(file, metres_per_unit); });
      },
      [](const TriangleMesh& mesh, std::unique_ptr<Part>& part) {
        return WhatFails([&] { part = std::make_unique<TreePart>(mesh); });
      },
  };
  return &kModule;
}
