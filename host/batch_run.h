#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>

#include "host/batch.h"
#include "host/files.h"

namespace libmfx::host {

/// Takes answers that follow each other.
using DeliverAnswers = std::function<void(std::span<const JobAnswer>)>;

/// Carries out jobs, one a line, until there are no more.
/// \param processes how many jobs are carried out at a time; more than one has them in processes of
/// their own, at most kMostWorkers. The answers are the same
/// \param deliver is given the answers in the order of the jobs, each as soon as it is due
void CarryOutJobs(LineReader& jobs, const BatchOptions& options, int processes,
                  const DeliverAnswers& deliver);

/// As many processes as this one may use processors, at most kMostWorkers.
int ProcessorsToUse();

/// Passes over the jobs that a file of answers answers already: its line n has to answer job n. A
/// last line without an end, as it is left by a batch that was killed, is cut off the file, and its
/// job is the next one.
/// \returns how many jobs were passed over
/// \throws CallError if the file holds anything else, and leaves it as it was
std::size_t PassOverAnswered(LineReader& jobs, const std::string& answers);

}  // namespace libmfx::host
