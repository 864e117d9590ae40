#include "fsys/FsysBuf.h"

#include "fsys/MemBlock.h"

FsysBuf::FsysBuf() : pendingBytes_(0), secondCount_(0) {}

FsysBuf::~FsysBuf() = default;

Qv::Ptr<iMemHolder> FsysBuf::GetMemBlock(unsigned size, FileRequest*) {
  Qv::Ptr<iMemHolder> block(new MemBlock(size));
  if (!block->getBuffer()) block.reset();
  return block;
}

void FsysBuf::AddPendingBytes(int delta) { OsAtomics::add(pendingBytes_, delta); }

unsigned FsysBuf::GetPendingBytes() const { return OsAtomics::load(pendingBytes_); }
