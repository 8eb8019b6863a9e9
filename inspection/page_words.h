#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/plan.h"
#include "inspection/sheet.h"

/// \file
/// How the page of an inspection says things: texts, numbers and verdicts.

namespace libmfx::inspection::page {

/// What stands where there is no number.
inline constexpr const char* kNothing = "&ndash;";

/// Text from outside as it may stand in HTML. Bytes that are no UTF-8 and characters that no page
/// may hold become U+FFFD.
std::string Text(std::string_view text);

/// The beginning of a text, and an ellipsis where that is not all.
/// \param most characters
std::string Shortened(std::string_view text, std::size_t most);

/// A number with a fixed count of decimals, as HTML: `kNothing` for one that is not finite, an
/// exponent for one that no table has room for.
/// \param sign whether a positive number gets one
std::string Fixed(double value, int decimals, bool sign = false);

/// Lengths and angles for people, in the units of a plan, as HTML.
class Numbers {
 public:
  explicit Numbers(const Units& units);

  /// Without the unit, to a tenth of a micrometre or a little better.
  std::string Length(double metres, bool sign = false) const;
  /// Without the unit, to some microradians.
  std::string Angle(double radians, bool sign = false) const;
  /// A value of a characteristic; an angle brings its unit along.
  std::string Value(const Characteristic& characteristic, double value, bool sign = false) const;
  /// A few digits with the unit, for a sentence; of metric lengths the unit that suits the size.
  std::string Told(double metres) const;

  const std::string& LengthName() const { return _units.length; }
  const char* AngleName() const { return _in_degrees ? "°" : " rad"; }
  bool IsMetric() const { return _units.length != "in"; }

 private:
  Units _units;
  bool _in_degrees;
};

/// How a verdict looks.
struct Sign {
  const char* mark;   ///< a character, which tells it without colour
  const char* style;  ///< a class of kSheetStyle
};
Sign SignOf(Verdict verdict);

/// The mark, and the words for whoever hears the page.
std::string SignHtml(Verdict verdict);

/// For each feature of the plan the characteristics that it takes part in, in the plan's order.
std::vector<std::vector<std::size_t>> AskedOf(const Sheet& sheet);
/// The worst verdict of some characteristics; none where there are none.
std::optional<Verdict> WorstVerdict(const Sheet& sheet,
                                    const std::vector<std::size_t>& characteristics);
/// The larger, the worse; 0 for none.
int Severity(std::optional<Verdict> verdict);

/// What was measured of a feature or a characteristic; nothing where the sheet has no entry.
const FeatureResult& ResultOf(const Sheet& sheet, std::size_t feature);
const CharacteristicResult& VerdictOf(const Sheet& sheet, std::size_t characteristic);

/// The feature's name; a link to its section.
std::string FeatureLink(const Plan& plan, std::size_t feature);

/// Measured less nominal in the directions that its type measures, m; nothing where the feature was
/// not measured.
std::optional<Vector3d> DeviationOf(const PlannedFeature& feature, const FeatureResult& result);

}  // namespace libmfx::inspection::page
