#pragma once

#include <cstdint>
#include <deque>

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/LatencyStats.h"
#include "tools/fsys/PendingTransfer.h"

// WriteStream: writes blocks to the end of a file through the engine, several in flight.
// Story      The engine sends whole sectors as they come and gathers others in its write cache. A
//            block that is gathered is accepted; it is written when those behind it have been sent,
//            at the latest by settle().
// Threads    one at a time; the completions arrive by themselves.
// Ownership  uses the file, which outlives it. A block is kept until its bytes are on their way
//            out; they must not change meanwhile. The destructor waits for what is in flight.
// Errors     throws the first failure that became known, with the file's name and the offset, and
//            from then on; an interruption.
class WriteStream {
public:
  WriteStream(EngineFile& file, unsigned inFlight);
  ~WriteStream();
  WriteStream(const WriteStream&) = delete;
  WriteStream& operator=(const WriteStream&) = delete;

  // Memory for a block of that many bytes.
  static Qv::Ptr<iMemHolder> newBuffer(uint32_t bytes);

  // Waits until fewer than the limit are in flight.
  void waitForRoom();
  // Queues the first `length` bytes of the holder. Waits for room first.
  void write(const Qv::Ptr<iMemHolder>& data, uint32_t length);
  // Waits for everything; nothing that failed stays unsaid.
  void finish();
  // The same, and what the engine gathers is sent: then every byte of the stream is written.
  void settle();
  // The same for the end of a command that failed: no exception, a limited wait.
  void drain() noexcept;

  // Where the bytes end that are known to be written: without a hole before them.
  uint64_t writtenEnd() const { return writtenEnd_; }
  // Where the bytes end that were accepted.
  uint64_t end() const { return end_; }
  uint64_t bytes() const { return bytes_; }
  const LatencyStats& latency() const { return latency_; }

private:
  struct Pending {
    Qv::Ptr<PendingTransfer> transfer;
    uint64_t sentEnd;  // behind it the engine only gathers; as the block was accepted
  };
  void collectLocked();
  uint32_t directWrite(Qv::Ptr<iMemHolder>& data, Qv::Ptr<iObject>& context);
  uint32_t sendGathered();
  void throwIfFailed() const;

  EngineFile& file_;
  unsigned inFlight_;
  Qv::Ptr<ArrivalBell> bell_;
  std::deque<Pending> pending_;
  uint64_t writtenEnd_;
  uint64_t end_;
  uint64_t bytes_ = 0;
  bool failed_ = false;
  uint32_t error_ = 0;
  uint64_t failedOffset_ = 0;
  LatencyStats latency_;
};
