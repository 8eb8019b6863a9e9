#include "host/outputs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include "host/errors.h"

namespace libmfx::host {
namespace {

/// Where a regular file lies, or where a new one would.
struct Place {
  dev_t device = 0;
  ino_t inode = 0;       ///< of the file; of its folder where there is none yet
  std::string new_name;  ///< empty: there is a file

  friend bool operator==(const Place&, const Place&) = default;
};

/// A place with the words for it.
struct NamedPlace {
  std::string name;
  Place place;
};

std::optional<Place> PlaceOf(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  return Place{status.st_dev, status.st_ino, {}};
}

/// The place of an open file.
std::optional<Place> PlaceOf(int file) {
  struct stat status {};
  return file >= 0 && fstat(file, &status) == 0 ? PlaceOf(status) : std::nullopt;
}

/// The place that a path leads to; none for what is no regular file, and where no file can be.
std::optional<Place> PlaceOf(const std::string& path) {
  if (path == "-") return PlaceOf(STDIN_FILENO);
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) return PlaceOf(status);
  const std::filesystem::path wanted(path);
  const std::string folder = wanted.has_parent_path() ? wanted.parent_path().string() : ".";
  std::string name = wanted.filename().string();
  if (name.empty() || stat(folder.c_str(), &status) != 0) return std::nullopt;
  // A file system that takes both spellings for one name is not worth asking for.
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return Place{status.st_dev, status.st_ino, std::move(name)};
}

std::vector<NamedPlace> PlacesOf(const std::vector<NamedFile>& files) {
  std::vector<NamedPlace> places;
  for (const NamedFile& file : files) {
    if (file.path.empty()) continue;
    const std::string name =
        file.what + " " + (file.path == "-" ? "on standard input" : OneLine(file.path));
    if (const auto place = PlaceOf(file.path)) places.push_back({name, *place});
  }
  return places;
}

}  // namespace

void KeepApart(const std::vector<NamedFile>& inputs, const std::vector<NamedFile>& outputs,
               int standard_output) {
  std::vector<NamedPlace> read = PlacesOf(inputs);
  std::erase_if(read, [](const NamedPlace& input) { return !input.place.new_name.empty(); });
  std::vector<NamedPlace> written = PlacesOf(outputs);
  if (const auto place = PlaceOf(standard_output)) written.push_back({"standard output", *place});
  for (auto one = written.begin(); one != written.end(); ++one) {
    const auto is_here = [&](const NamedPlace& other) { return other.place == one->place; };
    auto other = std::find_if(read.begin(), read.end(), is_here);
    if (other == read.end()) {
      other = std::find_if(one + 1, written.end(), is_here);
      if (other == written.end()) continue;
    }
    throw CallError(one->name + " and " + other->name +
                    " are one file: one would take the place of the other");
  }
}

std::function<bool(const std::string&)> SameFileAs(int file) {
  return
      [place = PlaceOf(file)](const std::string& path) { return place && place == PlaceOf(path); };
}

}  // namespace libmfx::host
