#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inspection/numbers.h"
#include "inspection/plan.h"
#include "inspection/sheet.h"

/// \file
/// Values of characteristics and their verdicts.

namespace libmfx::inspection {

/// The value of a characteristic: metres or radians.
/// \param measured of each feature of the plan, in the part's frame
/// \returns nothing where a feature of it was not measured
std::optional<double> ValueOf(const Characteristic& characteristic, const Plan& plan,
                              const std::vector<FeatureNumbers>& measured);

/// The value that the nominals themselves have: the nominal of a distance or an angle.
double NominalOf(const Characteristic& characteristic, const Plan& plan);

/// What a plan asks for that cannot be told, for people: a size that the type does not measure, a
/// flatness of two points, an angle of a feature without a direction; empty where it can.
std::string WhyNotTold(const Characteristic& characteristic, const Plan& plan);

/// Numbers of all features of a plan, in the part's frame, from one draw of what was measured:
/// the alignment is made anew for each draw.
using DrawNumbers = std::function<std::vector<FeatureNumbers>(std::uint64_t draw)>;

/// No more draws are made than this.
inline constexpr std::size_t kMostDraws = 1'000'000;

/// Values, uncertainties and verdicts (JCGM 101; ISO 14253-1 with a conformance probability of
/// 95 %): it conforms where at least 95 % of the draws lie within the tolerance, does not conform
/// where at most 5 % do, and cannot be decided between. A draw without a value is neither within
/// nor outside.
///
/// A value that cannot be negative is read too large: noise alone makes a zone, and a draw, which
/// adds the noise once more to what was measured with it, makes a larger one. What conforms by such
/// draws does so all the more. That it does not conform asks for more than them: what was measured,
/// less the zone that the noise of a draw makes of the nominals, lies outside for 95 % of the
/// draws. A zone of the sum of two shapes is no larger than the sum of their zones, so that the
/// true one is no smaller than that. The same holds for distances and angles near 0, and for angles
/// near pi.
/// \param best the best estimate of all features; its values are what was "measured"
/// \param is_sure of each feature, whether how sure it is is known
/// \param reasons of each feature, why it was not measured
/// \param draw is called with 0 to `draws` - 1, some times each where the plan has many
///     characteristics: the same number gives the same draw
std::vector<CharacteristicResult> Judge(const Plan& plan, const std::vector<FeatureNumbers>& best,
                                        const std::vector<bool>& is_sure,
                                        const std::vector<std::string>& reasons,
                                        const DrawNumbers& draw, std::size_t draws);

}  // namespace libmfx::inspection
