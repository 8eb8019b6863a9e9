#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/conversation.h"
#include "uncertainty/instrument_model.h"
#include "uncertainty/twin.h"

namespace libmfx::uncertainty {

/// What is measured again and again, and by what.
struct TrialPlan {
  std::string request;
  host::ConversationOptions options;
  Twin twin;
  InstrumentModel model;
  /// Each trial has its part at another place within the spacing of the samples, and of another
  /// size: where a measured part lies between two samples nobody knows, while a nominal one stands
  /// where it is told.
  bool shifts = false;
  std::uint64_t seed = 1;  ///< of all trials; each draws from one of its own that follows from it
};

/// What a trial came to. Numbers are those of all quantities, one after the other, in the order of
/// the result message.
struct Trial {
  bool successful = false;
  bool warned = false;
  std::vector<double> results;  ///< empty unless successful
  std::vector<double> errors;   ///< results less what is true
};

/// One quantity of what trials come to. A path, whose result is its samples, has a "Range": that of
/// one of them, as if it were one from the middle of the path.
struct Layout {
  std::string key;
  Kind kind;
};

/// Carries out the trial `number`: the same plan and number give the same trial in any process.
/// \param layout receives the quantities of a success
/// \throws sim::SceneError if the twin cannot stand there
/// \throws host::CallError if the conversation breaks off for want of samples
Trial CarryOut(const TrialPlan& plan, std::uint64_t number, std::vector<Layout>* layout = nullptr);

/// The twin of one trial: the part moved across what the scan cannot tell, and a round one turned
/// about its axis by any angle.
Twin Shifted(Twin twin, sim::Rng& rng);

/// How many numbers a quantity has.
constexpr std::size_t NumbersOf(Kind kind) { return kind == Kind::kSize ? 1 : 3; }

}  // namespace libmfx::uncertainty
