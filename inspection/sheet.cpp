#include "inspection/sheet.h"

#include <algorithm>

namespace libmfx::inspection {

std::string_view VerdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::kConforms:
      return "conforms";
    case Verdict::kDoesNotConform:
      return "does not conform";
    case Verdict::kUndecided:
      return "cannot be decided";
    case Verdict::kNotMeasured:
      break;
  }
  return "not measured";
}

int Sheet::Count(Verdict verdict) const {
  return static_cast<int>(
      std::count_if(characteristics.begin(), characteristics.end(),
                    [&](const CharacteristicResult& result) { return result.verdict == verdict; }));
}

}  // namespace libmfx::inspection
