#pragma once

namespace libmfx::host {

/// The whole program: reads the command line, carries the call out.
/// \returns the exit status
int Run(int argc, char** argv);

}  // namespace libmfx::host
