#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "libmfx/data_structures/halfedge.h"

namespace libmfx::data_structures {

/// Number of halfedges, vertices and faces of all arenas that are alive in the process.
inline std::atomic<std::int64_t>& LiveHalfedgeElements() {
  static std::atomic<std::int64_t> count{0};
  return count;
}

/// The elements of one halfedge graph, each kind in one block. The shared pointers that it hands
/// out all share the ownership of the whole arena: there is one reference count, no allocation an
/// element, and no chain of destructors. While elements are linked the arena owns itself through
/// their links; Unlink ends that.
template <typename P>
class HalfedgeArena {
 public:
  HalfedgeArena(std::size_t halfedges, std::size_t vertices, std::size_t faces)
      : _halfedges(halfedges), _vertices(vertices), _faces(faces) {
    LiveHalfedgeElements() += Count();
  }
  HalfedgeArena(const HalfedgeArena&) = delete;
  HalfedgeArena& operator=(const HalfedgeArena&) = delete;
  ~HalfedgeArena() { LiveHalfedgeElements() -= Count(); }

  std::size_t Halfedges() const { return _halfedges.size(); }
  HE<P>& halfedge(std::size_t i) { return _halfedges[i]; }
  HEVertex<P>& vertex(std::size_t i) { return _vertices[i]; }
  HEFace<P>& face(std::size_t i) { return _faces[i]; }

  /// Breaks all links of all elements. The caller holds the arena.
  void Unlink() {
    for (HE<P>& he : _halfedges) he = {};
    for (HEVertex<P>& vertex : _vertices) vertex.halfedge.reset();
    for (HEFace<P>& face : _faces) face.halfedge.reset();
  }

 private:
  std::int64_t Count() const {
    return static_cast<std::int64_t>(_halfedges.size() + _vertices.size() + _faces.size());
  }

  std::vector<HE<P>> _halfedges;
  std::vector<HEVertex<P>> _vertices;
  std::vector<HEFace<P>> _faces;
};

}  // namespace libmfx::data_structures
