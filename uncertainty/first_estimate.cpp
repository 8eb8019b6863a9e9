#include "uncertainty/first_estimate.h"

#include <Eigen/Geometry>
#include <cmath>
#include <utility>

#include "uncertainty/first_estimate_parts.h"

namespace libmfx::uncertainty {
namespace {

using Eigen::Index;
using Eigen::VectorXd;
using features::SampleFate;
using first::Case;
using first::One;
using first::Propagation;
using first::Samples;
using first::Surface;

/// A surface point lies where the line of sight through it meets the plane.
bool EstimateSurfacePoint(const Case& c, Propagation& estimate) {
  const auto place = c.Vector("Location");
  const auto normal = c.Vector("Normal");
  if (!place || !normal) return false;
  Surface surface(*place, *normal);
  if (!surface.Fit(c.Of(SampleFate::kFitted), c.CountOf(SampleFate::kDropped), {}, estimate)) {
    return false;
  }
  const Vector3d sight = (*place - c.twin.origin).normalized();
  estimate.Tell("Location", [=](const VectorXd& p) -> VectorXd {
    const Vector3d n = surface.Normal(p);
    return *place + sight * ((surface.At({0.0, 0.0}, p) - *place).dot(n) / sight.dot(n));
  });
  estimate.Tell("Normal", [=](const VectorXd& p) -> VectorXd { return surface.Normal(p); });
  return true;
}

/// A ball's centre and radius are fitted (four parameters); what the radius comes out off its
/// nominal then moves the centre along the line of sight.
bool EstimateBall(const Case& c, Propagation& estimate) {
  const auto place = c.Vector("Location");
  if (!place) return false;
  const Samples samples = c.Of(SampleFate::kFitted);
  const auto distances = [&](const VectorXd& p) {
    VectorXd r(static_cast<Index>(samples.points.size()));
    for (Index i = 0; i < r.size(); ++i) {
      const Vector3d d = samples.points[static_cast<std::size_t>(i)] - *place - p.head<3>();
      r[i] = d.norm() - c.twin.radius - p[3];
    }
    return r;
  };
  auto spread = SpreadOfFit(distances, 4, samples.lines);
  if (!spread) return false;
  spread->covariance *= CostOfCut(samples.points.size(), c.CountOf(SampleFate::kLeftOut));
  estimate.Add(*spread);
  const Vector3d sight = place->normalized();
  estimate.Tell("Location",
                [=](const VectorXd& p) -> VectorXd { return *place + p.head<3>() - p[3] * sight; });
  return true;
}

/// Scatter of a sample of a threaded wall: how far it lies off the middle of its neighbours on its
/// line, freed of what these scatter themselves. Beside the noise this holds how the edges of the
/// profile fall between samples, by which a fit of the thread errs more than by noise.
std::optional<double> LocalScatter(const VectorXd& residuals, const std::vector<int>& lines) {
  constexpr double kSquareOfBend = 6.0;  // 1 + 4 + 1: of the second difference
  double squares = 0.0;
  double count = 0.0;
  for (Index i = 1; i + 1 < residuals.size(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    if (lines[at - 1] != lines[at + 1]) continue;
    const double bend = residuals[i - 1] - 2.0 * residuals[i] + residuals[i + 1];
    squares += bend * bend;
    count += 1.0;
  }
  if (count < 3.0) return std::nullopt;
  return std::sqrt(squares / (kSquareOfBend * count));
}

/// A wall: two offsets of the axis at the place, two turns and the radius, less what is held.
bool EstimateWall(const Case& c, Propagation& estimate) {
  const auto place = c.Vector("Location");
  if (!place) return false;
  const bool turns = Find(c.measured, "Axis") != nullptr;
  const bool grows = Find(c.measured, "Radius") != nullptr;
  const Vector3d axis = c.Vector("Axis").value_or(c.twin.normal).normalized();
  const double radius = c.Size("Radius", c.twin.radius);
  const Vector3d u = axis.unitOrthogonal();
  const Vector3d v = axis.cross(u);
  const Samples samples = c.Of(SampleFate::kWall);
  const Index size_at = turns ? 4 : 2;
  const auto distances = [&](const VectorXd& p) {
    const Vector3d foot = *place + p[0] * u + p[1] * v;
    const Vector3d along = turns ? (axis + p[2] * u + p[3] * v).normalized() : axis;
    VectorXd r(static_cast<Index>(samples.points.size()));
    for (Index i = 0; i < r.size(); ++i) {
      const Vector3d d = samples.points[static_cast<std::size_t>(i)] - foot;
      r[i] = d.cross(along).norm() - radius - (grows ? p[size_at] : 0.0);
    }
    return r;
  };
  const Index parameters = size_at + (grows ? 1 : 0);
  const bool threaded = !c.twin.thread.is_null() || (c.stages.form && c.stages.form->threaded);
  std::optional<double> scatter;
  if (threaded) {
    scatter = LocalScatter(distances(VectorXd::Zero(parameters)), samples.lines);
    if (!scatter) return false;
  }
  const auto spread = SpreadOfFit(distances, parameters, samples.lines, scatter);
  if (!spread) return false;
  estimate.Add(*spread);
  estimate.Tell("Location",
                [=](const VectorXd& p) -> VectorXd { return *place + p[0] * u + p[1] * v; });
  estimate.Tell("Axis", [=](const VectorXd& p) -> VectorXd {
    return (axis + p[2] * u + p[3] * v).normalized();
  });
  estimate.Tell("Radius", [=](const VectorXd& p) { return One(radius + p[size_at]); });
  return true;
}

bool Estimate(const Case& c, Propagation& estimate) {
  if (c.twin.type == "PVI") return EstimateSurfacePoint(c, estimate);
  if (c.twin.type == "MatteSphere") return EstimateBall(c, estimate);
  if (c.twin.type == "RobustHole") return first::EstimateHole(c, estimate);
  if (c.twin.type == "Slot") return first::EstimateSlot(c, estimate);
  if (c.twin.type == "Rectangle") return first::EstimateSided(c, estimate);
  if (c.twin.type == "Polygon") return first::EstimateSided(c, estimate);
  if (c.twin.type == "Stud" || c.twin.type == "ThreadedHole") return EstimateWall(c, estimate);
  if (c.twin.type == "Edge") return first::EstimateEdge(c, estimate);
  return false;
}

}  // namespace

std::optional<Uncertainty> FirstEstimate(const Twin& twin, const Values& measured,
                                         const host::Exchange& scan,
                                         const features::Stages& stages) {
  if (stages.fates.size() != scan.samples.size()) return std::nullopt;
  for (const Value& value : measured) {
    if (!value.numbers.allFinite()) return std::nullopt;
  }
  Propagation estimate;
  if (!Estimate({twin, measured, scan, stages}, estimate)) return std::nullopt;
  std::optional<Uncertainty> result = estimate.Of(measured);
  if (!result) return std::nullopt;
  const Vector3d normal = twin.normal.normalized();
  const Vector3d across = normal.cross(twin.tangent);
  if (normal.allFinite() && across.norm() > 1e-9) {
    result->own << across.cross(normal).normalized(), across.normalized(), normal;
  }
  return result;
}

}  // namespace libmfx::uncertainty
