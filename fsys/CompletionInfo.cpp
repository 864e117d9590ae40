#include "fsys/CompletionInfo.h"

#include "platform/QvLockFree.h"

void* CompletionInfo::operator new(size_t bytes) {
  return Qv::PooledObject<CompletionInfo>::operator new(bytes);
}

void CompletionInfo::operator delete(void* memory) {
  Qv::PooledObject<CompletionInfo>::operator delete(memory);
}

CompletionInfo::CompletionInfo(CompletionCallback callback, const Qv::Ptr<iObject>& context,
                               uint64_t offset, uint32_t length)
    : callback_(callback), context_(context), offset_(offset), length_(length) {}
