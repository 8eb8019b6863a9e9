#pragma once

#include <Eigen/Geometry>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "inspection/alignment.h"
#include "inspection/measured.h"
#include "inspection/plan.h"
#include "inspection/steps.h"

/// \file
/// The part found from a station: its references measured, from a rough pose or none.

namespace libmfx::inspection {

/// What a station found.
struct Found {
  Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();  ///< from the part's into its frame
  std::vector<Measured> references;                        ///< as many as the plan has
  std::optional<std::size_t> left_out;  ///< of them, one that does not fit to the others
  std::vector<std::string> notes;       ///< for people
};

/// Looks for the references as far as the pose leaves open where they are, measures them, and fits
/// the pose to them.
/// \throws host::CallError that says why the part was not found; Interrupted, as Steps::Hold
Found FindPart(const Plan& plan, std::size_t station, Steps& steps);

/// The places of measured references for a fit: of those alone that were measured.
/// \param which receives the index in the plan's references of each
std::vector<AlignedPlace> PlacesOf(const Plan& plan, const std::vector<Measured>& references,
                                   double growth, std::vector<std::size_t>& which);

/// A feature's place for a fit.
AlignedPlace PlaceOf(const PlannedFeature& feature, const FeatureNumbers& numbers,
                     const FeatureSpread& spread, double growth);

}  // namespace libmfx::inspection
