#include "plain_filters.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "geometry/cylinder/neighbourhood.h"
#include "libmfx/geometry/cylinder_fitter.h"

namespace libmfx::test {
namespace {

using Eigen::Index;
using Eigen::Vector3d;
using geometry::ThreadedCylinderFitter;
using Places = PlainFilters::Places;
using Points = PlainFilters::Points;
using Plane = ThreadedCylinderFitter::BasePlane;

constexpr double kAnywhere = std::numeric_limits<double>::infinity();

/// The plane that most of some points share, and how far a point of it may be off.
struct Face {
  Plane plane;
  double band;
  bool Holds(const Vector3d& p) const {
    return std::abs((p - plane.point).dot(plane.normal)) <= band;
  }
};

/// Those within the tenth of a radius of height that holds most of them.
std::vector<Vector3d> Crowd(const Points& points, const Places& suspects, const Vector3d& axis) {
  std::vector<std::pair<double, Index>> heights;
  for (const Index i : suspects) heights.emplace_back(points.at(i).dot(axis), i);
  std::sort(heights.begin(), heights.end());
  std::size_t best = 0, most = 0;
  for (std::size_t first = 0; first < heights.size(); ++first) {
    std::size_t last = first;
    while (last < heights.size() && heights[last].first - heights[first].first <= 0.1) ++last;
    if (last - first > most) best = first, most = last - first;
  }
  std::vector<Vector3d> crowd;
  for (std::size_t i = best; i < best + most; ++i) crowd.push_back(points.at(heights[i].second));
  return crowd;
}

std::optional<Face> FindFace(std::vector<Vector3d> crowd, const Vector3d& axis) {
  Face face{};
  for (int round = 0; round < 4; ++round) {
    if (crowd.size() < 12) return std::nullopt;
    try {
      face.plane = ThreadedCylinderFitter::FitBasePlane(crowd, axis,
                                                        ThreadedCylinderFitter::kFreePlane, 0.0);
    } catch (const std::runtime_error&) {
      return std::nullopt;
    }
    face.band = std::max(4.0 * face.plane.rms, 1e-6);
    std::erase_if(crowd, [&](const Vector3d& p) { return !face.Holds(p); });
  }
  if (face.plane.normal.dot(axis) < 0.95) return std::nullopt;
  return face;
}

bool LooksLikeEndFace(const Points& points, const Places& found, const Vector3d& axis) {
  if (found.size() < 12) return false;
  Vector3d mean = Vector3d::Zero();
  for (const Index i : found) mean += points.at(i);
  mean /= static_cast<double>(found.size());
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Index i : found) scatter += (points.at(i) - mean) * (points.at(i) - mean).transpose();
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> eigen(scatter);
  const Vector3d& values = eigen.eigenvalues();
  return values[1] >= 0.1 * values[2] && values[0] <= 0.03 * values[1] &&
         std::abs(eigen.eigenvectors().col(0).dot(axis)) >= 0.95;
}

}  // namespace

PlainFilters PlainFilters::ByAllDistances(const Points& points) {
  return {points, [&points](Index place, std::size_t count, double radius, Places& found) {
            std::vector<std::pair<double, Index>> all;
            const Vector3d p = points.at(place);
            for (Index i = 0; i < points.size(); ++i) {
              const Vector3d d = points.at(i) - p;
              const double squared = d.x() * d.x() + d.y() * d.y() + d.z() * d.z();
              if (std::isfinite(squared) && squared <= radius * radius)
                all.emplace_back(squared, i);
            }
            const std::size_t kept = std::min(count, all.size());
            std::partial_sort(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(kept),
                              all.end());
            found.clear();
            for (std::size_t i = 0; i < kept; ++i) found.push_back(all[i].second);
          }};
}

PlainFilters PlainFilters::ByTree(const Points& points) {
  const auto tree = std::make_shared<geometry::cylinder::Neighbourhood>(points);
  tree->Build();
  return {points, [&points, tree](Index place, std::size_t count, double radius, Places& found) {
            tree->Nearest(points.at(place), count, radius, found);
          }};
}

Places PlainFilters::Nearest(Index place, std::size_t count, double radius) const {
  Places found;
  _query(place, count, radius, found);
  return found;
}

std::vector<bool> PlainFilters::MarkIsolated() const {
  std::vector<bool> marked(static_cast<std::size_t>(_points.size()), false);
  if (_points.size() < 50) return marked;
  std::vector<double> spacings;
  for (Index i = 0; i < _points.size(); ++i)
    spacings.push_back((_points.at(Nearest(i, 9, kAnywhere).back()) - _points.at(i)).norm());
  std::vector<double> sorted = spacings;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t i = 0; i < marked.size(); ++i)
    marked[i] = spacings[i] > 4.0 * sorted[sorted.size() / 2];
  return marked;
}

Places PlainFilters::Suspects(const Vector3d& axis) const {
  Places suspects;
  std::vector<bool> settled(static_cast<std::size_t>(_points.size()), false);
  for (Index i = 0; i < _points.size(); ++i) {
    if (settled[static_cast<std::size_t>(i)]) continue;
    const Places found = Nearest(i, 48, 0.5);
    const bool end_face = LooksLikeEndFace(_points, found, axis);
    const double reach = 0.5 * (_points.at(found.back()) - _points.at(i)).norm();
    for (const Index j : found) {
      if ((_points.at(j) - _points.at(i)).norm() > reach) continue;
      if (!settled[static_cast<std::size_t>(j)] && end_face) suspects.push_back(j);
      settled[static_cast<std::size_t>(j)] = true;
    }
  }
  return suspects;
}

std::vector<bool> PlainFilters::MarkEndFaces(const Vector3d& axis) const {
  std::vector<bool> marked(static_cast<std::size_t>(_points.size()), false);
  if (_points.size() < 12) return marked;
  Places suspects = Suspects(axis);
  for (int faces = 0; faces < 16 && suspects.size() >= 12; ++faces) {
    const std::optional<Face> face = FindFace(Crowd(_points, suspects, axis), axis);
    if (!face) break;
    const auto on_face = [&](Index i) { return face->Holds(_points.at(i)); };
    if (std::erase_if(suspects, on_face) == 0) break;
    for (Index i = 0; i < _points.size(); ++i)
      if (on_face(i)) marked[static_cast<std::size_t>(i)] = true;
  }
  return marked;
}

std::vector<bool> PlainFilters::MarkPoor(const std::vector<double>& qualities) const {
  std::vector<bool> poor(qualities.size(), false);
  if (qualities.size() <= 5) return poor;
  for (std::size_t i = 0; i < qualities.size(); ++i) {
    std::vector<double> around;
    for (const Index j : Nearest(static_cast<Index>(i), 17, kAnywhere))
      if (static_cast<std::size_t>(j) != i)
        around.push_back(qualities[static_cast<std::size_t>(j)]);
    if (around.size() < 5) continue;
    std::sort(around.begin(), around.end());
    poor[i] = qualities[i] < 0.8 * around[1];
  }
  return poor;
}

}  // namespace libmfx::test
