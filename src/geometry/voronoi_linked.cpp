#include <cmath>
#include <map>
#include <utility>

#include "data_structures/halfedge_arena.h"
#include "geometry/sweep/diagram.h"
#include "libmfx/geometry/voronoi_graph.h"

namespace libmfx::geometry {

using data_structures::HE;
using data_structures::PointXYW;

namespace {

using sweep::Diagram;
using sweep::Triangulation;
using Face = VorFace<PointXYW>;
using Arena = data_structures::HalfedgeArena<PointXYW, Face>;
using HalfedgePtr = std::shared_ptr<HE<PointXYW>>;
constexpr int kNone = Triangulation::kNone;

/// A Voronoi halfedge as numbers.
struct Edge {
  int face = kNone;    ///< a site
  int origin = kNone;  ///< a triangle of the circle it starts at; kNone for infinity
  int twin = kNone, next = kNone, prev = kNone;
};

/// Numbers the Voronoi halfedges of a diagram. The dual of a triangulation halfedge u -> v lies in
/// the face of u and runs from the circle on the right of it to the one on the left. A rim halfedge
/// has one more, in the face of v, that goes out to infinity.
class DualEdges {
 public:
  explicit DualEdges(const Diagram& diagram)
      : _mesh(diagram.mesh), _dual(_mesh.corner.size(), kNone), _out(_mesh.corner.size(), kNone) {
    FindCircles();
    if (_mesh.corner.empty()) {
      if (diagram.finished) LinkLines(static_cast<int>(diagram.sites.size()));
      return;
    }
    for (int h = 0; h < static_cast<int>(_mesh.corner.size()); ++h) {
      if (Shared(h)) continue;
      const int right = _mesh.Twin(h);
      At(_dual, h) = Add(_mesh.From(h), right == kNone ? kNone : Circle(right / 3));
      if (right == kNone) At(_out, h) = Add(_mesh.To(h), Circle(h / 3));
    }
    for (int h = 0; h < static_cast<int>(_mesh.corner.size()); ++h) {
      if (!Shared(h)) LinkDual(h);
    }
  }

  const std::vector<Edge>& edges() const { return _edges; }
  /// For each triangle, the first triangle on its circle.
  int Circle(int triangle) const { return _circle[static_cast<std::size_t>(triangle)]; }
  /// The halfedge that goes out to infinity between the faces of two sites, kNone if there is none.
  int Outgoing(int left, int right) const {
    const auto found = _outgoing.find({left, right});
    return found == _outgoing.end() ? kNone : found->second;
  }

 private:
  static int& At(std::vector<int>& v, int i) { return v[static_cast<std::size_t>(i)]; }
  bool Shared(int h) const { return _mesh.shared_circle[static_cast<std::size_t>(h)] != 0; }

  int Add(int face, int origin) {
    _edges.push_back({face, origin});
    return static_cast<int>(_edges.size()) - 1;
  }
  void Follow(int edge, int next) {
    _edges[static_cast<std::size_t>(edge)].next = next;
    _edges[static_cast<std::size_t>(next)].prev = edge;
  }
  void Pair(int a, int b) {
    _edges[static_cast<std::size_t>(a)].twin = b;
    _edges[static_cast<std::size_t>(b)].twin = a;
  }

  void FindCircles() {
    _circle.assign(static_cast<std::size_t>(_mesh.Triangles()), kNone);
    std::vector<int> stack;
    for (int t = 0; t < _mesh.Triangles(); ++t) {
      if (At(_circle, t) != kNone) continue;
      At(_circle, t) = t;
      stack.push_back(t);
      while (!stack.empty()) {
        const int first = 3 * stack.back();
        stack.pop_back();
        for (int h = first; h < first + 3; ++h) {
          if (!Shared(h) || At(_circle, _mesh.Twin(h) / 3) != kNone) continue;
          At(_circle, _mesh.Twin(h) / 3) = t;
          stack.push_back(_mesh.Twin(h) / 3);
        }
      }
    }
  }

  void LinkDual(int h) {
    const int twin = _mesh.Twin(h);
    if (twin == kNone) {
      Pair(At(_dual, h), At(_out, h));
      _outgoing[{_mesh.From(h), _mesh.To(h)}] = At(_out, h);
    } else if (h < twin) {
      Pair(At(_dual, h), At(_dual, twin));
    }
    // Counter-clockwise about u comes the edge on the far side of this triangle.
    int e = Triangulation::Prev(h);
    while (Shared(e)) e = Triangulation::Prev(_mesh.Twin(e));
    Follow(At(_dual, h), _mesh.Twin(e) == kNone ? At(_out, e) : At(_dual, _mesh.Twin(e)));
  }

  /// Collinear sites: between two neighbours runs one line from infinity to infinity.
  void LinkLines(int sites) {
    for (int i = 0; i + 1 < sites; ++i) {
      const int a = Add(i, kNone), b = Add(i + 1, kNone);
      Pair(a, b);
      _outgoing[{i, i + 1}] = a;
      _outgoing[{i + 1, i}] = b;
    }
  }

  const Triangulation& _mesh;
  std::vector<int> _dual, _out;  // by triangulation halfedge
  std::vector<int> _circle;
  std::vector<Edge> _edges;
  std::map<std::pair<int, int>, int> _outgoing;
};

PointXYW InMetres(const sweep::Vec2& v, int exponent) {
  return PointXYW(std::ldexp(v.x, exponent), std::ldexp(v.y, exponent), 1.0);
}

PointXYW CentreOf(const Diagram& diagram, int triangle) {
  const auto corner = [&](int i) -> const sweep::Vec2& {
    return diagram.sites[static_cast<std::size_t>(diagram.mesh.From(3 * triangle + i))];
  };
  return InMetres(sweep::CircleCentre(corner(0), corner(1), corner(2)), diagram.exponent);
}

HalfedgePtr EdgeOrNull(const Arena::Ptr& arena, int edge) {
  return edge == kNone ? nullptr : Arena::Halfedge(arena, static_cast<std::size_t>(edge));
}

void AddHalfedges(const Diagram& diagram, const DualEdges& dual, const Arena::Ptr& arena) {
  std::size_t vertex = 0;
  for (std::size_t i = 0; i < dual.edges().size(); ++i) {
    const Edge& edge = dual.edges()[i];
    HE<PointXYW> he;
    if (edge.origin != kNone) {
      arena->Add({CentreOf(diagram, edge.origin), Arena::Halfedge(arena, i)});
      he.vertex = Arena::Vertex(arena, vertex++);
    }
    he.twin = EdgeOrNull(arena, edge.twin);
    he.face = Arena::FaceAt(arena, static_cast<std::size_t>(edge.face));
    he.next = EdgeOrNull(arena, edge.next);
    he.prev = EdgeOrNull(arena, edge.prev);
    arena->Add(std::move(he));
  }
}

void AddFaces(const Diagram& diagram, const DualEdges& dual, const Arena::Ptr& arena) {
  // An unbounded face is entered where its walk begins.
  std::vector<int> first(diagram.sites.size(), kNone);
  for (std::size_t i = 0; i < dual.edges().size(); ++i) {
    int& edge = first[static_cast<std::size_t>(dual.edges()[i].face)];
    if (edge == kNone || dual.edges()[i].prev == kNone) edge = static_cast<int>(i);
  }
  for (std::size_t site = 0; site < diagram.sites.size(); ++site) {
    Face face;
    face.site = InMetres(diagram.sites[site], diagram.exponent);
    face.halfedge = EdgeOrNull(arena, first[site]);
    arena->Add(std::move(face));
  }
}

}  // namespace

void VoronoiGraph::GenerateHalfedgeGraph() {
  clean_up();
  if (!_diagram) return;
  const DualEdges dual(*_diagram);
  std::size_t vertices = 0;
  for (const Edge& edge : dual.edges()) vertices += edge.origin != kNone ? 1 : 0;
  _arena = std::make_shared<Arena>(dual.edges().size(), vertices, _diagram->sites.size());
  try {
    AddHalfedges(*_diagram, dual, _arena);
    AddFaces(*_diagram, dual, _arena);
    _arena->Complete(_arena.use_count() - 1);
    for (std::size_t i = 0; i < dual.edges().size(); ++i) {
      _halfedges.push_back(Arena::Halfedge(_arena, i));
    }
    for (std::size_t i = 0; i < _diagram->sites.size(); ++i) {
      const auto face = Arena::FaceAt(_arena, i);
      _faces.emplace(face->site, face);
    }
    std::shared_ptr<Arc> before;
    int site_before = kNone;
    for (const int site : _diagram->beachline) {
      const auto face = Arena::FaceAt(_arena, static_cast<std::size_t>(site));
      const auto arc = std::make_shared<Arc>(face->site);
      arc->face = face;
      if (before) {
        arc->left = std::make_shared<Breakpoint>(before->site, arc->site);
        arc->left->halfedge = EdgeOrNull(_arena, dual.Outgoing(site_before, site));
        before->right = arc->left;
        _beachline.Append(arc->left);
      }
      _beachline.Append(arc);
      before = arc;
      site_before = site;
    }
  } catch (...) {
    clean_up();
    throw;
  }
}

void VoronoiGraph::clean_up() {
  _beachline.Clear(dissolve_beachline_element);
  _halfedges.clear();
  _faces.clear();
  if (_arena) Arena::Clear(_arena);
  _arena.reset();
}

void VoronoiGraph::dissolve_beachline_element(std::shared_ptr<BeachlineElement> element) {
  if (!element) return;
  if (element->type == BeachlineElement::kArc) {
    auto& arc = static_cast<Arc&>(*element);
    arc.event.reset();
    arc.left.reset();
    arc.right.reset();
    arc.face.reset();
  } else if (element->type == BeachlineElement::kBreakpoint) {
    static_cast<Breakpoint&>(*element).halfedge.reset();
  }
}

void VoronoiGraph::dissolve_event(std::shared_ptr<Event> event) {
  if (event && event->type == Event::kCircle) static_cast<CircleEvent&>(*event).arc.reset();
}

}  // namespace libmfx::geometry
