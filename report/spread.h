#pragma once

#include <Eigen/Core>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/quantities.h"

/// \file
/// How sure the numbers of a measurement are, and how people are told.

namespace libmfx::host::report {

/// How sure the numbers of a report are. Lengths are metres, coordinates in the instrument's frame.
struct Spread {
  /// A quantity of the result message. Each list has as many entries as it has numbers: three, of a
  /// size one.
  struct Quantity {
    std::string key;               ///< as in the result message: "Location", "Normal", "Radius"
    bool is_direction = false;     ///< three components of a unit vector
    std::vector<double> best;      ///< what is true as far as is known: measured less bias
    std::vector<double> bias;      ///< mean error of the measured numbers
    std::vector<double> standard;  ///< standard uncertainties
    Eigen::Matrix3d covariance = Eigen::Matrix3d::Zero();  ///< of the errors, of a triple
    std::vector<std::array<double, 2>> interval95 = {};    ///< holds the true number with 95 %
  };
  std::vector<Quantity> quantities;
  long long trials = 0;
  long long successes = 0;  ///< of the trials
  std::string origin;       ///< how it came to be: a sentence for people

  /// A quantity by its key; null if there is none.
  const Quantity* Find(std::string_view key) const;
};

/// What the square of a normal scatter in a plane, in standard deviations, stays below with 95 %.
inline constexpr double kSquared95 = 5.991;

/// Where the true number of a row lies with 95 %, less the measured one, in the unit of the row.
struct Margin {
  double below = 0.0;
  double above = 0.0;
  /// Of a direction, which is told by its angle to the nominal: the angle, in degrees, within which
  /// of the measured direction the true one lies.
  std::optional<double> within = {};

  /// The longer of both sides.
  double Reach() const;
};

/// The margin of a row of the table of quantities. None for a number that was not measured or that
/// the result message does not state, for one that the spread does not tell, and where a number is
/// not finite.
std::optional<Margin> MarginOf(const Spread& spread, const host::Quantity& row);

/// "±0.0123"; both sides, "-0.0200 +0.0100", where they differ by more than a tenth; of a direction
/// "within 0.120". Without the unit.
std::string MarginText(const Margin& margin, std::string_view unit);

/// A bar from one end of the margin to the other, with a mark at the measured number, as SVG for a
/// line of text.
/// \param reach what half of the picture's width stands for, in the unit of the row; above 0
std::string ErrorBar(const Margin& margin, const host::Quantity& row, double reach);

/// How the spread came to be, and how many trials it rests on. Plain text; may be empty.
std::string OriginText(const Spread& spread);

}  // namespace libmfx::host::report
