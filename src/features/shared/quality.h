#pragma once

namespace libmfx::features::shared {

/// The quality figure of an outline, 0 to 100, that the scatter of its edge points earns.
/// \param scatter standard deviation of the edge points about the fitted outline, metres
/// \param worst what a scatter of 10 m and more, or one that is no number, leaves
double QualityOfScatter(double scatter, double worst);

}  // namespace libmfx::features::shared
