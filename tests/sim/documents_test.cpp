// What docs/scenes.md says about scenes is what the reader of scenes takes.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>

#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

std::string ScenesDocument() {
  std::ifstream stream(LIBMFX_SOURCE_DIR "/docs/scenes.md");
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(ScenesDocument, ItsExampleIsASoundScene) {
  const std::string text = ScenesDocument();
  const auto start = text.find("```json\n") + 8;
  const std::string example = text.substr(start, text.find("```", start) - start);
  const Scene scene = Scene::FromText(example);
  EXPECT_EQ(scene.part->truth().values.at("radius"), 0.005);
  EXPECT_EQ(scene.behind, 0.05);
}

TEST(ScenesDocument, NoiseTableTellsEveryKeyWithItsDefault) {
  const std::string text = ScenesDocument();
  const auto start = text.find("## The noise");
  std::istringstream lines(text.substr(start, text.find("\n## ", start + 1) - start));
  const std::regex row(R"(\| `(\w+)` \| ([0-9.e-]+) \|.*)");
  nlohmann::json noise = nlohmann::json::object();
  std::smatch match;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_match(line, match, row)) noise[match[1]] = nlohmann::json::parse(match[2].str());
  }
  EXPECT_EQ(noise.size(), 17U);
  const nlohmann::json part = {{"type", "plane"}};
  const nlohmann::json pose = {{"position", {0, 0, 2}}};
  const Noise told = Scene::FromJson({{"part", part}, {"pose", pose}, {"noise", noise}}).noise;
  const Noise defaults;
  EXPECT_EQ(told.range, defaults.range);
  EXPECT_EQ(told.range_per_metre, defaults.range_per_metre);
  EXPECT_EQ(told.angle, defaults.angle);
  EXPECT_EQ(told.footprint, defaults.footprint);
  EXPECT_EQ(told.rays, defaults.rays);
  EXPECT_EQ(told.speckle, defaults.speckle);
  EXPECT_EQ(told.resolution, defaults.resolution);
  EXPECT_EQ(told.mixed, defaults.mixed);
  EXPECT_EQ(told.mixed_penalty, defaults.mixed_penalty);
  EXPECT_EQ(told.stray, defaults.stray);
  EXPECT_EQ(told.stray_span, defaults.stray_span);
  EXPECT_EQ(told.quality_peak, defaults.quality_peak);
  EXPECT_EQ(told.quality_incidence, defaults.quality_incidence);
  EXPECT_EQ(told.quality_range, defaults.quality_range);
  EXPECT_EQ(told.quality_noise, defaults.quality_noise);
  EXPECT_EQ(told.quality_floor, defaults.quality_floor);
  EXPECT_EQ(told.max_range, defaults.max_range);
}

}  // namespace
}  // namespace libmfx::sim
