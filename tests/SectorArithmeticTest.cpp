#include "fsys/SectorArithmetic.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using SectorArithmetic::headBytes;
using SectorArithmetic::readGrowth;
using SectorArithmetic::tailPadding;

TEST(SectorArithmeticTest, TheHeadIsTheDistanceFromTheBoundaryBefore) {
  EXPECT_EQ(headBytes(0, 512), 0u);
  EXPECT_EQ(headBytes(1000, 512), 488u);
  EXPECT_EQ(headBytes(1024, 512), 0u);
  EXPECT_EQ(headBytes(std::numeric_limits<uint64_t>::max(), 4096), 4095u);
}

TEST(SectorArithmeticTest, ThePaddingReachesTheBoundaryAfter) {
  EXPECT_EQ(tailPadding(0, 512), 0u);
  EXPECT_EQ(tailPadding(1, 512), 511u);
  EXPECT_EQ(tailPadding(511, 512), 1u);
  EXPECT_EQ(tailPadding(512, 512), 0u);
}

TEST(SectorArithmeticTest, AReadGrowsToWholeSectorsAtBothEnds) {
  EXPECT_EQ(readGrowth(1000, 100, 512), 1024u - 100u);
  EXPECT_EQ(readGrowth(512, 512, 512), 0u);
  EXPECT_EQ(readGrowth(511, 2, 512), 1022u);
  EXPECT_EQ(readGrowth(3, 0, 512), 512u) << "an empty range inside a sector is that sector";
  EXPECT_EQ(readGrowth(0, 0, 512), 0u);
}

TEST(SectorArithmeticTest, ALengthOfThirtyTwoBitsDoesNotWrap) {
  constexpr uint32_t longest = std::numeric_limits<uint32_t>::max();
  EXPECT_EQ(readGrowth(0, longest, 4096), 1u);
  EXPECT_EQ(readGrowth(4095, longest, 4096) + longest, uint64_t{longest} + 1 + 4096);
}

}  // namespace
