#include "bench/table/HugeBuffers.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <new>

namespace {

constexpr size_t kHugePage = size_t{2} << 20;

size_t roundUp(size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }

}  // namespace

HugeBuffers::HugeBuffers(size_t bytes) : mapped_(roundUp(bytes) + kHugePage) {
  mapping_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping_ == MAP_FAILED) throw std::bad_alloc();
  start_ = reinterpret_cast<unsigned char*>(roundUp(reinterpret_cast<uintptr_t>(mapping_)));
  // Refused advice leaves small pages: slower, and as good.
  (void)madvise(start_, roundUp(bytes), MADV_HUGEPAGE);
  std::memset(start_, 0, bytes);
}

HugeBuffers::~HugeBuffers() { munmap(mapping_, mapped_); }
