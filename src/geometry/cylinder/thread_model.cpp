#include "geometry/cylinder/thread_model.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

namespace libmfx::geometry::cylinder {

void Move(ThreadModel& model, int column, double step) {
  constexpr double kNarrowest = 0.005, kWidest = 0.46;
  Model& c = model.cylinder;
  double* const parameters[kThreadColumns] = {
      &c.offset.x(), &c.offset.y(), &c.direction.x(), &c.direction.y(),     &c.direction.z(),
      &c.radius,     &model.phase,  &model.pitch,     &model.profile.crest, &model.profile.root};
  double& value = *parameters[column];
  value += step;
  if (column == kCrest || column == kRoot) value = std::clamp(value, kNarrowest, kWidest);
}

ThreadEvaluator::ThreadEvaluator(const ThreadModel& model)
    : _model(model),
      _hand(std::copysign(1.0, model.pitch)),
      _pitch(std::abs(model.pitch)),
      _side(model.profile.bore ? -1.0 : 1.0),
      _length(model.cylinder.direction.norm()),
      _u(model.cylinder.direction / _length),
      // Turns count from the local x: the axis is near z, so that this direction stays when it
      // tilts.
      _e1((Eigen::Vector3d::UnitX() - _u.x() * _u).normalized()),
      _e2(_u.cross(_e1)) {}

ThreadEvaluator::Place ThreadEvaluator::Locate(const Eigen::Vector3d& point) const {
  const Model& c = _model.cylinder;
  const Eigen::Vector3d q(point.x() - c.offset.x(), point.y() - c.offset.y(),
                          point.z() - c.reference_height);
  Place place;
  place.a = q.dot(_e1);
  place.b = q.dot(_e2);
  place.h = q.dot(_u);
  place.distance = std::max(std::sqrt(place.a * place.a + place.b * place.b), 1e-150);
  const double phase =
      place.h / _pitch - _hand * std::atan2(place.b, place.a) / kTurn - _model.phase;
  place.profile = DepthOfProfile(phase, _model.profile);
  return place;
}

double ThreadEvaluator::Residual(const Eigen::Vector3d& point) const {
  const Place place = Locate(point);
  return place.distance - _model.cylinder.radius + _side * _pitch * place.profile.depth;
}

ThreadRow ThreadEvaluator::operator()(const Eigen::Vector3d& point) const {
  const Place place = Locate(point);
  const Eigen::Vector3d outward = place.a * _e1 + place.b * _e2;
  const Eigen::Vector3d radial = outward / place.distance;
  // The depth changes with the phase, and that with height and turn.
  const double by_phase = _side * _pitch * place.profile.slope;
  const Eigen::Vector3d turning =
      (place.a * _e2 - place.b * _e1) / (place.distance * place.distance);
  const Eigen::Vector3d across = radial - by_phase * _hand / kTurn * turning;
  const Eigen::Vector3d by_point = across + by_phase / _pitch * _u;
  ThreadRow row;
  row.residual = place.distance - _model.cylinder.radius + _side * _pitch * place.profile.depth;
  row.jacobian.segment<2>(kOffsetX) = -by_point.head<2>();
  // Turning the axis lifts a point by its distance across, and moves the axis aside by its height.
  row.jacobian.segment<3>(kDirectionX) = (by_phase / _pitch * outward - place.h * across) / _length;
  row.jacobian[kRadius] = -1.0;
  row.jacobian[kPhase] = -by_phase;
  row.jacobian[kPitch] =
      _hand * (_side * place.profile.depth - by_phase * place.h / (_pitch * _pitch));
  row.jacobian[kCrest] = _side * _pitch * place.profile.by_crest;
  row.jacobian[kRoot] = _side * _pitch * place.profile.by_root;
  return row;
}

}  // namespace libmfx::geometry::cylinder
