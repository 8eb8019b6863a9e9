#pragma once

#include <string>

#include "delaunay_check.h"

/// Point sets as scans make them, and as rounding makes them hard. The same seed gives the same set
/// everywhere.
namespace delaunay_check {

enum class Family {
  kUniform,         ///< evenly in a square
  kSpiral,          ///< a search spiral: 1 mm pitch, about 1 mm between samples, noise or none
  kRaster,          ///< lines of exactly equal y, x as it comes
  kGrid,            ///< every cell cocircular, pitches that doubles hold and that they don't
  kDuplicates,      ///< a few places many times
  kNearDuplicates,  ///< copies 1e-12 m away
  kCollinear,       ///< on a line up, across or aslant: exactly or to rounding
  kFarOutlier,      ///< a patch of millimetres and one point up to 1e9 m away
  kSmall,           ///< coordinates of about 1e-3
  kLarge,           ///< coordinates of about 1e3, a patch far from the origin
  kCircle,          ///< on a circle, to rounding, with and without its centre
  kLattice,         ///< small integers: exact ties of every kind
};
inline constexpr int kFamilies = static_cast<int>(Family::kLattice) + 1;

std::string NameOf(Family family);
/// \param n about how many points; at least 1
Points MakeFamily(Family family, int n, std::uint64_t seed);

/// What stopped a sweep or the extraction early; empty if both came to their end.
/// \param mesh the mesh, if there is one
std::string EarlyStop(const Points& points, std::shared_ptr<Mesh>& mesh);

}  // namespace delaunay_check
