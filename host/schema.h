#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "libmfx/win32_support/feature_descriptor.h"

/// \file
/// JSON Schemas (draft 7) of what goes in and comes out: for editors, and for hosts that look at
/// messages before they trust them.

namespace libmfx::host {

/// The names of all schemas, sorted: "request-hole", "result-hole", "scene", ...
std::vector<std::string> SchemaNames();

/// A schema as a text of several lines without the last line's end; nothing for an unknown name.
std::optional<std::string> SchemaText(std::string_view name);

/// The name of the schema of a type's requests: "request-threaded-hole" of "ThreadedHoleFeature".
std::string RequestSchemaName(const win32_support::FeatureDescriptor& type);

/// The schema of a type's requests, by what its descriptor tells of them.
std::string RequestSchema(const win32_support::FeatureDescriptor& type);

}  // namespace libmfx::host
