#include "geometry/cylinder/sight_model.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kLeastCrossing = 1e-3;  // keeps sight lines along or across the axis finite
// Of the differences by which readings change, some cells of their tables: pitches, and a factor.
constexpr double kShapeStep = 4e-3, kWidthStep = 2e-2;

Profile Widened(Profile profile, double crest, double root) {
  profile.crest += crest;
  profile.root += root;
  return profile;
}

}  // namespace

void MoveSight(SightModel& model, int column, double step) {
  if (column < kThreadColumns) {
    Move(model.thread, column, step);
  } else {
    model.width = std::clamp(model.width * std::exp(std::clamp(step, -0.5, 0.5)),
                             SeenProfile::kNarrowest, SeenProfile::kWidest);
  }
}

EntryFinder::EntryFinder(const Model& model, bool bore)
    : _u(model.direction.normalized()),
      _e1((Eigen::Vector3d::UnitX() - _u.x() * _u).normalized()),
      _e2(_u.cross(_e1)),
      _base(model.offset.x(), model.offset.y(), model.reference_height),
      _radius(model.radius),
      _side(bore ? 1.0 : -1.0) {}

Entry EntryFinder::operator()(const Eigen::Vector3d& point, const Eigen::Vector3d& sight) const {
  const Eigen::Vector3d q = point - _base;
  const double rise = sight.dot(_u);
  Entry entry;
  entry.sense = rise < 0.0 ? -1.0 : 1.0;
  entry.along = std::max(std::abs(rise), kLeastCrossing);
  // The near crossing of the sight line with a stud, the far one with a bore.
  const Eigen::Vector2d across(sight.dot(_e1), sight.dot(_e2)), at(q.dot(_e1), q.dot(_e2));
  const double a = std::max(across.squaredNorm(), kLeastCrossing * kLeastCrossing);
  const double b = at.dot(across);
  const double root = b * b - a * (at.squaredNorm() - _radius * _radius);
  entry.meets = root > 0.0;
  entry.way = (-b + _side * std::sqrt(std::max(0.0, root))) / a;
  const Eigen::Vector2d place = at + entry.way * across;
  entry.distance = std::max(place.norm(), kLeastCrossing);
  entry.inward = std::max(_side * across.dot(place) / entry.distance, kLeastCrossing);
  entry.around = (place.x() * across.y() - place.y() * across.x()) / entry.distance;
  entry.height = q.dot(_u) + entry.way * rise;
  entry.turn = std::atan2(place.y(), place.x()) / kTurn;
  return entry;
}

ShapeReadings::ShapeReadings(const SightModel& model, SeenProfiles& profiles)
    : _profile(model.thread.profile),
      _width(model.width),
      _base(model.ReadingsOf(profiles)),
      _crest(profiles.Of(Widened(_profile, kShapeStep, 0.0), _width, model.resolution)),
      _root(profiles.Of(Widened(_profile, 0.0, kShapeStep), _width, model.resolution)),
      _beam(profiles.Of(_profile, _width * std::exp(kWidthStep), model.resolution)) {}

bool ShapeReadings::Serves(const SightModel& model) const {
  constexpr double kNear = 0.01, kNearWidth = 0.1;
  const Profile& profile = model.thread.profile;
  return std::abs(profile.crest - _profile.crest) <= kNear &&
         std::abs(profile.root - _profile.root) <= kNear &&
         std::abs(model.width - _width) <= kNearWidth * _width;
}

ShapeReadings::Slope ShapeReadings::SlopeOf(double phase, double tangent) const {
  const double base = _base->Run(phase, tangent);
  return {(_crest->Run(phase, tangent) - base) / kShapeStep,
          (_root->Run(phase, tangent) - base) / kShapeStep,
          (_beam->Run(phase, tangent) - base) / kWidthStep};
}

SightEvaluator::SightEvaluator(const SightModel& model, const SeenProfile& readings)
    : _readings(readings),
      _entry(model.thread.cylinder, model.thread.profile.bore),
      _phase(model.thread.phase),
      _hand(std::copysign(1.0, model.thread.pitch)),
      _pitch(std::abs(model.thread.pitch)),
      _side(model.thread.profile.bore ? 1.0 : -1.0),
      _length(model.thread.cylinder.direction.norm()) {}

// On its way to the groove's end the sight line goes around the wall as well: so it meets the
// phases at another rate, and the wall of a bore curves towards it, that of a stud away.
SightEvaluator::Place SightEvaluator::PlaceOf(const Entry& entry) const {
  constexpr double kLeastRate = 0.1;
  const double aside = entry.around / entry.along, tangent = entry.Tangent();
  Place place;
  place.rate =
      std::max(1.0 - entry.sense * _hand * aside * _pitch / (kTurn * entry.distance), kLeastRate);
  const double curving =
      _side * aside * aside * _pitch / (2.0 * entry.distance * place.rate * place.rate);
  place.phase = entry.sense * (entry.height / _pitch - _hand * entry.turn - _phase);
  const double straight = _readings.Run(place.phase, tangent / place.rate);
  place.tangent = tangent / place.rate + curving * straight;
  place.run = _readings.Run(place.phase, place.tangent);
  place.square = tangent / std::sqrt(1.0 + tangent * tangent);
  return place;
}

double SightEvaluator::Residual(const Eigen::Vector3d& point, const Eigen::Vector3d& sight) const {
  const Entry entry = _entry(point, sight);
  const Place place = PlaceOf(entry);
  return place.square * (-entry.way * entry.along - _pitch / place.rate * place.run);
}

double SightEvaluator::Spread(const Eigen::Vector3d& point, const Eigen::Vector3d& sight) const {
  const Entry entry = _entry(point, sight);
  const double tangent = entry.Tangent();
  const double phase = entry.sense * (entry.height / _pitch - _hand * entry.turn - _phase);
  return _pitch * _readings.Spread(phase, tangent) * tangent / std::sqrt(1.0 + tangent * tangent);
}

SightEvaluator::Row SightEvaluator::Derivative(const Eigen::Vector3d& point,
                                               const Eigen::Vector3d& sight,
                                               const ShapeReadings& shapes) const {
  using Eigen::Vector3d;
  const Entry entry = _entry(point, sight);
  const Place place = PlaceOf(entry);
  const SeenProfile::Slope slope = _readings.SlopeOf(place.phase, place.tangent);
  const Vector3d& u = _entry.axis();
  const Vector3d q = point - _entry.base();
  const double angle = kTurn * entry.turn;
  const Vector3d out = std::cos(angle) * _entry.e1() + std::sin(angle) * _entry.e2();
  const Vector3d around = u.cross(out);
  const double crossing = _side * entry.inward, rise = entry.sense * entry.along;
  const double tangent = entry.Tangent(), step = _pitch / place.rate;

  // How the residual changes when the point moves, the sight line turns and the radius grows.
  const auto change = [&](const Vector3d& moved, const Vector3d& turned, double grown) {
    const double lengthened = (grown - out.dot(moved + entry.way * turned)) / crossing;
    const Vector3d entered = moved + entry.way * turned + lengthened * sight;
    const double aside = around.dot(entered) / entry.distance;  // radians
    const double steeper = entry.sense * u.dot(turned);
    const double inward = _side * (out.dot(turned) + aside * around.dot(sight));
    const double phase = entry.sense * (u.dot(entered) / _pitch - _hand * aside / kTurn);
    const double by_tangent = (inward - tangent * steeper) / entry.along / place.rate;
    return place.square * (-lengthened * entry.along - entry.way * steeper -
                           step * (slope.by_phase * phase + slope.by_tangent * by_tangent));
  };
  Row row;
  row[kOffsetX] = change(-Vector3d::UnitX(), Vector3d::Zero(), 0.0);
  row[kOffsetY] = change(-Vector3d::UnitY(), Vector3d::Zero(), 0.0);
  const double height = q.dot(u);
  for (int i = 0; i < 3; ++i) {
    // The axis turned by this turns all else back.
    const Vector3d turn = (Vector3d::Unit(i) - u[i] * u) / _length;
    row[kDirectionX + i] =
        change(turn.dot(q) * u - height * turn, turn.dot(sight) * u - rise * turn, 0.0);
  }
  row[kRadius] = change(Vector3d::Zero(), Vector3d::Zero(), 1.0);
  row[kPhase] = place.square * step * slope.by_phase * entry.sense;
  row[kPitch] = _hand * place.square *
                (step * slope.by_phase * entry.sense * entry.height / (_pitch * _pitch) -
                 place.run / place.rate);
  const ShapeReadings::Slope shape = shapes.SlopeOf(place.phase, place.tangent);
  row[kCrest] = -place.square * step * shape.by_crest;
  row[kRoot] = -place.square * step * shape.by_root;
  row[kBeamWidth] = -place.square * step * shape.by_width;
  return row;
}

}  // namespace libmfx::geometry::cylinder
