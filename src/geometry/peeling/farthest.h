#pragma once

#include <Eigen/Core>
#include <limits>
#include <vector>

namespace libmfx::geometry::peeling {

/// The plane of all p with normal.dot(p) = offset; a normal of zero length for points that
/// coincide.
struct LocalPlane {
  Eigen::Vector3d normal = Eigen::Vector3d::Zero();
  double offset = 0.0;

  double Distance(const Eigen::Vector3d& p) const { return normal.dot(p) - offset; }
  bool operator==(const LocalPlane& other) const {
    return normal == other.normal && offset == other.offset;
  }
};

/// A point and the column of the cloud that it came from.
struct Candidate {
  Eigen::Vector3d at;
  Eigen::Index column;
};

/// Finds the point farthest from a plane, over and over, while that point is taken out each time
/// and the plane moves a little. Of equal distances the lowest column wins, by the distances as
/// computed for the plane that is asked about: the answer is that of a pass over all points.
///
/// Such a pass is rarely made. The points of either side are held in pools, each the farthest
/// eighth of the pool before it when it was filled. What was left out then has since gained on the
/// lead by no more than the plane has turned, so while the best of the smallest pools leads by
/// more, it is the best of all. A pool that can't tell is filled anew from the one before it. So a
/// removal costs a look at some dozens of points and a share in the refills, however many points
/// there are.
///
/// Memory: about 60 bytes a point.
class Farthest {
 public:
  /// \param columns of the cloud
  explicit Farthest(Eigen::Index columns);

  /// Starts anew with these points, in any frame in which planes are given from now on.
  void Reset(std::vector<Candidate> points);
  /// The column of the farthest of the points that are left, of which there is at least one.
  Eigen::Index Find(const LocalPlane& plane);
  void Remove(Eigen::Index column);
  bool IsGone(Eigen::Index column) const { return _gone[static_cast<std::size_t>(column)] != 0; }

 private:
  /// A distance from the plane, positive on the side in question.
  struct Place {
    double distance = -std::numeric_limits<double>::infinity();
    Eigen::Index column = 0;
    bool Beats(const Place& other) const {
      return distance > other.distance || (distance == other.distance && column < other.column);
    }
  };
  struct Pool {
    std::vector<Candidate> points;  ///< those that are gone stay until the next pool is refilled
    LocalPlane filled_for;
    Place best_left_out;
    bool holds_all = false;  ///< of the pool before it
  };
  /// The pools of one side, the last of which is searched for each answer.
  struct Side {
    double sign;
    std::vector<Pool> pools;
  };

  Place PlaceOf(const Side& side, const Candidate& p, const LocalPlane& plane) const {
    return {side.sign * plane.Distance(p.at), p.column};
  }
  Place BestOf(const Side& side, const LocalPlane& plane) const;
  bool Decides(const Side& side, const Pool& pool, const Place& best,
               const LocalPlane& plane) const;
  void Refill(Side& side, std::size_t first, const LocalPlane& plane);
  /// More than the distance of any point can change by rounding.
  double Rounding(const LocalPlane& plane) const;

  std::vector<char> _gone;
  std::vector<Candidate> _points;
  Side _sides[2] = {{1.0, {}}, {-1.0, {}}};
  std::vector<Place> _order;
  Eigen::Vector3d _reach = Eigen::Vector3d::Zero();  ///< largest magnitude of each coordinate
};

}  // namespace libmfx::geometry::peeling
