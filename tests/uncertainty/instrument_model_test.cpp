// A model of the instrument is read whole or refused in words, and what it draws has the means and
// the standard deviations of the books.

#include "uncertainty/instrument_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numbers>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/errors.h"
#include "thrown.h"

namespace libmfx::uncertainty {
namespace {

using nlohmann::json;
using sim::Rng;
using testing::HasSubstr;
using testing::StartsWith;
using Shape = Distribution::Shape;

/// A file that is gone with the test; its name is that of the test.
class File {
 public:
  explicit File(const std::string& text) {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    _path = std::filesystem::path(testing::TempDir()) /
            ("mfx_" + std::string(test->test_suite_name()) + "_" + test->name() + ".json");
    std::ofstream(_path, std::ios::binary) << text;
  }
  ~File() { std::filesystem::remove(_path); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  std::string path() const { return _path.string(); }

 private:
  std::filesystem::path _path;
};

InstrumentModel ModelOf(const std::string& text) { return ReadInstrumentModel(File(text).path()); }

/// How a model is refused, without the file; empty if it is not.
std::string RefusalOf(const std::string& text) {
  const File file(text);
  std::string refusal =
      test::TextThrown<host::CallError>([&] { ReadInstrumentModel(file.path()); });
  const std::string head = "instrument model " + file.path() + ": ";
  if (refusal.empty()) return refusal;
  EXPECT_THAT(refusal, StartsWith(head));
  EXPECT_THAT(refusal, testing::Not(HasSubstr("\n")));
  return refusal.substr(head.size());
}
std::string RefusalOf(const json& model) { return RefusalOf(model.dump()); }

constexpr int kDraws = 20000;

/// Mean and standard deviation of some numbers.
struct Spread {
  double mean = 0.0;
  double standard = 0.0;
};
Spread SpreadOf(const std::vector<double>& numbers) {
  const auto n = static_cast<double>(numbers.size());
  Spread spread;
  for (const double x : numbers) spread.mean += x / n;
  for (const double x : numbers) spread.standard += (x - spread.mean) * (x - spread.mean);
  spread.standard = std::sqrt(spread.standard / (n - 1.0));
  return spread;
}

/// The mean of 20,000 draws is known to 0.7 % of the standard deviation, and that to 0.5 % of a
/// normal distribution and better of one with an end: four of these are allowed.
void ExpectSpread(const std::vector<double>& numbers, double mean, double standard) {
  const Spread spread = SpreadOf(numbers);
  EXPECT_NEAR(spread.mean, mean, 0.03 * standard);
  EXPECT_NEAR(spread.standard, standard, 0.02 * standard);
}

/// What a shape's draws have to be, for a size of 1.
struct Theory {
  Shape shape;
  double standard;
  double within_half;  ///< probability of lying within half of the size from the mean
};
const std::vector<Theory> kTheory = {
    {Shape::kNormal, 1.0, std::erf(0.5 / std::numbers::sqrt2)},
    {Shape::kRectangular, 1.0 / std::sqrt(3.0), 0.5},
    {Shape::kTriangular, 1.0 / std::sqrt(6.0), 0.75},
    {Shape::kArcsine, 1.0 / std::sqrt(2.0), 1.0 / 3.0},
};

TEST(Distribution, DrawsHaveTheMeanAndTheStandardDeviationOfTheBooks) {
  for (const Theory& theory : kTheory) {
    SCOPED_TRACE(static_cast<int>(theory.shape));
    const Distribution distribution{theory.shape, -3.0, 0.2};
    Rng rng(11);
    std::vector<double> draws(kDraws);
    for (double& draw : draws) draw = distribution.Draw(rng);
    ExpectSpread(draws, -3.0, 0.2 * theory.standard);
    const auto within = [&](double distance) {
      return static_cast<double>(
                 std::count_if(draws.begin(), draws.end(),
                               [&](double x) { return std::fabs(x + 3.0) <= distance; })) /
             kDraws;
    };
    // A share of 20,000 draws is known to 0.35 % at worst.
    EXPECT_NEAR(within(0.1), theory.within_half, 0.014);
    if (theory.shape != Shape::kNormal) {
      EXPECT_EQ(within(0.2 * (1.0 + 1e-12)), 1.0);
    }
  }
}

// The same on every machine: these numbers were written down once.
TEST(Distribution, TheSameSeedDrawsTheSameNumbers) {
  const std::vector<double> known = {
      0x1.e3c7beb8eaa8ap-1, -0x1.9e08c64c523b8p+1, 0x1.320929fc7f6cp-1,  -0x1.4811139d50998p-2,
      0x1.1c01405bae3e8p-3, -0x1.5b4f5d32d4558p-3, 0x1.8db2bbc963142p-3, 0x1.35e0a455f057ap+1};
  std::vector<double> drawn;
  for (const Theory& theory : kTheory) {
    Rng rng(2024);
    for (int i = 0; i < 2; ++i) drawn.push_back(Distribution{theory.shape, 0.5, 2.0}.Draw(rng));
  }
  EXPECT_EQ(drawn, known);
}

TEST(Distribution, WhatIsKnownExactlyDrawsNothing) {
  EXPECT_TRUE(Distribution().IsOff());
  for (const Theory& theory : kTheory) {
    const Distribution exact{theory.shape, 0.25, 0.0};
    EXPECT_FALSE(exact.IsOff());
    Rng rng(5);
    EXPECT_EQ(exact.Draw(rng), 0.25);
    EXPECT_EQ(rng.Next(), Rng(5).Next());
  }
}

/// A model with every contribution, each of a shape, and with some errors that are known.
constexpr const char* kWhole = R"({
  // A comment, as in a scene.
  "noise": {"range": 5e-6, "rays": 7, "lost": "zero"},
  "instrument": {"points_per_second": 500, "range_offset": 1e-5, "angle_scale_ppm": 2,
                 "azimuth_encoder": {"first_urad": 3, "first_deg": 90}, "bursts": {"share": 0.1}},
  "surface": {"mirror": 0.25},
  "contributions": {
    "range_offset": {"distribution": "normal", "standard": 5e-6},
    "range_scale_ppm": {"distribution": "rectangular", "half_width": 1},
    "angle_scale_ppm": {"distribution": "triangular", "half_width": 3, "mean": -0.5},
    "azimuth_encoder": {"first_urad": {"distribution": "normal", "standard": 4},
                        "second_urad": {"distribution": "rectangular", "half_width": 2, "mean": 1}},
    "elevation_encoder": {"first_urad": {"distribution": "triangular", "half_width": 6},
                          "second_urad": {"distribution": "arcsine", "half_width": 7}},
    "collimation_urad": {"distribution": "arcsine", "half_width": 8},
    "axis_tilt_urad": {"distribution": "normal", "standard": 9},
    "temperature": {"distribution": "arcsine", "half_width": 2, "mean": 1}, /* K */
    "expansion_ppm_per_k": 11.5,
    "form": {"distribution": "normal", "standard": 1e-5}
  }})";

void ExpectDistribution(const Distribution& read, Shape shape, double mean, double size) {
  EXPECT_EQ(read.shape, shape);
  EXPECT_DOUBLE_EQ(read.mean, mean);
  EXPECT_DOUBLE_EQ(read.size, size);
}

TEST(InstrumentModel, AWholeOneIsRead) {
  const InstrumentModel model = ModelOf(kWhole);
  EXPECT_EQ(model.noise.range, 5e-6);
  EXPECT_EQ(model.noise.rays, 7);
  EXPECT_EQ(model.noise.lost, sim::LostReturn::kZero);
  EXPECT_EQ(model.noise.angle, sim::Noise().angle);
  EXPECT_EQ(model.errors.pace.points_per_second, 500.0);
  EXPECT_EQ(model.errors.alignment.range_offset, 1e-5);
  EXPECT_DOUBLE_EQ(model.errors.alignment.angle_scale, 2e-6);
  EXPECT_DOUBLE_EQ(model.errors.alignment.azimuth.first, 3e-6);
  EXPECT_DOUBLE_EQ(model.errors.alignment.azimuth.first_phase, 0.5 * std::numbers::pi);
  EXPECT_EQ(model.errors.bursts.share, 0.1);
  ASSERT_NE(model.surface, nullptr);
  EXPECT_EQ(model.surface->mirror(), 0.25);
  const Contributions& c = model.contributions;
  ExpectDistribution(c.range_offset, Shape::kNormal, 0.0, 5e-6);
  ExpectDistribution(c.range_scale, Shape::kRectangular, 0.0, 1e-6);
  ExpectDistribution(c.angle_scale, Shape::kTriangular, -0.5e-6, 3e-6);
  ExpectDistribution(c.azimuth_first, Shape::kNormal, 0.0, 4e-6);
  ExpectDistribution(c.azimuth_second, Shape::kRectangular, 1e-6, 2e-6);
  ExpectDistribution(c.elevation_first, Shape::kTriangular, 0.0, 6e-6);
  ExpectDistribution(c.elevation_second, Shape::kArcsine, 0.0, 7e-6);
  ExpectDistribution(c.collimation, Shape::kArcsine, 0.0, 8e-6);
  ExpectDistribution(c.axis_tilt, Shape::kNormal, 0.0, 9e-6);
  ExpectDistribution(c.temperature, Shape::kArcsine, 1.0, 2.0);
  EXPECT_DOUBLE_EQ(c.expansion, 11.5e-6);
  ExpectDistribution(c.form, Shape::kNormal, 0.0, 1e-5);
}

TEST(InstrumentModel, AnEmptyOneIsTheVirtualInstrument) {
  const InstrumentModel model = ModelOf("{}");
  EXPECT_EQ(model.noise.range, sim::Noise().range);
  EXPECT_EQ(model.surface, nullptr);
  EXPECT_TRUE(model.errors.alignment.IsOff());
  EXPECT_EQ(ModelOf(R"({"noise": false})").noise.range, 0.0);
  Rng rng(3);
  const DrawnContributions drawn = DrawContributions(model, rng);
  EXPECT_TRUE(drawn.errors.alignment.IsOff());
  EXPECT_EQ(drawn.growth, 1.0);
  EXPECT_EQ(drawn.form, 0.0);
}

TEST(InstrumentModel, TheExampleIsSound) {
  const std::string path = LIBMFX_SOURCE_DIR "/examples/uncertainty/instrument.json";
  const InstrumentModel model = ReadInstrumentModel(path);
  const Contributions& c = model.contributions;
  for (const Distribution& d :
       {c.range_offset, c.range_scale, c.angle_scale, c.azimuth_first, c.azimuth_second,
        c.elevation_first, c.elevation_second, c.collimation, c.axis_tilt, c.temperature, c.form}) {
    EXPECT_FALSE(d.IsOff());
  }
  EXPECT_NE(model.surface, nullptr);
}

/// The numbers of many trials, one of them told by `number`.
template <typename Number>
std::vector<double> Trials(const InstrumentModel& model, Number number) {
  Rng rng(7);
  std::vector<double> numbers(kDraws);
  for (double& x : numbers) x = number(DrawContributions(model, rng));
  return numbers;
}

TEST(DrawnContributions, AreAddedToWhatIsKnown) {
  const InstrumentModel model = ModelOf(kWhole);
  const auto expect = [&](auto number, double mean, double standard) {
    ExpectSpread(Trials(model, number), mean, standard);
  };
  using Drawn = DrawnContributions;
  expect([](const Drawn& d) { return d.errors.alignment.range_offset; }, 1e-5, 5e-6);
  expect([](const Drawn& d) { return d.errors.alignment.range_scale; }, 0.0, 1e-6 / std::sqrt(3.0));
  expect([](const Drawn& d) { return d.errors.alignment.angle_scale; }, 1.5e-6,
         3e-6 / std::sqrt(6.0));
  expect([](const Drawn& d) { return d.errors.alignment.collimation; }, 0.0, 8e-6 / std::sqrt(2.0));
  expect([](const Drawn& d) { return d.errors.alignment.axis_tilt; }, 0.0, 9e-6);
  expect([](const Drawn& d) { return d.growth; }, 1.0 + 11.5e-6, 11.5e-6 * std::sqrt(2.0));
  // Half of a normal distribution.
  const double mean = 1e-5 * std::sqrt(2.0 / std::numbers::pi);
  expect([](const Drawn& d) { return d.form; }, mean, std::sqrt(1e-10 - mean * mean));
  Rng rng(7);
  const Drawn drawn = DrawContributions(model, rng);
  EXPECT_EQ(drawn.errors.pace.points_per_second, 500.0);
  EXPECT_EQ(drawn.errors.bursts.share, 0.1);
}

// At any angle the error of an encoder has the known one as its mean, and half of the mean square
// of the drawn amplitudes as its variance.
TEST(DrawnContributions, TheErrorOfAnEncoderHasAnyPhase) {
  const InstrumentModel model = ModelOf(kWhole);
  for (const double angle : {-2.0, 0.0, 0.9}) {
    SCOPED_TRACE(angle);
    const auto azimuth = [&](const DrawnContributions& d) {
      return d.errors.alignment.azimuth.At(angle);
    };
    // First and second: 4^2 of a normal amplitude, 2^2 / 3 + 1^2 of one about 1.
    ExpectSpread(Trials(model, azimuth), model.errors.alignment.azimuth.At(angle),
                 1e-6 * std::sqrt(0.5 * (16.0 + 4.0 / 3.0 + 1.0)));
    const auto elevation = [&](const DrawnContributions& d) {
      return d.errors.alignment.elevation.At(angle);
    };
    ExpectSpread(Trials(model, elevation), 0.0, 1e-6 * std::sqrt(0.5 * (36.0 / 6.0 + 49.0 / 2.0)));
  }
}

/// All numbers of a draw.
std::vector<double> NumbersOf(const DrawnContributions& drawn) {
  const sim::AlignmentSpec& a = drawn.errors.alignment;
  return {a.range_offset, a.range_scale,           a.angle_scale,           a.collimation,
          a.axis_tilt,    a.azimuth.first,         a.azimuth.second,        a.azimuth.first_phase,
          drawn.growth,   a.elevation.first,       a.elevation.second,      a.azimuth.second_phase,
          drawn.form,     a.elevation.first_phase, a.elevation.second_phase};
}

TEST(DrawnContributions, TheSameSeedDrawsTheSameAndOneMoreChangesNoOther) {
  const InstrumentModel model = ModelOf(kWhole);
  Rng one(42);
  Rng two(42);
  for (int i = 0; i < 3; ++i) {
    const auto numbers = NumbersOf(DrawContributions(model, one));
    EXPECT_EQ(numbers, NumbersOf(DrawContributions(model, two)));
    EXPECT_EQ(std::set<double>(numbers.begin(), numbers.end()).size(), numbers.size());
  }
  InstrumentModel fewer = model;
  fewer.contributions.range_offset = Distribution();
  fewer.contributions.azimuth_first = Distribution();
  Rng without(42);
  Rng with(42);
  for (int i = 0; i < 3; ++i) {
    auto all = NumbersOf(DrawContributions(model, with));
    const auto some = NumbersOf(DrawContributions(fewer, without));
    EXPECT_EQ(some[0], model.errors.alignment.range_offset);
    EXPECT_EQ(some[5], model.errors.alignment.azimuth.first);
    EXPECT_EQ(some[7], model.errors.alignment.azimuth.first_phase);
    for (const std::size_t left_out : {0U, 5U, 7U}) all[left_out] = some[left_out];
    EXPECT_EQ(some, all);
  }
}

// Amplitudes and the form are far from 0 here, where a draw is what is told of it but for its sign.
TEST(DrawnContributions, AreIndependentOfEachOther) {
  const Distribution any{Shape::kNormal, 1e-4, 1e-6};
  InstrumentModel model;
  model.contributions = {any, any, any, any, any, any, any, any, any, any, 1.0, any};
  Rng rng(9);
  std::vector<std::vector<double>> columns;
  for (int i = 0; i < kDraws; ++i) {
    const auto numbers = NumbersOf(DrawContributions(model, rng));
    columns.resize(numbers.size());
    for (std::size_t j = 0; j < numbers.size(); ++j) columns[j].push_back(numbers[j]);
  }
  for (std::vector<double>& column : columns) {
    const Spread spread = SpreadOf(column);
    EXPECT_GT(spread.standard, 0.0);
    for (double& x : column) x = (x - spread.mean) / spread.standard;
  }
  for (std::size_t j = 0; j < columns.size(); ++j) {
    for (std::size_t k = 0; k < j; ++k) {
      double correlation = 0.0;
      for (int i = 0; i < kDraws; ++i) correlation += columns[j][i] * columns[k][i] / kDraws;
      // 0.7 % of chance, of which the largest of 100 pairs may be four times as large.
      EXPECT_NEAR(correlation, 0.0, 0.03) << j << " " << k;
    }
  }
}

TEST(InstrumentModel, WrongOnesAreRefusedWithKeyAndValue) {
  const auto contribution = [](const char* key, const json& value) {
    return json{{"contributions", {{key, value}}}};
  };
  const json normal = {{"distribution", "normal"}, {"standard", 1e-6}};
  const std::vector<std::pair<json, std::string>> wrong = {
      {5, "model: 5 is not an object"},
      {json::array(), "model: [] is not an object"},
      {{{"nois", true}},
       "nois: unknown key with the value true (known here: contributions, instrument, noise, "
       "surface)"},
      {{{"noise", 3}}, "noise: 3 is not an object"},
      {{{"noise", {{"range", -1e-5}}}}, "noise.range: -1e-05 is not between 0 and 1"},
      {{{"instrument", {{"settling", -1}}}}, "instrument.settling: -1 is not between 0 and 1000"},
      {{{"surface", {{"mirror", 2}}}}, "surface.mirror: 2 is not between 0 and 0.99"},
      {{{"contributions", 1}}, "contributions: 1 is not an object"},
      {contribution("drift", normal),
       "contributions.drift: unknown key with the value an object (known here: angle_scale_ppm, "},
      {contribution("range_offset", 5e-6), "contributions.range_offset: 5e-06 is not an object"},
      {contribution("range_offset", json::object()),
       "contributions.range_offset.distribution: missing"},
      {contribution("range_offset", {{"distribution", "uniform"}}),
       "contributions.range_offset.distribution: \"uniform\" is not one of: normal, rectangular, "
       "triangular, arcsine"},
      {contribution("range_offset", {{"distribution", "normal"}}),
       "contributions.range_offset.standard: missing"},
      {contribution("range_offset", {{"distribution", "arcsine"}, {"half_width", "1"}}),
       "contributions.range_offset.half_width: \"1\" is not a number"},
      {contribution("range_scale_ppm", {{"distribution", "triangular"}, {"half_width", -1}}),
       "contributions.range_scale_ppm.half_width: -1 is not between 0 and 10000"},
      {contribution("range_offset", {{"distribution", "normal"}, {"standard", 1}, {"mean", 2}}),
       "contributions.range_offset.mean: 2 is not between -1 and 1"},
      {contribution("range_offset",
                    {{"distribution", "normal"}, {"standard", 0}, {"half_width", 1}}),
       "contributions.range_offset.half_width: unknown key with the value 1 (known here: "
       "distribution, mean, standard)"},
      {contribution("azimuth_encoder", normal),
       "contributions.azimuth_encoder.distribution: unknown key with the value \"normal\" (known "
       "here: first_urad, second_urad)"},
      {contribution("elevation_encoder",
                    {{"first_urad", {{"distribution", "normal"}, {"standard", 1}, {"mean", -1}}}}),
       "contributions.elevation_encoder.first_urad.mean: -1 is not between 0 and 10000"},
      {contribution("expansion_ppm_per_k", 501),
       "contributions.expansion_ppm_per_k: 501 is not between -500 and 500"},
      {contribution("temperature", normal),
       "contributions.expansion_ppm_per_k: missing, and temperature does nothing without it"},
      {contribution("form", {{"distribution", "normal"}, {"standard", 0.001}}),
       "contributions.form.standard: 0.001 is not between 0 and 1e-04"}};
  for (const auto& [model, text] : wrong) EXPECT_THAT(RefusalOf(model), StartsWith(text));
}

TEST(InstrumentModel, FilesThatAreNoneAreRefused) {
  for (const char* text : {"", "{", "{\"noise\": true} {}", "{\"noise\": NaN}", "{\"a\": 1e999}",
                           "\xff\xfe{}", "/* never ends"}) {
    EXPECT_THAT(RefusalOf(std::string(text)), StartsWith("model: not JSON: ")) << text;
  }
  const std::string deep(100000, '[');
  EXPECT_THAT(RefusalOf(deep), StartsWith("model: not JSON: "));
  EXPECT_THAT(RefusalOf("{\"form\": " + deep + std::string(100000, ']') + "}"),
              StartsWith("form: unknown key with the value [...] (known here: "));
  const auto thrown = [](const std::string& path) {
    return test::TextThrown<host::CallError>([&] { ReadInstrumentModel(path); });
  };
  EXPECT_EQ(thrown("no/such.json"),
            "instrument model no/such.json: cannot be read (No such file or directory)");
  EXPECT_THAT(thrown("/"), StartsWith("instrument model /: cannot be read ("));
  const File large(std::string((16U << 20U) + 1U, ' '));
  EXPECT_THAT(thrown(large.path()), HasSubstr(": 16777217 bytes are no model"));
}

TEST(SurfaceFile, HoldsTheSurfaceOfAScene) {
  const auto read = [](const std::string& text) { return ReadSurface(File(text).path()); };
  const auto surface = read("{\"mirror\": 0.5, // polished\n \"gloss\": {\"factor\": 3}}");
  ASSERT_NE(surface, nullptr);
  EXPECT_EQ(surface->mirror(), 0.5);
  EXPECT_EQ(read("{}"), nullptr);
  const File file(R"({"roughness": {"range": 1}})");
  const auto thrown = [](const std::string& path) {
    return test::TextThrown<host::CallError>([&] { ReadSurface(path); });
  };
  EXPECT_EQ(thrown(file.path()),
            "surface " + file.path() + ": roughness.range: 1 is not between 0 and 0.001");
  const File other("[1, 2]");
  EXPECT_EQ(thrown(other.path()), "surface " + other.path() + ": surface: [1, 2] is not an object");
  EXPECT_EQ(thrown("none.json"), "surface none.json: cannot be read (No such file or directory)");
}

}  // namespace
}  // namespace libmfx::uncertainty
