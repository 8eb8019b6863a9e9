#include "sim/echo.h"

#include <algorithm>
#include <cmath>

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

constexpr double kMinCos = 1e-3;  // keeps tangents and logarithms finite at grazing incidence

/// A run of echoes that the instrument cannot tell apart.
struct Cluster {
  double power = 0.0;
  double matte_power = 0.0;  ///< of the same echoes from a matte surface
  double range_sum = 0.0;    ///< weighted by power
  double cos_sum = 0.0;

  double Range() const { return range_sum / power; }
  double Cos() const { return cos_sum / power; }
  double Strength() const { return power / matte_power; }
  void Add(const RayEcho& echo, double weight) {
    power += weight;
    range_sum += weight * echo.range;
    cos_sum += weight * echo.cos_incidence;
  }
};

double MattePower(const RayEcho& echo) {
  const double c = std::max(echo.cos_incidence, kMinCos);
  return c * c;
}

double Power(const RayEcho& echo) { return MattePower(echo) * echo.strength; }

Cluster Gather(std::span<const RayEcho> echoes) {
  Cluster cluster;
  for (const RayEcho& echo : echoes) {
    const double matte = MattePower(echo);
    cluster.matte_power += matte;
    cluster.Add(echo, matte * echo.strength);
  }
  return cluster;
}

/// The strongest cluster of echoes that are sorted by range; the nearer of two equal ones.
Cluster Strongest(std::span<const RayEcho> sorted, double resolution) {
  Cluster best;
  std::size_t start = 0;
  for (std::size_t i = 1; i <= sorted.size(); ++i) {
    if (i < sorted.size() && sorted[i].range - sorted[i - 1].range <= resolution) continue;
    const Cluster cluster = Gather(sorted.subspan(start, i - start));
    if (cluster.power > best.power) best = cluster;
    start = i;
  }
  return best;
}

/// The range in between that a detector reads off two echoes at once; speckle weighs the rays
/// anew each time.
double MixedRange(std::span<const RayEcho> echoes, Rng& rng) {
  Cluster all;
  for (const RayEcho& echo : echoes) {
    all.Add(echo, Power(echo) * -portable::Log(1.0 - rng.Uniform()));
  }
  return all.power > 0.0 ? all.Range() : echoes.front().range;
}

double RangeSigma(double range, double cos_incidence, const Noise& noise) {
  const double c = std::max(cos_incidence, kMinCos);
  const double depth = noise.footprint * 0.5 * range * std::sqrt(1.0 - c * c) / c;
  const double grown = noise.range_per_metre * range;
  const double speckle = noise.speckle * depth;
  return std::sqrt(noise.range * noise.range + grown * grown + speckle * speckle);
}

}  // namespace

std::vector<Vec2> FootprintRays(int rays) {
  constexpr double kGoldenAngle = 2.39996322972865332;
  std::vector<Vec2> offsets{Vec2::Zero()};
  for (int pair = 0; 2 * pair + 2 < rays; ++pair) {
    // Half of the power of this pair lies farther in than the pair.
    const double inside = (2.0 * pair + 2.0) / rays;
    const double radius = std::sqrt(-0.5 * portable::Log(1.0 - inside));
    const auto [s, c] = portable::SinCos(kGoldenAngle * pair);
    offsets.emplace_back(radius * c, radius * s);
    offsets.emplace_back(-radius * c, -radius * s);
  }
  return offsets;
}

double ExpectedQuality(double cos_incidence, double range, const Noise& noise) {
  double quality = noise.quality_peak;
  quality += noise.quality_incidence * portable::Log10(std::max(cos_incidence, kMinCos));
  if (range > 2.0) quality -= noise.quality_range * portable::Log10(range / 2.0);
  return quality;
}

Echo FormEcho(std::span<RayEcho> met, int cast, const Noise& noise, Rng& rng) {
  Echo echo;
  if (met.empty()) return echo;
  const auto [low, high] = std::minmax_element(
      met.begin(), met.end(), [](const auto& a, const auto& b) { return a.range < b.range; });
  Cluster main;
  bool mixed = false;
  double balance = 0.0;  // 0: one echo, 1: two of the same strength
  double share = 1.0;
  if (high->range - low->range <= noise.resolution) {
    main = Gather(met);
  } else {
    std::sort(met.begin(), met.end(),
              [](const auto& a, const auto& b) { return a.range < b.range; });
    main = Strongest(met, noise.resolution);
    share = std::min(1.0, main.power / Gather(met).power);
    balance = share < 0.5 ? 1.0 : 4.0 * share * (1.0 - share);
    mixed = rng.Uniform() < noise.mixed * balance;
  }
  echo.range = mixed ? MixedRange(met, rng) : main.Range();
  if (echo.range > noise.max_range) return echo;

  echo.quality = ExpectedQuality(main.Cos(), echo.range, noise);
  if (mixed) {
    echo.quality -= noise.mixed_penalty * std::sqrt(balance);
  } else if (share < 1.0 || static_cast<int>(met.size()) < cast) {
    echo.quality += 20.0 * portable::Log10(share * static_cast<double>(met.size()) / cast);
  }
  if (const double strength = main.Strength(); strength != 1.0) {
    echo.quality += 20.0 * portable::Log10(strength);
  }
  echo.quality += noise.quality_noise * rng.Normal();
  if (echo.quality < noise.quality_floor) return echo;
  echo.range += RangeSigma(echo.range, main.Cos(), noise) * rng.Normal();
  echo.quality = std::clamp(echo.quality, 0.0, 100.0);
  echo.lost = false;
  return echo;
}

}  // namespace libmfx::sim
