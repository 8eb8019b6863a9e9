#pragma once

#include <nlohmann/json.hpp>

#include "uncertainty/uncertainty.h"

namespace libmfx::uncertainty {

/// The answer as an object, after the schema "uncertainty"; docs/uncertainty.md tells its keys.
nlohmann::ordered_json JsonOf(const Uncertainty& answer);

}  // namespace libmfx::uncertainty
