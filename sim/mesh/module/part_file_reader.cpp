#include "sim/mesh/module/part_file_reader.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <assimp/Importer.hpp>
#include <string>

#include "sim/mesh/part_file.h"

namespace libmfx::sim {

namespace {

constexpr std::uintmax_t kLargestFile = 1U << 30U;

std::string OneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  return text;
}

void CheckFile(const std::filesystem::path& file) {
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  if (error) throw PartFileError("cannot be read (" + error.message() + ")");
  if (size > kLargestFile) throw PartFileError("is larger than 1 GiB");
}

void Append(const aiMesh& from, double scale, TriangleMesh& to) {
  const auto base = static_cast<std::uint32_t>(to.vertices.size());
  for (unsigned i = 0; i < from.mNumVertices; ++i) {
    const aiVector3D& v = from.mVertices[i];
    const Vec3 p = scale * Vec3(v.x, v.y, v.z);
    if (!p.allFinite()) throw PartFileError("has a vertex that is not finite");
    to.vertices.push_back(p);
  }
  for (unsigned i = 0; i < from.mNumFaces; ++i) {
    const aiFace& face = from.mFaces[i];
    if (face.mNumIndices != 3) continue;  // loose points and lines have no surface
    to.triangles.push_back(
        {base + face.mIndices[0], base + face.mIndices[1], base + face.mIndices[2]});
  }
}

}  // namespace

TriangleMesh ReadTriangles(const std::filesystem::path& file, double metres_per_unit) {
  CheckFile(file);
  Assimp::Importer importer;
  const aiScene* scene =
      importer.ReadFile(file.string(), aiProcess_Triangulate | aiProcess_PreTransformVertices);
  if (scene == nullptr) {
    throw PartFileError(OneLine(std::string("cannot be read (") + importer.GetErrorString() + ")"));
  }
  TriangleMesh mesh;
  for (unsigned i = 0; i < scene->mNumMeshes; ++i) {
    Append(*scene->mMeshes[i], metres_per_unit, mesh);
  }
  mesh.Weld();
  if (mesh.triangles.empty()) throw PartFileError("holds no triangle");
  return mesh;
}

}  // namespace libmfx::sim
