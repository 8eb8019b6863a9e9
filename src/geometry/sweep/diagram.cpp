#include "geometry/sweep/diagram.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "geometry/sweep/site_order.h"
#include "geometry/sweep/sweep.h"

namespace libmfx::geometry::sweep {
namespace {

/// Moves what a sweep has built, to its end or to an exception, into the diagram.
void Take(Sweep& sweep, Diagram& diagram) {
  diagram.mesh = sweep.TakeMesh();
  const Beachline& beachline = sweep.beachline();
  for (int i = beachline.First(); i != Beachline::kNone; i = beachline[i].next) {
    diagram.beachline.push_back(beachline[i].site);
  }
}

}  // namespace

void BuildDiagram(const Eigen::MatrixXd& points, Eigen::Index row, Diagram& diagram) {
  // Halfedges are numbered by int, six a site.
  if (points.cols() > std::numeric_limits<int>::max() / 8) {
    throw std::length_error("too many points for one sweep");
  }
  ReadSites(points, row, diagram);
  SweepSites(diagram);
}

void SweepSites(Diagram& diagram) {
  Sweep sweep(diagram.sites, std::move(diagram.mesh));
  try {
    sweep.Run();
  } catch (...) {
    Take(sweep, diagram);
    throw;
  }
  Take(sweep, diagram);
  if (!TilesConvexHull(diagram.mesh, diagram.sites)) {
    throw std::logic_error("not sure what's going on here?");
  }
  MakeDelaunay(diagram.mesh, diagram.sites);
  diagram.finished = true;
}

}  // namespace libmfx::geometry::sweep
