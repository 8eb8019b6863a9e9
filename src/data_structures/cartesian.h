#pragma once

#include <Eigen/Core>

/// \file
/// From spherical to cartesian coordinates, many at once.

namespace libmfx::data_structures {

/// The widest registers that the processor has, or those that every processor has. What comes out
/// is the same.
enum class Registers { kWidest, kPortable };

/// Replaces azimuth, elevation (radians) and range (metres) of each column by x, y, z (metres): bit
/// for bit those of AzElRange::ToPoint.
/// \param row where they begin; there are at least two more below it
void SphericalToCartesian(Eigen::MatrixXd& data, Eigen::Index row,
                          Registers registers = Registers::kWidest);

}  // namespace libmfx::data_structures
