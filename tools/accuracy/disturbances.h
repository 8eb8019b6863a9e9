#pragma once

#include <string>
#include <vector>

#include "sim/rng.h"
#include "tools/accuracy/campaign.h"

/// \file
/// What spoils measurements on a shop floor, each at three strengths, as keys of a scene.

namespace libmfx::accuracy {

constexpr int kStrengths = 3;  ///< as met daily, bad, absurd

/// A job that is to be spoilt.
struct Spoilt {
  Job& job;
  double reach;  ///< from the part's origin to where the feature ends across its normal, metres
  double top;    ///< of the part above its front, metres
  int strength;  ///< 0 to kStrengths - 1
  sim::Rng& rng;

  json& Scene() const { return job.scene; }
  json& Part() const { return job.scene["part"]; }
  /// The one of three figures that stands for the strength.
  double Of(double daily, double bad, double absurd) const {
    return strength == 0 ? daily : strength == 1 ? bad : absurd;
  }
  /// A figure of either sign, from half of the one for the strength to it.
  double Either(double daily, double bad, double absurd) const;
};

/// One thing that spoils a measurement.
struct Disturbance {
  std::string name;
  std::string what;                ///< at each strength, in words
  bool (*meets)(const json& job);  ///< whether a feature of this kind meets it at all
  void (*spoil)(const Spoilt& it);
};

const std::vector<Disturbance>& Disturbances();

/// The campaign that holds the type of another one against each disturbance that it meets, at each
/// strength, and against all of them at once at the first one. Its conditions draw what `usual` of
/// that campaign names, in turn.
/// \throws std::runtime_error if the campaign names no usual condition
Campaign HostileOf(const Campaign& campaign);

/// Spoils a job as its condition tells.
void Spoil(const Condition& condition, Job& job, sim::Rng& rng);

}  // namespace libmfx::accuracy
