// What a beam reads off the thread of a bore.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "geometry/cylinder/seen_profile.h"
#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr int kTurnSteps = 200;
const Profile kProfile = Profile::Basic(true);
const std::vector<double> kTangentsSeen = {0.2, 0.5, 1.0, 1.5, 2.5};

double PhaseOf(int step) { return static_cast<double>(step) / kTurnSteps; }

/// Where a sight line first lies as deep as the profile, by small steps: the slow check.
double TracedRun(double phase, double tangent) {
  constexpr double kStep = 1e-4;
  double run = 0.0;
  while (tangent * run < DepthOfProfile(phase + run, kProfile).depth) run += kStep;
  return run;
}

/// Whether a sight line passes a crest's edge as nearly as a narrow beam is wide.
bool AtAnEdge(double phase, double tangent) {
  const double reach = 0.02 + 2.5 * SeenProfile::kNarrowest * std::hypot(1.0, 1.0 / tangent);
  const double here = TracedRun(phase, tangent);
  // Within one face the run changes by no more than the way.
  return std::abs(TracedRun(phase - reach, tangent) - here) > 1.01 * reach ||
         std::abs(TracedRun(phase + reach, tangent) - here) > 1.01 * reach;
}

TEST(SeenProfile, ANarrowBeamReadsWhereItsLineEnds) {
  const SeenProfile profile(kProfile, SeenProfile::kNarrowest);
  for (const double tangent : kTangentsSeen) {
    int compared = 0;
    for (int i = 0; i < kTurnSteps; ++i) {
      if (AtAnEdge(PhaseOf(i), tangent)) continue;
      ++compared;
      EXPECT_NEAR(profile.Run(PhaseOf(i), tangent), TracedRun(PhaseOf(i), tangent), 0.02)
          << tangent << ' ' << PhaseOf(i);
    }
    EXPECT_GT(compared, kTurnSteps / 2) << tangent;
  }
}

TEST(SeenProfile, TheTurnRepeats) {
  const SeenProfile profile(kProfile, 0.05);
  for (int i = 0; i < kTurnSteps; ++i)
    EXPECT_NEAR(profile.Run(PhaseOf(i) + 3.0, 0.6), profile.Run(PhaseOf(i), 0.6), 1e-9);
}

TEST(SeenProfile, AWideBeamReadsTheFlanksWherever) {
  const SeenProfile narrow(kProfile, SeenProfile::kNarrowest), wide(kProfile, SeenProfile::kWidest);
  for (const double tangent : kTangentsSeen) {
    double plain = 0.0, least = 1.0, most = 0.0;
    for (int i = 0; i < kTurnSteps; ++i) {
      plain += narrow.Run(PhaseOf(i), tangent) / kTurnSteps;
      least = std::min(least, wide.Run(PhaseOf(i), tangent));
      most = std::max(most, wide.Run(PhaseOf(i), tangent));
    }
    EXPECT_LT(most - least, 0.15) << tangent;
    // The flanks return more than the crests, and lie deeper.
    if (tangent < 1.0) {
      EXPECT_GT(0.5 * (least + most), plain + 0.005) << tangent;
    }
  }
}

TEST(SeenProfile, WidthsAndTangentsBeyondTheTablesAreHeld) {
  EXPECT_EQ(SeenProfile(kProfile, 1e-9).Run(0.3, 0.5),
            SeenProfile(kProfile, SeenProfile::kNarrowest).Run(0.3, 0.5));
  EXPECT_EQ(SeenProfile(kProfile, 7.0).Run(0.3, 0.5),
            SeenProfile(kProfile, SeenProfile::kWidest).Run(0.3, 0.5));
  const SeenProfile profile(kProfile, 0.05);
  EXPECT_EQ(profile.Run(0.3, 0.0), profile.Run(0.3, 0.04));
  EXPECT_NEAR(profile.Run(0.3, 50.0), profile.Run(0.3, 4.0), 1e-12);
  EXPECT_EQ(profile.Run(0.3, -1.0), profile.Run(0.3, 0.04));
}

TEST(SeenProfile, WhatIsNotFiniteReadsNothing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const SeenProfile profile(kProfile, 0.05);
  for (const double bad : {nan, infinity, -infinity}) {
    EXPECT_TRUE(std::isnan(profile.Run(bad, 0.5)));
    EXPECT_TRUE(std::isnan(profile.Run(0.3, bad)));
  }
  EXPECT_EQ(SeenProfile(kProfile, nan).Run(0.3, 0.5), SeenProfile(kProfile, 0.0).Run(0.3, 0.5));
}

TEST(SeenProfile, AnInstrumentThatTellsSidesApartReadsOneOfThem) {
  // Beyond a crest's end these sight lines fall far into the groove.
  constexpr double kTangent = 0.5, kWidth = 0.03;
  const SeenProfile melting(kProfile, kWidth);
  const SeenProfile apart(kProfile, kWidth, 0.1, SeenProfile::Tangents());
  const double crest_end = kProfile.crest;
  const double fall =
      SeenProfile(kProfile, SeenProfile::kNarrowest).Run(crest_end + 0.03, kTangent);
  int between_melting = 0, between_apart = 0;
  for (int i = -60; i <= 60; ++i) {
    const double phase = crest_end + i / 400.0;
    const auto is_between = [fall](double run) { return run > 0.3 * fall && run < 0.7 * fall; };
    between_melting += is_between(melting.Run(phase, kTangent)) ? 1 : 0;
    between_apart += is_between(apart.Run(phase, kTangent)) ? 1 : 0;
  }
  EXPECT_GT(between_melting, 15);
  EXPECT_LE(between_apart, 4);  // a cell of the table
  // Where the fall is smaller than what is told apart, all melts.
  const SeenProfile coarse(kProfile, kWidth, 2.0, SeenProfile::Tangents());
  for (int i = 0; i < kTurnSteps; ++i)
    EXPECT_EQ(coarse.Run(PhaseOf(i), kTangent), melting.Run(PhaseOf(i), kTangent));
}

TEST(SeenProfile, ItsSlopeIsThatOfDifferences) {
  const SeenProfile profile(kProfile, 0.05);
  constexpr double kStep = 1e-6;
  int compared = 0;
  for (const double tangent : kTangentsSeen) {
    for (int i = 0; i < kTurnSteps; ++i) {
      const double phase = PhaseOf(i) + 0.0003, run = profile.Run(phase, tangent);
      const SeenProfile::Slope slope = profile.SlopeOf(phase, tangent);
      EXPECT_NEAR(slope.by_phase, (profile.Run(phase + kStep, tangent) - run) / kStep, 1e-4);
      EXPECT_NEAR(slope.by_tangent, (profile.Run(phase, tangent + kStep) - run) / kStep, 1e-4);
      ++compared;
    }
  }
  EXPECT_GT(compared, 500);
}

}  // namespace
}  // namespace libmfx::geometry::cylinder
