#pragma once

#include <memory>
#include <utility>

#include "libmfx/data_structures/point.h"
#include "libmfx/export.h"

namespace libmfx::geometry {

class Arc;

/// What the sweep line meets on its way down: a site, or the lowest point of a circle.
class LIBMFX_EXPORT Event {
 public:
  static constexpr int kSite = 0;
  static constexpr int kCircle = 1;

  explicit Event(const data_structures::PointXYW& where = {}, int kind = kSite)
      : point(where), type(kind) {}
  virtual ~Event() = default;

  data_structures::PointXYW point;  ///< where the event fires
  int type;                         ///< kSite or kCircle

 protected:
  Event(const Event&) = default;
  Event& operator=(const Event&) = default;
};

/// The sweep line reaches a site.
class LIBMFX_EXPORT SiteEvent : public Event {
 public:
  SiteEvent() : SiteEvent(data_structures::PointXYW()) {}
  explicit SiteEvent(const data_structures::PointXYW& site) : Event(site, kSite) {}
};

/// The sweep line reaches the lowest point of a circle through three sites: (centre x, centre y
/// minus radius, 1). The arc of the middle one vanishes at the centre.
class LIBMFX_EXPORT CircleEvent : public Event {
 public:
  CircleEvent() : CircleEvent(data_structures::PointXYW(), 0.0, nullptr) {}
  CircleEvent(const data_structures::PointXYW& bottom, double circle_radius,
              std::shared_ptr<Arc> vanishing)
      : Event(bottom, kCircle), arc(std::move(vanishing)), radius(circle_radius) {}

  bool valid = true;         ///< cleared when the event is cancelled
  std::shared_ptr<Arc> arc;  ///< the arc that vanishes
  double radius;
};

/// The order of events for a priority queue, whose top is the first event. For events whose y
/// differ by less than the double epsilon the smaller x comes first, otherwise the larger y.
struct LIBMFX_EXPORT VerticalSweep {
  /// Whether `a` comes after `b`.
  /// \throws std::runtime_error on a null event
  bool operator()(const std::shared_ptr<Event>& a, const std::shared_ptr<Event>& b) const;
};

}  // namespace libmfx::geometry
