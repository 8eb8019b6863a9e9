#include "features/shared/search.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <ostream>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/trace.h"
#include "geometry/dense_interior.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/mesh.h"
#include "libmfx/geometry/plane.h"
#include "libmfx/geometry/voronoi_graph.h"
#include "messages/text.h"

namespace libmfx::features::shared {

using messages::TextOf;

namespace {

using data_structures::EMBEDDING_XY;
using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::RawDataPoint;
using data_structures::VectorXYZW;
using geometry::Plane;

/// The samples of the surface around the centre.
/// \return false if there is no surface
bool FindSurface(PointCloud search_data, const SearchRules& rules, const PointXYZW& center,
                 Plane& plane, PointCloud& surface) {
  Trace() << "Setup search data bins.." << std::endl;
  const double sigma = static_cast<double>(search_data.cols());
  std::vector<std::vector<PointCloud>> bins(1);
  bins[0].push_back(std::move(search_data));
  std::vector<std::vector<PointCloud>> selected;
  if (!plane.IterativeBinaryCuts(std::move(bins), center, selected, rules.quality_threshold, 0.0,
                                 rules.max_distance, sigma, sigma, 2.0 * rules.point_spacing,
                                 false)) {
    Trace() << "search_data IterativeBinaryCuts failed! " << TextOf(plane.Point()) << std::endl;
    return false;
  }
  Trace() << "search_data IterativeBinaryCuts succeeded!" << std::endl;
  surface = std::move(selected.at(0).at(0));
  return true;
}

/// The samples in the plane's own frame: x and y along tangent and bitangent from its point.
PointCloud InPlane(const PointCloud& surface, const Plane& plane) {
  const PointCloud cartesian(Eigen::MatrixXd(surface.data().topRows(3)), {{EMBEDDING_XYZ, {0}}});
  const Eigen::MatrixXd feet = plane.ProjectPointCloud(cartesian).data();
  const Eigen::Matrix3d to_plane = plane.TBN().inverse();
  return PointCloud(Eigen::MatrixXd(to_plane * (feet.colwise() - plane.Point().xyz())),
                    {{EMBEDDING_XY, {0}}});
}

/// The middle of the gap nearest to the centre; false if the mesh has none.
bool NearestGap(geometry::Mesh& mesh, const Plane& plane, double boundary_limit,
                const PointXYZW& center, PointXYZW& nearest) {
  const std::vector<PointCloud> boundaries = mesh.InteriorBoundaries(boundary_limit, false);
  if (boundaries.empty()) {
    Trace() << "Interior boundaries not found!" << std::endl;
    return false;
  }
  Trace() << "Interior boundaries found!" << std::endl;
  std::vector<PointXYZW> centroids;
  for (const PointCloud& boundary : boundaries) {
    const Eigen::Vector3d mean = boundary.data().topRows(3).rowwise().mean();
    centroids.emplace_back(Eigen::Vector3d(plane.TBN() * mean + plane.Point().xyz()));
  }
  // Of centroids at one distance the larger boundary counts, which comes first.
  nearest = *std::min_element(centroids.begin(), centroids.end(),
                              [&](const PointXYZW& a, const PointXYZW& b) {
                                return Distance(a, center) < Distance(b, center);
                              });
  Trace() << "Nearest centroids sorted.." << std::endl;
  return true;
}

void MoveNormal(const Plane& plane, const SearchRules& rules, const PointXYZW& center,
                VectorXYZW& normal) {
  Trace() << rules.words.original_normal << TextOf(normal) << std::endl;
  if (plane.Normal().isZero(kZeroDirection)) return;
  Trace() << "Input normal updated.." << std::endl;
  normal = plane.Normal();
  const double towards = normal.dot(UnitFromTo(center, rules.scan_origin));
  if (rules.points_away ? towards > 0.0 : towards < 0.0) normal = -normal;
}

}  // namespace

std::string MoveNominal(const std::vector<RawDataPoint>& samples, const SearchRules& rules,
                        PointXYZW& center, VectorXYZW& normal) {
  PointCloud search_data(samples, EMBEDDING_XYZ, rules.quality_threshold, true);
  Trace() << "search_data.cols(): " << search_data.cols() << std::endl;
  if (search_data.cols() < 3 || search_data.rows() < 3) {
    Trace() << "Insufficient raw data search points!" << std::endl;
  }
  Plane plane;
  PointCloud surface;
  if (!FindSurface(std::move(search_data), rules, center, plane, surface)) return {};
  const PointCloud in_plane = InPlane(surface, plane);
  Trace() << "in_plane pointcloud count: " << in_plane.cols() << std::endl;

  PointXYZW nearest;
  bool found = false;
  try {
    // The gaps are asked for and nothing else: points that lie at none need not be meshed.
    const PointCloud at_gaps = geometry::WithoutDenseInterior(in_plane, rules.boundary_limit);
    const std::shared_ptr<geometry::Mesh> mesh =
        geometry::VoronoiGraph(at_gaps).ExtractPlanarMesh();
    if (mesh == nullptr) return {};
    Trace() << "Voronoi graph created!" << std::endl;
    found = NearestGap(*mesh, plane, rules.boundary_limit, center, nearest);
  } catch (const std::exception& error) {
    return std::string("The search failed: ") + error.what();
  } catch (const std::string& text) {
    return "The search failed: " + text;
  }
  if (found) {
    Trace() << rules.words.original_center << TextOf(center) << std::endl;
    center = nearest;
    Trace() << "Input center updated.." << std::endl;
  }
  MoveNormal(plane, rules, center, normal);
  Trace() << rules.words.updated_center << TextOf(center) << std::endl
          << rules.words.updated_normal << TextOf(normal) << std::endl;
  return {};
}

}  // namespace libmfx::features::shared
