#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

/// \file
/// Drives an instrument process along paths whose geometry is known, and tells in words what is
/// wrong with its answers.

namespace libmfx::host {

/// One thing that is wrong with an instrument.
struct InstrumentFinding {
  std::string name;         ///< one word for scripts, "azimuth-mirrored" for instance
  std::string what;         ///< what is wrong, with a sample and its values; one line
  std::string advice;       ///< what to do
  std::vector<int> drives;  ///< in which drives, from 1
};

/// How a check went.
struct InstrumentCheck {
  int drives = 0;           ///< that were answered
  std::size_t samples = 0;  ///< that came back, over all drives
  std::vector<InstrumentFinding> findings;
};

/// Checks the instrument behind a command. Before it should stand a flat wall, 1 to 10 m ahead.
/// Each of the two drives takes at most twice the timeout and a few seconds.
/// \param timeout for each answer
/// \throws CallError where it answers nothing at all, with what to do
InstrumentCheck CheckInstrument(const std::string& command, std::chrono::milliseconds timeout);

}  // namespace libmfx::host
