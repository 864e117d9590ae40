#pragma once

#include <map>
#include <vector>

#include "platform/OsMemory.h"
#include "platform/fake/FakeErrors.h"
#include "platform/fake/FaultPlan.h"

// FakeVirtualMemory: regions of whole pages, each from the heap, so that a use after its end shows
// under a sanitizer. Nothing is used again. What was never written reads 0xCD.
// Units      bytes; pages of 4096. A region of more than 1 GiB is refused: there is no memory.
class FakeVirtualMemory final : public iVirtualMemory {
public:
  static constexpr size_t kPage = 4096;
  static constexpr size_t kLargestRegion = size_t{1} << 30;
  static constexpr unsigned char kFill = 0xCD;

  struct Allocation {
    void* hint;
    size_t bytes;
    unsigned type;
    unsigned protection;
    void* address;  // null: refused
  };
  struct Release {
    void* address;
    size_t bytes;
    unsigned type;
    bool done;
  };

  FakeVirtualMemory(FaultPlan& faults, FakeErrors& errors) : faults_(faults), errors_(errors) {}
  ~FakeVirtualMemory();
  FakeVirtualMemory(const FakeVirtualMemory&) = delete;
  FakeVirtualMemory& operator=(const FakeVirtualMemory&) = delete;

  void* allocate(void* hint, size_t bytes, unsigned type, unsigned protection) override;
  bool free(void* address, size_t bytes, unsigned type) override;
  Figures figures() const override;

  // Regions that are in use.
  size_t regions() const { return regions_.size(); }
  uint64_t bytesInUse() const { return bytesInUse_; }
  // Every call, refused ones included.
  const std::vector<Allocation>& allocations() const { return allocations_; }
  const std::vector<Release>& releases() const { return releases_; }

private:
  void* take(void* hint, size_t bytes, unsigned type, unsigned protection);

  FaultPlan& faults_;
  FakeErrors& errors_;
  std::map<void*, size_t> regions_;
  uint64_t bytesInUse_ = 0;
  std::vector<Allocation> allocations_;
  std::vector<Release> releases_;
};
