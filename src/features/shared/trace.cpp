#include "features/shared/trace.h"

#include <locale.h>

#include <cstdarg>
#include <cstdio>
#include <iostream>
#include <string>

namespace libmfx::features::shared {

std::ostream& Trace() { return std::cout; }

void TracePrintf(const char* format, ...) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t previous = uselocale(plain);
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  uselocale(previous);
  if (length > 0) std::cout << text;
}

}  // namespace libmfx::features::shared
