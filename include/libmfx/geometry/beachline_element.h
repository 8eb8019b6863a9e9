#pragma once

#include <memory>

#include "libmfx/data_structures/halfedge.h"
#include "libmfx/data_structures/point.h"
#include "libmfx/export.h"
#include "libmfx/geometry/sweep_event.h"

namespace libmfx::geometry {

class Breakpoint;

/// A cell of the Voronoi diagram, with its site.
template <typename P>
struct VorFace : data_structures::HEFace<P> {
  P site;
};

/// What the beachline consists of, from left to right: arcs with breakpoints between them.
class LIBMFX_EXPORT BeachlineElement {
 public:
  static constexpr int kArc = 1;
  static constexpr int kBreakpoint = 2;

  explicit BeachlineElement(int kind = 0) : type(kind) {}
  virtual ~BeachlineElement() = default;
  /// -1, 0 or 1, as this element stands left of `other`, is the same one, or stands right of it.
  /// The sweep line is taken as low as the lowest of the sites involved. Positions closer than the
  /// double epsilon in every component are the same.
  /// \throws std::runtime_error on null or an
  /// element of another type, std::logic_error where two
  ///         breakpoints of different sites can't be told apart
  virtual int Compare(const std::shared_ptr<BeachlineElement>& other) = 0;

  int type;  ///< kArc or kBreakpoint

 protected:
  BeachlineElement(const BeachlineElement&) = default;
  BeachlineElement& operator=(const BeachlineElement&) = default;
};

/// A parabolic arc: the points as far from its site as from the sweep line.
class LIBMFX_EXPORT Arc : public BeachlineElement {
 public:
  Arc() : BeachlineElement(kArc) {}
  explicit Arc(const data_structures::PointXYW& focus) : BeachlineElement(kArc), site(focus) {}
  int Compare(const std::shared_ptr<BeachlineElement>& other) override;

  data_structures::PointXYW site;
  std::shared_ptr<CircleEvent> event;  ///< the pending circle event, if any
  std::shared_ptr<Breakpoint> left;    ///< null at the left end of the beachline
  std::shared_ptr<Breakpoint> right;   ///< null at the right end of the beachline
  std::shared_ptr<VorFace<data_structures::PointXYW>> face;
};

/// Where the arcs of two sites meet; it traces an edge of the diagram.
class LIBMFX_EXPORT Breakpoint : public BeachlineElement {
 public:
  Breakpoint() : BeachlineElement(kBreakpoint) {}
  Breakpoint(const data_structures::PointXYW& left, const data_structures::PointXYW& right)
      : BeachlineElement(kBreakpoint), left_site(left), right_site(right) {}
  int Compare(const std::shared_ptr<BeachlineElement>& other) override;

  data_structures::PointXYW left_site;
  data_structures::PointXYW right_site;
  std::shared_ptr<data_structures::HE<data_structures::PointXYW>> halfedge;

 private:
  int CompareArc(const Arc& arc);
  int CompareBreakpoint(const Breakpoint& other);
};

}  // namespace libmfx::geometry
