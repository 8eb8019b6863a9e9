#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/recording.h"

/// \file
/// The folder of an inspection, in which nothing is lost:
///
///     plan.json              the plan as it was given
///     instrument-model.json  what is known of the instrument, where that was given
///     journal.jsonl          a line for the beginning, and one for each conversation that ended
///     recordings/NNN-NAME.rec
///
/// A recording appears whole when its conversation has ended, and only then in the journal.

namespace libmfx::inspection {

/// What an inspection was begun with, and goes on with.
struct Beginning {
  std::string program;  ///< with its version
  std::string time;     ///< UTC, as host::UtcNow tells it
  std::uint64_t seed = 1;
  long long trials = 0;  ///< of each uncertainty, at most; 0: from the fit alone
};

class Folder {
 public:
  /// Whether an inspection was begun there: its journal has a first line.
  static bool IsBegun(const std::string& path);
  /// Makes the folder, or takes one that is empty but for what was broken off before the first line
  /// of a journal.
  /// \param model the text of a model of the instrument; empty: none
  /// \throws host::CallError if it holds anything already, or cannot be written
  static Folder Begin(const std::string& path, const std::string& plan, const std::string& model,
                      const Beginning& beginning);
  /// Opens one that was begun. A last line of the journal that has no end is cut off, and what a
  /// broken off process left half written is removed.
  /// \param to_write whether something will be added: then no other process may do so meanwhile
  /// \throws host::CallError if it is none, or another process is at work in it
  static Folder Open(const std::string& path, bool to_write);

  Folder(Folder&& other) noexcept;
  Folder& operator=(Folder&&) = delete;
  Folder(const Folder&) = delete;
  ~Folder();

  const std::string& path() const { return _path; }
  const Beginning& beginning() const { return _beginning; }
  const std::string& plan() const { return _plan; }
  /// The path of the model of the instrument; empty where none was given.
  std::string ModelFile() const;
  /// The whole path of a file of the folder.
  std::string File(const std::string& name) const { return _path + "/" + name; }

  /// The file of a step, relative to the folder: steps are numbered in the order in which they are
  /// asked for, which is the same in every run of the same inspection.
  std::string NextRecording(const std::string& step);
  /// What was recorded there; nothing if nothing was.
  /// \throws host::CallError if it cannot be read
  std::optional<host::Recording> Find(const std::string& recording) const;
  /// Notes that a conversation has ended, on disk before it returns.
  /// \throws host::CallError if the journal takes no more
  void Ended(const std::string& step, const std::string& recording, bool successful);

 private:
  explicit Folder(std::string path) : _path(std::move(path)) {}
  void OpenJournal(bool to_write);
  void Append(const std::string& line);

  std::string _path;
  std::string _plan;
  Beginning _beginning;
  int _journal = -1;
  int _steps = 0;
  std::vector<std::string> _ended;  ///< recordings of which the journal knows
};

}  // namespace libmfx::inspection
