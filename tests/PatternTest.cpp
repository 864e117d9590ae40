// The pattern that every test of bytes relies on: what is made and compared eight bytes at a time
// is what a byte by itself is, wherever a piece begins and ends.

#include "tests/support/Pattern.h"

#include <gtest/gtest.h>

namespace {

constexpr uint64_t kSeed = 7;
constexpr uint64_t kBase = 1'000'000;  // a multiple of eight
constexpr uint64_t kMost = 40;         // bytes: several words and both ends

TEST(PatternTest, EveryPieceHasTheBytesOfItsPlaceWhereverItBeginsAndEnds) {
  for (uint64_t offset = kBase; offset < kBase + 16; ++offset)
    for (uint64_t bytes = 0; bytes <= kMost; ++bytes) {
      std::vector<unsigned char> piece = patternBytes(bytes + 1, offset, kSeed);
      piece[bytes] = 0xEE;
      fillPattern(piece.data(), bytes, offset, kSeed);
      for (uint64_t i = 0; i < bytes; ++i)
        ASSERT_EQ(piece[i], patternByte(offset + i, kSeed)) << offset << " " << bytes << " " << i;
      ASSERT_EQ(piece[bytes], 0xEE) << "nothing behind it is touched";
      ASSERT_EQ(whyNotPattern(piece.data(), bytes, offset, kSeed), "");
    }
}

TEST(PatternTest, AByteThatIsNotRightIsNamedWhereverItStands) {
  for (uint64_t offset = kBase; offset < kBase + 8; ++offset)
    for (uint64_t wrong = 0; wrong < kMost; ++wrong) {
      std::vector<unsigned char> piece = patternBytes(kMost, offset, kSeed);
      piece[wrong] ^= 0x10;
      const std::string why = whyNotPattern(piece, offset, kSeed);
      EXPECT_EQ(why.find("byte " + std::to_string(wrong) + " (offset " +
                         std::to_string(offset + wrong) + ")"),
                0u)
          << why;
    }
}

TEST(PatternTest, AnotherPlaceAndAnotherSeedHaveOtherBytes) {
  const std::vector<unsigned char> piece = patternBytes(kMost, kBase, kSeed);
  for (uint64_t moved : {1, 7, 8, 4096, 1 << 20})
    EXPECT_NE(whyNotPattern(piece, kBase + moved, kSeed), "") << moved;
  EXPECT_NE(whyNotPattern(piece, kBase, kSeed + 1), "");
}

}  // namespace
