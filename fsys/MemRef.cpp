#include "fsys/MemRef.h"

#include <new>

#include "platform/QvLockFree.h"

namespace {

using Pool = Qv::LockFree::Stack<sizeof(MemRef), alignof(MemRef)>;

// Never destroyed: slices may go while the process ends.
Pool& pool() {
  alignas(Pool) static unsigned char room[sizeof(Pool)];
  static Pool* made = new (room) Pool;
  return *made;
}

}  // namespace

void* MemRef::operator new(size_t bytes) {
  if (void* memory = bytes == sizeof(MemRef) ? pool().take() : nullptr) return memory;
  throw std::bad_alloc();
}

void MemRef::operator delete(void* memory) {
  if (memory) pool().give(memory);
}

MemRef::MemRef(const Qv::Ptr<iMemHolder>& underlying, unsigned start, unsigned size)
    : underlying_(underlying), start_(start), size_(size) {}

MemRef::~MemRef() = default;

unsigned char* MemRef::getBuffer() const {
  unsigned char* bytes = underlying_ ? underlying_->getBuffer() : nullptr;
  return bytes ? bytes + start_ : nullptr;
}

unsigned MemRef::getSize() const { return size_; }

unsigned MemRef::getUsed() const { return used_; }

bool MemRef::setUsed(unsigned used) {
  used_ = used;
  return true;
}
