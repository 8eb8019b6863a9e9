#pragma once

#include <memory>

/// \file
/// The elements of a halfedge graph over points of type P. Every link is a shared pointer; who
/// builds a graph breaks its cycles of links when it is done with it.

namespace libmfx::data_structures {

template <typename P>
struct HEVertex;
template <typename P>
struct HEFace;

/// One side of an edge.
template <typename P>
struct HE {
  std::shared_ptr<HEVertex<P>> vertex;  ///< the origin of this halfedge
  std::shared_ptr<HE<P>> twin;          ///< the opposite halfedge; null on an unpaired edge
  std::shared_ptr<HEFace<P>> face;      ///< the face on this side
  std::shared_ptr<HE<P>> next;          ///< next halfedge round the face
  std::shared_ptr<HE<P>> prev;          ///< previous halfedge round the face
};

/// The origin of a halfedge. Each halfedge has a vertex object of its own.
template <typename P>
struct HEVertex {
  P point;
  std::shared_ptr<HE<P>> halfedge;  ///< a halfedge that leaves this vertex
};

/// A face, known by one of its halfedges.
template <typename P>
struct HEFace {
  HEFace() = default;
  HEFace(const HEFace&) = default;
  HEFace(HEFace&&) noexcept = default;
  HEFace& operator=(const HEFace&) = default;
  HEFace& operator=(HEFace&&) noexcept = default;
  virtual ~HEFace() = default;

  std::shared_ptr<HE<P>> halfedge;  ///< one halfedge of the face
  std::shared_ptr<HE<P>> unused;    ///< null: the record's second link has no use here
};

}  // namespace libmfx::data_structures
