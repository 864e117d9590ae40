#include "bench/table/OtherMemory.h"

#include <cstring>
#include <new>

#include "bench/table/HostMemory.h"
#include "platform/OS.h"

namespace {

// What the service takes from the system at once. Three of them hold what a side has under way.
constexpr size_t kPiece = size_t{32} << 20;
constexpr size_t kPieces = 3;
constexpr size_t kShort = (size_t{64} << 10) + 512;
constexpr size_t kMostShort = 32 * 64;  // half of the service's slabs for them
// What is left for everybody else: the files that are read through the page cache come first.
constexpr uint64_t kSpare = uint64_t{4} << 30;

void* take(size_t bytes) {
  void* piece =
      OS()->getVirtualMemory()->allocate(nullptr, bytes, eVmReserveAndCommit, eVmReadWrite);
  if (!piece) throw std::bad_alloc();
  return piece;
}

void giveBackLast(std::vector<void*>& held) {
  OS()->getVirtualMemory()->free(held.back(), 0, eVmDecommitAndRelease);
  held.pop_back();
}

void giveBackAll(std::vector<void*>& held) {
  while (!held.empty()) giveBackLast(held);
}

// Takes what is kept for regions of that size, until the service has to ask the system.
void takeKept(size_t bytes, std::vector<void*>& held) {
  uint64_t before, after = OS()->getVirtualMemory()->figures().bytesKept;
  do {
    before = after;
    held.push_back(take(bytes));
    after = OS()->getVirtualMemory()->figures().bytesKept;
  } while (after < before);
  giveBackLast(held);
}

}  // namespace

void OtherMemory::next() {
  if (HostMemory::available() < kSpare) return;
  takeKept(kPiece, held_);
  if (heldShort_.size() < kMostShort)
    takeKept(kShort, heldShort_);
  else
    giveBackAll(heldShort_);
  for (size_t i = 0; i < kPieces; ++i) {
    held_.push_back(take(kPiece));
    std::memset(held_.back(), 0, kPiece);
  }
  for (size_t i = 0; i < kPieces; ++i) giveBackLast(held_);
}

OtherMemory::~OtherMemory() {
  giveBackAll(heldShort_);
  giveBackAll(held_);
}
