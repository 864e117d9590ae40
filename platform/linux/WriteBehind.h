#pragma once

#include <cstdint>

#include "platform/common/Mutex.h"

// WriteBehind: looks after what one file wrote into the page cache and left to the system.
// Story      Told of every such write. Left alone the system would gather the bytes for half a
//            minute and then have the writer wait for all of them: so each 16 MiB the disk is told
//            to begin. Whoever closes the file settles.
// Threads    any.
// Units      bytes.
class WriteBehind {
public:
  static constexpr uint64_t kBegin_bytes = 16u << 20;

  // The first `bytes` of a write at the offset are in the page cache now.
  void wrote(int descriptor, uint64_t offset, uint32_t bytes);
  // Waits until the disk has them all. 0, or the system's error number, told once. At once when
  // nothing was written since the last time.
  int settle(int descriptor);

private:
  Mutex lock_;
  // What the disk was not told to begin with; empty when both are the same.
  uint64_t begin_ GUARDED_BY(lock_) = 0;
  uint64_t end_ GUARDED_BY(lock_) = 0;
  bool unsettled_ GUARDED_BY(lock_) = false;
};
