// The queue of circles that tie, beside a plain ordered set.

#include "geometry/sweep/tie_queue.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "delaunay_check.h"

namespace {

using delaunay_check::Random;
using libmfx::geometry::sweep::NumberSet;
using libmfx::geometry::sweep::TieQueue;

TEST(SweepTieQueue, ASetOfNumbersGivesTheSmallestFirst) {
  for (const int most : {1, 63, 64, 65, 4096, 4097, 300000}) {
    Random random(7);
    NumberSet numbers;
    std::set<int> plain;
    EXPECT_TRUE(numbers.Empty());
    for (int i = 0; i < 5000; ++i) {
      const int number = random.Below(most);
      if (plain.insert(number).second) {
        numbers.Insert(number);
      } else {
        numbers.Remove(number);
        plain.erase(number);
      }
      ASSERT_EQ(numbers.Empty(), plain.empty()) << most;
      if (!plain.empty()) {
        ASSERT_EQ(numbers.First(), *plain.begin()) << most;
      }
    }
  }
}

TEST(SweepTieQueue, ASetKeepsWhatItHoldsAsItGrows) {
  for (const int first : {0, 70, 5000, 300000}) {
    NumberSet numbers;
    std::set<int> plain;
    for (int number = first; number < 4 * first + 100000; number += 61) {
      numbers.Insert(number);
      plain.insert(number);
    }
    for (; !plain.empty(); plain.erase(plain.begin())) {
      ASSERT_FALSE(numbers.Empty()) << first;
      ASSERT_EQ(numbers.First(), *plain.begin()) << first;
      numbers.Remove(*plain.begin());
    }
    EXPECT_TRUE(numbers.Empty()) << first;
  }
}

/// In the order in which ties come: high ones first, then small numbers.
using Plain = std::set<std::tuple<double, double, int>>;

TEST(SweepTieQueue, ComesInTheOrderOfAPlainSet) {
  for (const int heights : {1, 2, 5, 1000}) {
    Random random(11);
    TieQueue queue;
    Plain plain;
    int next = 0;
    for (int i = 0; i < 20000; ++i) {
      // It fills for a while, then empties, again and again.
      const bool fills = i % 4000 < 2500 ? random.Below(4) != 0 : random.Below(4) == 0;
      if (fills || plain.empty()) {
        const TieQueue::Tie tie = {-1.0 * random.Below(heights), 0.25 * random.Below(heights),
                                   next};
        next += 1 + random.Below(3);
        queue.Push(tie);
        plain.insert({-tie.y, -tie.y_low, tie.circle});
      } else {
        queue.Pop();
        plain.erase(plain.begin());
      }
      ASSERT_EQ(queue.Empty(), plain.empty());
      if (plain.empty()) continue;
      const TieQueue::Tie& first = queue.First();
      ASSERT_EQ(std::tuple(-first.y, -first.y_low, first.circle), *plain.begin()) << heights;
    }
    while (!plain.empty()) {
      ASSERT_EQ(queue.First().circle, std::get<2>(*plain.begin()));
      queue.Pop();
      plain.erase(plain.begin());
    }
    EXPECT_TRUE(queue.Empty());
  }
}

}  // namespace
