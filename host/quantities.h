#pragma once

#include <Eigen/Core>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/features/stages.h"

/// \file
/// What a measurement says of the part, for people: each quantity with its nominal, in millimetres
/// and degrees, and whether it was measured at all.

namespace libmfx::host {

/// Where the number of a quantity comes from.
enum class Source {
  kMeasured,  ///< the samples; the result message states it, or it follows from what it states
  kBeside,    ///< the samples; the result message does not state it
  kRepeated   ///< the request: the result message repeats the nominal, whatever a fit found
};

struct Quantity {
  std::string name;  ///< for people, with the key of the result message first: "Location x"
  std::string unit;  ///< "mm", "°", or empty for a count
  Source source = Source::kMeasured;
  std::optional<double> nominal = {};   ///< as told; none for a distance from it, or a mere word
  std::optional<double> measured = {};  ///< what the samples show; none where they were not asked
  double doubt = 0.0;       ///< a deviation within it says nothing, since the fit knows no better
  bool is_count = false;    ///< a whole number that nobody expects to be measured
  std::string remark = {};  ///< what else is to be known of it, for people; mostly empty

  std::optional<double> Deviation() const;
  /// Whether what the samples show and the nominal differ by more than the doubt.
  bool IsOff() const;
};

/// The quantities of a measurement, in the order of the result message. A failed measurement has
/// none that is measured; a request that cannot be read, a scan path and an unknown feature have no
/// quantities at all. Reads the request as the library does, so that log lines of it may go out.
/// \param result the result message
/// \param stages what the last analysis recorded
std::vector<Quantity> QuantitiesOf(const std::string& request, const std::string& result,
                                   const features::Stages& stages);

/// A point or a direction among the settings, whichever of the two its class calls it.
/// \throws std::out_of_range if there is no such setting, std::domain_error if it is neither
Eigen::Vector3d SettingTriple(const features::Feature& feature, const wchar_t* name);

/// Three numbers under a key of a request's "Feature", or with an empty `place` of its root, of a
/// request that the library could read; for what no setting tells.
std::optional<Eigen::Vector3d> RequestTriple(const std::string& request, std::string_view place,
                                             const char* key);

/// One line for each fitted size that the result does not state and that is off its nominal, and
/// one line with all that was not measured although the result states it. Empty after a failure.
std::vector<std::string> NotesOf(const std::vector<Quantity>& quantities);

/// A number in a table: millimetres with 4 decimals, degrees with 3, a count with none. The decimal
/// separator is a point under every locale.
/// \param sign whether a positive number gets one
std::string TableText(double value, std::string_view unit, bool sign = false);
/// The same without trailing zeros and with its unit, for a sentence: "11.1 mm".
std::string SentenceText(double value, std::string_view unit);

}  // namespace libmfx::host
