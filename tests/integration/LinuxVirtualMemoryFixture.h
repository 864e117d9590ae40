#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <memory>

#include "platform/linux/LinuxVirtualMemory.h"

// LinuxVirtualMemoryTest: a service of its own that keeps at most two slabs.
class LinuxVirtualMemoryTest : public testing::Test {
protected:
  static constexpr size_t kPage = kVmPageBytes;
  static constexpr size_t kMiB = 1024 * 1024;
  static constexpr size_t kBlock = kMiB + 512;  // as a block of 1 MiB is asked for
  static constexpr size_t kSlab = PageSlab::kUsualBytes;
  static constexpr uint64_t kLimit = 2 * kSlab;

  unsigned char* take(size_t bytes) {
    return static_cast<unsigned char*>(
        memory_->allocate(nullptr, bytes, eVmReserveAndCommit, eVmReadWrite));
  }
  bool give(void* address) { return memory_->free(address, 0, eVmDecommitAndRelease); }
  iVirtualMemory::Figures figures() const { return memory_->figures(); }
  // Whether the system still has memory at the address.
  static bool isMapped(void* address) { return msync(address, kPage, MS_ASYNC) == 0; }

  std::unique_ptr<LinuxVirtualMemory> memory_ = std::make_unique<LinuxVirtualMemory>(kLimit);
};

inline long pageFaults() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt + usage.ru_majflt;
}
