#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "uncertainty/first_estimate_parts.h"

namespace libmfx::uncertainty::first {

using Eigen::Index;
using Eigen::VectorXd;
using features::SampleFate;

/// A hole's centre is that of a circle through its border: of the rim and with a free radius where
/// the beam runs nearly along the bore, else of the known radius through the wall of each line that
/// shows some, and through the rim of the others.
bool EstimateHole(const Case& c, Propagation& estimate) {
  constexpr double kAlongBore = 0.3490658503988659;  // radians between sight and normal
  const auto center = c.Vector("Location");
  const auto normal = c.Vector("Normal");
  if (!center || !normal) return false;
  Surface surface(*center, *normal);
  if (!surface.FitAround(c, estimate)) return false;
  const bool along =
      std::abs(surface.n.dot((*center - c.twin.origin).normalized())) > std::cos(kAlongBore);
  std::vector<Vector2d> rim;
  std::vector<int> lines;
  const Samples wall = along ? Samples{} : c.Of(SampleFate::kWall);
  for (std::size_t i = 0; i < wall.points.size(); ++i) {
    rim.push_back(surface.Place(wall.points[i]));
    lines.push_back(wall.lines[i]);
  }
  const bool wall_alone = !along && c.twin.chamfer_depth > 0.0;
  for (const features::StageEdge& edge : c.stages.edges) {
    const bool has_wall =
        std::find(wall.lines.begin(), wall.lines.end(), edge.segment) != wall.lines.end();
    if (wall_alone || has_wall) continue;
    rim.push_back(surface.Place(edge.place.xyz()));
    lines.push_back(edge.segment);
  }
  const auto distances = [&](const VectorXd& p) {
    VectorXd r(static_cast<Index>(rim.size()));
    for (Index i = 0; i < r.size(); ++i) {
      const Vector2d d = rim[static_cast<std::size_t>(i)] - p.head<2>();
      r[i] = d.norm() - c.twin.radius - (along ? p[2] : 0.0);
    }
    return r;
  };
  const auto spread = SpreadOfFit(distances, along ? 3 : 2, lines);
  if (!spread) return false;
  const Index first = estimate.Add(*spread);
  estimate.Tell("Location",
                [=](const VectorXd& p) -> VectorXd { return surface.At(p.segment<2>(first), p); });
  estimate.Tell("Normal", [=](const VectorXd& p) -> VectorXd { return surface.Normal(p); });
  return true;
}

namespace {

/// The half circles at the ends of a slot, in the surface's plane about the slot's middle.
struct Arcs {
  Vector2d along;  ///< unit, of the slot, from the second arc to the first
  Vector2d apart;  ///< centre of the first; the second lies opposite
  double radius;
  Border border;
  Index first = 0;  ///< parameter: of each arc two of its centre and one of its radius

  Vector2d Center(std::size_t arc) const { return arc == 0 ? apart : Vector2d(-apart); }

  VectorXd Distances(const VectorXd& p) const {
    std::vector<double> r;
    for (std::size_t arc = 0; arc < 2; ++arc) {
      const Index at = 3 * static_cast<Index>(arc);
      for (const BorderPoint& point : border[arc]) {
        const Vector2d center = Center(arc) + p.segment<2>(at);
        r.push_back((point.place - center).norm() - radius - p[at + 2]);
      }
    }
    return VectorXd::Map(r.data(), static_cast<Index>(r.size()));
  }

  /// Where the slot ends, on both sides.
  std::pair<Vector2d, Vector2d> Ends(const VectorXd& p) const {
    const Vector2d c0 = apart + p.segment<2>(first);
    const Vector2d c1 = -apart + p.segment<2>(first + 3);
    const Vector2d t = (c0 - c1).normalized();
    return {c0 + t * (radius + p[first + 2]), c1 - t * (radius + p[first + 5])};
  }
};

std::optional<Arcs> ArcsOf(const Case& c, const Surface& surface, const Vector3d& tangent) {
  Arcs arcs;
  arcs.radius = 0.5 * c.Size("Width", 0.0);
  arcs.along = surface.Place(surface.origin + tangent).normalized();
  arcs.apart = arcs.along * (0.5 * c.Size("Length", 0.0) - arcs.radius);
  arcs.border = BorderOf(c, surface);
  if (arcs.border.size() < 2) return std::nullopt;
  // With the nominal off along the slot the outer lines of an arc meet its straight sides.
  for (std::size_t arc = 0; arc < 2; ++arc) {
    const Vector2d outward = arc == 0 ? arcs.along : Vector2d(-arcs.along);
    std::erase_if(arcs.border[arc], [&](const BorderPoint& p) {
      return (p.place - arcs.Center(arc)).dot(outward) < -2.0 * c.Spacing();
    });
  }
  return arcs;
}

}  // namespace

/// A slot's two ends are half circles, each with three parameters; its middle and its length are
/// those of the ends.
bool EstimateSlot(const Case& c, Propagation& estimate) {
  const auto center = c.Vector("Location");
  const auto normal = c.Vector("Normal");
  const auto tangent = c.Vector("Tangent");
  if (!center || !normal || !tangent) return false;
  Surface surface(*center, *normal);
  if (!surface.FitAround(c, estimate)) return false;
  std::optional<Arcs> found = ArcsOf(c, surface, *tangent);
  if (!found) return false;
  const auto spread = SpreadOfFit([&](const VectorXd& p) { return found->Distances(p); }, 6);
  if (!spread) return false;
  found->first = estimate.Add(*spread);
  const Arcs arcs = *std::move(found);
  estimate.Tell("Location", [=](const VectorXd& p) -> VectorXd {
    const auto [end0, end1] = arcs.Ends(p);
    return surface.At(0.5 * (end0 + end1), p);
  });
  estimate.Tell("Normal", [=](const VectorXd& p) -> VectorXd { return surface.Normal(p); });
  estimate.Tell("Tangent", [=](const VectorXd& p) -> VectorXd {
    const auto [end0, end1] = arcs.Ends(p);
    return (surface.At(end0, p) - surface.At(end1, p)).normalized();
  });
  estimate.Tell("Length", [=](const VectorXd& p) {
    const auto [end0, end1] = arcs.Ends(p);
    return One((end0 - end1).norm());
  });
  estimate.Tell("Width", [=](const VectorXd& p) {
    return One(2.0 * arcs.radius + p[arcs.first + 2] + p[arcs.first + 5]);
  });
  return true;
}

}  // namespace libmfx::uncertainty::first
