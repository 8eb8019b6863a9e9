#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/conversation.h"
#include "host/driver.h"
#include "host/recording.h"
#include "inspection/folder.h"

/// \file
/// The conversations of an inspection, one after the other: held with an instrument, or taken from
/// the folder where they were held before.

namespace libmfx::inspection {

/// The user asked for an end; everything that was measured is in the folder.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("ended by a signal") {}
};

/// What measures.
class Instruments {
 public:
  virtual ~Instruments() = default;

  /// The one that stands at a station. A virtual one makes its draws by the step's name, so that
  /// they do not hang on what was measured before.
  /// \throws host::CallError if there is none
  virtual host::Driver& At(std::size_t station, const std::string& step) = 0;
  /// What it is, for people: the same in every run.
  virtual std::string Name(std::size_t station) const = 0;
};

/// A conversation that has ended.
struct HeldStep {
  host::Recording recording;
  host::Conversation outcome;
  std::string file;  ///< of the recording, relative to the folder
  std::string note;  ///< what a person should know about an older recording; mostly empty
};

class Steps {
 public:
  /// Told what is going on, for a line or a bar.
  using Tell = std::function<void(const std::string& what)>;

  /// \param instruments null: nothing is driven, and everything has to be in the folder
  Steps(Folder& folder, Instruments* instruments, std::string program, Tell tell)
      : _folder(folder),
        _instruments(instruments),
        _program(std::move(program)),
        _tell(std::move(tell)) {}

  /// Holds a conversation, or analyses it again where it was recorded.
  /// \param step its name, of its own
  /// \throws host::CallError if the instrument cannot be used any further, or nothing is recorded
  /// and nothing may be driven
  /// \throws Interrupted after the scan that was running when a signal came
  HeldStep Hold(std::size_t station, const std::string& step, const std::string& request,
                const host::ConversationOptions& options);

  std::string InstrumentName(std::size_t station) const;
  /// How many conversations were held with an instrument, of all.
  int driven() const { return _driven; }

 private:
  HeldStep Drive(std::size_t station, const std::string& step, const std::string& file,
                 const std::string& request, const host::ConversationOptions& options);

  Folder& _folder;
  Instruments* _instruments;
  std::string _program;
  Tell _tell;
  int _driven = 0;
  std::vector<std::string> _names;  ///< of the instruments, as recordings tell them
};

}  // namespace libmfx::inspection
