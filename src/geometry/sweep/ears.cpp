#include "geometry/sweep/ears.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace libmfx::geometry::sweep {
namespace {

constexpr int kNone = Triangulation::kNone;

/// A corner of a polygon; `outer` is the halfedge on the other side of the edge to the next corner.
struct Corner {
  int site;
  int outer;
  double cost;  ///< of the ear that this corner is the middle of
};

Vec2 UnitVector(const Vec2& from, const Vec2& to) {
  Vec2 v{to.x - from.x, to.y - from.y};
  const double squared = v.x * v.x + v.y * v.y;
  if (squared > 0.0) {
    const double length = std::sqrt(squared);
    v = {v.x / length, v.y / length};
  }
  return v;
}

double Dot(const Vec2& u, const Vec2& v) { return u.x * v.x + u.y * v.y; }

/// The largest interior angle of the triangle, by the negative of its cosine: the arc cosine falls
/// with its argument, so that the order of costs is the order of angles without taking it.
double EarCost(const Vec2& before, const Vec2& middle, const Vec2& after) {
  const Vec2 u = UnitVector(middle, before), v = UnitVector(middle, after);
  const Vec2 w = UnitVector(before, after);
  return -std::min({Dot(u, v), -Dot(u, w), Dot(v, w)});
}

class GroupCutter {
 public:
  GroupCutter(const Diagram& diagram, Eigen::MatrixXi& faces, Triangulation::Indices& twin)
      : _diagram(diagram), _mesh(diagram.mesh), _faces(faces), _twin(twin) {}

  /// Cuts the group that triangle `t` belongs to, if there is one.
  void Cut(int t, std::vector<bool>& done) {
    Collect(t, done);
    if (_triangles.size() < 2) return;
    CollectPolygon();
    std::size_t row = 0;
    if (IsUprightRectangle()) {
      CutEar(0, _triangles[row++]);
    } else {
      for (std::size_t i = 0; i < _polygon.size(); ++i) UpdateCost(i);
    }
    while (_polygon.size() > 3) {
      const std::size_t before = CutEar(ChooseEar(), _triangles[row++]);
      UpdateCost(before);
      UpdateCost(After(before));
    }
    if (_polygon.size() < 3) throw std::runtime_error("Encountered degenerate triangle!");
    WriteTriangle(_triangles[row], _polygon[0], _polygon[1], _polygon[2]);
    Pair(3 * _triangles[row] + 2, _polygon[2].outer);
    if (row + 1 != _triangles.size()) {
      throw std::logic_error("There should be no unaccounted for straggler points!!!");
    }
  }

 private:
  /// Whether the group is one cell of a raster. All four ears have a right angle then, and the same
  /// cost to the last bit: it is known without the roots which goes first.
  bool IsUprightRectangle() const {
    if (_polygon.size() != 4) return false;
    const Vec2 &a = At(_polygon[0]), &b = At(_polygon[1]);
    const Vec2 &c = At(_polygon[2]), &d = At(_polygon[3]);
    return (a.x == b.x && b.y == c.y && c.x == d.x && d.y == a.y) ||
           (a.y == b.y && b.x == c.x && c.y == d.y && d.x == a.x);
  }

  int Twin(int h) const { return _twin[static_cast<std::size_t>(h)]; }
  void Pair(int a, int b) {
    _twin[static_cast<std::size_t>(a)] = b;
    if (b != kNone) _twin[static_cast<std::size_t>(b)] = a;
  }
  bool Shared(int h) const { return _mesh.shared_circle[static_cast<std::size_t>(h)] != 0; }

  void Collect(int t, std::vector<bool>& done) {
    _triangles.assign(1, t);
    done[static_cast<std::size_t>(t)] = true;
    for (std::size_t i = 0; i < _triangles.size(); ++i) {
      for (int h = 3 * _triangles[i]; h < 3 * _triangles[i] + 3; ++h) {
        if (!Shared(h)) continue;
        const int other = _mesh.Twin(h) / 3;
        if (done[static_cast<std::size_t>(other)]) continue;
        done[static_cast<std::size_t>(other)] = true;
        _triangles.push_back(other);
      }
    }
  }

  /// Walks round the group, counter-clockwise, from its first outer halfedge.
  void CollectPolygon() {
    int start = kNone;
    for (std::size_t i = 0; start == kNone; ++i) {
      for (int h = 3 * _triangles[i]; h < 3 * _triangles[i] + 3 && start == kNone; ++h) {
        if (!Shared(h)) start = h;
      }
    }
    _polygon.clear();
    int h = start;
    do {
      _polygon.push_back({_mesh.From(h), Twin(h), 0.0});
      h = Triangulation::Next(h);
      while (Shared(h)) h = Triangulation::Next(_mesh.Twin(h));
    } while (h != start);
  }

  std::size_t Before(std::size_t i) const { return i == 0 ? _polygon.size() - 1 : i - 1; }
  std::size_t After(std::size_t i) const { return i + 1 == _polygon.size() ? 0 : i + 1; }
  const Vec2& At(const Corner& corner) const {
    return _diagram.sites[static_cast<std::size_t>(corner.site)];
  }

  void UpdateCost(std::size_t i) {
    _polygon[i].cost = EarCost(At(_polygon[Before(i)]), At(_polygon[i]), At(_polygon[After(i)]));
  }

  std::size_t ChooseEar() const {
    double best = std::numeric_limits<double>::max();
    std::size_t ear = _polygon.size();
    for (std::size_t i = 0; i < _polygon.size(); ++i) {
      if (_polygon[i].cost < best) {
        best = _polygon[i].cost;
        ear = i;
      }
    }
    if (ear == _polygon.size()) throw std::runtime_error("Encountered degenerate triangle!");
    return ear;
  }

  /// Writes the ear's triangle into row t; the polygon's new edge is the far side of its third
  /// edge. Returns the corner that this edge begins at.
  std::size_t CutEar(std::size_t ear, int t) {
    const std::size_t before = Before(ear), after = After(ear);
    WriteTriangle(t, _polygon[before], _polygon[ear], _polygon[after]);
    _polygon[before].outer = 3 * t + 2;
    _polygon.erase(_polygon.begin() + static_cast<std::ptrdiff_t>(ear));
    return ear < before ? before - 1 : before;
  }

  /// The first two edges of the triangle take the outer halfedges of their corners as twins.
  void WriteTriangle(int t, const Corner& a, const Corner& b, const Corner& c) {
    _faces(t, 0) = Column(a);
    _faces(t, 1) = Column(b);
    _faces(t, 2) = Column(c);
    Pair(3 * t, a.outer);
    Pair(3 * t + 1, b.outer);
    _twin[3 * static_cast<std::size_t>(t) + 2] = kNone;
  }

  int Column(const Corner& corner) const {
    return _diagram.column[static_cast<std::size_t>(corner.site)];
  }

  const Diagram& _diagram;
  const Triangulation& _mesh;
  Eigen::MatrixXi& _faces;
  Triangulation::Indices& _twin;
  std::vector<int> _triangles;
  std::vector<Corner> _polygon;
};

}  // namespace

bool HasSharedCircles(const Triangulation& mesh) {
  const auto& marks = mesh.shared_circle;
  return !marks.empty() && std::memchr(marks.data(), 1, marks.size()) != nullptr;
}

void CutSharedCircles(const Diagram& diagram, Eigen::MatrixXi& faces,
                      Triangulation::Indices& twin) {
  const Triangulation& mesh = diagram.mesh;
  std::vector<bool> done(static_cast<std::size_t>(mesh.Triangles()), false);
  GroupCutter cutter(diagram, faces, twin);
  for (int h = 0; h < static_cast<int>(mesh.corner.size()); ++h) {
    if (mesh.shared_circle[static_cast<std::size_t>(h)] == 0 ||
        done[static_cast<std::size_t>(h / 3)])
      continue;
    cutter.Cut(h / 3, done);
  }
}

}  // namespace libmfx::geometry::sweep
