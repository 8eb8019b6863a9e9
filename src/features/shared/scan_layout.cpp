#include "features/shared/scan_layout.h"

namespace libmfx::features::shared {

ScanMove ScanLayout::At(int segment) const {
  if (segment % _moves == 0) return {};
  if (_moves == 3) return {true, 0, segment % _moves == 2 ? -1 : 1};
  if (_signs == nullptr) return {true, 0, (segment - 1) / _moves % 2 != 0 ? -1 : 1};
  if (segment < 0 || _lines_per_side == 0) return {};
  const std::int64_t side = (segment - 1) / _moves / static_cast<std::int64_t>(_lines_per_side);
  if (side >= static_cast<std::int64_t>(_sides)) return {};
  const auto sign = _signs->find(segment);
  const int sense = sign == _signs->end() ? 0 : (sign->second > 0.0) - (sign->second < 0.0);
  return {true, static_cast<int>(side), sense};
}

}  // namespace libmfx::features::shared
