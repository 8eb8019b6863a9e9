#pragma once

#include <functional>
#include <string>

#include "inspection/folder.h"
#include "inspection/plan.h"
#include "inspection/sheet.h"
#include "inspection/steps.h"

namespace libmfx::inspection {

/// What a person is told while an inspection runs.
struct Listener {
  /// A feature is measured, or looked for: which one of how many.
  std::function<void(const std::string& feature, std::size_t done, std::size_t all)> begins;
  /// What the instrument does for it: the name of a drive step.
  std::function<void(const std::string& step)> drives;
  /// How it went, in a line.
  std::function<void(const std::string& feature, const std::string& how)> ended;
  /// How far the trials of the uncertainties are.
  std::function<void(long long done, long long most)> tries;
};

struct InspectOptions {
  std::string program;  ///< with its version
  int processes = 1;    ///< that share the trials; the outcome is the same
};

/// Draws that the characteristics' uncertainties rest on.
inline constexpr std::size_t kDraws = 2000;

/// Carries an inspection out, or goes on with it where it ended: finds the part from every station,
/// measures what can be seen, tells how sure it is, lays the part's frame and judges.
/// \param instruments null: everything is taken from the folder, and nothing is driven
/// \throws host::CallError if it cannot be carried out; Interrupted, as Steps::Hold. What was
///     measured by then is in the folder.
Sheet Inspect(const Plan& plan, Folder& folder, Instruments* instruments,
              const InspectOptions& options, const Listener& listener);

}  // namespace libmfx::inspection
