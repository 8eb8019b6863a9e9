#include "geometry/cylinder/neighbourhood.h"

#include <nanoflann.hpp>
#include <stdexcept>

namespace libmfx::geometry::cylinder {
namespace {

constexpr std::size_t kLeafSize = 16;

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
  if (!_tree->built) throw std::runtime_error("[nanoflann] findNeighbors() called before building");
  std::vector<std::size_t> indices(count);
  std::vector<double> squared(count);
  const std::size_t hits =
      _tree->index.knnSearch(center.data(), count, indices.data(), squared.data());
  found.clear();
  for (std::size_t i = 0; i < hits && squared[i] <= radius * radius; ++i)
    found.push_back(static_cast<Eigen::Index>(indices[i]));
}

}  // namespace libmfx::geometry::cylinder
