#include "libmfx/geometry/mesh.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "data_structures/halfedge_arena.h"

namespace libmfx::geometry {

using data_structures::HEFace;
using data_structures::HEVertex;
using data_structures::PointXYZW;

Mesh::Mesh(const PointCloud& vertices, const Eigen::MatrixXi& faces)
    : _vertices(vertices), _faces(faces) {
  GenerateHalfedgeGraph();
}

Mesh::Mesh(PointCloud vertices, Eigen::MatrixXi faces, const std::vector<int>& twins)
    : _vertices(std::move(vertices)), _faces(std::move(faces)) {
  if (!HasGraph()) return;
  MakeElements();
  LinkTwins(twins);
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
  _boundary_edges.clear();
  _interior_edges.clear();
  if (_arena) _arena->Unlink();
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

void Mesh::MakeElements() {
  const auto corners = static_cast<std::size_t>(_faces.cols());
  const auto rows = static_cast<std::size_t>(_faces.rows());
  const auto arena = std::make_shared<Arena>(rows * corners, rows * corners, rows);
  const bool has_y = _vertices.rows() > 1;
  const auto halfedge = [&arena](std::size_t i) { return HalfedgePtr(arena, &arena->halfedge(i)); };
  for (std::size_t f = 0, h = 0; f < rows; ++f) {
    const std::shared_ptr<HEFace<PointXYZW>> face(arena, &arena->face(f));
    const std::size_t first = h;
    for (std::size_t c = 0; c < corners; ++c, ++h) {
      const int a = _faces(static_cast<Eigen::Index>(f), static_cast<Eigen::Index>(c));
      const std::shared_ptr<HEVertex<PointXYZW>> vertex(arena, &arena->vertex(h));
      vertex->point = PointXYZW(_vertices.data()(0, a), has_y ? _vertices.data()(1, a) : 0.0, 0.0);
      vertex->halfedge = halfedge(h);
      Halfedge& he = arena->halfedge(h);
      he.vertex = vertex;
      he.face = face;
      he.next = halfedge(c + 1 == corners ? first : h + 1);
      he.prev = halfedge(c == 0 ? first + corners - 1 : h - 1);
    }
    face->halfedge = halfedge(first);
  }
  _arena = arena;
}

void Mesh::LinkTwins(const std::vector<int>& twins) {
  const int corners = static_cast<int>(_faces.cols());
  const auto paired = static_cast<std::size_t>(
      std::count_if(twins.begin(), twins.end(), [](int twin) { return twin >= 0; }));
  _interior_edges.reserve(paired);
  _boundary_edges.reserve(twins.size() - paired);
  const int count = static_cast<int>(twins.size());
  for (int f = 0, h = 0; h < count; ++f) {
    for (int c = 0; c < corners; ++c, ++h) {
      const std::pair<int, int> key(_faces(f, c), _faces(f, c + 1 == corners ? 0 : c + 1));
      const int twin = twins[static_cast<std::size_t>(h)];
      Halfedge& he = _arena->halfedge(static_cast<std::size_t>(h));
      if (twin >= 0) he.twin = {_arena, &_arena->halfedge(static_cast<std::size_t>(twin))};
      (twin >= 0 ? _interior_edges : _boundary_edges).append(key, {_arena, &he});
    }
  }
}

void Mesh::GenerateHalfedgeGraph() {
  if (!HasGraph()) return;
  ClearHalfedgeGraph();
  CheckIndices();
  MakeElements();
  const Eigen::Index corners = _faces.cols();
  std::size_t h = 0;
  for (Eigen::Index f = 0; f < _faces.rows(); ++f) {
    for (Eigen::Index c = 0; c < corners; ++c, ++h) {
      const int a = _faces(f, c), b = _faces(f, c + 1 == corners ? 0 : c + 1);
      const HalfedgePtr he(_arena, &_arena->halfedge(h));
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
