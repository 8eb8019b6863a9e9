#pragma once

#if defined(__x86_64__)
/// There are functions for wider registers than every processor has.
#define LIBMFX_WIDE_REGISTERS
#endif

namespace libmfx::data_structures {

/// What the processor has beyond what every one of its kind has.
struct Processor {
  bool has_ssse3 = false;
  bool has_avx2 = false;  ///< and the system keeps its registers
};

/// The processor that runs this.
const Processor& ThisProcessor();

}  // namespace libmfx::data_structures
