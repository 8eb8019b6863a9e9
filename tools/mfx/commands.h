#pragma once

#include <functional>

#include "console.h"
#include "exit_status.h"

/// \file
/// The calls of the program, one a file.

namespace CLI {
class App;
}

namespace libmfx::host {

/// Carries a call out once its options are read, and returns the exit status of the process.
/// \throws CallError if the call cannot be carried out
using Execute = std::function<int(Console&)>;

/// Each adds a call to the program: its name, its options and their help. Where the command line
/// asks for that call, `execute` becomes what carries it out.
void AddFeatures(CLI::App& program, Execute& execute);
void AddCheckCall(CLI::App& program, Execute& execute);
void AddSchema(CLI::App& program, Execute& execute);
void AddPlan(CLI::App& program, Execute& execute);
void AddMeasure(CLI::App& program, Execute& execute);
void AddReplay(CLI::App& program, Execute& execute);
void AddUncertainty(CLI::App& program, Execute& execute);
void AddInspect(CLI::App& program, Execute& execute);
void AddBatch(CLI::App& program, Execute& execute);
void AddCheckInstrument(CLI::App& program, Execute& execute);
/// `help` tells of the calls that were added before it, and of itself and `completion`.
void AddHelp(CLI::App& program, Execute& execute);
void AddCompletion(CLI::App& program, Execute& execute);

}  // namespace libmfx::host
