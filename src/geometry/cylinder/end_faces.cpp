#include "geometry/cylinder/end_faces.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>

#include "geometry/cylinder/neighbour_cells.h"
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

// Whether a patch can't be an end face, told by how high its points lie. With the normal so near to
// the axis and the patch so flat, the scatter along the axis is at most the flatness and the square
// of the sine, times the largest one of the three scatters. The bound has 2 percent to spare,
// against rounding; points too near to each other for that are left to the full look.
bool LeansTooFar(const Points& points, std::span<const Neighbour> found,
                 const Eigen::Vector3d& seed, const Eigen::Vector3d& axis) {
  constexpr double kMost = 1.02 * (kFlatness + 1.0 - kAlignment * kAlignment);
  constexpr double kRounding = 1e-20;
  Eigen::Vector3d sum = Eigen::Vector3d::Zero();
  double squares = 0.0, heights = 0.0;
  for (const Neighbour& near : found) {
    const Eigen::Vector3d d = points.at(near.place) - seed;
    const double height = d.dot(axis);
    sum += d;
    squares += near.squared;
    heights += height * height;
  }
  const auto count = static_cast<double>(found.size());
  const double height = sum.dot(axis);
  const double scatter = squares - sum.squaredNorm() / count;
  const double along = heights - height * height / count;
  return along > kMost * scatter && scatter > kRounding * count * seed.squaredNorm();
}

// Whether the neighbours of a seed, nearest first, look like an end face.
bool LooksLikeEndFace(const Points& points, std::span<const Neighbour> found,
                      const Eigen::Vector3d& axis) {
  Eigen::Vector3d mean = Eigen::Vector3d::Zero();
  for (const Neighbour& near : found) mean += points.at(near.place);
  mean /= static_cast<double>(found.size());
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Neighbour& near : found) {
    const Eigen::Vector3d d = points.at(near.place) - mean;
    scatter += d * d.transpose();
  }
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> eigen(scatter);
  const Eigen::Vector3d& values = eigen.eigenvalues();
  return values[1] >= kFill * values[2] && values[0] <= kFlatness * values[1] &&
         std::abs(eigen.eigenvectors().col(0).dot(axis)) >= kAlignment;
}

// Whether a distance is at most a share of another one, by their squares: roots are taken only
// where rounding of the squares could tell otherwise.
class Reach {
 public:
  Reach(double share, double squared)
      : _reach(share * std::sqrt(squared)),
        _surely((1.0 - 1e-12) * share * share * squared),
        _surely_not((1.0 + 1e-12) * share * share * squared) {}

  bool Holds(double squared) const {
    if (squared < _surely) return true;
    return !(squared > _surely_not) && std::sqrt(squared) <= _reach;
  }

 private:
  double _reach, _surely, _surely_not;
};

// The points whose surroundings look like an end face.
std::vector<Eigen::Index> Suspects(const Points& points, const Eigen::Vector3d& axis) {
  std::vector<Eigen::Index> suspects;
  std::vector<char> settled(static_cast<std::size_t>(points.size()), 0);
  NeighbourCells cells(points, kPatchPoints, kReach);
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    if (settled[static_cast<std::size_t>(i)] != 0) continue;
    const Eigen::Vector3d seed = points.at(i);
    const std::span<Neighbour> found = cells.Of(i);
    bool end_face = found.size() >= kFewestInPatch && !LeansTooFar(points, found, seed, axis);
    if (end_face) {
      std::sort(found.begin(), found.end());
      end_face = LooksLikeEndFace(points, found, axis);
    }
    // One patch settles the inner half of its points, so that a few queries a patch are made and
    // not one a point.
    const Reach inner(0.5, std::max_element(found.begin(), found.end())->squared);
    for (const Neighbour& near : found) {
      if (!inner.Holds(near.squared)) continue;
      char& at = settled[static_cast<std::size_t>(near.place)];
      if (at == 0 && end_face) suspects.push_back(near.place);
      at = 1;
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
