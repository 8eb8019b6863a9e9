#pragma once

#include <Eigen/Core>
#include <memory>
#include <optional>
#include <vector>

#include "libmfx/data_structures/halfedge.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/export.h"
#include "libmfx/geometry/edge_map.h"

namespace libmfx::data_structures {
template <typename P, typename Face>
class HalfedgeArena;
}

namespace libmfx::geometry {

/// A planar mesh, of triangles as a rule, with a halfedge graph over it.
///
/// The graph is flat: a vertex of it has row 0 and row 1 of its column as x and y, z 0 and w 1. The
/// elements of one mesh live in one block of memory that all their links share the ownership of, so
/// that an element that is held from outside stays valid, unlinked, when the mesh goes. A mesh that
/// a VoronoiGraph extracts makes them when one of its two maps is first used: until then it knows
/// its twins as numbers, at 4 bytes each, which is all that InteriorBoundaries needs.
///
/// Not thread-safe: InteriorBoundaries changes the graph.
class LIBMFX_EXPORT Mesh {
 public:
  using PointCloud = data_structures::PointCloud;

  /// Copies both and builds the graph.
  /// \param vertices one column a vertex; x and y in rows 0 and 1, metres
  /// \param faces shape (faces, corners): column indices into `vertices`, wound the same way
  /// \throws std::out_of_range if a face refers to no column
  Mesh(const PointCloud& vertices, const Eigen::MatrixXi& faces);
  /// Copies vertices and faces, and builds the graph anew: what was dissolved in `other` is whole.
  Mesh(const Mesh& other);
  Mesh& operator=(const Mesh& other);
  virtual ~Mesh();

  const PointCloud& vertices() const { return _vertices; }
  const Eigen::MatrixXi& faces() const { return _faces; }

  /// Dissolves every interior edge longer than `max_edge_length` and returns the closed loops that
  /// then run along the gaps, each once, by falling perimeter; loops of equal perimeter stand in
  /// the order of the faces they were met at. A loop that touches the rim of the mesh is left out.
  ///
  /// A loop is a cloud of 3 rows (EMBEDDING_XYZ at row 0, z is 0), one column a vertex in walking
  /// order. An island of points inside a gap, joined by short edges, has a loop of its own.
  ///
  /// The operation uses the graph up: call it once. The second argument has no effect.
  /// \param max_edge_length metres; an edge of exactly this length stays
  /// \throws std::logic_error if the graph is inconsistent
  std::vector<PointCloud> InteriorBoundaries(double max_edge_length, bool);

 protected:
  using Halfedge = data_structures::HE<data_structures::PointXYZW>;
  using HalfedgePtr = std::shared_ptr<Halfedge>;
  using Arena = data_structures::HalfedgeArena<data_structures::PointXYZW,
                                               data_structures::HEFace<data_structures::PointXYZW>>;

  void GenerateHalfedgeGraph();
  /// Breaks all links of all elements, and empties both maps.
  void ClearHalfedgeGraph();

  PointCloud _vertices;
  Eigen::MatrixXi _faces;
  EdgeMap<HalfedgePtr> _boundary_edges;  ///< halfedges without a twin, by (from, to)
  EdgeMap<HalfedgePtr> _interior_edges;  ///< halfedges with a twin, both directions

 private:
  friend class VoronoiGraph;
  using Twins = std::vector<int, data_structures::BlockAllocator<int>>;

  /// Takes the twins as known, and leaves the elements to the first use of a map.
  /// \param faces triangles
  /// \param twins `twins[c + 3 * f]` is the halfedge opposite to corner c of face f, in the same
  ///        numbering, or -1
  Mesh(PointCloud vertices, Eigen::MatrixXi faces, std::shared_ptr<const Twins> twins);

  bool HasGraph() const;
  void CheckIndices() const;
  /// Lets the first use of a map make what was left out.
  void DeferElements();
  void MakeDeferredElements();
  /// Makes the elements and links them, with twins if these are known.
  void MakeElements(const Twins* twins);
  /// Fills both maps, the twins being known.
  void EnterEdges(const Twins& twins);
  void PairTwins();
  void CompleteGraph();
  /// Dissolves the long edges among the elements, and leaves the loops alone.
  void DissolveElements(double max_edge_length);

  std::shared_ptr<const Twins> _twins;  ///< null once the elements stand
  std::optional<double> _dissolved;     ///< the limit that the elements to come are dissolved at
  std::shared_ptr<Arena> _arena;        ///< null without a graph
};

}  // namespace libmfx::geometry
