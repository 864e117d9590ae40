#include <cstdint>
#include <cstring>

#include "tests/conformance/Environments.h"

template <typename Environment>
class VirtualMemoryConformance : public ConformanceTest<Environment> {
protected:
  static void* allocate(size_t bytes) {
    return OS()->getVirtualMemory()->allocate(nullptr, bytes, eVmReserveAndCommit, eVmReadWrite);
  }
  static bool free(void* address) {
    return OS()->getVirtualMemory()->free(address, 0, eVmDecommitAndRelease);
  }
  static uint64_t inUse() { return OS()->getVirtualMemory()->figures().bytesInUse; }
};

TYPED_TEST_SUITE(VirtualMemoryConformance, Environments, EnvironmentNames);

TYPED_TEST(VirtualMemoryConformance, ARegionIsOfWholePagesAndAllOfItIsUsable) {
  const size_t page = OS()->getSystemInfo()->getPageSize();
  for (size_t bytes : {size_t{1}, page - 1, page, page + 1, size_t{512 * 1024 + 512}}) {
    const uint64_t before = this->inUse();
    const size_t rounded = (bytes + page - 1) / page * page;
    void* region = this->allocate(bytes);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(region) % page, 0u);
    EXPECT_EQ(this->inUse() - before, rounded);
    std::memset(region, 0x5A, rounded);
    EXPECT_EQ(static_cast<unsigned char*>(region)[rounded - 1], 0x5A);
    EXPECT_TRUE(this->free(region));
    EXPECT_EQ(this->inUse(), before);
  }
}

TYPED_TEST(VirtualMemoryConformance, RegionsDoNotOverlap) {
  constexpr size_t kRegions = 40, kBytes = 3 * 4096;
  unsigned char* regions[kRegions];
  for (size_t i = 0; i < kRegions; ++i) {
    regions[i] = static_cast<unsigned char*>(this->allocate(kBytes));
    ASSERT_NE(regions[i], nullptr);
    std::memset(regions[i], static_cast<int>(i), kBytes);
  }
  for (size_t i = 0; i < kRegions; ++i) {
    EXPECT_EQ(regions[i][0], i);
    EXPECT_EQ(regions[i][kBytes - 1], i);
    EXPECT_TRUE(this->free(regions[i]));
  }
}

TYPED_TEST(VirtualMemoryConformance, OtherArgumentValuesAreRefused) {
  iVirtualMemory* memory = OS()->getVirtualMemory();
  EXPECT_EQ(this->allocate(0), nullptr);
  EXPECT_EQ(this->allocate(SIZE_MAX), nullptr);
  EXPECT_EQ(this->allocate(SIZE_MAX - 4096), nullptr);
  EXPECT_EQ(memory->allocate(this, 4096, eVmReserveAndCommit, eVmReadWrite), nullptr);
  EXPECT_EQ(memory->allocate(nullptr, 4096, 0x1000, eVmReadWrite), nullptr);
  EXPECT_EQ(memory->allocate(nullptr, 4096, eVmReserveAndCommit, 2), nullptr);
  void* region = this->allocate(2 * 4096);
  ASSERT_NE(region, nullptr);
  EXPECT_FALSE(memory->free(region, 4096, eVmDecommitAndRelease));
  EXPECT_FALSE(memory->free(region, 0, 0x8000));
  EXPECT_FALSE(this->free(static_cast<unsigned char*>(region) + 4096));
  EXPECT_TRUE(this->free(region));
}

TYPED_TEST(VirtualMemoryConformance, OnlyARegionCanBeFreedAndOnlyOnce) {
  alignas(4096) static unsigned char foreign[4096];
  EXPECT_FALSE(this->free(nullptr));
  EXPECT_FALSE(this->free(foreign));
  void* region = this->allocate(4096);
  EXPECT_TRUE(this->free(region));
  EXPECT_FALSE(this->free(region));
}
