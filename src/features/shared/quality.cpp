#include "features/shared/quality.h"

#include <algorithm>
#include <array>

namespace libmfx::features::shared {
namespace {

/// Within a band the figure falls in a straight line from `base + drop` to `base`.
struct Band {
  double to;    ///< a scatter strictly below this lies in the band, metres
  double from;  ///< where the line begins, metres
  double span;  ///< how far it runs, metres
  double drop;
  double base;
};

constexpr std::array<Band, 5> kBands{{{1e-05, 0.0, 1e-05, 10.0, 90.0},
                                      {0.0001, 1e-05, 9e-05, 10.0, 80.0},
                                      {0.001, 0.0001, 0.0009, 30.0, 50.0},
                                      {0.1, 0.001, 0.099, 40.0, 10.0},
                                      {10.0, 0.1, 9.9, 10.0, 0.0}}};

}  // namespace

double QualityOfScatter(double scatter, double worst) {
  const auto band = std::find_if(kBands.begin(), kBands.end(),
                                 [scatter](const Band& b) { return scatter < b.to; });
  if (band == kBands.end()) return worst;
  return (1.0 - (scatter - band->from) / band->span) * band->drop + band->base;
}

}  // namespace libmfx::features::shared
