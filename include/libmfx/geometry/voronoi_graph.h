#pragma once

#include <map>
#include <memory>
#include <vector>

#include "libmfx/data_structures/avl_tree.h"
#include "libmfx/data_structures/halfedge.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/export.h"
#include "libmfx/geometry/beachline_element.h"
#include "libmfx/geometry/mesh.h"
#include "libmfx/geometry/sweep_event.h"

namespace libmfx::geometry {

namespace sweep {
struct Diagram;
}

/// The Voronoi diagram of planar points, and through it their Delaunay triangulation.
///
/// A horizontal line sweeps the points from high y to low y. Points that coincide count once, and
/// points that are not finite do not count. Any finite points are triangulated: no tolerance of the
/// sweep has to be met, see docs/voronoi-sweep.md.
///
/// Not thread-safe.
///
/// The diagram is kept as numbered triangles and edges, some 80 bytes a point. The same diagram as
/// linked elements, with faces keyed by site, is built where a derived class asks for it.
class LIBMFX_EXPORT VoronoiGraph {
 public:
  using PointCloud = data_structures::PointCloud;
  using PointXYW = data_structures::PointXYW;

  /// Runs the sweep.
  /// \param points copied; the rows of their one EMBEDDING_XY entry are x and y. Without an entry
  /// of
  ///        that kind the first two rows of EMBEDDING_XYZ serve. Without exactly one, the diagram
  ///        is empty.
  explicit VoronoiGraph(const PointCloud& points);
  VoronoiGraph(const VoronoiGraph& other);
  VoronoiGraph& operator=(const VoronoiGraph& other);
  ~VoronoiGraph();

  /// The triangles over the input points, as column indices of the input cloud, counter-clockwise;
  /// of points that coincide the first column stands for all. Four and more points on one circle
  /// are cut ear by ear, the least obtuse first. Fewer than 3 points and collinear ones give a mesh
  /// without faces.
  /// \throws std::runtime_error, std::logic_error if the diagram is inconsistent
  std::shared_ptr<Mesh> ExtractPlanarMesh();

 protected:
  /// The sweep. An inconsistency ends it early, with a line on standard output; what was built
  /// stays.
  void VoronoiDiagram();
  /// Where the parabolas of two sites meet for a sweep line at `sweep_y`, the arc of `left` lying
  /// left of the place and that of `right` right of it.
  static PointXYW breakpoint(const PointXYW& left, const PointXYW& right, double sweep_y);
  /// The circle through three points that turn counter-clockwise; false for all others, and then
  /// `center` and `radius` stay.
  static bool three_point_circle_2d(const PointXYW& a, const PointXYW& b, const PointXYW& c,
                                    PointXYW& center, double& radius);
  /// The circle through three points that turn either way; false only for points that are collinear
  /// to within the double epsilon.
  static bool any_three_point_circle_2d(const PointXYW& a, const PointXYW& b, const PointXYW& c,
                                        PointXYW& center, double& radius, bool& clockwise);

  using Halfedge = data_structures::HE<PointXYW>;
  using Face = VorFace<PointXYW>;

  /// Builds the diagram as linked elements. A halfedge runs counter-clockwise round its face, and
  /// has a vertex of its own at the Voronoi vertex it starts from: none when it comes from
  /// infinity. A Voronoi vertex is the centre of one circle, whatever the number of sites on it;
  /// edges of no length between triangles of one circle do not appear. Where an edge goes to or
  /// comes from infinity, `next` or `prev` is null.
  void GenerateHalfedgeGraph();
  /// Breaks all links of the elements and empties the graph.
  void clean_up();
  /// Ends the references that an element of the beachline holds; nothing for null.
  static void dissolve_beachline_element(std::shared_ptr<BeachlineElement> element);
  /// Ends the references that an event holds; nothing for null.
  static void dissolve_event(std::shared_ptr<Event> event);

  std::map<PointXYW, std::shared_ptr<Face>, data_structures::PointXYWCompare> _faces;
  std::vector<std::shared_ptr<Halfedge>> _halfedges;
  /// What is left when all events are over: the arcs of the unbounded faces, with the breakpoints
  /// that run to infinity between them.
  data_structures::gAVL<std::shared_ptr<BeachlineElement>> _beachline;

 private:
  using Arena = data_structures::HalfedgeArena<PointXYW, Face>;

  PointCloud _points;
  std::shared_ptr<Arena> _arena;                   ///< of the linked elements; null without them
  std::shared_ptr<const sweep::Diagram> _diagram;  ///< null without one; never changes once made
};

}  // namespace libmfx::geometry
