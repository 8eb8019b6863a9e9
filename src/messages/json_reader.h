#pragma once

#include <memory>
#include <string_view>

#include "libmfx/features/request_text.h"
#include "messages/json_tree.h"

/// \file
/// The one reader of JSON text: it decides what is an object that a request may be.

namespace libmfx::messages {

/// The first object of a text, as StrictJson tells it; null if there is none.
std::unique_ptr<const JsonTree> ReadObject(std::string_view text,
                                           int nesting = features::kRequestNesting);

}  // namespace libmfx::messages
