#include "features/shared/directions.h"
#include "libmfx/features/opening.h"

namespace libmfx::features {

bool Opening::LayPattern(const VectorXYZW& normal, const VectorXYZW& direction, VectorXYZW& along,
                         VectorXYZW& across) {
  across = normal.cross(direction).normalized();
  if (across.isZero(shared::kZeroDirection)) {
    Refuse("Normal and tangent are (anti-)parallel! Unable to create scan pattern!");
    return false;
  }
  along = across.cross(normal).normalized();
  return true;
}

}  // namespace libmfx::features
