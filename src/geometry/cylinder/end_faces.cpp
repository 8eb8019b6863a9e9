#include "geometry/cylinder/end_faces.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

#include "geometry/cylinder/neighbourhood.h"
#include "libmfx/geometry/cylinder_fitter.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr std::size_t kPatchPoints = 48;
constexpr std::size_t kFewestInPatch = 12;
constexpr double kReach = 0.5;           // nominal radii
constexpr double kFill = 0.1;            // least scatter across over scatter along a patch
constexpr double kFlatness = 0.03;       // most scatter out of a patch over scatter across it
constexpr double kAlignment = 0.95;      // least cosine of normal and axis
constexpr double kCrowd = 0.1;           // heights of one face, nominal radii: 3 degrees of tilt
constexpr double kBandDeviations = 4.0;  // root mean squares that hold the points of a face
constexpr int kMostFaces = 16;
constexpr double kLeastBand = 1e-6;  // nominal radii, for points without noise

struct Patch {
  bool end_face = false;
  double reach = 0.0;  // how far from the seed the verdict holds
};

// The verdict over the neighbours of a seed, nearest first.
Patch Examine(const Points& points, const std::vector<Eigen::Index>& found,
              const Eigen::Vector3d& axis) {
  const Eigen::Vector3d seed = points.at(found.front());
  Patch patch{false, 0.5 * (points.at(found.back()) - seed).norm()};
  if (found.size() < kFewestInPatch) return patch;
  Eigen::Vector3d mean = Eigen::Vector3d::Zero();
  for (const Eigen::Index i : found) mean += points.at(i);
  mean /= static_cast<double>(found.size());
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Eigen::Index i : found) {
    const Eigen::Vector3d d = points.at(i) - mean;
    scatter += d * d.transpose();
  }
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> eigen(scatter);
  const Eigen::Vector3d& values = eigen.eigenvalues();
  patch.end_face = values[1] >= kFill * values[2] && values[0] <= kFlatness * values[1] &&
                   std::abs(eigen.eigenvectors().col(0).dot(axis)) >= kAlignment;
  return patch;
}

// The points whose surroundings look like an end face.
std::vector<Eigen::Index> Suspects(const Points& points, const Eigen::Vector3d& axis) {
  std::vector<Eigen::Index> suspects;
  std::vector<bool> settled(static_cast<std::size_t>(points.size()), false);
  Neighbourhood neighbourhood(points);
  neighbourhood.Build();
  std::vector<Eigen::Index> found;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    if (settled[static_cast<std::size_t>(i)]) continue;
    const Eigen::Vector3d seed = points.at(i);
    neighbourhood.Nearest(seed, kPatchPoints, kReach, found);
    // One patch settles the inner half of its points, so that the tree is asked a few times a patch
    // and not once a point.
    const Patch patch = Examine(points, found, axis);
    for (const Eigen::Index j : found) {
      if ((points.at(j) - seed).norm() > patch.reach) break;
      auto at = settled[static_cast<std::size_t>(j)];
      if (!at && patch.end_face) suspects.push_back(j);
      at = true;
    }
  }
  return suspects;
}

// The plane that most of the suspects share, and how far a point of it may be off.
struct Face {
  ThreadedCylinderFitter::BasePlane plane;
  double band = 0.0;

  bool Holds(const Eigen::Vector3d& p) const {
    return std::abs((p - plane.point).dot(plane.normal)) <= band;
  }
};

std::vector<Eigen::Vector3d> Crowd(const Points& points, const std::vector<Eigen::Index>& suspects,
                                   const Eigen::Vector3d& axis) {
  std::vector<std::pair<double, Eigen::Index>> heights;
  heights.reserve(suspects.size());
  for (const Eigen::Index i : suspects) heights.emplace_back(points.at(i).dot(axis), i);
  std::sort(heights.begin(), heights.end());
  std::size_t best = 0, best_count = 0;
  for (std::size_t first = 0, last = 0; first < heights.size(); ++first) {
    while (last < heights.size() && heights[last].first - heights[first].first <= kCrowd) ++last;
    if (last - first > best_count) best = first, best_count = last - first;
  }
  std::vector<Eigen::Vector3d> crowd;
  for (std::size_t i = best; i < best + best_count; ++i)
    crowd.push_back(points.at(heights[i].second));
  return crowd;
}

std::optional<Face> FindFace(const Points& points, const std::vector<Eigen::Index>& suspects,
                             const Eigen::Vector3d& axis) {
  std::vector<Eigen::Vector3d> crowd = Crowd(points, suspects, axis);
  Face face;
  for (int round = 0; round < 4; ++round) {
    if (crowd.size() < kFewestInPatch) return std::nullopt;
    try {
      face.plane = ThreadedCylinderFitter::FitBasePlane(crowd, axis,
                                                        ThreadedCylinderFitter::kFreePlane, 0.0);
    } catch (const std::runtime_error&) {
      return std::nullopt;
    }
    face.band = std::max(kBandDeviations * face.plane.rms, kLeastBand);
    std::erase_if(crowd, [&](const Eigen::Vector3d& p) { return !face.Holds(p); });
  }
  if (face.plane.normal.dot(axis) < kAlignment) return std::nullopt;
  return face;
}

}  // namespace

std::vector<bool> MarkEndFaces(const Points& points, const Eigen::Vector3d& axis) {
  std::vector<bool> marked(static_cast<std::size_t>(points.size()), false);
  if (static_cast<std::size_t>(points.size()) < kFewestInPatch) return marked;
  std::vector<Eigen::Index> suspects = Suspects(points, axis);
  for (int faces = 0; faces < kMostFaces && suspects.size() >= kFewestInPatch; ++faces) {
    const std::optional<Face> face = FindFace(points, suspects, axis);
    if (!face) break;
    const std::size_t before = suspects.size();
    std::erase_if(suspects, [&](Eigen::Index i) { return face->Holds(points.at(i)); });
    if (suspects.size() == before) break;
    for (Eigen::Index i = 0; i < points.size(); ++i)
      if (face->Holds(points.at(i))) marked[static_cast<std::size_t>(i)] = true;
  }
  return marked;
}

}  // namespace libmfx::geometry::cylinder
