#pragma once

#include <utility>
#include <vector>

#include "geometry/sweep/beachline.h"
#include "geometry/sweep/circle_events.h"
#include "geometry/sweep/triangulation.h"

namespace libmfx::geometry::sweep {

/// The sweep of a horizontal line from high y to low y over distinct sites in sweep order (y
/// falling, then x rising). Every circle event adds one triangle; the breakpoint that it ends and
/// starts carry the halfedges that wait for their twins.
class Sweep {
 public:
  /// \param sites in sweep order, distinct, at most 1 in magnitude; kept by reference
  /// \param mesh its memory is used; what it holds is not
  explicit Sweep(const std::vector<Vec2>& sites, Triangulation&& mesh = {})
      : _sites(sites), _beachline(sites), _events(sites), _mesh(std::move(mesh)) {}

  /// Runs to the end.
  /// \throws std::logic_error on an inconsistency
  void Run();
  /// Hands over the triangles closed so far, none of whose halfedges has a mark.
  Triangulation TakeMesh();
  const Beachline& beachline() const { return _beachline; }

 private:
  void HandleSite(int site);
  void HandleCircle(int arc);
  int NewTriangle();
  bool HasTriple(const Beachline::Arc& arc) const;
  Triple TripleOf(const Beachline::Arc& arc) const;
  void TestTriples(Beachline::Arc& left, Beachline::Arc& right);
  void QueueEvents(int left, int right);
  bool IsFirst(int arc) const;
  void Queue(int arc);
  void CloseEdge(int open_edge, int halfedge);

  const std::vector<Vec2>& _sites;
  Beachline _beachline;
  CircleEvents _events;
  Triangulation _mesh;  ///< with room for the triangles to come
  int _halfedges = 0;   ///< of the triangles closed so far
  /// The first halfedge found of an edge that a site event opened at both ends. A breakpoint refers
  /// to entry k as open edge -2 - k, and to a waiting halfedge by its number.
  Triangulation::Indices _opened;
};

}  // namespace libmfx::geometry::sweep
