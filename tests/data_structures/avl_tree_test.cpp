#include "libmfx/data_structures/avl_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>

namespace {

using Tree = libmfx::data_structures::gAVL<int>;
using Node = Tree::Node;

Tree MakeTree() {
  return Tree([](const int& a, const int& b) { return a < b ? -1 : (a > b ? 1 : 0); });
}

/// The height, after checking order of links and every balance below.
int CheckedHeight(const std::shared_ptr<Node>& node, const std::shared_ptr<Node>& parent) {
  if (!node) return 0;
  EXPECT_EQ(node->parent, parent);
  const int left = CheckedHeight(node->left, node), right = CheckedHeight(node->right, node);
  EXPECT_EQ(node->balance, right - left);
  EXPECT_LE(std::abs(node->balance), 1);
  return 1 + std::max(left, right);
}

TEST(AvlTree, EqualElementIsRefused) {
  Tree tree = MakeTree();
  EXPECT_TRUE(tree.Insert(3));
  EXPECT_FALSE(tree.Insert(3));
  EXPECT_EQ(tree.Size(), 1u);
}

TEST(AvlTree, AscendingInsertionIsBalanced) {
  Tree tree = MakeTree();
  for (int i = 1; i <= 7; ++i) EXPECT_TRUE(tree.Insert(i));
  EXPECT_EQ(tree.root->data, 4);
  EXPECT_EQ(CheckedHeight(tree.root, nullptr), 3);
}

TEST(AvlTree, RemovingTheRootOfTwoLeavesTheChild) {
  Tree tree = MakeTree();
  tree.Insert(1);
  tree.Insert(2);
  EXPECT_TRUE(tree.Remove(1));
  EXPECT_EQ(tree.root->data, 2);
  EXPECT_EQ(tree.root->parent, nullptr);
  EXPECT_FALSE(tree.Remove(1));
}

TEST(AvlTree, StaysBalancedUnderInsertionAndRemoval) {
  Tree tree = MakeTree();
  std::set<int> expected;
  std::uint64_t state = 1;
  for (int round = 0; round < 3000; ++round) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    const int value = static_cast<int>((state >> 33) % 200);
    if ((state >> 20) % 2 == 0) {
      EXPECT_EQ(tree.Insert(value), expected.insert(value).second);
    } else {
      EXPECT_EQ(tree.Remove(value), expected.erase(value) == 1);
    }
    EXPECT_EQ(tree.Size(), expected.size());
    EXPECT_EQ(tree.Contains(value), expected.contains(value));
    if (round % 10 == 0) CheckedHeight(tree.root, nullptr);
  }
}

TEST(AvlTree, TraverseFindsTheNeighbours) {
  Tree tree = MakeTree();
  for (int i = 0; i < 50; ++i) tree.Insert(2 * i);
  std::map<int, int> around;
  tree.Traverse(20, around);
  EXPECT_EQ(around, (std::map<int, int>{{0, 18}, {1, 20}, {2, 22}}));
  around.clear();
  tree.Traverse(21, around);
  EXPECT_EQ(around, (std::map<int, int>{{0, 20}, {2, 22}}));
}

}  // namespace
