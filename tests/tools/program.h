#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace mfx_test {

/// How a program ended, and all that it wrote.
struct Ended {
  int status = -1;  ///< exit status; 128 + n when signal n ended it
  std::string out;
  std::string err;
  double seconds = 0.0;
};

/// Which of a program's streams are a terminal; what it writes to one keeps its bytes.
enum class Terminal {
  kNone,
  kOutput,  ///< standard output alone
  kBoth     ///< standard error too: the same one, so that all stands in `Ended::out`
};

/// How to run a program.
struct How {
  std::string input = {};
  std::string program = LIBMFX_MFX_PROGRAM;
  std::vector<std::string> environment = {};  ///< NAME=VALUE, beside the test's own
  int signal = 0;                             ///< sent once `signal_when` exists
  std::filesystem::path signal_when = {};
  bool close_output = false;  ///< the reader of standard output is gone
  Terminal terminal = Terminal::kNone;
};

/// Runs mfx to its end. A program that runs for longer than two minutes is killed.
Ended RunMfx(const std::vector<std::string>& arguments, const How& how = {});

/// The lines of a text, without their ends.
std::vector<std::string> Lines(const std::string& text);

/// A folder for the files of one test, removed with it.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string Path(const std::string& name) const { return (_path / name).string(); }
  /// Writes a file and returns its path.
  std::string Write(const std::string& name, const std::string& text) const;
  std::string Read(const std::string& name) const;
  /// Names of the files in the folder.
  std::vector<std::string> Names() const;

 private:
  std::filesystem::path _path;
};

/// A file of the project.
std::string Source(const std::string& path);

}  // namespace mfx_test
