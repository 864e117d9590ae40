#include "bench/table/HugeBuffers.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/OS.h"

HugeBuffers::HugeBuffers(size_t bytes) {
  pieces_.reserve(bytes / kPiece + 1);
  for (size_t done = 0; done < bytes; done += kPiece) add(std::min(kPiece, bytes - done));
}

void HugeBuffers::add(size_t bytes) {
  void* memory =
      OS()->getVirtualMemory()->allocate(nullptr, bytes, eVmReserveAndCommit, eVmReadWrite);
  if (!memory) {
    freeAll();
    throw std::bad_alloc();
  }
  std::memset(memory, 0, bytes);
  pieces_.push_back(static_cast<unsigned char*>(memory));
}

HugeBuffers::~HugeBuffers() { freeAll(); }

void HugeBuffers::freeAll() {
  for (unsigned char* piece : pieces_)
    OS()->getVirtualMemory()->free(piece, 0, eVmDecommitAndRelease);
}
