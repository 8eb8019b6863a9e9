#pragma once

namespace libmfx::host {

/// Makes the library's random draws the same in every process and at every hour. It seeds the C
/// generator from the clock, second by second; this program defines `srand` itself and lets the
/// generator begin anew with the same seed each time, so that samples that are analysed again give
/// the same bytes.
void FixDraws();

}  // namespace libmfx::host
