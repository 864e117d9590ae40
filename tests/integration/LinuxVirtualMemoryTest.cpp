#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "platform/OS.h"
#include "tests/integration/LinuxVirtualMemoryFixture.h"

namespace {

TEST_F(LinuxVirtualMemoryTest, ARegionIsWholePagesThatCanBeWrittenToTheLastByte) {
  unsigned char* region = take(kPage + 1);
  ASSERT_NE(region, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(region) % kPage, 0u);
  std::memset(region, 0xAB, 2 * kPage);
  EXPECT_EQ(region[2 * kPage - 1], 0xAB);
  EXPECT_EQ(figures().bytesInUse, 2 * kPage);
  EXPECT_TRUE(give(region));
  EXPECT_EQ(figures().bytesInUse, 0u);
}

TEST_F(LinuxVirtualMemoryTest, OtherArgumentsThanTheNamedOnesAreRefused) {
  char place = 0;
  EXPECT_EQ(memory_->allocate(&place, kPage, eVmReserveAndCommit, eVmReadWrite), nullptr);
  EXPECT_EQ(memory_->allocate(nullptr, kPage, 0x1000, eVmReadWrite), nullptr);
  EXPECT_EQ(memory_->allocate(nullptr, kPage, eVmReserveAndCommit, 2), nullptr);
  EXPECT_EQ(take(0), nullptr);
  EXPECT_EQ(figures().bytesKept, 0u);
}

TEST_F(LinuxVirtualMemoryTest, AnAbsurdSizeGivesNullAndKeepsNothing) {
  EXPECT_EQ(take(SIZE_MAX), nullptr);
  EXPECT_EQ(take(SIZE_MAX - kPage), nullptr);
  EXPECT_EQ(take(LinuxVirtualMemory::kMaxRegionBytes + 1), nullptr);
  EXPECT_EQ(figures().bytesKept, 0u);
}

TEST_F(LinuxVirtualMemoryTest, OnlyTheStartOfARegionThatIsOutCanBeFreedAndOnlyOnce) {
  unsigned char* region = take(4 * kPage);
  unsigned char* other = take(4 * kPage);
  char elsewhere = 0;
  EXPECT_FALSE(give(nullptr));
  EXPECT_FALSE(give(&elsewhere));
  EXPECT_FALSE(give(region + kPage));
  EXPECT_FALSE(give(region + 1));
  EXPECT_FALSE(give(other + 4 * kPage));
  EXPECT_FALSE(memory_->free(region, 4 * kPage, eVmDecommitAndRelease));
  EXPECT_FALSE(memory_->free(region, 0, 0x8000));
  EXPECT_TRUE(give(region));
  EXPECT_FALSE(give(region));
  EXPECT_TRUE(give(other));
}

TEST_F(LinuxVirtualMemoryTest, AFreedRegionCannotBeFreedAgainAfterItWasMergedIntoALargerOne) {
  unsigned char* first = take(4 * kPage);
  unsigned char* second = take(4 * kPage);
  give(first);
  give(second);
  unsigned char* merged = take(8 * kPage);
  EXPECT_EQ(merged, first);
  EXPECT_FALSE(give(second));
  EXPECT_TRUE(give(merged));
}

TEST_F(LinuxVirtualMemoryTest, TheRegionThatWasFreedLastIsUsedAgainFirst) {
  unsigned char* first = take(kBlock);
  unsigned char* second = take(kBlock);
  unsigned char* third = take(kBlock);
  give(third);
  give(first);
  give(second);
  EXPECT_EQ(take(kBlock), second);
  EXPECT_EQ(take(kBlock), first);
  EXPECT_EQ(take(kBlock), third);
}

TEST_F(LinuxVirtualMemoryTest, NeighboursMergeWhateverTheOrderTheyAreFreedIn) {
  const int orders[][3] = {{0, 1, 2}, {2, 1, 0}, {0, 2, 1}, {1, 0, 2}};
  for (const auto& order : orders) {
    unsigned char* regions[3];
    for (auto& region : regions) region = take(10 * kPage);
    unsigned char* guard = take(kPage);
    for (int which : order) EXPECT_TRUE(give(regions[which]));
    unsigned char* whole = take(30 * kPage);
    EXPECT_EQ(whole, regions[0]);
    give(whole);
    give(guard);
  }
}

TEST_F(LinuxVirtualMemoryTest, AUsualSlabHolds31BlocksOf1MiBAnd512Bytes) {
  std::vector<unsigned char*> blocks;
  for (int i = 0; i < 31; ++i) blocks.push_back(take(kBlock));
  EXPECT_EQ(figures().bytesInUse + figures().bytesKept, kSlab);
  blocks.push_back(take(kBlock));
  EXPECT_EQ(figures().bytesInUse + figures().bytesKept, 2 * kSlab);
  for (unsigned char* block : blocks) give(block);
}

TEST_F(LinuxVirtualMemoryTest, AStreamOfBlocksKeepsUsingTheSamePages) {
  std::vector<unsigned char*> inFlight;
  for (int i = 0; i < 8; ++i) inFlight.push_back(take(kBlock));
  std::set<unsigned char*> first(inFlight.begin(), inFlight.end());
  std::mt19937 random(7);
  for (int i = 0; i < 10000; ++i) {
    size_t which = random() % inFlight.size();
    give(inFlight[which]);
    inFlight[which] = take(kBlock);
    ASSERT_TRUE(first.count(inFlight[which])) << "round " << i;
  }
  for (unsigned char* block : inFlight) give(block);
}

TEST_F(LinuxVirtualMemoryTest, StreamsOfSeveralSizesStayWithinOneSlabAndFaultNoNewPages) {
  const size_t sizes[] = {kBlock, 4 * kMiB + 512, 48 * 1024 + 512, 4096 + 512};
  std::vector<unsigned char*> inFlight;
  auto refill = [&] {
    for (size_t size : sizes)
      for (int i = 0; i < 2; ++i) {
        inFlight.push_back(take(size));
        std::memset(inFlight.back(), 1, size);
      }
  };
  auto drop = [&] {
    for (unsigned char* block : inFlight) give(block);
    inFlight.clear();
  };
  for (int round = 0; round < 10; ++round) {
    refill();
    drop();
  }
  long before = pageFaults();
  for (int round = 0; round < 100; ++round) {
    refill();
    drop();
  }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(pageFaults() - before, 50);
#else
  static_cast<void>(before);
#endif
  EXPECT_EQ(figures().bytesKept, kSlab);
}

TEST_F(LinuxVirtualMemoryTest, ARegionLargerThanASlabGetsOneOfItsOwnInMultiplesOf2MiB) {
  unsigned char* region = take(kSlab + 512);
  ASSERT_NE(region, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(region) % kHugePageBytes, 0u);
  EXPECT_EQ(figures().bytesInUse + figures().bytesKept, kSlab + kHugePageBytes);
  region[0] = 1;
  region[kSlab + 511] = 2;
  EXPECT_TRUE(give(region));
}

TEST_F(LinuxVirtualMemoryTest, WhenTheLastRegionIsFreedNoMoreThanTheLimitIsKept) {
  std::vector<unsigned char*> blocks;
  for (int i = 0; i < 31 * 4; ++i) blocks.push_back(take(kBlock));
  EXPECT_EQ(figures().bytesInUse + figures().bytesKept, 4 * kSlab);
  for (unsigned char* block : blocks) give(block);
  EXPECT_EQ(figures().bytesInUse, 0u);
  EXPECT_EQ(figures().bytesKept, kLimit);
  EXPECT_EQ(figures().keepLimit, kLimit);
}

TEST_F(LinuxVirtualMemoryTest, ALargeIdleSlabIsGivenBackBeforeTheUsualOnes) {
  unsigned char* usual = take(kBlock);
  unsigned char* large = take(3 * kSlab);
  large[0] = 1;
  give(usual);
  give(large);
  EXPECT_EQ(figures().bytesKept, kSlab);
  EXPECT_FALSE(isMapped(large));
  EXPECT_TRUE(isMapped(usual));
  EXPECT_FALSE(give(large));
}

TEST_F(LinuxVirtualMemoryTest, OneRegionKeepsItsSlabAlone) {
  std::vector<unsigned char*> blocks;
  for (int i = 0; i < 31 * 4; ++i) blocks.push_back(take(kBlock));
  for (size_t i = 1; i < blocks.size(); ++i) give(blocks[i]);
  EXPECT_LE(figures().bytesKept, kLimit);
  blocks[0][kBlock - 1] = 5;
  EXPECT_TRUE(give(blocks[0]));
}

TEST_F(LinuxVirtualMemoryTest, HugePagesAreAdvisedWhereTheSystemHasThem) {
  void* probe = mmap(nullptr, kPage, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  bool advised = madvise(probe, kPage, MADV_HUGEPAGE) == 0;
  munmap(probe, kPage);
  give(take(kPage));
  EXPECT_EQ(figures().hugePages, advised);
}

TEST_F(LinuxVirtualMemoryTest, RegionsNeverOverlapInTenThousandRandomSteps) {
  std::mt19937 random(20240612);
  std::map<unsigned char*, size_t> out;  // start and pages
  uint64_t pages = 0;
  for (int step = 0; step < 10000; ++step) {
    if (out.size() < 150 && random() % 5 < 3) {
      size_t count = 1 + random() % (random() % 8 == 0 ? 2000 : 40);
      unsigned char* region = take(count * kPage);
      ASSERT_NE(region, nullptr);
      auto after = out.lower_bound(region);
      ASSERT_TRUE(after == out.end() || region + count * kPage <= after->first) << step;
      if (after != out.begin()) {
        auto before = std::prev(after);
        ASSERT_LE(before->first + before->second * kPage, region) << step;
      }
      region[0] = region[count * kPage - 1] = static_cast<unsigned char>(step);
      out[region] = count;
      pages += count;
    } else if (!out.empty()) {
      auto which = std::next(out.begin(), static_cast<long>(random() % out.size()));
      ASSERT_EQ(which->first[0], which->first[which->second * kPage - 1]) << step;
      pages -= which->second;
      ASSERT_TRUE(give(which->first)) << step;
      out.erase(which);
    }
    ASSERT_EQ(figures().bytesInUse, pages * kPage) << step;
  }
  for (const auto& [region, count] : out) ASSERT_TRUE(give(region)) << count;
  EXPECT_EQ(figures().bytesInUse, 0u);
  EXPECT_LE(figures().bytesKept, kLimit);
}

TEST_F(LinuxVirtualMemoryTest, ThreadsTakeAndGiveBackEachOthersRegions) {
  constexpr int kThreads = 4;
  constexpr int kSteps = 5000;
  constexpr size_t kPlaces = 16;
  std::array<std::atomic<unsigned char*>, kPlaces> shared{};
  std::atomic<int> broken{0};
  auto work = [&](unsigned seed) {
    std::mt19937 random(seed);
    for (int step = 0; step < kSteps; ++step) {
      size_t bytes = (1 + random() % 300) * kPage;
      unsigned char* mine = take(bytes);
      if (!mine) ++broken;
      mine[0] = mine[bytes - 1] = static_cast<unsigned char>(seed);
      if (mine[0] != seed || mine[bytes - 1] != seed) ++broken;
      unsigned char* theirs = shared[random() % kPlaces].exchange(mine);
      if (theirs && !give(theirs)) ++broken;
    }
  };
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(work, i + 1);
  for (std::thread& thread : threads) thread.join();
  for (auto& place : shared) EXPECT_TRUE(!place.load() || give(place.load()));
  EXPECT_EQ(broken.load(), 0);
  EXPECT_EQ(figures().bytesInUse, 0u);
  EXPECT_LE(figures().bytesKept, kLimit);
}

TEST_F(LinuxVirtualMemoryTest, ItWorksWhereHugePagesAreRefused) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto useWithoutHugePages = [&] {
    if (prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0) != 0) _exit(2);
    unsigned char* region = take(8 * kMiB);
    std::memset(region, 7, 8 * kMiB);
    bool right = region[8 * kMiB - 1] == 7 && give(region) && take(8 * kMiB) == region;
    _exit(right ? 0 : 1);
  };
  EXPECT_EXIT(useWithoutHugePages(), testing::ExitedWithCode(0), "");
}

TEST_F(LinuxVirtualMemoryTest, WhereAUsualSlabDoesNotFitASmallerOneServes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs address space of its own";
#endif
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto useWithLittleRoom = [&] {
    uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit room{pages * kPage + 8 * kMiB, RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &room);
    unsigned char* region = take(kBlock);
    bool right = region && figures().bytesInUse + figures().bytesKept == kHugePageBytes &&
                 !take(16 * kMiB) && give(region);
    _exit(right ? 0 : 1);
  };
  EXPECT_EXIT(useWithLittleRoom(), testing::ExitedWithCode(0), "");
}

TEST_F(LinuxVirtualMemoryTest, AFreedRegionIsFencedOffUnderTheAddressSanitizer) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto useAfterFree = [&] {
    volatile unsigned char* region = take(kBlock);
    give(const_cast<unsigned char*>(region));
    region[100] = 1;
  };
  EXPECT_DEATH(useAfterFree(), "use-after-poison");
#else
  GTEST_SKIP() << "only the address sanitizer can see it";
#endif
}

TEST_F(LinuxVirtualMemoryTest, TheServiceOfTheProcessKeeps256MiB) {
  EXPECT_EQ(OS()->getVirtualMemory()->figures().keepLimit, 256 * kMiB);
}

}  // namespace
