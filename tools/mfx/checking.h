#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "console.h"
#include "host/check.h"

/// \file
/// What a call makes of the findings about its request before anything is driven.

namespace libmfx::host {

enum class Checking {
  kNotes,   ///< each is a note on standard error
  kStrict,  ///< and any of them ends the call
  kOff      ///< nothing is looked at
};

std::optional<Checking> CheckingOf(std::string_view name);

/// The findings about a request; the library's log lines and traces of looking at it are dropped.
std::vector<Finding> FindingsOf(const std::string& request, const CheckOptions& options,
                                Console& console);

/// Looks at the request of a file that is going to be driven.
/// \throws CallError if there is a finding, and findings end the call
void CheckBefore(const std::string& file, const std::string& request, const CheckOptions& options,
                 Checking checking, Console& console);

/// Looks at the request of a job of a batch: its findings have a path and no line.
/// \param id of the job, as its answer echoes it
/// \param notes whether they are told
/// \throws CallError if there is a finding, and findings end the job
void CheckJob(const std::string& id, const std::string& request, const CheckOptions& options,
              Checking checking, bool notes, Console& console);

/// A file for people: "-" is standard input.
std::string FileName(const std::string& file);

}  // namespace libmfx::host
