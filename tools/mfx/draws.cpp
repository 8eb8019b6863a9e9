#include "draws.h"

#include <cstdlib>

namespace {

constexpr unsigned int kSeed = 1;

}  // namespace

/// Stands before the C library's function of the same name, for this program and every library that
/// it loads.
extern "C" void srand(unsigned int) noexcept { srandom(kSeed); }

namespace libmfx::host {

void FixDraws() { srandom(kSeed); }

}  // namespace libmfx::host
