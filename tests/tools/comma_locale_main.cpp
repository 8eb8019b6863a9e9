// mfx under a locale whose decimal point is a comma: the C++ locale always, the C locale where the
// machine has one (named by MFX_TEST_LOCALE). Says on standard error what it got.

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <locale>

#include "cli.h"

namespace {

class Comma : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

}  // namespace

int main(int argc, char** argv) {
  std::locale::global(std::locale(std::locale::classic(), new Comma));
  std::cout.imbue(std::locale());
  std::cerr.imbue(std::locale());
  if (const char* name = std::getenv("MFX_TEST_LOCALE")) std::setlocale(LC_ALL, name);
  std::fprintf(stderr, "decimal point of the C locale: %s\n", std::localeconv()->decimal_point);
  return libmfx::host::Run(argc, argv);
}
