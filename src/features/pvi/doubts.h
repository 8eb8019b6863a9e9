#pragma once

#include <Eigen/Core>
#include <string>
#include <vector>

#include "libmfx/data_structures/point.h"
#include "libmfx/geometry/plane.h"

/// \file
/// Doubts about a small surface that was fitted to a few samples. Lengths are metres.

namespace libmfx::features::pvi {

/// What came back from the box, and the plane that was told.
struct SeenBox {
  Eigen::Matrix3Xd samples;  ///< shape (3, n): all that passed the threshold, outliers too
  Eigen::Matrix3Xd kept;     ///< those that the plane was fitted to
  geometry::Plane plane;
  data_structures::PointXYZW place;  ///< the measured point
};

/// The doubt about a plane of so few samples that they have nothing to be judged by, of many more
/// that were asked for.
std::vector<std::string> DoubtsOfCount(Eigen::Index kept, int asked);

/// The doubt about a plane that a robust one disagrees with: a least median of squares fit
/// (Rousseeuw 1984), and a least squares fit of the samples close to it. A stray sample in a corner
/// of the box turns the plane towards itself, and others than it are then peeled off; half of the
/// samples on something else do the same. Or, of few or scattered samples, that they leave the
/// normal open.
std::vector<std::string> DoubtsOfPlane(const SeenBox& box);

/// The doubt about samples that lie on a curved or stepped surface: second order terms that noise
/// does not show, and that turn the surface from one side of the box to the other.
std::vector<std::string> DoubtsOfFlatness(const SeenBox& box);

/// The doubt about a normal far from the nominal one, where the request leaves the limit as it is:
/// by default that lets nearly every direction pass.
/// \param angle between the two, radians
std::vector<std::string> DoubtsOfDirection(double angle);

}  // namespace libmfx::features::pvi
