#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "libmfx/geometry/mesh.h"
#include "libmfx/geometry/voronoi_graph.h"

/// What the tests of the sweep and of the mesh share: point families, and a validator that looks at
/// a mesh as a whole and says in one line a broken invariant what is wrong.
namespace delaunay_check {

using libmfx::data_structures::PointCloud;
using libmfx::geometry::Mesh;

using Points = std::vector<std::pair<double, double>>;

/// A cloud of 2 rows with EMBEDDING_XY at row 0.
PointCloud CloudOf(const Points& points);
std::shared_ptr<Mesh> MeshOf(const Points& points);

/// A generator of fixed width with its own distributions: the same numbers everywhere.
class Random {
 public:
  explicit Random(std::uint64_t seed) : _state(seed) {}
  std::uint64_t Next() {
    std::uint64_t z = (_state += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  double Uniform() { return static_cast<double>(Next() >> 11) * 0x1p-53; }
  double Uniform(double low, double high) { return low + (high - low) * Uniform(); }
  int Below(int n) { return static_cast<int>(Next() % static_cast<std::uint64_t>(n)); }

 private:
  std::uint64_t _state;
};

/// Length of a closed loop, metres.
double Perimeter(const PointCloud& loop);

/// The broken invariants of a triangulation of `points`; empty when all hold: every distinct point
/// in a triangle; triangles counter-clockwise; directed edges used once; one rim, which is the
/// convex hull with all points on it; Euler's formula; the area; no corner of a neighbour inside a
/// circle (exact). Collinear points have no triangles.
std::vector<std::string> BrokenInvariants(const Points& points, const Eigen::MatrixXi& faces);
/// The broken invariants of the halfedge graph over its faces.
std::vector<std::string> BrokenLinks(Mesh& mesh);
/// Compares every circle with every point: the deepest that a point lies inside a circle, as a
/// fraction of the radius; 0 when none does. O(n^2).
double DeepestIntrusion(const Points& points, const Eigen::MatrixXi& faces);

}  // namespace delaunay_check
