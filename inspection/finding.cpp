#include "inspection/finding.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/errors.h"
#include "host/numbers.h"
#include "inspection/finder.h"
#include "inspection/requests.h"
#include "inspection/widened.h"

namespace libmfx::inspection {
namespace {

using host::CallError;

constexpr const char* kBall = "MatteSphereFeature";
/// A ball farther from where it is expected than this share of its radius is looked for first: its
/// own scan covers three quarters of it.
constexpr double kBallReach = 0.25;
/// Of any other feature, m: what the scans of a request's defaults bear.
constexpr double kReach = 0.001;
/// How far the distances of balls in a coarse scan may be off, m.
constexpr double kCoarse = 0.003;
/// Lines of a search for balls on a radius.
constexpr double kLinesOnRadius = 3.0;

host::ConversationOptions Coarsely() {
  return {.search = false, .max_passes = 0, .scan_data = host::ScanData::kNone};
}

class Finding {
 public:
  Finding(const Plan& plan, std::size_t station, Steps& steps)
      : _plan(plan), _station(station), _steps(steps), _growth(plan.part.Growth()) {
    _found.references.resize(plan.references.size());
  }

  Found Find() {
    const Station& station = _plan.stations[_station];
    if (station.pose) {
      _found.pose = *station.pose;
      _position_off = station.position_off;
      _angle_off = station.angle_off;
      LookForBallsNear();
    } else {
      LookForBallsAround();
    }
    for (std::size_t i = 0; i < Count(); ++i) {
      if (Feature(i).type == kBall) Measure(i, "reference " + Feature(i).name);
    }
    FitRoughly();
    // What has a search of its own comes before what has none.
    for (const bool searches : {true, false}) {
      for (std::size_t i = 0; i < Count(); ++i) {
        if (_found.references[i].was_tried || Searches(i) != searches) continue;
        Measure(i, "reference " + Feature(i).name);
      }
      FitRoughly();
    }
    MeasureAgain();
    Judge();
    return std::move(_found);
  }

 private:
  std::size_t Count() const { return _plan.references.size(); }
  const PlannedFeature& Feature(std::size_t reference) const {
    return _plan.features[_plan.references[reference].feature];
  }
  bool Searches(std::size_t reference) const {
    const std::string& type = Feature(reference).type;
    return type != "SurfaceNormalFeature" && type != "EdgeFeature" && type != kBall;
  }
  Vector3d Expected(std::size_t reference) const {
    return _found.pose * (Feature(reference).place * _growth);
  }
  /// How far a reference may be from where the pose tells.
  double Off(std::size_t reference) const {
    return _position_off +
           2.0 * std::sin(0.5 * std::min(_angle_off, 3.14)) * Feature(reference).place.norm() +
           _plan.references[reference].tolerance;
  }

  [[noreturn]] void Fail(const std::string& why) const {
    throw CallError("the part was not found from station \"" + _plan.stations[_station].name +
                    "\": " + why);
  }

  /// The samples of a coarse scan of a window.
  std::vector<host::RawDataPoint> Scan(const ScanWindow& window, const std::string& name) {
    std::vector<host::RawDataPoint> samples;
    const std::vector<std::string> requests = RequestsOf(window, name);
    for (std::size_t i = 0; i < requests.size(); ++i) {
      const std::string step = name + (i == 0 ? "" : " " + std::to_string(i + 1));
      const HeldStep held = _steps.Hold(_station, step, requests[i], Coarsely());
      for (const host::Exchange& exchange : held.recording.exchanges) {
        samples.insert(samples.end(), exchange.samples.begin(), exchange.samples.end());
      }
    }
    return samples;
  }

  struct Balls {
    std::vector<std::size_t> references;
    std::vector<NominalBall> nominal;
    std::vector<std::vector<SeenBall>> seen;
  };

  void TakePose(const Balls& balls) {
    std::string why;
    const std::optional<Eigen::Isometry3d> pose =
        PoseByBalls(balls.nominal, balls.seen, kCoarse, why);
    if (!pose) Fail(why);
    _found.pose = *pose;
    _position_off = kReach;
    _angle_off = 0.0;
  }

  void LookForBallsNear() {
    Balls balls;
    for (std::size_t i = 0; i < Count(); ++i) {
      const PlannedFeature& feature = Feature(i);
      if (feature.type != kBall || !(Off(i) > kBallReach * feature.radius)) continue;
      ScanWindow window = WindowAround(Expected(i), feature.radius, Off(i));
      window.spacing = feature.radius / kLinesOnRadius;
      std::vector<SeenBall> seen =
          FindBalls(Scan(window, "search " + feature.name), feature.radius, window.spacing);
      std::erase_if(seen, [&](const SeenBall& ball) {
        return !((ball.center - Expected(i)).norm() <= Off(i) + kCoarse);
      });
      balls.references.push_back(i);
      balls.nominal.push_back({feature.place * _growth, feature.radius});
      balls.seen.push_back(std::move(seen));
    }
    if (balls.references.empty()) return;
    if (balls.references.size() >= 3) return TakePose(balls);
    // One or two tell the way, and no turn.
    for (std::size_t k = 0; k < balls.references.size(); ++k) {
      const std::string& name = Feature(balls.references[k]).name;
      if (balls.seen[k].empty()) Fail("\"" + name + "\" was not seen where it may be");
      if (k > 0) continue;
      _found.pose.translation() += balls.seen[k].front().center - Expected(balls.references[k]);
      _position_off = kReach + 2.0 * std::sin(0.5 * std::min(_angle_off, 3.14)) *
                                   Feature(balls.references[k]).place.norm();
    }
  }

  void LookForBallsAround() {
    const Station& station = _plan.stations[_station];
    Balls balls;
    double smallest = 0.0;
    for (std::size_t i = 0; i < Count(); ++i) {
      if (Feature(i).type != kBall) continue;
      balls.references.push_back(i);
      balls.nominal.push_back({Feature(i).place * _growth, Feature(i).radius});
      smallest = smallest > 0.0 ? std::min(smallest, Feature(i).radius) : Feature(i).radius;
    }
    if (balls.references.size() < 3)
      Fail("its pose is unknown, and fewer than three balls tell it");
    ScanWindow window;
    std::copy_n(station.azimuth, 2, window.azimuth);
    std::copy_n(station.elevation, 2, window.elevation);
    window.range = station.within;
    window.spacing = smallest / kLinesOnRadius;
    const std::vector<host::RawDataPoint> samples = Scan(window, "search");
    std::vector<double> radii;
    for (const NominalBall& ball : balls.nominal) radii.push_back(ball.radius);
    balls.seen = FindBalls(samples, radii, window.spacing);
    for (std::size_t i = 0; i < balls.seen.size(); ++i) {
      std::erase_if(balls.seen[i], [&](const SeenBall& seen) {
        return !(seen.center.norm() <= station.within + radii[i]);
      });
    }
    TakePose(balls);
  }

  void Measure(std::size_t reference, const std::string& step) {
    const PlannedFeature& feature = Feature(reference);
    const json request = Widened(WithUsual(RequestAt(feature, _found.pose, _growth), feature),
                                 feature, Off(reference), _angle_off);
    const bool searches = request.value("SearchEnabled", false);
    const HeldStep held =
        _steps.Hold(_station, step, request.dump(), {.search = searches, .max_passes = 3});
    _found.references[reference] = MeasuredOf(held, feature, _station, _found.pose);
    if (!held.note.empty()) _found.notes.push_back(feature.name + ": " + held.note);
  }

  /// The pose by what was measured so far, where that tells it.
  void FitRoughly() {
    std::vector<std::size_t> which;
    const std::vector<AlignedPlace> places = PlacesOf(_plan, _found.references, _growth, which);
    std::string why;
    const std::optional<PoseFit> fit = FitPose(places, _found.pose, 1e-4, why);
    if (!fit) return;
    const Vector3d before = _found.pose.translation();
    _moved = std::max(_moved, (fit->pose.translation() - before).norm());
    _found.pose = fit->pose;
    _position_off = kReach;
    _angle_off = 0.0;
  }

  /// A surface point and an edge were measured beside where they are as long as the pose was rough.
  void MeasureAgain() {
    if (!(_moved > kReach)) return;
    for (std::size_t i = 0; i < Count(); ++i) {
      const bool is_ball = Feature(i).type == kBall;
      if (is_ball || Searches(i)) continue;
      Measure(i, "reference " + Feature(i).name + " again");
    }
  }

  void Judge() {
    std::vector<std::size_t> which;
    const std::vector<AlignedPlace> places = PlacesOf(_plan, _found.references, _growth, which);
    std::vector<double> tolerances;
    std::vector<std::string> names;
    for (const std::size_t i : which) {
      tolerances.push_back(_plan.references[i].tolerance);
      names.push_back(Feature(i).name);
    }
    std::string why;
    const std::optional<JudgedReferences> judged =
        FitReferences(places, tolerances, names, _found.pose, why);
    if (!judged) {
      for (std::size_t i = 0; i < Count(); ++i) {
        const Measured& one = _found.references[i];
        if (!one.is_measured) why += "; \"" + Feature(i).name + "\": " + one.reason;
      }
      Fail(why);
    }
    _found.pose = judged->fit.pose;
    if (!judged->left_out) return;
    _found.left_out = which[*judged->left_out];
    _found.notes.push_back("reference \"" + names[*judged->left_out] +
                           "\" does not fit to the others and was left out");
  }

  const Plan& _plan;
  std::size_t _station;
  Steps& _steps;
  double _growth;
  double _position_off = 0.0;
  double _angle_off = 0.0;
  double _moved = 0.0;  ///< m: by how much a fit moved the pose
  Found _found;
};

}  // namespace

AlignedPlace PlaceOf(const PlannedFeature& feature, const FeatureNumbers& numbers,
                     const FeatureSpread& spread, double growth) {
  AlignedPlace place;
  place.nominal = feature.place * growth;
  place.measured = numbers.place;
  place.covariance = spread.place;
  place.directions = feature.MeasuredDirections();
  return place;
}

std::vector<AlignedPlace> PlacesOf(const Plan& plan, const std::vector<Measured>& references,
                                   double growth, std::vector<std::size_t>& which) {
  std::vector<AlignedPlace> places;
  for (std::size_t i = 0; i < references.size(); ++i) {
    if (!references[i].is_measured) continue;
    places.push_back(PlaceOf(plan.features[plan.references[i].feature], references[i].numbers,
                             references[i].spread, growth));
    which.push_back(i);
  }
  return places;
}

Found FindPart(const Plan& plan, std::size_t station, Steps& steps) {
  return Finding(plan, station, steps).Find();
}

}  // namespace libmfx::inspection
