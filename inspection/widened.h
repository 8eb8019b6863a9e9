#pragma once

#include "inspection/plan.h"

namespace libmfx::inspection {

/// A request as it suits a nominal that may be `off` (m) and turned by `angle_off` (radians): a
/// search that reaches as far, where the type has one, and wider limits of a surface point. What
/// the plan tells wider stays.
json Widened(json request, const PlannedFeature& feature, double off, double angle_off);

/// A request with what an inspection has where the plan tells nothing: an opening that lies more
/// than 0.1 mm off its nominal is scanned again around where it is, since lines that cross its
/// border at another place than they were laid for read it a little nearer to the nominal.
json WithUsual(json request, const PlannedFeature& feature);

}  // namespace libmfx::inspection
