#include "data_structures/processor.h"

#ifdef LIBMFX_WIDE_REGISTERS
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace libmfx::data_structures {

#ifdef LIBMFX_WIDE_REGISTERS
namespace {

__attribute__((target("xsave"))) Processor AskProcessor() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  Processor answer;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return answer;
  answer.has_ssse3 = (c & bit_SSSE3) != 0;
  constexpr unsigned kWideRegisters = 6;  // those of SSE and of AVX
  const bool keeps_wide = (c & bit_OSXSAVE) != 0 && (_xgetbv(0) & kWideRegisters) == kWideRegisters;
  if (keeps_wide && __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0) {
    answer.has_avx2 = (b & bit_AVX2) != 0;
  }
  return answer;
}

}  // namespace

// Asked when it is first wanted: the compiler's own test asks at every start of a program, which
// takes 50 us on a virtual machine.
const Processor& ThisProcessor() {
  static const Processor processor = AskProcessor();
  return processor;
}
#else
const Processor& ThisProcessor() {
  static constexpr Processor kProcessor;
  return kProcessor;
}
#endif

}  // namespace libmfx::data_structures
