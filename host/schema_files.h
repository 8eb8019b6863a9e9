#pragma once

#include <span>
#include <string_view>

namespace libmfx::host {

/// A schema of the folder schemas/ that is written by hand, as the program carries it.
struct SchemaFile {
  std::string_view name;
  std::string_view text;  ///< without the last line's end
};

/// All of them; the build writes the source of this function from the files.
std::span<const SchemaFile> SchemaFiles();

}  // namespace libmfx::host
