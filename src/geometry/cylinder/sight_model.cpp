#include "geometry/cylinder/sight_model.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstddef>

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

NearTurn::NearTurn(double cosine_of, double sine_of)
    : cosine(cosine_of), sine(sine_of), turn(std::atan2(sine_of, cosine_of) / kTurn) {}

double NearTurn::Of(double c, double s) const {
  // The series of the arc tangent is right to 1e-13 of a turn within this.
  constexpr double kNear = 0.1;
  const double across = s * cosine - c * sine, along = c * cosine + s * sine;
  if (!(std::abs(across) < kNear * along)) return std::atan2(s, c) / kTurn;
  const double t = across / along, tt = t * t;
  return turn +
         t * (1.0 - tt * (1.0 / 3.0 - tt * (1.0 / 5.0 - tt * (1.0 / 7.0 - tt / 9.0)))) / kTurn;
}

EntryFinder::EntryFinder(const Model& model, bool bore)
    : _u(model.direction.normalized()),
      _e1((Eigen::Vector3d::UnitX() - _u.x() * _u).normalized()),
      _e2(_u.cross(_e1)),
      _base(model.offset.x(), model.offset.y(), model.reference_height),
      _radius(model.radius),
      _side(bore ? 1.0 : -1.0) {}

Entry EntryFinder::operator()(const SightLine& line) const {
  const Eigen::Vector3d q = line.point - _base;
  const double rise = line.sight.dot(_u);
  Entry entry;
  entry.sense = rise < 0.0 ? -1.0 : 1.0;
  entry.along = std::max(std::abs(rise), kLeastCrossing);
  // The near crossing of the sight line with a stud, the far one with a bore.
  const Eigen::Vector2d across(line.sight.dot(_e1), line.sight.dot(_e2)),
      at(q.dot(_e1), q.dot(_e2));
  const double a = std::max(across.squaredNorm(), kLeastCrossing * kLeastCrossing);
  const double b = at.dot(across);
  const double root = b * b - a * (at.squaredNorm() - _radius * _radius);
  entry.meets = root > 0.0;
  entry.way = (-b + _side * std::sqrt(std::max(0.0, root))) / a;
  const Eigen::Vector2d place = at + entry.way * across;
  const double distance = std::sqrt(place.squaredNorm());
  entry.distance = std::max(distance, kLeastCrossing);
  entry.cosine = place.x() / entry.distance;
  entry.sine = place.y() / entry.distance;
  entry.inward =
      std::max(_side * (across.x() * entry.cosine + across.y() * entry.sine), kLeastCrossing);
  entry.around = entry.cosine * across.y() - entry.sine * across.x();
  entry.height = q.dot(_u) + entry.way * rise;
  entry.turn = line.near.Of(entry.cosine, entry.sine);
  return entry;
}

ShapeReadings::ShapeReadings(const SightModel& model, SeenProfiles& profiles)
    : _profile(model.thread.profile), _width(model.width) {
  const auto base = model.ReadingsOf(profiles);
  const auto slopes = [&](const Profile& profile, double width, double step) {
    const SeenProfile beside(profile, width, model.resolution, profiles.tangents());
    std::vector<double> all = beside.runs();
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = (all[i] - base->runs()[i]) / step;
    return all;
  };
  _by_crest = slopes(Widened(_profile, kShapeStep, 0.0), _width, kShapeStep);
  _by_root = slopes(Widened(_profile, 0.0, kShapeStep), _width, kShapeStep);
  _by_width = slopes(_profile, _width * std::exp(kWidthStep), kWidthStep);
}

bool ShapeReadings::Serves(const SightModel& model) const {
  constexpr double kNear = 0.01, kNearWidth = 0.1;
  const Profile& profile = model.thread.profile;
  return std::abs(profile.crest - _profile.crest) <= kNear &&
         std::abs(profile.root - _profile.root) <= kNear &&
         std::abs(model.width - _width) <= kNearWidth * _width;
}

ShapeReadings::Slope ShapeReadings::SlopeOf(const SeenProfile& readings,
                                            const SeenProfile::Cell& cell) const {
  // The places of a table move with the end of the crest.
  return {In(_by_crest, cell) - readings.SlopeOf(cell).by_phase, In(_by_root, cell),
          In(_by_width, cell)};
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
Sighted SightEvaluator::operator()(const SightLine& line) const {
  constexpr double kLeastRate = 0.1;
  Sighted sighted;
  const Entry& entry = sighted.entry = _entry(line);
  const double aside = entry.around / entry.along, tangent = entry.Tangent();
  sighted.rate =
      std::max(1.0 - entry.sense * _hand * aside * _pitch / (kTurn * entry.distance), kLeastRate);
  const double met = tangent / sighted.rate;
  const double curving =
      _side * aside * aside * _pitch / (2.0 * entry.distance * sighted.rate * sighted.rate);
  const double phase = entry.sense * (entry.height / _pitch - _hand * entry.turn - _phase);
  const double straight = _readings.Run(phase, met);
  sighted.cell = _readings.CellAt(phase, met + curving * straight);
  sighted.run = _readings.Run(sighted.cell);
  sighted.square = tangent / std::sqrt(1.0 + tangent * tangent);
  return sighted;
}

// In parts away from the axis, around and along it: what a shift of the point, a turn of the sight
// line and a growth of the radius change. A line that was shifted and turned enters after a longer
// way, and with that elsewhere around and along the wall.
SightEvaluator::Row SightEvaluator::Derivative(const Sighted& sighted,
                                               const ShapeReadings& shapes) const {
  using Eigen::Vector3d;
  const Entry& entry = sighted.entry;
  const SeenProfile::Slope slope = _readings.SlopeOf(sighted.cell);
  const double crossing = _side * entry.inward, rise = entry.sense * entry.along;
  const double step = _pitch / sighted.rate;
  const double by_phase = step * slope.by_phase * entry.sense;
  const double by_tangent = step * slope.by_tangent / (entry.along * sighted.rate);
  const double by_turn =
      (by_phase * _hand / kTurn - by_tangent * _side * entry.around) / entry.distance;
  const double by_way =
      (-entry.along - by_phase * rise / _pitch + by_turn * entry.around) / crossing;

  // Of a shift, and of a turn: that shifts the entry by its way.
  const Vector3d shift(-by_way, by_turn, -by_phase / _pitch);
  const Vector3d turn =
      entry.way * shift +
      Vector3d(-by_tangent * _side, 0.0, entry.sense * (by_tangent * entry.Tangent() - entry.way));
  const Vector3d sight(crossing, entry.around, rise);
  const Vector3d q = Vector3d(entry.distance, 0.0, entry.height) - entry.way * sight;

  const Vector3d &u = _entry.axis(), out = _entry.Out(entry), around = _entry.Around(entry);
  const Vector3d shifted = shift.x() * out + shift.y() * around + shift.z() * u;
  const double square = sighted.square;
  Row row;
  row[kOffsetX] = -square * shifted.x();
  row[kOffsetY] = -square * shifted.y();
  // The axis turned by this turns all else back.
  const auto turned_back = [&](int i) {
    return q[i] * shift.z() - q.z() * shift[i] + sight[i] * turn.z() - sight.z() * turn[i];
  };
  row.segment<3>(kDirectionX) = square / _length * (turned_back(0) * out + turned_back(1) * around);
  row[kRadius] = square * by_way;
  row[kPhase] = square * by_phase;
  row[kPitch] =
      _hand * square * (by_phase * entry.height / (_pitch * _pitch) - sighted.run / sighted.rate);
  const ShapeReadings::Slope shape = shapes.SlopeOf(_readings, sighted.cell);
  row[kCrest] = -square * step * shape.by_crest;
  row[kRoot] = -square * step * shape.by_root;
  row[kBeamWidth] = -square * step * shape.by_width;
  return row;
}

}  // namespace libmfx::geometry::cylinder
