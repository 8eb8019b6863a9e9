#include "geometry/cylinder/neighbourhood.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nanoflann.hpp>
#include <stdexcept>

namespace libmfx::geometry::cylinder {
namespace {

constexpr std::size_t kLeafSize = 16;

// What a search of the tree fills: the first neighbours, in order. The tree passes on what is
// nearer than `worstDist`, which is a little more than the last neighbour's distance: so it passes
// on ties, and its own rounding on the way to a leaf loses none.
class FirstNeighbours {
 public:
  FirstNeighbours(std::size_t count, std::vector<Neighbour>& found) : _count(count), _found(found) {
    _found.clear();
    _found.reserve(count + 1);
  }

  bool full() const { return _found.size() == _count; }
  std::size_t size() const { return _found.size(); }
  double worstDist() const {
    constexpr double kMost = std::numeric_limits<double>::max();
    if (!full()) return kMost;
    const double last = _found.back().squared;
    return std::min(kMost, std::max(last * (1.0 + 1e-12), std::nextafter(last, kMost)));
  }
  // Whether to go on. A search for ties at no distance at all would look at every one of them.
  bool addPoint(double squared, std::size_t place) {
    InsertFirst({squared, static_cast<Eigen::Index>(place)}, _count, _found);
    return !(full() && _found.back().squared == 0.0);
  }

 private:
  std::size_t _count;
  std::vector<Neighbour>& _found;
};

}  // namespace

struct Neighbourhood::Tree {
  struct Adaptor {
    const Points& points;

    std::size_t kdtree_get_point_count() const { return static_cast<std::size_t>(points.size()); }
    double kdtree_get_pt(std::size_t i, std::size_t axis) const {
      const Eigen::ArrayXd& column = axis == 0 ? points.x : axis == 1 ? points.y : points.z;
      return column[static_cast<Eigen::Index>(i)];
    }
    template <typename Box>
    bool kdtree_get_bbox(Box&) const {
      return false;
    }
  };
  using Index = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, Adaptor>,
                                                    Adaptor, 3, std::size_t>;

  explicit Tree(const Points& points)
      : adaptor{points}, index(3, adaptor, nanoflann::KDTreeSingleIndexAdaptorParams(kLeafSize)) {}

  Adaptor adaptor;
  Index index;
  bool built = false;
};

void InsertFirst(const Neighbour& neighbour, std::size_t count, std::vector<Neighbour>& found) {
  if (found.size() == count) {
    if (!(neighbour < found.back())) return;
    found.pop_back();
  }
  found.insert(std::upper_bound(found.begin(), found.end(), neighbour), neighbour);
}

Neighbourhood::Neighbourhood(const Points& points) : _tree(std::make_unique<Tree>(points)) {}
Neighbourhood::~Neighbourhood() = default;

void Neighbourhood::Build() {
  // Some releases of nanoflann pass over an empty set in silence, so that a later query finds
  // nothing and says nothing.
  if (_tree->adaptor.points.size() == 0)
    throw std::runtime_error("[nanoflann] computeBoundingBox() called but no data points found.");
  _tree->index.buildIndex();
  _tree->built = true;
}

void Neighbourhood::Nearest(const Eigen::Vector3d& center, std::size_t count, double radius,
                            std::vector<Eigen::Index>& found) const {
  RequireTree();
  std::vector<std::size_t> indices(count);
  std::vector<double> squared(count);
  const std::size_t hits =
      _tree->index.knnSearch(center.data(), count, indices.data(), squared.data());
  found.clear();
  for (std::size_t i = 0; i < hits && squared[i] <= radius * radius; ++i)
    found.push_back(static_cast<Eigen::Index>(indices[i]));
}

void Neighbourhood::First(const Eigen::Vector3d& center, std::size_t count,
                          std::vector<Neighbour>& found) const {
  RequireTree();
  FirstNeighbours first(count, found);
  _tree->index.findNeighbors(first, center.data(), nanoflann::SearchParams());
}

void Neighbourhood::RequireTree() const {
  if (!_tree->built) throw std::runtime_error("[nanoflann] findNeighbors() called before building");
}

}  // namespace libmfx::geometry::cylinder
