#pragma once

#include <atomic>
#include <cstdint>

#include "fsys/CompletionInfo.h"
#include "platform/OsThreads.h"

// ReadBlock: one request of a reader, and how it ended.
// Story      The reader hands it to the engine as the context of a read. When the reader has no use
//            for it any more it lets go, and the completion that comes later finds it all the same.
// Threads    what is fixed: any. The outcome is the completion's, on whatever thread, under the
//            engine's own locks perhaps, until isDone(); after that the reader's.
// Ownership  shared by the reader and the engine.
// Units      bytes.
class ReadBlock : public iObject {
public:
  ReadBlock(const Qv::Ptr<iThreadEvent>& arrival, uint64_t offset, uint32_t length)
      : offset(offset), length(length), arrival_(arrival) {}

  // The completion callback; the context is a ReadBlock.
  static void arrived(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status);

  bool isDone() const { return isDone_.load(std::memory_order_acquire); }

  // Where the file's bytes in it end, as far as is known.
  uint64_t end() const { return offset + (used != 0 ? used : length); }

  const uint64_t offset;
  const uint32_t length;

  Qv::Ptr<iMemHolder> data;  // none: it failed
  uint32_t error = 0;        // of a failure, as FsysGetLastError has it
  uint32_t used = 0;         // how many of its bytes are the file's, once its reader has looked

private:
  Qv::Ptr<iThreadEvent> arrival_;
  std::atomic<bool> isDone_{false};
};
