// Uncertainties are true: of measurements of parts that the estimate knows nothing of, what is true
// lies within the interval of 95 % in as many as it should, and in fewer where the noise of the
// model is wrong. docs/uncertainty.md tells the same of every type and of more measurements.

#include <regex>

#include "program_test.h"

namespace mfx_test {
namespace {

/// The shares, in percent, that the row of all places tells of some quantities.
std::vector<double> Shares(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& keys) {
  const Ended ended = RunMfx(arguments, {.program = LIBMFX_ACCURACY_PROGRAM});
  EXPECT_EQ(ended.status, 0) << ended.err;
  const std::vector<std::string> rows = Lines(ended.out);
  EXPECT_EQ(rows.size(), 5u);
  std::vector<double> shares;
  for (const std::string& key : keys) {
    std::smatch found;
    const bool there =
        !rows.empty() && std::regex_search(rows.back(), found, std::regex(key + " ([0-9.]+) %"));
    EXPECT_TRUE(there) << ended.out;
    shares.push_back(there ? std::stod(found[1]) : 0.0);
  }
  return shares;
}

TEST(Coverage, OfASurfacePointIsTheToldOneAndLessWithHalfOfTheNoise) {
  // 240 numbers of 80 measurements, three of which belong together: a share of 95 % scatters by 2
  // %.
  for (const double share :
       Shares({"coverage", "surface_normal", "80", "100"}, {"Location", "Normal"})) {
    EXPECT_GE(share, 89.0);
  }
  // Half of the noise holds two thirds.
  for (const double share :
       Shares({"coverage", "surface_normal", "80", "100", "wrong"}, {"Location", "Normal"})) {
    EXPECT_LT(share, 85.0);
  }
}

TEST(Coverage, OfWhatIsNoTypeIsRefused) {
  const How how{.program = LIBMFX_ACCURACY_PROGRAM};
  EXPECT_NE(RunMfx({"coverage", "nothing", "4", "4"}, how).status, 0);
  EXPECT_NE(RunMfx({"coverage", "hole", "0", "4"}, how).status, 0);
  EXPECT_NE(RunMfx({"coverage", "hole", "4", "4", "right"}, how).status, 0);
}

}  // namespace
}  // namespace mfx_test
