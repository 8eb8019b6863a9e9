#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/numbers.h"
#include "inspection/plan.h"

/// \file
/// What an inspection came to: what its writers write. Lengths are metres, angles radians.

namespace libmfx::inspection {

/// By ISO 14253-1.
enum class Verdict { kConforms, kDoesNotConform, kUndecided, kNotMeasured };

/// "conforms", "does not conform", "cannot be decided", "not measured"
std::string_view VerdictName(Verdict verdict);

/// A feature as it was measured.
struct FeatureResult {
  bool is_measured = false;            ///< with success and without a warning
  std::string reason;                  ///< why not, for people
  std::vector<std::string> warnings;   ///< of a success that is doubted, and so not measured
  std::optional<std::size_t> station;  ///< from which; none where no conversation was held
  std::string recording;               ///< file in the folder, relative: "recordings/012-H1.rec"
  FeatureNumbers measured;             ///< in the part's frame, biases taken off
  FeatureSpread spread;                ///< of the feature alone, in the part's frame
  std::vector<Vector3d> points;        ///< the surface as its samples show it, in the part's frame
};

/// A characteristic with its verdict.
struct CharacteristicResult {
  Verdict verdict = Verdict::kNotMeasured;
  std::string reason;     ///< why it was not measured, for people
  double measured = 0.0;  ///< the best estimate; of no meaning where it was not measured
  double standard = 0.0;  ///< standard uncertainty
  std::array<double, 2> interval95 = {0.0, 0.0};  ///< the shortest that holds 95 % of the draws
  double share_within = 0.0;                      ///< of the draws within the tolerance
  bool is_sure = false;  ///< whether an uncertainty is known; without one nothing is decided
};

/// A station with where it was found to stand.
struct StationResult {
  Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();  ///< from the part's into its frame
  Vector3d position_standard = Vector3d::Zero();  ///< m, of the references' middle, in its frame
  Vector3d turn_standard = Vector3d::Zero();      ///< radians, about its axes
  std::string instrument;                         ///< what was driven, for people
};

/// How the part's frame was laid.
struct AlignmentResult {
  std::string method;                   ///< for people: "references B1, B2, B3"
  std::vector<double> residuals;        ///< m, of each reference of the plan; NaN where not used
  std::optional<std::size_t> left_out;  ///< a reference of the plan that does not fit to the others
  double scale = 1.0;                   ///< by which measured lengths were divided
};

/// The whole outcome. Lists have an entry for each one of the plan.
struct Sheet {
  Plan plan;
  std::string program;        ///< with its version
  std::string time;           ///< of the inspection's beginning, UTC: "2026-01-31T23:59:59Z"
  std::string uncertainties;  ///< how they came to be, a sentence for people
  std::vector<StationResult> stations;
  AlignmentResult alignment;
  std::vector<FeatureResult> features;
  std::vector<CharacteristicResult> characteristics;
  std::vector<std::string> notes;  ///< what else is to be known, for people

  int Count(Verdict verdict) const;
};

}  // namespace libmfx::inspection
