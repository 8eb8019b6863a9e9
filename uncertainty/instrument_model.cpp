#include "uncertainty/instrument_model.h"

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

#include "host/errors.h"
#include "sim/json_file.h"
#include "sim/portable_math.h"
#include "sim/scene_blocks.h"
#include "sim/scene_section.h"

namespace libmfx::uncertainty {
namespace {

using sim::SceneSection;

constexpr double kMicro = 1e-6;  ///< of what the file tells in ppm, urad and ppm/K

/// In which unit a file tells a contribution, and within which limits, in this unit.
struct Told {
  double unit;                ///< in units of the library
  double limit;               ///< of the size, and of the mean to both sides
  bool is_amplitude = false;  ///< its mean is 0 or more
};

// The limits of what a scene may tell. What grows with the part stays so small that no draw turns
// the part inside out or makes its faces steep.
constexpr Told kMetres{1.0, 1.0};
constexpr Told kMillionths{kMicro, 10000.0};
constexpr Told kAmplitude{kMicro, 10000.0, true};
constexpr Told kKelvins{1.0, 100.0};
constexpr Told kForm{1.0, 1e-4, true};
constexpr double kLargestExpansion = 500.0;  ///< ppm/K, to both sides

Distribution::Shape ReadShape(SceneSection& s) {
  const std::string shape =
      s.Choice("distribution", {"normal", "rectangular", "triangular", "arcsine"});
  if (shape == "normal") return Distribution::Shape::kNormal;
  if (shape == "rectangular") return Distribution::Shape::kRectangular;
  if (shape == "triangular") return Distribution::Shape::kTriangular;
  return Distribution::Shape::kArcsine;
}

/// A contribution; off if the key is absent.
Distribution ReadDistribution(SceneSection& parent, const char* key, const Told& told) {
  Distribution distribution;
  if (!parent.Tells(key)) return distribution;
  SceneSection s = parent.Child(key);
  distribution.shape = ReadShape(s);
  const bool is_normal = distribution.shape == Distribution::Shape::kNormal;
  const double size = s.Number(is_normal ? "standard" : "half_width", 0.0, told.limit);
  const double mean = s.Number("mean", told.is_amplitude ? 0.0 : -told.limit, told.limit, 0.0);
  s.Finish();
  distribution.size = told.unit * size;
  distribution.mean = told.unit * mean;
  return distribution;
}

void ReadEncoder(SceneSection& parent, const char* key, Distribution& first, Distribution& second) {
  if (!parent.Tells(key)) return;
  SceneSection s = parent.Child(key);
  first = ReadDistribution(s, "first_urad", kAmplitude);
  second = ReadDistribution(s, "second_urad", kAmplitude);
  s.Finish();
}

Contributions ReadContributions(SceneSection s) {
  Contributions c;
  c.range_offset = ReadDistribution(s, "range_offset", kMetres);
  c.range_scale = ReadDistribution(s, "range_scale_ppm", kMillionths);
  c.angle_scale = ReadDistribution(s, "angle_scale_ppm", kMillionths);
  ReadEncoder(s, "azimuth_encoder", c.azimuth_first, c.azimuth_second);
  ReadEncoder(s, "elevation_encoder", c.elevation_first, c.elevation_second);
  c.collimation = ReadDistribution(s, "collimation_urad", kMillionths);
  c.axis_tilt = ReadDistribution(s, "axis_tilt_urad", kMillionths);
  c.temperature = ReadDistribution(s, "temperature", kKelvins);
  if (s.Has("temperature") && !s.Has("expansion_ppm_per_k")) {
    s.Refuse("expansion_ppm_per_k", "missing, and temperature does nothing without it");
  }
  c.expansion =
      kMicro * s.Number("expansion_ppm_per_k", -kLargestExpansion, kLargestExpansion, 0.0);
  c.form = ReadDistribution(s, "form", kForm);
  s.Finish();
  return c;
}

InstrumentModel ModelOf(const nlohmann::json& value) {
  SceneSection s(value, "", "model");
  InstrumentModel model;
  s.Tells("noise");
  model.noise = sim::ReadNoise(s);
  if (s.Tells("instrument")) model.errors = sim::ReadInstrument(s.Child("instrument"));
  if (s.Tells("surface")) model.surface = sim::ReadSurface(s.Child("surface"));
  if (s.Tells("contributions")) model.contributions = ReadContributions(s.Child("contributions"));
  s.Finish();
  return model;
}

/// What `read` makes of a file's value.
/// \param what the file tells, of one word: "model"
/// \param role of the file, for people
template <typename Read>
auto FromFile(const std::string& path, const std::string& what, const std::string& role,
              Read read) {
  try {
    const std::string text = sim::ReadJsonText(path, what);
    try {
      return read(sim::ParseJson(text, what));
    } catch (const sim::SceneError& error) {
      throw sim::SceneError(path + ": " + error.what());
    }
  } catch (const sim::SceneError& error) {
    throw host::CallError(role + " " + host::OneLine(error.what()));
  }
}

/// A draw of one contribution of a trial, from a seed of its own.
double DrawOf(const Distribution& distribution, std::uint64_t trial, std::string_view name) {
  sim::Rng rng(sim::DeriveSeed(trial, name));
  return distribution.Draw(rng);
}

/// Adds an error of an encoder whose phase may be anything to the wave `amplitude` sin(angle +
/// `phase`): both are one wave again.
void AddWave(const Distribution& distribution, std::uint64_t trial, std::string_view name,
             double& amplitude, double& phase) {
  if (distribution.IsOff()) return;
  sim::Rng rng(sim::DeriveSeed(trial, name));
  const double drawn = distribution.Draw(rng);
  const auto at = sim::portable::SinCosOfTurns(rng.Uniform());
  const auto known = sim::portable::SinCosOfTurns(phase * (0.5 / sim::kPi));
  const double along = amplitude * known.cosine + drawn * at.cosine;
  const double across = amplitude * known.sine + drawn * at.sine;
  amplitude = std::sqrt(along * along + across * across);
  phase = sim::portable::Atan2(across, along);
}

}  // namespace

double Distribution::Draw(sim::Rng& rng) const {
  if (size == 0.0) return mean;
  switch (shape) {
    case Shape::kNormal:
      return mean + size * rng.Normal();
    case Shape::kRectangular:
      return mean + rng.Uniform(-size, size);
    case Shape::kTriangular: {
      const double sum = rng.Uniform() + rng.Uniform();
      return mean + size * (sum - 1.0);
    }
    case Shape::kArcsine:
      return mean + size * sim::portable::SinCosOfTurns(rng.Uniform()).sine;
  }
  return mean;
}

InstrumentModel ReadInstrumentModel(const std::string& path) {
  return FromFile(path, "model", "instrument model", ModelOf);
}

std::shared_ptr<const sim::Surface> ReadSurface(const std::string& path) {
  return FromFile(path, "surface", "surface", [](const nlohmann::json& value) {
    return sim::ReadSurface(SceneSection(value, "", "surface"));
  });
}

DrawnContributions DrawContributions(const InstrumentModel& model, sim::Rng& rng) {
  const Contributions& c = model.contributions;
  const std::uint64_t trial = rng.Next();
  DrawnContributions drawn;
  drawn.errors = model.errors;
  sim::AlignmentSpec& alignment = drawn.errors.alignment;
  alignment.range_offset += DrawOf(c.range_offset, trial, "range_offset");
  alignment.range_scale += DrawOf(c.range_scale, trial, "range_scale");
  alignment.angle_scale += DrawOf(c.angle_scale, trial, "angle_scale");
  alignment.collimation += DrawOf(c.collimation, trial, "collimation");
  alignment.axis_tilt += DrawOf(c.axis_tilt, trial, "axis_tilt");
  auto& azimuth = alignment.azimuth;
  AddWave(c.azimuth_first, trial, "azimuth_first", azimuth.first, azimuth.first_phase);
  AddWave(c.azimuth_second, trial, "azimuth_second", azimuth.second, azimuth.second_phase);
  auto& elevation = alignment.elevation;
  AddWave(c.elevation_first, trial, "elevation_first", elevation.first, elevation.first_phase);
  AddWave(c.elevation_second, trial, "elevation_second", elevation.second, elevation.second_phase);
  drawn.growth = 1.0 + c.expansion * DrawOf(c.temperature, trial, "temperature");
  // A height below 0 is the same height with crests and valleys changed.
  drawn.form = std::fabs(DrawOf(c.form, trial, "form"));
  return drawn;
}

}  // namespace libmfx::uncertainty
