#include "geometry/gap_loops.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "geometry/squared_limit.h"
#include "geometry/sweep/triangulation.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using sweep::Triangulation;

/// Walks over the halfedges that are left when the long edges are out.
class GapWalk {
 public:
  GapWalk(const Eigen::MatrixXd& vertices, const Eigen::MatrixXi& faces, const int* twins)
      : _vertices(vertices),
        _faces(faces),
        _twins(twins),
        _marks(static_cast<std::size_t>(faces.size()), 0) {}

  void RemoveLongEdges(double max_edge_length);
  std::vector<PointCloud> Loops();

 private:
  enum Mark : std::uint8_t {
    kRemoved = 1,
    kBeside = 2,  ///< its next or its previous one in the triangle is removed
    kWalked = 4,  ///< of one that is beside a gap
  };
  struct Loop {
    double perimeter;
    int start;
  };

  std::uint8_t& MarkOf(int h) { return _marks[static_cast<std::size_t>(h)]; }
  int From(int h) const { return _faces(h / 3, h % 3); }
  PointXYZW PointAt(int h) const {
    const int v = From(h);
    return PointXYZW(_vertices(0, v), _vertices.rows() > 1 ? _vertices(1, v) : 0.0, 0.0);
  }
  /// Turns about the end of `h` over what is removed. It ends at the twin of `h` at the latest, or
  /// at the rim, which is never removed.
  int Next(int h) {
    int next = Triangulation::Next(h);
    while ((MarkOf(next) & kRemoved) != 0) next = Triangulation::Next(_twins[next]);
    return next;
  }
  bool Walk(int start, double& perimeter);
  PointCloud CloudOf(int start);

  const Eigen::MatrixXd& _vertices;
  const Eigen::MatrixXi& _faces;
  const int* _twins;
  std::vector<std::uint8_t> _marks;
};

void GapWalk::RemoveLongEdges(double max_edge_length) {
  if (std::isnan(max_edge_length)) return;
  const double longest = SquareWithin(max_edge_length);
  const Eigen::Index stride = _vertices.rows();
  const double* const points = _vertices.data();
  for (int f = 0, h = 0; f < _faces.rows(); ++f) {
    for (int c = 0; c < 3; ++c, ++h) {
      if (_twins[h] < h) continue;  // the rim, or seen from the other side
      const double* const a = points + stride * _faces(f, c);
      const double* const b = points + stride * _faces(f, c == 2 ? 0 : c + 1);
      const double dx = a[0] - b[0], dy = stride > 1 ? a[1] - b[1] : 0.0;
      if (!(dx * dx + dy * dy > longest)) continue;
      for (const int side : {h, _twins[h]}) {
        MarkOf(side) |= kRemoved;
        MarkOf(Triangulation::Next(side)) |= kBeside;
        MarkOf(Triangulation::Prev(side)) |= kBeside;
      }
    }
  }
}

/// Walks from `start` until back there; false if the loop was met before or runs along the rim. A
/// halfedge walked earlier that isn't the start belongs to a loop that was dropped.
bool GapWalk::Walk(int start, double& perimeter) {
  perimeter = 0.0;
  int h = start;
  do {
    if ((MarkOf(h) & kWalked) != 0) return false;
    if ((MarkOf(h) & kBeside) != 0) MarkOf(h) |= kWalked;
    if (_twins[h] == Triangulation::kNone) return false;
    const int next = Next(h);
    perimeter += data_structures::Distance(PointAt(h), PointAt(next));
    h = next;
  } while (h != start);
  return true;
}

PointCloud GapWalk::CloudOf(int start) {
  Eigen::Index count = 0;
  for (int h = start; count == 0 || h != start; h = Next(h)) ++count;
  Eigen::MatrixXd data(3, count);
  int h = start;
  for (Eigen::Index i = 0; i < count; ++i, h = Next(h)) data.col(i) = PointAt(h).xyz();
  return PointCloud(std::move(data), {{data_structures::EMBEDDING_XYZ, {0}}});
}

std::vector<PointCloud> GapWalk::Loops() {
  std::vector<Loop> loops;
  for (int h = 0; h < static_cast<int>(_marks.size()); ++h) {
    if ((MarkOf(h) & (kRemoved | kBeside)) != kBeside) continue;
    double perimeter;
    if (Walk(h, perimeter)) loops.push_back({perimeter, h});
  }
  std::stable_sort(loops.begin(), loops.end(),
                   [](const Loop& a, const Loop& b) { return a.perimeter > b.perimeter; });
  std::vector<PointCloud> clouds;
  clouds.reserve(loops.size());
  for (const Loop& loop : loops) clouds.push_back(CloudOf(loop.start));
  return clouds;
}

}  // namespace

std::vector<PointCloud> GapLoops(const Eigen::MatrixXd& vertices, const Eigen::MatrixXi& faces,
                                 const int* twins, double max_edge_length) {
  GapWalk walk(vertices, faces, twins);
  walk.RemoveLongEdges(max_edge_length);
  return walk.Loops();
}

}  // namespace libmfx::geometry
