#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

/// \file
/// Which part of the project may include which: the arrows between the rooms, read off the include
/// lines.

namespace project {

/// One include line of a file.
struct Include {
  std::string target;  ///< the text between the quotes or angle brackets
  bool in_angles = false;
  int line = 0;  ///< from 1
};

/// The include lines of a source text, in order. Lines inside comments count when they look like
/// include lines; nothing in this project comments code out.
std::vector<Include> IncludesOf(const std::string& text);

/// The room of a file: "geometry" for include/libmfx/geometry/... and src/geometry/...; "root" for
/// the headers right under include/libmfx; "sim", "tools", "examples", "tests", "bench", "fuzz" for
/// what lies outside the library. Empty for a path that is none of these.
/// \param path relative to the root of the project
std::string RoomOf(const std::string& path);

/// The file of the project that an include line means, relative to its root; empty for a header of
/// others.
/// \param from the file in which the line stands, relative to the root
/// \param files every file of the project, relative to its root
std::string Resolve(const std::string& from, const std::string& target,
                    const std::set<std::string>& files);

/// The include lines of one file that break a rule, in words; empty when all is well.
/// \param path relative to the root of the project
/// \param text what the file holds
/// \param files every file of the project, relative to its root: quoted includes are resolved to
///   one of them
std::vector<std::string> BrokenRules(const std::string& path, const std::string& text,
                                     const std::set<std::string>& files);

/// All C++ files of the project, relative to `root`, sorted; build trees are left out.
std::set<std::string> SourceFiles(const std::filesystem::path& root);

std::string ReadFile(const std::filesystem::path& path);

}  // namespace project
