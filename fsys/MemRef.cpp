#include "fsys/MemRef.h"

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
