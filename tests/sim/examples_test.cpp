// The example scenes can be measured, and their part file is what its maker makes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "sim/mesh/mesh_shapes.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

const std::filesystem::path kScenes =
    std::filesystem::path(LIBMFX_SOURCE_DIR) / "examples" / "scenes";

std::string Content(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(ExampleScenes, CanAllBeRead) {
  int scenes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kScenes)) {
    if (entry.path().extension() != ".json") continue;
    EXPECT_NO_THROW(Scene::FromFile(entry.path())) << entry.path();
    ++scenes;
  }
  EXPECT_GE(scenes, 2);
}

TEST(ExampleScenes, ThePlateIsTheSameBuiltInAndFromItsStlFile) {
  Scene built_in = Scene::FromFile(kScenes / "scan_path.json");
  Scene from_file = Scene::FromFile(kScenes / "stl_plate.json");
  built_in.noise = from_file.noise = Noise::Off();
  const std::vector<data_structures::Position> path = {
      {data_structures::PointXYZW(-0.09, 0.04, 2), 0.0},
      {data_structures::PointXYZW(0.09, 0.04, 2), 0.001}};
  const auto a = Instrument(built_in).Drive(path);
  const auto b = Instrument(from_file).Drive(path);
  ASSERT_EQ(a.size(), 181U);
  ASSERT_EQ(b.size(), a.size());
  int same = 0;
  for (std::size_t i = 0; i < a.size(); ++i) same += std::fabs(a[i].range - b[i].range) < 1e-8;
  // The rim of the file's hole has corners on the circle and chords within it.
  EXPECT_GE(same, 177);
}

TEST(ExampleScenes, ThePartFileIsMadeByTheMeshShapes) {
  const auto file = std::filesystem::path(::testing::TempDir()) / "mfx_example_plate.stl";
  ASSERT_TRUE(
      mesh_shapes::WriteStl(mesh_shapes::PlateWithHole(0.06, 0.25, 0.01, 96), 1000.0, file));
  EXPECT_EQ(Content(file), Content(kScenes / "plate_with_hole.stl"));
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace libmfx::sim
