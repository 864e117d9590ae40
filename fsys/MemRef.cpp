#include "fsys/MemRef.h"

#include "platform/QvLockFree.h"

void* MemRef::operator new(size_t bytes) { return Qv::PooledObject<MemRef>::operator new(bytes); }

void MemRef::operator delete(void* memory) { Qv::PooledObject<MemRef>::operator delete(memory); }

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
