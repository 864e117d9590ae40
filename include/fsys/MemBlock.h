#pragma once

#include <cstddef>

#include "fsys/iMemHolder.h"

// MemBlock: a page-granular region of its own, the buffer of a read.
// Ownership  owns the region; it goes back to the platform with the last reference, on whatever
//            thread that is. It does not refer to the FsysBuf that handed it out.
// Units      bytes. A block holds 512 bytes more than it was asked for.
// Errors     a block without memory: getBuffer null, getSize 0.
// Kept       getUsed does not test the memory: it is the size even where there is none
//            (MemBlockTest.ABlockWithoutMemoryStillReportsItsSizeAsUsed).
class FSYS_EXPORT MemBlock : public iMemHolder {
public:
  static constexpr unsigned kExtraBytes = 512;

  explicit MemBlock(unsigned size);
  ~MemBlock() override;
  MemBlock(const MemBlock&) = delete;
  MemBlock& operator=(const MemBlock&) = delete;

  unsigned char* getBuffer() const override;
  unsigned getSize() const override;
  unsigned getUsed() const override;
  // Does nothing and answers false.
  bool setUsed(unsigned used) override;

  // From a pool: a read asks for its region and nothing else.
  static void* operator new(size_t bytes);
  static void operator delete(void* memory);

private:
  friend struct LayoutPeer;
  unsigned char* memory_;
  unsigned size_;
  unsigned offset_;
};
