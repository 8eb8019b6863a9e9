#include "libmfx/geometry/mesh.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "data_structures/halfedge_arena.h"

namespace libmfx::geometry {

using data_structures::PointXYZW;

Mesh::Mesh(const PointCloud& vertices, const Eigen::MatrixXi& faces)
    : _vertices(vertices), _faces(faces) {
  GenerateHalfedgeGraph();
}

Mesh::Mesh(PointCloud vertices, Eigen::MatrixXi faces, std::shared_ptr<const Twins> twins)
    : _vertices(std::move(vertices)), _faces(std::move(faces)) {
  if (!HasGraph()) return;
  _twins = std::move(twins);
  DeferElements();
}

Mesh::Mesh(const Mesh& other) : Mesh(other._vertices, other._faces) {}

Mesh& Mesh::operator=(const Mesh& other) {
  if (this == &other) return *this;
  ClearHalfedgeGraph();
  _vertices = other._vertices;
  _faces = other._faces;
  GenerateHalfedgeGraph();
  return *this;
}

Mesh::~Mesh() { ClearHalfedgeGraph(); }

void Mesh::ClearHalfedgeGraph() {
  _boundary_edges.Defer(nullptr);
  _interior_edges.Defer(nullptr);
  _twins.reset();
  _dissolved.reset();
  _boundary_edges.clear();
  _interior_edges.clear();
  if (_arena) Arena::Clear(_arena);
  _arena.reset();
}

bool Mesh::HasGraph() const {
  return _faces.rows() > 0 && _faces.cols() > 2 && _vertices.rows() > 0 && _vertices.cols() > 0;
}

void Mesh::CheckIndices() const {
  if (_faces.minCoeff() < 0 || _faces.maxCoeff() >= _vertices.cols()) {
    throw std::out_of_range("A face refers to vertex " + std::to_string(_faces.minCoeff()) +
                            " or " + std::to_string(_faces.maxCoeff()) + ", there are " +
                            std::to_string(_vertices.cols()) + "!");
  }
}

void Mesh::DeferElements() {
  _boundary_edges.Defer([this] { MakeDeferredElements(); });
  _interior_edges.Defer([this] { MakeDeferredElements(); });
}

void Mesh::MakeDeferredElements() {
  const std::shared_ptr<const Twins> twins = _twins;
  const std::optional<double> dissolved = _dissolved;
  ClearHalfedgeGraph();
  try {
    MakeElements(twins.get());
    EnterEdges(*twins);
    CompleteGraph();
    if (dissolved) DissolveElements(*dissolved);
  } catch (...) {
    ClearHalfedgeGraph();  // elements that are linked would keep each other alive
    _twins = twins;
    _dissolved = dissolved;
    DeferElements();
    throw;
  }
}

void Mesh::MakeElements(const Twins* twins) {
  const auto corners = static_cast<std::size_t>(_faces.cols());
  const auto rows = static_cast<std::size_t>(_faces.rows());
  _arena = std::make_shared<Arena>(rows * corners, rows * corners, rows);
  const Arena::Ptr& arena = _arena;
  const Eigen::MatrixXd& points = _vertices.data();
  const bool has_y = points.rows() > 1;
  constexpr std::size_t kAhead = 8;  // faces come in no order of their vertices: ask for them early
  for (std::size_t f = 0, h = 0; f < rows; ++f) {
    const std::size_t first = h;
    for (std::size_t c = 0; c < corners && f + kAhead < rows; ++c) {
      const int a = _faces(static_cast<Eigen::Index>(f + kAhead), static_cast<Eigen::Index>(c));
      __builtin_prefetch(points.data() + a * points.rows());
    }
    for (std::size_t c = 0; c < corners; ++c, ++h) {
      const int a = _faces(static_cast<Eigen::Index>(f), static_cast<Eigen::Index>(c));
      arena->Add(
          {PointXYZW(points(0, a), has_y ? points(1, a) : 0.0, 0.0), Arena::Halfedge(arena, h)});
      const int twin = twins ? (*twins)[h] : -1;
      arena->Add({Arena::Vertex(arena, h),
                  twin < 0 ? nullptr : Arena::Halfedge(arena, static_cast<std::size_t>(twin)),
                  Arena::FaceAt(arena, f), Arena::Halfedge(arena, c + 1 == corners ? first : h + 1),
                  Arena::Halfedge(arena, c == 0 ? first + corners - 1 : h - 1)});
    }
    data_structures::HEFace<PointXYZW> face;
    face.halfedge = Arena::Halfedge(arena, first);
    arena->Add(std::move(face));
  }
}

void Mesh::EnterEdges(const Twins& twins) {
  const int corners = static_cast<int>(_faces.cols());
  const auto rim = static_cast<std::size_t>(std::count(twins.begin(), twins.end(), -1));
  _interior_edges.reserve(twins.size() - rim);
  _boundary_edges.reserve(rim);
  std::size_t h = 0;
  for (Eigen::Index f = 0; f < _faces.rows(); ++f) {
    for (int c = 0; c < corners; ++c, ++h) {
      const std::pair<int, int> key(_faces(f, c), _faces(f, c + 1 == corners ? 0 : c + 1));
      (twins[h] >= 0 ? _interior_edges : _boundary_edges).append(key, Arena::Halfedge(_arena, h));
    }
  }
}

void Mesh::CompleteGraph() {
  const auto entries = static_cast<long>(_interior_edges.size() + _boundary_edges.size());
  _arena->Complete(_arena.use_count() - entries - 1);
}

void Mesh::GenerateHalfedgeGraph() {
  if (!HasGraph()) return;
  ClearHalfedgeGraph();
  CheckIndices();
  try {
    MakeElements(nullptr);
    PairTwins();
    CompleteGraph();
  } catch (...) {
    ClearHalfedgeGraph();
    throw;
  }
}

void Mesh::PairTwins() {
  const Eigen::Index corners = _faces.cols();
  std::size_t h = 0;
  for (Eigen::Index f = 0; f < _faces.rows(); ++f) {
    for (Eigen::Index c = 0; c < corners; ++c, ++h) {
      const int a = _faces(f, c), b = _faces(f, c + 1 == corners ? 0 : c + 1);
      const HalfedgePtr he = Arena::Halfedge(_arena, h);
      const auto opposite = _boundary_edges.find({b, a});
      if (opposite == _boundary_edges.end()) {
        _boundary_edges[{a, b}] = he;
        continue;
      }
      const HalfedgePtr twin = opposite->second;
      _boundary_edges.erase(opposite);
      he->twin = twin;
      twin->twin = he;
      _interior_edges[{a, b}] = he;
      _interior_edges[{b, a}] = twin;
    }
  }
}

}  // namespace libmfx::geometry
