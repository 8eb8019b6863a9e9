#include <gtest/gtest.h>

#include "csv.h"
#include "libmfx/math/alignment.h"

namespace libmfx::math {
namespace {

using tests::CsvTable;

TEST(AlignmentReference, FourPublishedPairs) {
  const CsvTable pairs("alignment/four_points.csv");
  ASSERT_EQ(pairs.rows(), 4u);
  Alignment alignment;
  for (std::size_t i = 0; i < 4; ++i) {
    alignment.AddCorrespondence(
        {pairs.Number(i, "source_x"), pairs.Number(i, "source_y"), pairs.Number(i, "source_z")},
        {pairs.Number(i, "target_x"), pairs.Number(i, "target_y"), pairs.Number(i, "target_z")});
  }
  Eigen::Matrix4d transform;
  ASSERT_TRUE(alignment.MeasuredToNominalTransform(transform));
  const CsvTable motion("alignment/four_points_motion.csv");
  ASSERT_EQ(motion.rows(), 6u);
  for (std::size_t i = 0; i < 6; ++i) {
    // Three decimals as printed, and the same motion worked out in long arithmetic. The lengths
    // near 40 carry that many times the rounding of the rotation.
    const bool printed = motion.Text(i, "kind") == "published";
    const double demand = printed ? 1e-3 : 1e-12;
    const Eigen::Index row = static_cast<Eigen::Index>(i % 3);
    EXPECT_NEAR(transform(row, 0), motion.Number(i, "r0"), demand);
    EXPECT_NEAR(transform(row, 1), motion.Number(i, "r1"), demand);
    EXPECT_NEAR(transform(row, 2), motion.Number(i, "r2"), demand);
    EXPECT_NEAR(transform(row, 3), motion.Number(i, "t"), demand);
  }
}

}  // namespace
}  // namespace libmfx::math
