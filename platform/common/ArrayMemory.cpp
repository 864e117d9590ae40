#include "platform/ArrayMemory.h"

#include "platform/QvLockFree.h"
#include "platform/common/NeverDestroyed.h"

namespace {

using Pool = Qv::LockFree::Stack<kShortArray_bytes, alignof(std::max_align_t)>;

// Lists may go while the process ends.
constinit NeverDestroyed<Pool> pool;

}  // namespace

void* takeShortArray() {
  if (void* memory = pool.value.take()) return memory;
  throw std::bad_alloc();
}

void giveShortArray(void* memory) noexcept { pool.value.give(memory); }
