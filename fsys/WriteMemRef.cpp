#include "fsys/WriteMemRef.h"

#include "platform/OS.h"

WriteMemRef::WriteMemRef()
    : memory_(static_cast<unsigned char*>(OS()->getVirtualMemory()->allocate(
          nullptr, kBytes, eVmReserveAndCommit, eVmReadWrite))) {}

WriteMemRef::~WriteMemRef() { OS()->getVirtualMemory()->free(memory_, 0, eVmDecommitAndRelease); }

unsigned char* WriteMemRef::getBuffer() const { return memory_; }

unsigned WriteMemRef::getSize() const { return 0; }

unsigned WriteMemRef::getUsed() const { return 0; }

bool WriteMemRef::setUsed(unsigned) { return false; }
