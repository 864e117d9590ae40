#include "platform/fake/FakeVirtualMemory.h"

#include <cstdlib>
#include <cstring>

FakeVirtualMemory::~FakeVirtualMemory() {
  for (auto& [address, bytes] : regions_) std::free(address);
}

void* FakeVirtualMemory::allocate(void* hint, size_t bytes, unsigned type, unsigned protection) {
  void* address = take(hint, bytes, type, protection);
  allocations_.push_back({hint, bytes, type, protection, address});
  return address;
}

void* FakeVirtualMemory::take(void* hint, size_t bytes, unsigned type, unsigned protection) {
  if (uint32_t error = faults_.next(FaultPlan::eAllocateRegion).error) {
    errors_.fail(error);
    return nullptr;
  }
  bool valid = !hint && type == eVmReserveAndCommit && protection == eVmReadWrite;
  if (!valid || bytes == 0 || bytes > kLargestRegion) return nullptr;
  size_t rounded = (bytes + kPage - 1) / kPage * kPage;
  void* address = std::aligned_alloc(kPage, rounded);
  if (!address) return nullptr;
  std::memset(address, kFill, rounded);
  regions_[address] = rounded;
  bytesInUse_ += rounded;
  return address;
}

bool FakeVirtualMemory::free(void* address, size_t bytes, unsigned type) {
  auto region = regions_.find(address);
  bool done = region != regions_.end() && bytes == 0 && type == eVmDecommitAndRelease;
  releases_.push_back({address, bytes, type, done});
  if (!done) return false;
  bytesInUse_ -= region->second;
  regions_.erase(region);
  std::free(address);
  return true;
}

iVirtualMemory::Figures FakeVirtualMemory::figures() const {
  Figures figures;
  figures.bytesInUse = bytesInUse_;
  return figures;
}
