#include "fsys/MemBlock.h"

#include "platform/OS.h"
#include "platform/QvLockFree.h"

void* MemBlock::operator new(size_t bytes) {
  return Qv::PooledObject<MemBlock>::operator new(bytes);
}

void MemBlock::operator delete(void* memory) {
  Qv::PooledObject<MemBlock>::operator delete(memory);
}

MemBlock::MemBlock(unsigned size) : memory_(nullptr), size_(size + kExtraBytes), offset_(0) {
  memory_ = static_cast<unsigned char*>(
      OS()->getVirtualMemory()->allocate(nullptr, size_, eVmReserveAndCommit, eVmReadWrite));
}

MemBlock::~MemBlock() {
  if (memory_) OS()->getVirtualMemory()->free(memory_, 0, eVmDecommitAndRelease);
}

unsigned char* MemBlock::getBuffer() const { return memory_ ? memory_ + offset_ : nullptr; }

unsigned MemBlock::getSize() const { return memory_ ? size_ : 0; }

unsigned MemBlock::getUsed() const { return size_; }

bool MemBlock::setUsed(unsigned) { return false; }
