#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>

#include "fsys/SectorArithmetic.h"

// What holds for every offset, length and sector size, not only for those that somebody thought of.
namespace {

using SectorArithmetic::headBytes;
using SectorArithmetic::readGrowth;
using SectorArithmetic::tailPadding;

constexpr uint64_t kLastOffset = std::numeric_limits<uint64_t>::max() >> 1;

// The sector sizes that drives have, and some that none has: nothing here needs a power of two.
rc::Gen<uint32_t> anySectorSize() {
  return rc::gen::oneOf(rc::gen::element<uint32_t>(1, 512, 520, 2048, 4096, 65536),
                        rc::gen::inRange<uint32_t>(1, 1 << 20));
}

// Anywhere in a file, and often within a few bytes of where a sector begins.
rc::Gen<uint64_t> anyOffset(uint32_t sectorSize) {
  auto nearBoundary = rc::gen::apply(
      [sectorSize](uint64_t sector, int beside) {
        return sector * sectorSize + static_cast<uint64_t>(beside + 2);
      },
      rc::gen::inRange<uint64_t>(0, kLastOffset / sectorSize - 1), rc::gen::inRange(-2, 3));
  return rc::gen::oneOf(nearBoundary, rc::gen::inRange<uint64_t>(0, kLastOffset));
}

RC_GTEST_PROP(SectorArithmeticPropertyTest, TheHeadReachesBackToABoundaryAndNotPastTheNearest, ()) {
  uint32_t sectorSize = *anySectorSize();
  uint64_t offset = *anyOffset(sectorSize);
  uint32_t head = headBytes(offset, sectorSize);
  RC_ASSERT(head < sectorSize);
  RC_ASSERT(head <= offset);
  RC_ASSERT((offset - head) % sectorSize == 0u);
}

RC_GTEST_PROP(SectorArithmeticPropertyTest, ThePaddingReachesABoundaryAndNotPastTheNearest, ()) {
  uint32_t sectorSize = *anySectorSize();
  uint64_t end = *anyOffset(sectorSize);
  uint32_t padding = tailPadding(end, sectorSize);
  RC_ASSERT(padding < sectorSize);
  RC_ASSERT((end + padding) % sectorSize == 0u);
}

RC_GTEST_PROP(SectorArithmeticPropertyTest, HeadAndPaddingOfOnePlaceMakeOneSectorOrNone, ()) {
  uint32_t sectorSize = *anySectorSize();
  uint64_t place = *anyOffset(sectorSize);
  uint64_t both = uint64_t{headBytes(place, sectorSize)} + tailPadding(place, sectorSize);
  RC_ASSERT(both == (place % sectorSize == 0 ? 0u : sectorSize));
}

RC_GTEST_PROP(SectorArithmeticPropertyTest, AGrownReadIsTheSmallestOfWholeSectorsThatHoldsIt, ()) {
  uint32_t sectorSize = *anySectorSize();
  uint64_t offset = *anyOffset(sectorSize);
  uint32_t length = *rc::gen::arbitrary<uint32_t>();
  uint64_t begin = offset - headBytes(offset, sectorSize);
  uint64_t end = begin + length + readGrowth(offset, length, sectorSize);
  RC_ASSERT(end % sectorSize == 0u);
  RC_ASSERT(end >= offset + length);
  RC_ASSERT(end - (offset + length) < sectorSize);
}

RC_GTEST_PROP(SectorArithmeticPropertyTest, AGrownReadDoesNotGrowAgain, ()) {
  uint32_t sectorSize = *anySectorSize();
  uint64_t offset = *anyOffset(sectorSize);
  uint32_t length = *rc::gen::inRange<uint32_t>(0, 1 << 30);
  uint64_t grown = length + readGrowth(offset, length, sectorSize);
  RC_PRE(grown <= std::numeric_limits<uint32_t>::max());
  uint64_t begin = offset - headBytes(offset, sectorSize);
  RC_ASSERT(readGrowth(begin, static_cast<uint32_t>(grown), sectorSize) == 0u);
}

}  // namespace
