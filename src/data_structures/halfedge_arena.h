#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "libmfx/data_structures/block_allocator.h"
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
/// their links; Clear ends that.
///
/// The number of elements is fixed at the start, so that an element may be linked before it is
/// added. \tparam Face HEFace<P> or a type derived from it
template <typename P, typename Face>
class HalfedgeArena {
 public:
  using Ptr = std::shared_ptr<HalfedgeArena>;

  HalfedgeArena(std::size_t halfedges, std::size_t vertices, std::size_t faces) {
    _halfedges.reserve(halfedges);
    _vertices.reserve(vertices);
    _faces.reserve(faces);
  }
  HalfedgeArena(const HalfedgeArena&) = delete;
  HalfedgeArena& operator=(const HalfedgeArena&) = delete;
  ~HalfedgeArena() { LiveHalfedgeElements() -= _counted; }

  /// Pointers to the element of a number, which may yet have to be added.
  static std::shared_ptr<HE<P>> Halfedge(const Ptr& arena, std::size_t i) {
    return {arena, arena->_halfedges.data() + i};
  }
  static std::shared_ptr<HEVertex<P>> Vertex(const Ptr& arena, std::size_t i) {
    return {arena, arena->_vertices.data() + i};
  }
  static std::shared_ptr<Face> FaceAt(const Ptr& arena, std::size_t i) {
    return {arena, arena->_faces.data() + i};
  }

  void Add(HE<P>&& he) { _halfedges.push_back(std::move(he)); }
  void Add(HEVertex<P>&& vertex) { _vertices.push_back(std::move(vertex)); }
  void Add(Face&& face) { _faces.push_back(std::move(face)); }
  /// Called once all elements are linked.
  /// \param own_links how many links there are between them
  void Complete(long own_links) {
    _own_links = own_links;
    _counted = static_cast<std::int64_t>(_halfedges.size() + _vertices.size() + _faces.size());
    LiveHalfedgeElements() += _counted;
  }

  /// Ends all links. When nobody but the caller holds an element, the elements go with their links;
  /// otherwise they stay, unlinked.
  static void Clear(const Ptr& arena) {
    if (arena.use_count() == arena->_own_links + 1) {
      LiveHalfedgeElements() -= std::exchange(arena->_counted, 0);
      arena->_halfedges.clear();
      arena->_vertices.clear();
      arena->_faces.clear();
      return;
    }
    for (HE<P>& he : arena->_halfedges) he = {};
    for (HEVertex<P>& vertex : arena->_vertices) vertex.halfedge.reset();
    for (Face& face : arena->_faces) face.halfedge.reset();
  }

 private:
  template <typename T>
  using Block = std::vector<T, BlockAllocator<T>>;

  Block<HE<P>> _halfedges;
  Block<HEVertex<P>> _vertices;
  Block<Face> _faces;
  long _own_links = 0;
  std::int64_t _counted = 0;  ///< of LiveHalfedgeElements
};

}  // namespace libmfx::data_structures
