#include "data_structures/cartesian.h"

#include "data_structures/processor.h"
#include "data_structures/sines.h"

namespace libmfx::data_structures {
namespace {

/// A block of as many columns as there are lanes; of fewer at the end, whose last one is repeated.
template <typename Lanes>
[[gnu::always_inline]] inline void ConvertBlock(double* columns, Eigen::Index count,
                                                Eigen::Index stride) {
  constexpr int kCount = Lanes::kCount;
  double azimuths[kCount];
  double elevations[kCount];
  for (Eigen::Index i = 0; i < kCount; ++i) {
    const double* const column = columns + (i < count ? i : count - 1) * stride;
    azimuths[i] = column[0];
    elevations[i] = column[1];
  }
  double sines[2][kCount];
  double cosines[2][kCount];
  SinesAndCosines<Lanes>(azimuths, sines[0], cosines[0]);
  SinesAndCosines<Lanes>(elevations, sines[1], cosines[1]);
  for (Eigen::Index i = 0; i < count; ++i) {
    double* const column = columns + i * stride;
    const double range = column[2];
    const double horizontal = cosines[1][i] * range;
    column[0] = -sines[0][i] * horizontal;
    column[1] = sines[1][i] * range;
    column[2] = cosines[0][i] * horizontal;
  }
}

template <typename Lanes>
[[gnu::always_inline]] inline void ConvertBlocks(double* columns, Eigen::Index count,
                                                 Eigen::Index stride) {
  constexpr Eigen::Index kCount = Lanes::kCount;
  Eigen::Index i = 0;
  for (; i + kCount <= count; i += kCount)
    ConvertBlock<Lanes>(columns + i * stride, kCount, stride);
  if (i < count) ConvertBlock<Lanes>(columns + i * stride, count - i, stride);
}

#ifdef LIBMFX_WIDE_REGISTERS
__attribute__((target("avx2"))) void ConvertWide(double* columns, Eigen::Index count,
                                                 Eigen::Index stride) {
  ConvertBlocks<FourLanes>(columns, count, stride);
}
#endif

}  // namespace

void SphericalToCartesian(Eigen::MatrixXd& data, Eigen::Index row, Registers registers) {
  if (data.cols() == 0) return;
  double* const first = &data(row, 0);
#ifdef LIBMFX_WIDE_REGISTERS
  if (registers == Registers::kWidest && ThisProcessor().has_avx2) {
    ConvertWide(first, data.cols(), data.rows());
    return;
  }
#endif
  ConvertBlocks<TwoLanes>(first, data.cols(), data.rows());
}

}  // namespace libmfx::data_structures
