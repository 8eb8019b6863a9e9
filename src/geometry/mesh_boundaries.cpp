#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "geometry/gap_loops.h"
#include "libmfx/geometry/mesh.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using Halfedge = data_structures::HE<PointXYZW>;
using HalfedgePtr = std::shared_ptr<Halfedge>;

struct Loop {
  double perimeter;
  const Halfedge* start;
};

/// Takes an edge out: the two faces beside it become one.
void Dissolve(Halfedge& he) {
  Halfedge& twin = *he.twin;
  he.prev->next = twin.next;
  he.next->prev = twin.prev;
  twin.prev->next = he.next;
  twin.next->prev = he.prev;
}

/// The halfedges that may lie on a loop along a gap. They are kept in the order of their addresses,
/// which is that of the faces: all of them stand in one block.
class Candidates {
 public:
  void Add(const Halfedge* he) { _added.push_back(he); }
  void Remove(const Halfedge* he) { _removed.push_back(he); }

  /// Ends the adding: what was removed stays out, whichever came first.
  void Settle() {
    const auto sort = [](std::vector<const Halfedge*>& list) {
      std::sort(list.begin(), list.end());
      list.erase(std::unique(list.begin(), list.end()), list.end());
    };
    sort(_added);
    sort(_removed);
    std::vector<const Halfedge*> kept;
    std::set_difference(_added.begin(), _added.end(), _removed.begin(), _removed.end(),
                        std::back_inserter(kept));
    _added.swap(kept);
    _walked.assign(_added.size(), false);
  }
  const std::vector<const Halfedge*>& list() const { return _added; }
  /// Marks a halfedge as walked. Returns whether it had been before; false for no candidate.
  bool Walk(const Halfedge* he) {
    const auto found = std::lower_bound(_added.begin(), _added.end(), he);
    if (found == _added.end() || *found != he) return false;
    const auto i = static_cast<std::size_t>(found - _added.begin());
    const bool before = _walked[i];
    _walked[i] = true;
    return before;
  }

 private:
  std::vector<const Halfedge*> _added, _removed;
  std::vector<bool> _walked;
};

/// Walks from `start` until back there; false if the loop was met before or isn't closed by
/// halfedges with a twin. A candidate walked earlier that isn't the start belongs to a loop that
/// was dropped.
bool WalkLoop(const Halfedge* start, Candidates& candidates, double& perimeter) {
  perimeter = 0.0;
  const Halfedge* he = start;
  do {
    if (candidates.Walk(he)) return false;
    if (!he->vertex || !he->twin || !he->next || !he->next->vertex) return false;
    perimeter += data_structures::Distance(he->vertex->point, he->next->vertex->point);
    he = he->next.get();
  } while (he != start);
  return true;
}

PointCloud LoopCloud(const Halfedge* start) {
  Eigen::Index count = 0;
  for (const Halfedge* he = start; count == 0 || he != start; he = he->next.get()) ++count;
  Eigen::MatrixXd data(3, count);
  const Halfedge* he = start;
  for (Eigen::Index i = 0; i < count; ++i, he = he->next.get()) {
    data.col(i) = he->vertex->point.xyz();
  }
  return PointCloud(std::move(data), {{data_structures::EMBEDDING_XYZ, {0}}});
}

/// Dissolves the long edges and takes them out of the map.
/// \return the halfedges that may lie on a loop now, settled
/// \throws std::logic_error if the map lacks a direction of an edge
Candidates DissolveLongEdges(EdgeMap<HalfedgePtr>& interior, const Eigen::MatrixXd& v,
                             double max_edge_length) {
  struct LongEdge {
    std::pair<int, int> key;
    HalfedgePtr halfedge;
  };
  std::vector<LongEdge> long_edges;
  std::unordered_set<std::pair<int, int>, EdgeHash> seen;  // the other directions of long edges
  Candidates candidates;
  for (const auto& [key, he] : interior) {
    const auto [a, b] = key;
    const double dx = v(0, a) - v(0, b);
    const double dy = v.rows() > 1 ? v(1, a) - v(1, b) : 0.0;
    if (!(std::sqrt(dx * dx + dy * dy) > max_edge_length) || seen.contains(key)) continue;
    seen.insert({b, a});
    long_edges.push_back({key, he});
    candidates.Add(he.get());
  }
  for (const LongEdge& edge : long_edges) {
    Halfedge& he = *edge.halfedge;
    Dissolve(he);
    for (const Halfedge* near :
         {he.prev.get(), he.next.get(), he.twin->prev.get(), he.twin->next.get()}) {
      candidates.Add(near);
    }
    candidates.Remove(&he);
    candidates.Remove(he.twin.get());
    const auto [a, b] = edge.key;
    if (interior.erase({a, b}) == 0 || interior.erase({b, a}) == 0) {
      throw std::logic_error("Why is a removed edge part of my interior boundary??");
    }
  }
  candidates.Settle();
  return candidates;
}

}  // namespace

void Mesh::DissolveElements(double max_edge_length) {
  DissolveLongEdges(_interior_edges, _vertices.data(), max_edge_length);
}

std::vector<PointCloud> Mesh::InteriorBoundaries(double max_edge_length, bool) {
  if (_twins && !_dissolved) {
    std::vector<PointCloud> clouds =
        GapLoops(_vertices.data(), _faces, _twins->data(), max_edge_length);
    _dissolved = max_edge_length;
    return clouds;
  }
  Candidates candidates = DissolveLongEdges(_interior_edges, _vertices.data(), max_edge_length);
  std::vector<Loop> loops;
  for (const Halfedge* start : candidates.list()) {
    double perimeter;
    if (WalkLoop(start, candidates, perimeter)) loops.push_back({perimeter, start});
  }
  std::stable_sort(loops.begin(), loops.end(),
                   [](const Loop& a, const Loop& b) { return a.perimeter > b.perimeter; });
  std::vector<PointCloud> clouds;
  clouds.reserve(loops.size());
  for (const Loop& loop : loops) clouds.push_back(LoopCloud(loop.start));
  return clouds;
}

}  // namespace libmfx::geometry
