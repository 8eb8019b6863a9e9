#include "sim/obstacles/placed_faces.h"

namespace libmfx::sim {

namespace {

constexpr double kMargin = 1e-9;  // metres

}  // namespace

bool PlacedFaces::NearTo(const Ray& middle, double spread) const {
  if (!_ball.NearTo(middle, spread)) return false;
  // The lines of beam and bar pass each other along the direction across both.
  const Vec3 from_center = middle.origin - _ball.center;
  const Vec3 across = middle.direction.cross(_pose.rotation.col(2));
  const double widest = spread * (from_center.norm() + _ball.radius);
  const double within = _girth + widest + kMargin;
  const double apart = from_center.dot(across);
  return apart * apart <= within * within * across.squaredNorm() + kMargin * kMargin;
}

void PlacedFaces::Gather(const Ray& middle, double spread, std::vector<const Face*>& faces) const {
  if (NearTo(middle, spread)) faces.push_back(this);
}

bool PlacedFaces::Intersect(const Ray& ray, Hit& hit) const {
  if (!NearTo(ray, 0.0)) return false;
  const Ray local{_pose.Inverse(ray.origin), _pose.rotation.transpose() * ray.direction, ray.t_min,
                  ray.t_max};
  if (!_faces.Intersect(local, hit)) return false;
  hit.normal = _pose.Direction(hit.normal);
  return true;
}

}  // namespace libmfx::sim
