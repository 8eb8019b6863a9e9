#include "host/sample_doubts.h"

#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

#include "host/instrument_check_angles.h"
#include "host/instrument_check_samples.h"
#include "host/numbers.h"

namespace libmfx::host {
namespace {

using Eigen::Vector3d;

/// Samples that lie this far behind or before the path are not where they were looked for, metres.
constexpr double kOffSurface = 0.003;
/// The same to a side, beyond the reach of the path.
constexpr double kOffSide = 0.005;
/// What lies so close to a plane is flat, metres: ten times the noise of the range.
constexpr double kFlat = 1e-4;
/// Moves, and samples times moves, beyond which samples are not compared with the path: a second.
constexpr std::size_t kMostMoves = 200;
constexpr std::size_t kMostPairs = 4'000'000;

Vector3d Cartesian(double azimuth, double elevation, double range) {
  return data_structures::AzElRange(azimuth, elevation, range).ToPoint().eigen().head<3>();
}

std::string Of(std::size_t part, std::size_t all) {
  return std::to_string(part) + " of " + std::to_string(all);
}

/// The sentences of one scan.
class Doubts {
 public:
  Doubts(std::optional<double> threshold, const Exchange& scan, const features::Stages& stages)
      : _threshold(threshold.value_or(std::numeric_limits<double>::lowest())),
        _scan(scan),
        _stages(stages),
        _path(scan.points.size() <= kMostMoves + 1 ? scan.points : std::vector<Position>()) {}

  std::vector<std::string> Tell() {
    for (const RawDataPoint& sample : _scan.samples) {
      if (!IsFinite(sample)) continue;
      _finite.push_back(sample);
      if (sample.quality >= _threshold) ++_usable;
    }
    TellCount();
    const std::size_t counted = _sentences.size();
    TellQuality();
    if (!_finite.empty() && IsComparable()) TellAgainstPath();
    TellEmptyLines();
    if (_sentences.size() == counted) TellStages();
    return std::move(_sentences);
  }

 private:
  void Say(std::string sentence) { _sentences.push_back(std::move(sentence)); }

  void TellCount() {
    const std::size_t all = _scan.samples.size();
    std::string text = std::to_string(all) + (all == 1 ? " sample" : " samples") +
                       " came of the last scan (step " + _scan.step + "), " +
                       (_usable == all ? "all"
                        : _usable == 0 ? "none"
                                       : std::to_string(_usable)) +
                       " of them usable (finite";
    if (_threshold > std::numeric_limits<double>::lowest()) {
      text += ", and of a quality of " + Rounded(_threshold) + " or more";
    }
    text += ")";
    Say(text);
  }

  void TellQuality() {
    const std::size_t all = _scan.samples.size();
    const std::size_t lost = all - _finite.size();
    if (lost * 10 > all) Say(Of(lost, all) + " hold a number that is not finite: no echo, perhaps");
    const std::size_t below = _finite.size() - _usable;
    if (below * 2 <= _finite.size() || _finite.empty()) return;
    std::vector<double> qualities;
    for (const RawDataPoint& s : _finite) qualities.push_back(s.quality);
    const double most = *std::max_element(qualities.begin(), qualities.end());
    std::string text = Of(below, _finite.size()) + " are below the quality threshold of " +
                       Rounded(_threshold) + ": half of them at " +
                       Rounded(Quantile(qualities, 0.5), 3) + " or less, the best at " +
                       Rounded(most, 3);
    if (most <= 1.0 && most > 0.0) text += "; the quality looks like a fraction of 1";
    if (most == 0.0) text += "; the quality is never above 0";
    Say(text);
  }

  bool IsComparable() const {
    const std::size_t moves = _path.moves().size();
    return moves > 0 && moves * _finite.size() <= kMostPairs;
  }

  void TellAgainstPath() {
    const CheckedAngles angles = CheckAngles(_scan.samples, _path, nullptr);
    for (const InstrumentFinding& finding : angles.findings) Say(finding.what + kCheck);
    for (const InstrumentFinding& finding : CheckStatuses(angles, _finite, 0)) {
      Say(finding.what + kCheck);
      _has_statuses = false;
    }
    if (!TellRanges(angles)) TellPlace(angles);
  }

  /// How the ranges differ from those of the path, at the same directions.
  /// \returns whether that is worth a sentence
  bool TellRanges(const CheckedAngles& angles) {
    std::vector<double> behind;
    std::vector<double> times;
    for (const PlacedSample& p : angles.placed) {
      if (p.sample.quality < _threshold && _usable > 0) continue;
      behind.push_back(p.sample.range - p.place.range);
      times.push_back(p.sample.range / p.place.range);
    }
    if (behind.empty()) return false;
    const double factor = Quantile(times, 0.5);
    if (factor > 500.0 && factor < 2000.0) {
      Say("the ranges look like millimetres: half of them are " + Rounded(factor, 3) +
          " times that of the path, or more" + kCheck);
      return true;
    }
    const double low = Quantile(behind, 0.1);
    const double high = Quantile(behind, 0.9);
    if (low <= kOffSurface && high >= -kOffSurface) return false;
    const auto [least, most] = std::minmax_element(behind.begin(), behind.end());
    const bool is_behind = low > kOffSurface;
    const bool all = is_behind ? *least > 0.0 : *most < 0.0;
    Say((all ? "all" : "nine of ten") + std::string(_usable > 0 ? " usable" : "") +
        " samples lie " + (is_behind ? "behind" : "in front of") +
        " the planned path, which runs along the nominal: half of them by " +
        LengthText(std::fabs(Quantile(behind, 0.5))) + " or more");
    return true;
  }

  /// Where the nearest sample lies, if none is near the middle of the path.
  void TellPlace(const CheckedAngles& angles) {
    Vector3d middle = Vector3d::Zero();
    for (const Position& p : _scan.points) middle += Cartesian(p.azimuth, p.elevation, p.range);
    middle /= static_cast<double>(_scan.points.size());
    double reach = 0.0;
    for (const Position& p : _scan.points) {
      reach = std::max(reach, (Cartesian(p.azimuth, p.elevation, p.range) - middle).norm());
    }
    Vector3d nearest = Vector3d::Constant(std::numeric_limits<double>::infinity());
    for (const RawDataPoint& s : angles.meant) {
      if (s.quality < _threshold && _usable > 0) continue;
      const Vector3d off = Cartesian(s.azimuth, s.elevation, s.range) - middle;
      if (off.norm() < nearest.norm()) nearest = off;
    }
    const double limit = reach + kOffSide;
    if (!(nearest.norm() > limit) || !nearest.allFinite() || !(middle.norm() > 0.0)) return;
    Say("no sample lies within " + LengthText(limit) +
        " of the middle of the planned path; the nearest lies " + Direction(nearest, middle));
  }

  /// A way from the middle of the path, in words of somebody who stands at the instrument.
  static std::string Direction(const Vector3d& way, const Vector3d& middle) {
    const Vector3d ahead = middle.normalized();
    Vector3d right = ahead.cross(Vector3d::UnitY());
    right = right.norm() > 1e-6 ? right.normalized() : Vector3d(-Vector3d::UnitX());
    const Vector3d up = right.cross(ahead);
    const std::pair<double, const char*> parts[] = {
        {way.dot(right), way.dot(right) > 0.0 ? "to the right" : "to the left"},
        {way.dot(up), way.dot(up) > 0.0 ? "above" : "below"},
        {way.dot(ahead), way.dot(ahead) > 0.0 ? "behind" : "in front"}};
    std::string text;
    for (const auto& [part, name] : parts) {
      if (std::fabs(part) < 0.3 * way.norm()) continue;
      text += (text.empty() ? "" : ", ") + LengthText(std::fabs(part)) + " " + name;
    }
    return text;
  }

  /// Lines of which nothing usable came.
  void TellEmptyLines() {
    if (_usable == 0 || !_has_statuses) return;
    std::vector<bool> seen(_scan.points.size(), false);
    for (const RawDataPoint& s : _finite) {
      if (s.quality < _threshold || s.status < 0) continue;
      const auto status = static_cast<std::size_t>(s.status);
      if (status < seen.size()) seen[status] = true;
    }
    std::size_t sampled = 0, empty = 0;
    for (const CheckMove& move : _path.moves()) {
      if (move.Asked() < 2.0) continue;
      ++sampled;
      if (!seen[static_cast<std::size_t>(move.index)]) ++empty;
    }
    if (empty > 0) Say("no usable sample came of " + Of(empty, sampled) + " sampled moves");
  }

  /// What the analysis did with the samples, and the test at which it ended.
  void TellStages() {
    if (IsFlat()) {
      Say("the usable samples lie on one plane, nearly all to within " + LengthText(kFlat) +
          ": nothing but a flat surface shows");
    }
    if (_stages.fates.size() == _scan.samples.size() && _usable > 0) Say(FatesText());
    if (_stages.verdicts.empty() || _stages.verdicts.back().passed) return;
    const features::StageVerdict& last = _stages.verdicts.back();
    Say("the test that failed: " + std::string(last.what) + " " + Rounded(last.value) +
        ", where the limit is " + Rounded(last.limit));
  }

  /// Whether the usable samples show nothing but one flat surface.
  bool IsFlat() const {
    if (_usable < 10) return false;
    std::vector<Vector3d> points;
    for (const RawDataPoint& s : _finite) {
      if (s.quality >= _threshold) points.push_back(Cartesian(s.azimuth, s.elevation, s.range));
    }
    std::vector<double> distances(points.size(), 0.0);
    // A stray sample would tilt the plane: those far off have no say in the next pass.
    for (int pass = 0; pass < 4; ++pass) MeasureFromPlane(points, distances);
    return Quantile(distances, 0.98) <= kFlat;
  }

  /// The distances of points from the plane through those that were nearest before.
  static void MeasureFromPlane(const std::vector<Vector3d>& points,
                               std::vector<double>& distances) {
    const double near = Quantile(distances, 0.9);
    Vector3d middle = Vector3d::Zero();
    double count = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (distances[i] > near) continue;
      middle += points[i];
      count += 1.0;
    }
    middle /= count;
    Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (distances[i] > near) continue;
      scatter += (points[i] - middle) * (points[i] - middle).transpose();
    }
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(scatter);
    const Vector3d normal = axes.eigenvectors().col(0);
    for (std::size_t i = 0; i < points.size(); ++i) {
      distances[i] = std::fabs(normal.dot(points[i] - middle));
    }
  }

  std::string FatesText() const {
    using features::SampleFate;
    static constexpr std::pair<SampleFate, const char*> kNames[] = {
        {SampleFate::kFitted, "were fitted"},
        {SampleFate::kSurface, "count as the surface"},
        {SampleFate::kWall, "count as the wall"},
        {SampleFate::kLeftOut, "were left out of the last fit"},
        {SampleFate::kDropped, "agree with nothing that was fitted"},
        {SampleFate::kFar, "lie too far from the nominal to be looked at"},
        {SampleFate::kBetween, "lie on moves between the lines, or were not judged"}};
    std::string text = "they lie where they were looked for; of the usable ones";
    char separator = ':';
    for (const auto& [fate, name] : kNames) {
      const auto count = std::count(_stages.fates.begin(), _stages.fates.end(), fate);
      if (count == 0) continue;
      text += separator + (" " + std::to_string(count)) + " " + name;
      separator = ',';
    }
    return text;
  }

  static constexpr const char* kCheck = " (mfx check-instrument tells more)";

  double _threshold;
  const Exchange& _scan;
  const features::Stages& _stages;
  CheckPath _path;
  std::vector<RawDataPoint> _finite;
  std::size_t _usable = 0;
  bool _has_statuses = true;  ///< those of the samples name moves
  std::vector<std::string> _sentences;
};

}  // namespace

std::optional<double> QualityThreshold(const std::string& request) {
  const std::unique_ptr<features::Feature> feature(features::Feature::Create(request));
  try {
    return feature->GetSetting<double>(L"QualityThreshold");
  } catch (const std::logic_error&) {  // no such setting, or not a number
    return std::nullopt;
  }
}

std::vector<std::string> SampleDoubts(std::optional<double> threshold, const Exchange& scan,
                                      const features::Stages& stages) {
  return Doubts(threshold, scan, stages).Tell();
}

}  // namespace libmfx::host
