#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "sim/part.h"
#include "sim/pose.h"

namespace libmfx::sim {

/// A part made of several others, each of which stands somewhere in its frame. Members hide each
/// other as they would side by side: what a ray meets first counts. A member may be looked at from
/// all sides, and from behind it is what its faces are: a sheet or a plate is as opaque as from
/// ahead, an edge is a shell that is open at its ends.
///
/// All members of one ray are asked from the same point, the one nearest to the middle of the
/// assembly. Faces that touch then let no ray pass between them, from whatever distance: they
/// overlap by kSeam, and coordinates of a metre are rounded to a 10000th of that.
///
/// The truth holds what is known of each member, turned and moved, under "NAME.key".
class Assembly : public Part {
 public:
  struct Member {
    std::string name;  ///< of no other member
    std::shared_ptr<const Part> part;
    Pose pose;  ///< from the member's frame into the assembly's
  };

  /// \param members at least one
  explicit Assembly(const std::vector<Member>& members);

  bool Intersect(const Ray& ray, Hit& hit) const override;
  double Reach() const override { return _reach; }
  /// The middle of the box around what its members call their middle.
  Vec3 Center() const override { return _center; }
  const Truth& truth() const override { return _truth; }
  bool HasFront() const override { return false; }

 private:
  static constexpr std::size_t kAtOnce = 8;
  /// How a ray passes balls.
  struct Passing {
    std::array<double, kAtOnce> ahead;   ///< metres along the ray to where it is nearest to each
    std::array<double, kAtOnce> inside;  ///< square of half of its way within; below 0: it misses
  };
  /// Balls that hold a member each, side by side for the processor. Those beyond the last member
  /// hold nothing.
  struct Balls {
    /// The members' origins relative to the middle of the assembly.
    std::array<double, kAtOnce> x{};
    std::array<double, kAtOnce> y{};
    std::array<double, kAtOnce> z{};
    std::array<double, kAtOnce> squared_radius{};

    /// \param start relative to the middle of the assembly
    /// \param d unit vector
    Passing PassedBy(const Vec3& start, const Vec3& d) const;
  };
  struct Placed {
    std::shared_ptr<const Part> part;
    Vec3 origin;  ///< relative to the middle of the assembly
    Mat3 to_assembly;
    Mat3 to_member;
  };

  void AddTruth(const Member& member);

  std::vector<Placed> _members;
  std::vector<Balls> _balls;  ///< of the members in their order
  Vec3 _center;
  double _squared_radius = 0.0;  ///< of a ball around the middle that holds all members
  double _reach = 0.0;
  Truth _truth;
};

}  // namespace libmfx::sim
