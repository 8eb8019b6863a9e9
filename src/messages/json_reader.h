#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "libmfx/features/request_text.h"

/// \file
/// The one reader of JSON text: it decides what is an object that a request may be.

namespace libmfx::messages {

/// The first object of a text, as StrictJson tells it; nothing if there is none.
std::optional<nlohmann::json> ReadObject(std::string_view text,
                                         int nesting = features::kRequestNesting);

}  // namespace libmfx::messages
