#pragma once

#include "fsys/Export.h"
#include "fsys/iMemHolder.h"
#include "platform/OsAtomics.h"

class FileRequest;

// FsysBuf: hands out the blocks that reads are transferred into, and counts the bytes that are
// queued and have no block yet. It keeps no free list: every block is asked for and given back.
// Threads    any; takes no lock.
// Ownership  one a process, owned by the engine through Fsys::BufferSpace_. Blocks outlive it.
// Errors     GetMemBlock: null when there is no memory. It is asked once: the configuration key
//            "kMaxAllocRetries" is read and has no effect.
class FSYS_EXPORT FsysBuf {
public:
  FsysBuf();
  virtual ~FsysBuf();
  FsysBuf(const FsysBuf&) = delete;
  FsysBuf& operator=(const FsysBuf&) = delete;

  // A block for `size` bytes. The request is not looked at.
  Qv::Ptr<iMemHolder> GetMemBlock(unsigned size, FileRequest* request);

  // Bytes that are queued and have no buffer yet. A figure: the library never reads it.
  void AddPendingBytes(int delta);
  unsigned GetPendingBytes() const;

private:
  friend struct LayoutPeer;
  uint32_t pendingBytes_;  // changed by atomic adds only
  uint32_t secondCount_;   // 0; nobody uses it
};
