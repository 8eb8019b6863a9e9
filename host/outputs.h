#pragma once

#include <functional>
#include <string>
#include <vector>

/// \file
/// What a call writes must not take the place of what it reads, or of what else it writes.

namespace libmfx::host {

/// A file with its role in a call, as an error names it: "report" and "out.html".
struct NamedFile {
  std::string what;
  std::string path;  ///< "-" for standard input; empty: not asked for, and passed over
};

/// Sees to it that no output is an input, another output or standard output, and that standard
/// output is no input. Files are told apart by device and inode, so links and other spellings of a
/// path do not deceive it; files that do not exist yet by their folder and name, small and capital
/// letters of ASCII being the same. Devices and pipes are not replaced, and may stand twice.
/// \param standard_output its descriptor, or -1
/// \throws CallError that names both
void KeepApart(const std::vector<NamedFile>& inputs, const std::vector<NamedFile>& outputs,
               int standard_output);

/// Tells of a path whether it leads to the regular file that a descriptor leads to now.
std::function<bool(const std::string& path)> SameFileAs(int file);

}  // namespace libmfx::host
