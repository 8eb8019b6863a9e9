#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

/// \file
/// Files that people write: JSON of up to 16 MiB, which may hold comments.

namespace libmfx::sim {

/// The text of a file.
/// \param what the file tells, for the error of one that is too long: "scene"
/// \throws SceneError that names the file
std::string ReadJsonText(const std::filesystem::path& file, const std::string& what);

/// The value of a text that may hold comments.
/// \param what the text tells: "scene"
/// \throws SceneError "<what>: not JSON: ..."
nlohmann::json ParseJson(std::string_view text, const std::string& what);

}  // namespace libmfx::sim
