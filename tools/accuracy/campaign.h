#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/rng.h"

/// \file
/// What a Monte-Carlo campaign over one feature type is made of. A type gets its campaign with one
/// source in `campaigns/`, which draws a job and compares a result with the truth of its scene:
///
///   namespace {
///   Job Draw(const Condition& c, sim::Rng& rng) { ... }
///   std::vector<double> Errors(const Result& r) { ... }
///   const Registered kHole({"hole", "Hole", "Round holes of ...", StandardConditions(),
///                           {{"centre", "µm", 1e6, 50e-6}, {"radius", "µm", 1e6, 30e-6}},
///                           Draw, Errors});
///   }
///
/// `scripts/accuracy.sh hole` then runs it and writes its section of docs/accuracy.md.

namespace libmfx::accuracy {

using Eigen::Vector3d;
using nlohmann::json;

struct Disturbance;

/// Something that spoils a measurement, and how strongly.
struct Spoiling {
  const Disturbance* by;
  int strength;  ///< 0: as met daily, 1: bad, 2: absurd
};

/// The ranges from which a run draws. Lengths metres, angles radians.
struct Condition {
  std::string label;
  double nearest = 2.0;  ///< range of the feature
  double farthest = 5.0;
  double least_tilt = 0.0;  ///< between the feature's normal and the line of sight
  double most_tilt = 0.35;
  double offset = 0.0;        ///< most that the nominal's place is off, in any direction
  double misalignment = 0.0;  ///< most that the nominal's direction is off
  bool noise = true;
  std::string variant;       ///< whatever else the campaign tells apart
  double least_depth = 1.0;  ///< of a thread, as a share of its basic profile's
  double most_depth = 1.0;
  std::vector<Spoiling> spoilt = {};  ///< by what the job that is drawn is spoilt
  std::vector<Condition> plain = {};  ///< what a job that is spoilt is drawn from, in turn
};

/// Noise off; near and level; tilted; far; very far; a nominal that is off by up to 1 mm.
std::vector<Condition> StandardConditions();

/// Where a feature really stands, and where the request says that it does.
struct Placement {
  Vector3d place;    ///< true location
  Vector3d normal;   ///< true normal, towards the instrument's side, unit
  Vector3d tangent;  ///< true tangent, unit
  Vector3d nominal_place;
  Vector3d nominal_normal;
  Vector3d nominal_tangent;

  /// The pose of a scene.
  json Pose() const;
};

/// Draws a placement within 0.5 rad of straight ahead, turned about its normal at random.
Placement DrawPlacement(const Condition& condition, sim::Rng& rng);

/// A vector as JSON.
json ToJson(const Vector3d& v);

/// A unit vector of any direction.
Vector3d DrawDirection(sim::Rng& rng);

/// A run: what goes into the batch.
// The JSON library's moves do not throw, which the check cannot see.
struct Job {  // NOLINT(bugprone-exception-escape)
  json request;
  json scene;
};

/// One quantity that is compared.
struct Quantity {
  std::string name;
  std::string unit;  ///< as printed
  double scale;      ///< from metres or radians to that unit
  double limit;      ///< a success that is off by more, unwarned, is wrong; metres or radians;
                     ///< infinite: none is
  int values = 1;    ///< that a run has of it: a length and a width are two sizes
};

/// A successful result beside what it should have been.
struct Result {
  const json& request;
  const json& result;  ///< the result message
  const json& truth;   ///< of the scene, in the instrument's frame; docs/scenes.md tells its keys
  const json& uncertainty;  ///< as answers.h tells it; null where the answer has none

  /// Three numbers under a key. What is missing gives NaN, which counts as wrong.
  Vector3d Measured(const char* key) const { return Triple(result, key); }
  Vector3d True(const char* key) const { return Triple(truth, key); }
  double MeasuredNumber(const char* key) const { return Number(result, key); }
  double TrueNumber(const char* key) const { return Number(truth, key); }
  /// The samples in the result, cartesian, in the instrument's frame.
  std::vector<Vector3d> Points() const;

  static Vector3d Triple(const json& object, const char* key);
  static double Number(const json& object, const char* key);
};

/// The angle between two directions, radians; of two lines if `either_way`.
double Angle(const Vector3d& a, const Vector3d& b, bool either_way = false);

struct Campaign {
  std::string name;   ///< as the command line names it
  std::string title;  ///< of the section
  std::string what;   ///< the section's words: what is drawn from which ranges
  std::vector<Condition> conditions;
  std::vector<Quantity> quantities;
  Job (*draw)(const Condition& condition, sim::Rng& rng);
  /// The errors of a success, for each quantity in order as many as it has values; metres or
  /// radians.
  std::vector<double> (*errors)(const Result& result);
  /// The labels of the conditions that stand for the type where what it measures is spoilt.
  std::vector<std::string> usual = {};
  /// The same errors in standard uncertainties that the fit states, NaN for one that has none. The
  /// table of a campaign that tells them tells in how many runs the truth lies within two.
  std::vector<double> (*in_uncertainties)(const Result& result) = nullptr;
  /// The table tells the share of successes that are warned, and how many runs are wrong at all.
  bool tells_runs = false;
  /// The table has one row a condition and tells runs; texts are listed once for all of them.
  bool is_compact = false;
};

/// Makes a campaign known to the program.
struct Registered {
  explicit Registered(Campaign campaign);
};

/// All campaigns, by name.
const std::vector<Campaign>& Campaigns();

/// A campaign by its name; "hostile-" before the name is the one in which everything is spoilt.
/// \throws std::runtime_error if there is none
const Campaign& CampaignOf(const std::string& name);

}  // namespace libmfx::accuracy
