#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "host/recording.h"
#include "libmfx/features/stages.h"
#include "uncertainty/fit_spread.h"
#include "uncertainty/twin.h"
#include "uncertainty/uncertainty.h"
#include "uncertainty/values.h"

/// \file
/// What the first estimates of the types share. Lengths are metres, angles radians, coordinates in
/// the instrument's frame.

namespace libmfx::uncertainty::first {

using Eigen::Vector2d;

/// Independent fits and what hangs on the parameters of all of them, side by side.
class Propagation {
 public:
  /// \returns the number of the block's first parameter
  Eigen::Index Add(const FitSpread& block);
  /// \param key outlives this
  /// \param quantity of all parameters
  void Tell(std::string_view key, ParameterFunction quantity);
  /// The law of propagation (JCGM 100, 5.2, as matrices) for every measured quantity.
  /// \returns none if one is not told, or not finite
  std::optional<Uncertainty> Of(const Values& measured) const;

 private:
  QuantityUncertainty Quantity(const Value& value, const Eigen::MatrixXd& jacobian) const;

  std::vector<FitSpread> _blocks;
  Eigen::Index _count = 0;
  std::vector<std::pair<std::string_view, ParameterFunction>> _quantities;
};

/// Samples of one fate, and the numbers of their lines.
struct Samples {
  std::vector<Vector3d> points;
  std::vector<int> lines;
};

/// What an estimate is made of. As many fates as samples.
struct Case {
  const Twin& twin;
  const Values& measured;
  const host::Exchange& scan;
  const features::Stages& stages;

  Samples Of(features::SampleFate fate) const;
  std::size_t CountOf(features::SampleFate fate) const;
  /// A measured vector; none if there is none.
  std::optional<Vector3d> Vector(std::string_view key) const;
  /// A measured size, or `otherwise`.
  double Size(std::string_view key, double otherwise) const;
  /// The drive point that ends a line; null for a line that was not driven.
  const host::Position* EndOf(int segment) const;
  /// Metres between the samples of the lines; 0 if unknown.
  double Spacing() const;
};

inline Eigen::VectorXd One(double number) { return Eigen::VectorXd::Constant(1, number); }

/// A plane that was fitted to a surface, about a point that was measured: three parameters, its
/// height there and its slopes (the straight line of JCGM 100, H.3, with one more slope).
class Surface {
 public:
  Surface(const Vector3d& about, const Vector3d& normal);

  /// \param cut how many samples like them were left out
  /// \param scatter where it is known from elsewhere
  /// \returns false if the samples leave the plane open
  bool Fit(const Samples& samples, std::size_t cut, std::optional<double> scatter,
           Propagation& estimate);
  /// To the samples around an opening. Of these the cuts have left some next to the border that are
  /// off the plane, with hardly a weight; the median of what is left tells the scatter.
  bool FitAround(const Case& c, Propagation& estimate);

  Vector3d Normal(const Eigen::VectorXd& p) const;
  /// A place in the plane, told from the origin along u and v.
  Vector3d At(const Vector2d& place, const Eigen::VectorXd& p) const;
  Vector2d Place(const Vector3d& point) const;

  Vector3d origin, n, u, v;

 private:
  Eigen::Index _first = 0;
};

/// A point of a border, in the surface's plane.
struct BorderPoint {
  Vector2d place;
  int sense;  ///< of its line
};
/// By the side or arc that they belong to.
using Border = std::vector<std::vector<BorderPoint>>;
Border BorderOf(const Case& c, const Surface& surface);

/// One type each: fits again what the type fits.
/// \returns false if what it rests on is missing or leaves something open
bool EstimateHole(const Case& c, Propagation& estimate);
bool EstimateSlot(const Case& c, Propagation& estimate);
bool EstimateSided(const Case& c, Propagation& estimate);
bool EstimateEdge(const Case& c, Propagation& estimate);

}  // namespace libmfx::uncertainty::first
