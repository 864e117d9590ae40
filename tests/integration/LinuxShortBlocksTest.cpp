// Blocks whose bytes are one piece of memory, although pages lie between them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <memory>
#include <set>
#include <vector>

#include "tests/integration/LinuxVirtualMemoryFixture.h"

namespace {

// Whether the system gives huge pages to who asks for two of them as a strided slab does.
bool systemGivesHugePages() {
  constexpr size_t kWide = 3 * kHugePageBytes;
  void* wide = mmap(nullptr, kWide, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (wide == MAP_FAILED) return false;
  size_t skipped = -reinterpret_cast<uintptr_t>(wide) % kHugePageBytes;
  auto* memory = static_cast<unsigned char*>(wide) + skipped;
  madvise(memory, 2 * kHugePageBytes, MADV_HUGEPAGE);
  memory[0] = memory[kHugePageBytes] = 1;
  std::array<unsigned char, 2 * kHugePageBytes / kVmPageBytes> pages{};
  mincore(memory, 2 * kHugePageBytes, pages.data());
  munmap(wide, kWide);
  return std::ranges::all_of(pages, [](unsigned char page) { return page & 1; });
}

// ShortBlocksTest: blocks of 64 KiB and a sector.
class ShortBlocksTest : public LinuxVirtualMemoryTest {
protected:
  static constexpr size_t kRead = 64 * 1024;
  static constexpr size_t kShort = kRead + 512;
  static constexpr size_t kStride = kRead + kPage;
  static constexpr size_t kPerSlab = PageSlab::kStridedBytes / kRead;

  std::vector<unsigned char*> takeBlocks(size_t count) {
    std::vector<unsigned char*> blocks;
    for (size_t i = 0; i < count; ++i) {
      blocks.push_back(take(kShort));
      if (blocks.back()) std::memset(blocks.back(), static_cast<int>(i % 251), kStride);
    }
    return blocks;
  }
  bool areIntact(const std::vector<unsigned char*>& blocks) {
    for (size_t i = 0; i < blocks.size(); ++i)
      for (size_t at = 0; at < kStride; at += kPage / 2)
        if (!blocks[i] || blocks[i][at] != i % 251) return false;
    return true;
  }
  void giveAll(const std::vector<unsigned char*>& blocks) {
    for (unsigned char* each : blocks) EXPECT_TRUE(give(each));
  }
  uint64_t mapped() const { return figures().bytesInUse + figures().bytesKept; }
};

// The page's place in the machine's memory; 0 where the system does not tell.
uint64_t frameOf(const unsigned char* page) {
  uint64_t entry = 0;
  int map = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
  auto place = static_cast<off_t>(reinterpret_cast<uintptr_t>(page) / kVmPageBytes * sizeof entry);
  if (pread(map, &entry, sizeof entry, place) != sizeof entry) entry = 0;
  close(map);
  return entry & ((uint64_t{1} << 55) - 1);
}

TEST_F(ShortBlocksTest, WhatNeighboursAreReadIntoIsOnePieceOfMemory) {
  if (!systemGivesHugePages()) GTEST_SKIP() << "the system gives no huge pages";
  std::vector<unsigned char*> blocks = takeBlocks(4);
  const bool tells = frameOf(blocks[0]) != 0;
  for (size_t i = 1; i < blocks.size(); ++i) {
    EXPECT_EQ(blocks[i], blocks[i - 1] + kStride);
    if (!tells) continue;
    EXPECT_EQ(frameOf(blocks[i]), frameOf(blocks[i - 1] + kRead - kPage) + 1);
  }
  EXPECT_EQ(mapped(), kPerSlab * kStride);
  giveAll(blocks);
  if (!tells) GTEST_SKIP() << "only root may see where pages lie";
}

TEST_F(ShortBlocksTest, EachHasAllItsPagesForItself) {
  std::vector<unsigned char*> blocks = takeBlocks(2 * kPerSlab + 1);
  std::set<unsigned char*> different(blocks.begin(), blocks.end());
  EXPECT_EQ(different.size(), blocks.size());
  EXPECT_TRUE(areIntact(blocks));
  EXPECT_EQ(figures().bytesInUse, blocks.size() * kStride);
  giveAll(blocks);
  EXPECT_EQ(figures().bytesInUse, 0u);
}

TEST_F(ShortBlocksTest, AStreamOfThemFaultsNoNewPages) {
  for (int round = 0; round < 10; ++round) giveAll(takeBlocks(8));
  long before = pageFaults();
  for (int round = 0; round < 100; ++round) giveAll(takeBlocks(8));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(pageFaults() - before, 50);
#else
  static_cast<void>(before);
#endif
}

TEST_F(ShortBlocksTest, NoRegionOfAnotherSizeComesBetweenThem) {
  if (!systemGivesHugePages()) GTEST_SKIP() << "the system gives no huge pages";
  unsigned char* first = take(kShort);
  unsigned char* other = take(kPage);
  unsigned char* second = take(kShort);
  EXPECT_EQ(second, first + kStride);
  EXPECT_EQ(mapped(), kPerSlab * kStride + kSlab);
  giveAll({first, other, second});
}

TEST_F(ShortBlocksTest, BehindTheLastOfASlabIsNoRegion) {
  unsigned char* block = take(kShort);
  EXPECT_FALSE(give(block + kPerSlab * kStride));
  EXPECT_FALSE(give(block + 3 * kHugePageBytes - kPage));
  EXPECT_TRUE(give(block));
}

TEST_F(ShortBlocksTest, MoreThanTheMostSlabsOfThemComeFromTheOthers) {
  if (!systemGivesHugePages()) GTEST_SKIP() << "the system gives no huge pages";
  memory_ = std::make_unique<LinuxVirtualMemory>(kLimit, 1);
  std::vector<unsigned char*> blocks = takeBlocks(kPerSlab);
  EXPECT_EQ(mapped(), kPerSlab * kStride);
  blocks.push_back(take(kShort));
  EXPECT_EQ(mapped(), kPerSlab * kStride + kSlab);
  blocks.push_back(take(kShort));
  EXPECT_EQ(mapped(), kPerSlab * kStride + kSlab);
  giveAll(blocks);
}

TEST_F(ShortBlocksTest, AnIdleSlabOfThemGoesBackToTheSystemAndAnotherCanBeHad) {
  if (!systemGivesHugePages()) GTEST_SKIP() << "the system gives no huge pages";
  memory_ = std::make_unique<LinuxVirtualMemory>(0, 1);
  for (int i = 0; i < 3; ++i) {
    unsigned char* only = take(kShort);
    ASSERT_NE(only, nullptr);
    only[kShort - 1] = 1;
    EXPECT_EQ(mapped(), kPerSlab * kStride) << "time " << i;
    EXPECT_TRUE(give(only));
    EXPECT_FALSE(isMapped(only));
    EXPECT_FALSE(isMapped(only + kRead));
    EXPECT_EQ(mapped(), 0u);
  }
}

TEST_F(ShortBlocksTest, WhereHugePagesAreRefusedTheyComeFromWhatIsKept) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto useWithoutHugePages = [&] {
    if (prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0) != 0) _exit(2);
    give(take(kPage));
    std::vector<unsigned char*> blocks = takeBlocks(3);
    bool right = mapped() == kSlab && areIntact(blocks);
    for (unsigned char* each : blocks) right &= give(each);
    _exit(right ? 0 : 1);
  };
  EXPECT_EXIT(useWithoutHugePages(), testing::ExitedWithCode(0), "");
}

// How many mappings a process may have; 0 where the system does not tell.
size_t mostMappings() {
  size_t most = 0;
  std::ifstream("/proc/sys/vm/max_map_count") >> most;
  return most;
}

// Uses up what mappings the process may have, but for so many.
void useUpMappings(size_t left) {
  std::vector<void*> all;
  for (size_t most = mostMappings(); all.size() < most;) {
    // Neighbours of one kind would be one mapping.
    int protection = all.size() % 2 == 0 ? PROT_READ : PROT_NONE;
    void* one = mmap(nullptr, kVmPageBytes, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (one == MAP_FAILED) break;
    all.push_back(one);
  }
  for (size_t i = 0; i < left; ++i) munmap(all[all.size() - 1 - i], kVmPageBytes);
}

TEST_F(ShortBlocksTest, WhereTheProcessMayNotHaveTheMappingsTheyComeFromTheOthers) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs mappings of its own";
#endif
  if (!systemGivesHugePages()) GTEST_SKIP() << "the system gives no huge pages";
  if (mostMappings() > 300000)
    GTEST_SKIP() << "a process may have more mappings than are made here";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto useWithFewMappings = [&] {
    useUpMappings(40);
    std::vector<unsigned char*> blocks = takeBlocks(3);
    bool right = mapped() == kSlab && areIntact(blocks);
    for (unsigned char* each : blocks) right &= give(each);
    _exit(right ? 0 : 1);
  };
  EXPECT_EXIT(useWithFewMappings(), testing::ExitedWithCode(0), "");
}

}  // namespace
