#pragma once

#include <string>
#include <vector>

#include "host/check.h"
#include "inspection/plan.h"

namespace libmfx::inspection {

/// A plan that was read, and what there is to say about it, in the order of the text. With an error
/// among the findings the plan cannot be carried out. The paths of the findings are JSON pointers
/// into the plan.
struct ReadPlan {
  Plan plan;
  std::vector<host::Finding> findings;
};

/// Reads the text of a plan's file, which may hold comments; docs/inspection.md tells its keys.
/// Everything that a check of a request tells is told of each feature's too, at its line and column
/// in the plan. Nothing about the text throws.
ReadPlan ReadPlanText(const std::string& text);

}  // namespace libmfx::inspection
