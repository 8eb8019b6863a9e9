#include "report/outline.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;
using nlohmann::json;

constexpr double kPi = 3.14159265358979323846;

/// An arc around `center` from the direction `from` over `to_side` to the opposite of `from`.
void AppendHalfCircle(const Vector3d& center, const Vector3d& from, const Vector3d& to_side,
                      std::vector<Vector3d>& line) {
  constexpr int kSteps = 24;
  for (int i = 0; i <= kSteps; ++i) {
    const double angle = kPi * i / kSteps;
    line.push_back(center + std::cos(angle) * from + std::sin(angle) * to_side);
  }
}

/// \param u,v half the length along the tangent, half the width across it
std::vector<Vector3d> Rectangle(const Vector3d& place, const Vector3d& u, const Vector3d& v) {
  return {place + u + v, place - u + v, place - u - v, place + u - v, place + u + v};
}

std::vector<Vector3d> Obround(const Vector3d& place, const Vector3d& u, const Vector3d& v) {
  const Vector3d end = v.norm() * u.normalized();  // radius of the arcs, along the tangent
  std::vector<Vector3d> line;
  AppendHalfCircle(place + u - end, -v, end, line);
  AppendHalfCircle(place - u + end, v, -end, line);
  line.push_back(line.front());
  return line;
}

std::vector<Vector3d> Polygon(const Vector3d& place, const Vector3d& to_corner,
                              const Vector3d& normal, int sides) {
  const Vector3d across = normal.normalized().cross(to_corner);
  std::vector<Vector3d> line;
  for (int i = 0; i <= sides; ++i) {
    const double angle = 2.0 * kPi * i / sides;
    line.push_back(place + std::cos(angle) * to_corner + std::sin(angle) * across);
  }
  return line;
}

}  // namespace

std::optional<Outline> OutlineOf(const json& object) {
  const auto place = Triple(object, "Location");
  if (!place) return std::nullopt;
  Outline outline{*place, Number(object, "Radius"), {}};
  const auto normal = Triple(object, "Normal");
  if (!normal || !(normal->norm() > 1e-12)) return outline;

  const auto tangent = Triple(object, "Tangent");
  const auto length = Number(object, "Length");
  const auto width = Number(object, "Width");
  if (tangent && length && width && normal->cross(*tangent).norm() > 1e-12) {
    const Vector3d u = 0.5 * *length * tangent->normalized();
    const Vector3d v = 0.5 * *width * normal->cross(*tangent).normalized();
    const bool obround = object.contains("$type") && object["$type"].is_string() &&
                         object["$type"].get<std::string>().starts_with("Slot");
    outline.corners = obround ? Obround(*place, u, v) : Rectangle(*place, u, v);
  }
  const auto sides = Number(object, "Sides");
  const auto axis = Triple(object, "Axis");
  if (outline.radius && sides && *sides >= 3.0 && *sides <= 1000.0 && axis &&
      axis->norm() > 1e-12) {
    const Vector3d to_corner = *outline.radius * axis->normalized();
    outline.corners = Polygon(*place, to_corner, *normal, static_cast<int>(*sides));
    outline.radius.reset();
  }
  return outline;
}

}  // namespace libmfx::host::report
