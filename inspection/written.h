#pragma once

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/sheet.h"

/// \file
/// What the files of a sheet have in common: numbers in the plan's units, what is told of a
/// characteristic, and the verdict of the whole.

namespace libmfx::inspection {

/// A number with some decimals and no more, so that the last bits, which differ between compilers,
/// do not reach a file. One that is too large to have decimals stays as it is, and so does one that
/// is not finite; there is no negative zero.
double RoundedTo(double value, int decimals);

/// Decimals of a unit vector's coordinates: a billionth.
inline constexpr int kDirectionDecimals = 9;

/// Numbers in the plan's units: lengths to a nanometre or finer, angles to a nanoradian or finer.
class UnitNumbers {
 public:
  explicit UnitNumbers(const Units& units);

  double Length(double metres) const;
  double Angle(double radians) const;
  Vector3d Lengths(const Vector3d& metres) const;
  /// A number of a characteristic: a length or an angle.
  double Of(const Characteristic& characteristic, double value) const;
  const std::string& UnitOf(const Characteristic& characteristic) const;
  /// A covariance of a place, in squares of the unit: six digits of its largest number, and as many
  /// decimals of the others.
  Eigen::Matrix3d Covariance(const Eigen::Matrix3d& square_metres) const;

 private:
  Units _units;
  double _length, _angle;  // metres and radians in one of the plan's
  int _length_decimals, _angle_decimals;
};

/// Three numbers rounded alike.
Vector3d RoundedTo(const Vector3d& numbers, int decimals);

/// What the files tell of a characteristic. What there is none of is empty.
struct ToldResult {
  Verdict verdict = Verdict::kNotMeasured;
  std::string reason;
  std::optional<double> measured, standard, share_within;  ///< m or radians
  std::optional<std::array<double, 2>> interval95;         ///< the same
};

/// One for each characteristic of the plan. One whose value is not a number was not measured,
/// whatever its verdict, and nothing is told of how sure a value is that is not sure.
std::vector<ToldResult> ToldResults(const Sheet& sheet);

/// "does not conform" comes before "not measured", this before "cannot be decided", and "conforms"
/// is left where all conform; nothing of none.
std::optional<Verdict> WorstOf(std::span<const Verdict> verdicts);

/// The worst of all. Where nothing was asked, nothing can be decided.
Verdict WholeVerdict(const std::vector<ToldResult>& results);

/// The worst verdict of the characteristics that a feature takes part in; nothing where there are
/// none.
std::vector<std::optional<Verdict>> FeatureVerdicts(const Sheet& sheet,
                                                    const std::vector<ToldResult>& results);

/// The name of a feature of the plan; empty where it has no such feature.
std::string_view FeatureName(const Plan& plan, std::size_t feature);

/// Whether a feature has a nominal place; a free path has none.
bool HasPlace(const PlannedFeature& feature);

/// What was measured of a feature of the plan; null where it was not.
const FeatureResult* MeasuredFeature(const Sheet& sheet, std::size_t feature);

/// A text whose bytes are UTF-8 all over: others are replaced.
std::string Utf8Text(const std::string& text);

}  // namespace libmfx::inspection
