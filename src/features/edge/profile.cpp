#include "features/edge/profile.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

#include "geometry/halving_cuts.h"
#include "libmfx/geometry/line.h"
#include "libmfx/math/acc_stats.h"

namespace libmfx::features {
namespace {

using data_structures::PointCloud;
using Eigen::Index;
using Eigen::Vector2d;
using Eigen::Vector3d;

/// A fitted frame is left-handed, with its bitangent = tangent x normal. Turning the last axis
/// round makes it right-handed: along, up, out.
const Vector3d kTurn(1.0, 1.0, -1.0);

constexpr std::int32_t kOrder = 7;
constexpr Index kStations = 41;
constexpr double kHalfRoot = std::numbers::sqrt2 / 2.0;

}  // namespace

SectionFrame::SectionFrame(const geometry::Plane& plane, const data_structures::PointXYZW& origin)
    // Points are carried by the frame's matrix, not by its inverse: it takes the inverse once to
    // undo that and once more to read them along the axes. The tangent of a measured profile is
    // square to the plane's normal within noise only, so the inverse is not the transpose.
    : _axes(plane.TBN()),
      _from_carried((plane.TBN() * plane.TBN()).inverse()),
      _origin(origin.xyz()) {}

Section SectionFrame::Places(const PointCloud& carried) const {
  Section places = _from_carried * carried.data().topRows(3);
  places.array().colwise() *= kTurn.array();
  return places;
}

data_structures::PointXYZW SectionFrame::PointAt(const Vector3d& place) const {
  return data_structures::PointXYZW(Vector3d(_origin + _axes * kTurn.cwiseProduct(place)));
}

Vector2d SurfaceLine::AlongAndDepth(const Vector3d& place) const {
  const Vector2d offset = place.head<2>() - point;
  return {offset.dot(direction), -offset.dot(Normal())};
}

Vector3d SurfaceLine::Place(const Vector2d& along_and_depth) const {
  const Vector2d in_plane =
      point + direction * along_and_depth.x() - Normal() * along_and_depth.y();
  return {in_plane.x(), in_plane.y(), 0.0};
}

namespace {

/// The line of least squares of height over along; its point is the one above the middle.
bool FitThrough(const Section& profile, const std::vector<Index>& columns, SurfaceLine& line) {
  geometry::Line fitted;
  const Eigen::Matrix3Xd chosen = profile(Eigen::all, columns);
  if (!fitted.LinearRegression2D(PointCloud(Eigen::MatrixXd(chosen)), false)) return false;
  line.direction = fitted.Vector().xyz().head<2>();
  if (!(line.direction.x() > 0.0)) return false;
  const double middle = chosen.row(0).mean();
  line.point = fitted.Point().xyz().head<2>() +
               line.direction * ((middle - fitted.Point().x()) / line.direction.x());
  math::AccStats distances;
  for (Index i = 0; i < chosen.cols(); ++i) {
    distances.Add(line.AlongAndDepth(chosen.col(i)).y());
  }
  line.scatter = math::StandardDeviation(distances);
  return std::isfinite(line.scatter);
}

/// The places among the first `count` that are at most `reach` from the line.
std::vector<Index> Near(const Section& profile, Index count, const SurfaceLine& line,
                        double reach) {
  std::vector<Index> near;
  for (Index i = 0; i < count; ++i) {
    if (std::abs(line.AlongAndDepth(profile.col(i)).y()) <= reach) near.push_back(i);
  }
  return near;
}

double WorstOf(const Section& profile, const std::vector<Index>& columns, const SurfaceLine& line) {
  double worst = 0.0;
  for (const Index i : columns) {
    worst = std::max(worst, std::abs(line.AlongAndDepth(profile.col(i)).y()));
  }
  return worst;
}

}  // namespace

std::optional<SurfaceLine> FitSurfaceLine(const Section& profile, Index straight, Index sure,
                                          double tolerance) {
  constexpr int kMostRounds = 10;
  // What may count as scatter of a noiseless profile, metres.
  constexpr double kLeastScatter = 1e-9;
  SurfaceLine line;
  std::vector<Index> columns;
  for (Index i = 0; i < std::min(sure, straight); ++i) columns.push_back(i);
  // A stray sample is cut away as from a plane.
  const bool fitted = geometry::HalveResiduals(
      tolerance, [&] { return FitThrough(profile, columns, line); },
      [&] { return WorstOf(profile, columns, line); },
      [&](double limit) { columns = Near(profile, std::min(sure, straight), line, limit); });
  if (!fitted) return std::nullopt;
  for (int round = 0; round < kMostRounds; ++round) {
    const double reach = std::min(tolerance, 3.0 * std::max(line.scatter, kLeastScatter));
    std::vector<Index> joined = Near(profile, straight, line, reach);
    if (joined == columns) break;
    columns = std::move(joined);
    if (!FitThrough(profile, columns, line)) return std::nullopt;
  }
  return line;
}

namespace {

/// How many samples come before the profile falls through the level: the count that leaves the
/// fewest samples on the wrong side, the first of equal ones. So no single stray sample decides.
/// \param fewest how many those are
Index SamplesBefore(const Eigen::Matrix2Xd& profile, double level, Index& fewest) {
  Index wrong = (profile.row(1).array() < level).count();
  fewest = wrong;
  Index before = 0;
  for (Index i = 0; i < profile.cols(); ++i) {
    wrong += profile(1, i) < level ? -1 : 1;
    if (wrong < fewest) {
      fewest = wrong;
      before = i + 1;
    }
  }
  return before;
}

/// A polyline by distance along it.
class Chain {
 public:
  void Add(const Vector2d& p) {
    _walked.push_back(_points.empty() ? 0.0 : _walked.back() + (p - _points.back()).norm());
    _points.push_back(p);
  }
  bool empty() const { return _points.empty(); }
  double length() const { return _walked.back(); }
  std::size_t size() const { return _points.size(); }
  double WalkedTo(std::size_t i) const { return _walked[i]; }
  const Vector2d& operator[](std::size_t i) const { return _points[i]; }
  Vector2d At(double walked) const {
    const auto next = std::upper_bound(_walked.begin(), _walked.end(), walked);
    if (next == _walked.begin()) return _points.front();
    if (next == _walked.end()) return _points.back();
    const auto i = static_cast<std::size_t>(next - _walked.begin());
    const double share = (walked - _walked[i - 1]) / (_walked[i] - _walked[i - 1]);
    return _points[i - 1] + (_points[i] - _points[i - 1]) * share;
  }

 private:
  std::vector<Vector2d> _points;
  std::vector<double> _walked;
};

Vector2d ToCurve(const Vector2d& along_and_depth) {
  return Vector2d(along_and_depth.x() + along_and_depth.y(),
                  along_and_depth.y() - along_and_depth.x()) *
         kHalfRoot;
}

Vector2d FromCurve(const Vector2d& on_curve) {
  return Vector2d(on_curve.x() - on_curve.y(), on_curve.x() + on_curve.y()) * kHalfRoot;
}

}  // namespace

Crossing::Crossing(const Eigen::Matrix2Xd& profile, double level, double noise, double reach)
    : _level(level), _reach(reach) {
  const double reached = level - noise;
  const Index before = SamplesBefore(profile, reached, _wrong);
  Chain chain;
  std::size_t first_below = 0;
  for (Index i = 0; i < profile.cols(); ++i) {
    const bool below = profile(1, i) >= reached;
    if (below != (i >= before)) continue;
    if (!below) first_below = chain.size() + 1;
    chain.Add(profile.col(i));
  }
  if (chain.empty()) return;
  // Where a straight line between the samples on either side passes the level.
  double passed = chain.length();
  if (first_below == 0) {
    passed = 0.0;
  } else if (first_below < chain.size()) {
    const Vector2d& a = chain[first_below - 1];
    const Vector2d& b = chain[first_below];
    const double share = (std::min(level, b.y()) - a.y()) / (b.y() - a.y());
    _gap = std::abs(b.x() - a.x());
    passed = chain.WalkedTo(first_below - 1) + (b - a).norm() * share;
  }
  _middle = chain.At(passed);
  const double from = std::max(0.0, passed - reach);
  const double to = std::min(chain.length(), passed + reach);
  // Even steps along the samples: a fit to the samples themselves would swing freely in the gaps
  // that a steep wall leaves between them.
  _stations.resize(2, kStations);
  for (Index i = 0; i < kStations; ++i) {
    const double walked =
        from + (to - from) * static_cast<double>(i) / static_cast<double>(kStations - 1);
    _stations.col(i) = ToCurve(chain.At(walked) - _middle);
  }
}

bool Crossing::Fit() {
  _curve.Order(kOrder);
  return _curve.LeastSquares(PointCloud(Eigen::MatrixXd(_stations)));
}

Vector2d Crossing::On(double u) const {
  return _middle + FromCurve(Vector2d(u, _curve.Evaluate(u)));
}

bool Crossing::FindStep() {
  double nearest = std::numeric_limits<double>::max();
  for (Index i = 1; i < _stations.cols(); ++i) {
    const double before = On(_stations(0, i - 1)).y();
    const double here = On(_stations(0, i)).y();
    if (!(before < _level && here >= _level)) continue;
    // Of several passages of a wavy curve the one nearest the samples' counts.
    const double distance = std::abs(_stations(0, i - 1) + _stations(0, i));
    if (distance < nearest) {
      nearest = distance;
      _step = i;
    }
  }
  return _step >= 0;
}

std::optional<Vector2d> Crossing::Find(double tolerance) const {
  constexpr int kHalvings = 50;
  constexpr Index kMostWrong = 5;  // stray samples are rarer by far
  if (_gap > _reach || _wrong > kMostWrong) return std::nullopt;
  double above = _stations(0, _step - 1);
  double below = _stations(0, _step);
  for (int i = 0; i < kHalvings; ++i) {
    const double u = 0.5 * (above + below);
    (On(u).y() < _level ? above : below) = u;
  }
  // The line through the samples, there.
  const auto before = _stations.col(_step - 1);
  const auto after = _stations.col(_step);
  const double share = (below - before.x()) / (after.x() - before.x());
  const double straight = before.y() + (after.y() - before.y()) * share;
  if (!(std::abs(_curve.Evaluate(below) - straight) <= tolerance)) return std::nullopt;
  // A curve that grazes the level passes it far from where the samples reach it.
  const Vector2d found = On(below);
  if (!((found - _middle).norm() <= 0.5 * _reach)) return std::nullopt;
  return found;
}

}  // namespace libmfx::features
