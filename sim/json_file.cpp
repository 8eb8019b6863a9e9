#include "sim/json_file.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <system_error>

#include "sim/scene.h"

namespace libmfx::sim {

using nlohmann::json;

namespace {

constexpr std::uintmax_t kLargestFile = 16U << 20U;

/// The parser's own message is cut down to where it stopped and why.
std::string ParseProblem(const json::exception& e) {
  std::string text = e.what();
  const auto end = text.find("] ");
  if (end != std::string::npos) text = text.substr(end + 2);
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  return text;
}

}  // namespace

std::string ReadJsonText(const std::filesystem::path& file, const std::string& what) {
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  if (error) throw SceneError(file.string() + ": cannot be read (" + error.message() + ")");
  if (size > kLargestFile) {
    throw SceneError(file.string() + ": " + std::to_string(size) + " bytes are no " + what);
  }
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream) throw SceneError(file.string() + ": cannot be read");
  return text;
}

json ParseJson(std::string_view text, const std::string& what) {
  try {
    return json::parse(text.begin(), text.end(), nullptr, true, true);
  } catch (const json::exception& e) {
    throw SceneError(what + ": not JSON: " + ParseProblem(e));
  }
}

}  // namespace libmfx::sim
