#pragma once

#include <optional>

#include "sim/faces/face.h"
#include "sim/faces/outline.h"

namespace libmfx::sim {

/// A piece of the plane z = height: inside `border` if there is one, outside `opening` if there is
/// one.
class PlanarFace : public Face {
 public:
  PlanarFace(double height, std::optional<Outline> border,
             std::optional<Outline> opening = std::nullopt)
      : _height(height), _border(std::move(border)), _opening(std::move(opening)) {}

  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  double _height;
  std::optional<Outline> _border;
  std::optional<Outline> _opening;
};

}  // namespace libmfx::sim
