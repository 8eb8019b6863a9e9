#include "sim/mesh/part_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "sim/mesh/mesh_part.h"
#include "sim/mesh/mesh_shapes.h"
#include "sim/scenario.h"
#include "thrown.h"

namespace libmfx::sim {
namespace {

using ::testing::HasSubstr;

/// A file that is removed at the end of the test.
class TempFile {
 public:
  TempFile(const std::string& name, const std::string& content)
      : _path(::testing::TempDir() + "mfx_" + name) {
    std::ofstream(_path, std::ios::binary) << content;
  }
  ~TempFile() { std::filesystem::remove(_path); }
  const std::string& path() const { return _path; }

 private:
  std::string _path;
};

/// A tetrahedron with corners at the origin and 10 along each axis.
const char* const kObj =
    "v 0 0 0\nv 10 0 0\nv 0 10 0\nv 0 0 10\n"
    "f 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n";
const char* const kPly =
    "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
    "property float z\nelement face 4\nproperty list uchar int vertex_indices\nend_header\n"
    "0 0 0\n10 0 0\n0 10 0\n0 0 10\n3 0 2 1\n3 0 1 3\n3 0 3 2\n3 1 2 3\n";

std::string AsciiStl() {
  const char* corner[] = {"0 0 0", "10 0 0", "0 10 0", "0 0 10"};
  const int faces[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
  std::string text = "solid t\n";
  for (const auto& face : faces) {
    text += "facet normal 0 0 0\nouter loop\n";
    for (const int i : face) text += std::string("vertex ") + corner[i] + "\n";
    text += "endloop\nendfacet\n";
  }
  return text + "endsolid t\n";
}

void ExpectTetrahedron(const TriangleMesh& mesh) {
  EXPECT_EQ(mesh.vertices.size(), 4U);
  EXPECT_EQ(mesh.triangles.size(), 4U);
  EXPECT_FALSE(FindOpenEdges(mesh));
  double far = 0.0;
  for (const Vec3& v : mesh.vertices) far = std::max(far, v.norm());
  EXPECT_NEAR(far, 0.01, 1e-12);
}

TEST(PartFile, StlObjAndPlyGiveTheSamePart) {
  ExpectTetrahedron(ReadPartFile(TempFile("t.stl", AsciiStl()).path(), 1e-3));
  ExpectTetrahedron(ReadPartFile(TempFile("t.obj", kObj).path(), 1e-3));
  ExpectTetrahedron(ReadPartFile(TempFile("t.ply", kPly).path(), 1e-3));
}

TEST(PartFile, BinaryStlInMillimetresAndMetresIsTheSamePart) {
  const TriangleMesh plate = mesh_shapes::PlateWithHole(0.005, 0.1, 0.01, 64);
  const TempFile mm("mm.stl", "");
  const TempFile metres("m.stl", "");
  ASSERT_TRUE(mesh_shapes::WriteStl(plate, 1e3, mm.path()));
  ASSERT_TRUE(mesh_shapes::WriteStl(plate, 1.0, metres.path()));
  for (const auto& mesh : {ReadPartFile(mm.path(), 1e-3), ReadPartFile(metres.path(), 1.0)}) {
    EXPECT_EQ(mesh.triangles.size(), plate.triangles.size());
    EXPECT_FALSE(FindOpenEdges(mesh));
    const MeshPart part(mesh);
    Hit hit;
    ASSERT_TRUE(part.Intersect({{0.02, 0.01, 2.0}, {0, 0, -1}}, hit));
    EXPECT_NEAR(hit.t, 2.0, 1e-9);
    // Coordinates in single precision: half a step of 0.05 m is 2e-9 m.
    EXPECT_NEAR(part.Reach(), std::sqrt(0.05 * 0.05 * 2 + 0.005 * 0.005) + 0.005, 1e-8);
  }
}

TEST(PartFile, WhatIsNoPartIsRefused) {
  EXPECT_THROW(ReadPartFile("/nonexistent/part.stl", 1.0), PartFileError);
  EXPECT_THROW(ReadPartFile(::testing::TempDir(), 1.0), PartFileError);
  EXPECT_THROW(ReadPartFile(TempFile("text.stl", "no part at all").path(), 1.0), PartFileError);
  EXPECT_THROW(ReadPartFile(TempFile("empty.stl", "").path(), 1.0), PartFileError);
  EXPECT_THROW(ReadPartFile(TempFile("points.obj", "v 0 0 0\nv 1 0 0\n").path(), 1.0),
               PartFileError);
}

TEST(TriangleMesh, WeldingJoinsEqualVerticesAndDropsSlivers) {
  TriangleMesh mesh;
  mesh.vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 0}, {-0.0, 0, 0}};
  mesh.triangles = {{0, 1, 2}, {4, 3, 2}, {0, 4, 2}};
  mesh.Weld();
  EXPECT_EQ(mesh.vertices.size(), 3U);
  ASSERT_EQ(mesh.triangles.size(), 2U);
  EXPECT_EQ(mesh.triangles[0], mesh.triangles[1]);
}

TEST(TriangleMesh, OpenEdgesAreFound) {
  TriangleMesh box = mesh_shapes::Box({1, 1, 1});
  EXPECT_FALSE(FindOpenEdges(box));
  box.triangles.pop_back();
  const auto open = FindOpenEdges(box);
  ASSERT_TRUE(open);
  EXPECT_EQ(open->count, 3U);
  EXPECT_FALSE(FindOpenEdges(mesh_shapes::Sphere(1.0, 3)));
  EXPECT_EQ(mesh_shapes::Sphere(1.0, 3).triangles.size(), 512U);
  EXPECT_FALSE(FindOpenEdges(mesh_shapes::PlateWithHole(0.01, 0.1, 0.01, 16)));
  EXPECT_FALSE(FindOpenEdges(mesh_shapes::WavyBlock(0.1, 0.01, 7)));
}

/// The refusal of a scene with this "part".
std::string Refusal(const nlohmann::json& part) {
  return test::TextThrown<SceneError>([&] {
    Scene::FromJson({{"part", part}, {"pose", {{"position", {0, 0, 2}}}}});
  });
}

TEST(MeshScene, IsReadWithItsUnit) {
  const TempFile file("scene.obj", kObj);
  const nlohmann::json part = {{"type", "mesh"}, {"file", file.path()}, {"unit", "mm"}};
  EXPECT_EQ(Refusal(part), "");
  const Scene scene = Scene::FromJson({{"part", part}, {"pose", {{"position", {0, 0, 2}}}}});
  EXPECT_EQ(scene.part->truth().values.at("triangles"), 4);
}

TEST(MeshScene, RefusalsNameTheKeyAndTheValue) {
  const TempFile sound("sound.obj", kObj);
  const TempFile open("open.obj", "v 0 0 0\nv 10 0 0\nv 0 10 0\nf 1 2 3\n");
  EXPECT_EQ(Refusal({{"type", "mesh"}, {"file", sound.path()}}), "part.unit: missing");
  EXPECT_EQ(Refusal({{"type", "mesh"}, {"file", sound.path()}, {"unit", "mile"}}),
            "part.unit: \"mile\" is not one of: m, mm, cm, um, inch");
  EXPECT_THAT(Refusal({{"type", "mesh"}, {"file", "absent.stl"}, {"unit", "mm"}}),
              HasSubstr("part.file: \"absent.stl\" cannot be read (No such file"));
  const auto text = Refusal({{"type", "mesh"}, {"file", open.path()}, {"unit", "mm"}});
  EXPECT_THAT(text, HasSubstr("is an open mesh: 3 edges have a triangle on one side only"));
  EXPECT_THAT(text, HasSubstr("part.file: \""));
  EXPECT_EQ(Refusal({{"type", "mesh"}, {"file", open.path()}, {"unit", "mm"}, {"open", true}}), "");
  EXPECT_THAT(Refusal({{"type", "mesh"}, {"file", sound.path()}, {"unit", "m"}, {"colour", 1}}),
              HasSubstr("part.colour: unknown key"));
  const TempFile huge("huge.obj",
                      "v 0 0 0\nv 1e9 0 0\nv 0 1e9 0\nv 0 0 1e9\n"
                      "f 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n");
  EXPECT_EQ(Refusal({{"type", "mesh"}, {"file", huge.path()}, {"unit", "m"}}),
            "part.unit: \"m\" makes the part larger than 1000 m");
}

TEST(MeshScene, FilesAreLookedForBesideTheScene) {
  const TempFile file("beside.obj", kObj);
  const char* text =
      R"({"part": {"type": "mesh", "file": "mfx_beside.obj", "unit": "mm"},
          "pose": {"position": [0, 0, 2]}})";
  EXPECT_NO_THROW(Scene::FromText(text, ::testing::TempDir()));
  EXPECT_THROW(Scene::FromText(text, "/nonexistent"), SceneError);
}

}  // namespace
}  // namespace libmfx::sim
