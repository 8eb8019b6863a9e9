#include "libmfx/geometry/voronoi_graph.h"

#include <cmath>
#include <cstddef>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "data_structures/large_pages.h"
#include "geometry/parabola.h"
#include "geometry/sweep/diagram.h"
#include "geometry/sweep/ears.h"

namespace libmfx::geometry {

using data_structures::PointXYW;

namespace {

/// Four times the signed area of the triangle: positive for a counter-clockwise one.
double TwiceParallelogram(const PointXYW& a, const PointXYW& b, const PointXYW& c) {
  const double px = b.x() - a.x(), py = b.y() - a.y();
  const double qx = c.x() - a.x(), qy = c.y() - a.y();
  return 2 * (qy * px - py * qx);
}

/// Centre and radius for a TwiceParallelogram of `d`, which isn't 0.
void Circumcircle(const PointXYW& a, const PointXYW& b, const PointXYW& c, double d,
                  PointXYW& center, double& radius) {
  const double px = b.x() - a.x(), py = b.y() - a.y();
  const double qx = c.x() - a.x(), qy = c.y() - a.y();
  const double pp = px * px + py * py, qq = qx * qx + qy * qy;
  center = PointXYW(a.x() + (qy * pp - py * qq) / d, a.y() + (px * qq - qx * pp) / d, 1.0);
  radius = std::hypot(a.x() - center.x(), a.y() - center.y());
}

}  // namespace

bool VerticalSweep::operator()(const std::shared_ptr<Event>& a,
                               const std::shared_ptr<Event>& b) const {
  if (!a || !b) throw std::runtime_error("Cannot compare nullptr Events!");
  if (std::abs(a->point.y() - b->point.y()) < kSweepEpsilon) return a->point.x() > b->point.x();
  return a->point.y() < b->point.y();
}

namespace {

int CompareElements(const std::shared_ptr<BeachlineElement>& a,
                    const std::shared_ptr<BeachlineElement>& b) {
  return a->Compare(b);
}

/// A copy whose matrix lies in large pages.
data_structures::PointCloud Copy(const data_structures::PointCloud& points) {
  const Eigen::MatrixXd& from = points.data();
  Eigen::MatrixXd data(from.rows(), from.cols());
  data_structures::AdviseLargePages(data.data(),
                                    static_cast<std::size_t>(data.size()) * sizeof(double));
  data = from;
  return data_structures::PointCloud(std::move(data), points.embeddings());
}

}  // namespace

VoronoiGraph::VoronoiGraph(const PointCloud& points)
    : _beachline(CompareElements), _points(Copy(points)) {
  PointCloud::Embeddings& embeddings = _points.embeddings();
  if (!embeddings.contains(data_structures::EMBEDDING_XY)) {
    const auto xyz = embeddings.find(data_structures::EMBEDDING_XYZ);
    if (xyz != embeddings.end()) embeddings[data_structures::EMBEDDING_XY] = xyz->second;
  }
  VoronoiDiagram();
}

VoronoiGraph::VoronoiGraph(const VoronoiGraph& other)
    : _beachline(CompareElements), _points(other._points), _diagram(other._diagram) {}

VoronoiGraph& VoronoiGraph::operator=(const VoronoiGraph& other) {
  if (this == &other) return *this;
  clean_up();
  _points = other._points;
  _diagram = other._diagram;
  return *this;
}

VoronoiGraph::~VoronoiGraph() { clean_up(); }

void VoronoiGraph::VoronoiDiagram() {
  clean_up();
  _diagram.reset();
  const auto entry = _points.embeddings().find(data_structures::EMBEDDING_XY);
  if (entry == _points.embeddings().end() || entry->second.size() != 1) return;
  const int row = *entry->second.begin();
  if (row < 0 || row + 2 > _points.rows()) return;
  const auto diagram = std::make_shared<sweep::Diagram>();
  _diagram = diagram;
  try {
    sweep::BuildDiagram(_points.data(), row, *diagram);
  } catch (const std::exception& e) {
    std::cout << "VoronoiGraph forced to stop early due to invalid state: " << e.what()
              << std::endl;
  }
}

// What is made here lies in small pages, unlike all that comes before. Of many points the sweep
// takes seconds, and a host of virtual machines has by then taken back the large pages that were
// free: filling faces, twins and points of 1e7 took 40 to 60 ns a point more with them. Where no
// host does that, small ones cost 10 to 20 ns.
std::shared_ptr<Mesh> VoronoiGraph::ExtractPlanarMesh() {
  static const sweep::Diagram kNothing;
  const sweep::Diagram& diagram = _diagram ? *_diagram : kNothing;
  const sweep::Triangulation& mesh = diagram.mesh;
  Eigen::MatrixXi faces(mesh.Triangles(), 3);
  for (int h = 0, f = 0; f < mesh.Triangles(); ++f) {
    for (int c = 0; c < 3; ++c, ++h) {
      faces(f, c) = diagram.column[static_cast<std::size_t>(mesh.From(h))];
    }
  }
  // The mesh shares the twins of the diagram, unless its triangles are others.
  std::shared_ptr<const Mesh::Twins> twins(_diagram, &mesh.twin);
  if (sweep::HasSharedCircles(mesh)) {
    const auto cut = std::make_shared<Mesh::Twins>();
    cut->reserve(mesh.twin.size());
    data_structures::AdviseSmallPages(cut->data(), mesh.twin.size() * sizeof(int));
    *cut = mesh.twin;
    sweep::CutSharedCircles(diagram, faces, *cut);
    twins = cut;
  }
  return std::shared_ptr<Mesh>(new Mesh(_points, std::move(faces), std::move(twins)));
}

PointXYW VoronoiGraph::breakpoint(const PointXYW& left, const PointXYW& right, double sweep_y) {
  return IntersectParabolas(left, right, sweep_y);
}

bool VoronoiGraph::any_three_point_circle_2d(const PointXYW& a, const PointXYW& b,
                                             const PointXYW& c, PointXYW& center, double& radius,
                                             bool& clockwise) {
  const double d = TwiceParallelogram(a, b, c);
  if (std::abs(d) < kSweepEpsilon) return false;
  Circumcircle(a, b, c, d, center, radius);
  clockwise = d < 0;
  return true;
}

bool VoronoiGraph::three_point_circle_2d(const PointXYW& a, const PointXYW& b, const PointXYW& c,
                                         PointXYW& center, double& radius) {
  const double d = TwiceParallelogram(a, b, c);
  if (d <= 0) return false;
  Circumcircle(a, b, c, d, center, radius);
  return true;
}

}  // namespace libmfx::geometry
