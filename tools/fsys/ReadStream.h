#pragma once

#include <cstdint>
#include <deque>
#include <functional>

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/LatencyStats.h"
#include "tools/fsys/PendingTransfer.h"

// ByteRange: a part of a file.
struct ByteRange {
  uint64_t offset = 0;
  uint32_t length = 0;
};

// Block: bytes that were read. They stay good as long as `data` is kept.
struct Block {
  ByteRange range;
  Qv::Ptr<iMemHolder> data;
  double elapsed_ms = 0;  // from the question to the completion
  const unsigned char* bytes() const { return data->getBuffer(); }
};

// ReadStream: reads ranges of a file through the engine, several in flight, and hands them out in
// the order in which they were asked for.
// Story      The ranges come from a function, so that a stream may be a whole file, one that is
//            repeated, or the pictures that a player wants next.
// Threads    one at a time; the completions arrive by themselves.
// Ownership  uses the file, which outlives it. The destructor waits for what is in flight.
// Errors     throws: a failed transfer with the file's name and the offset, an interruption.
class ReadStream {
public:
  // Gives the next range; false at the end. A range lies within the file and is not empty.
  using Ranges = std::function<bool(ByteRange&)>;

  ReadStream(EngineFile& file, Ranges ranges, unsigned inFlight);
  ~ReadStream();
  ReadStream(const ReadStream&) = delete;
  ReadStream& operator=(const ReadStream&) = delete;

  // The blocks of [0, size), `repeat` times.
  static Ranges wholeFile(uint64_t size, uint32_t block, uint64_t repeat);

  // Asks for as many blocks as may be in flight.
  void fill();
  // Waits for the next block; false at the end.
  bool next(Block& block);
  // Whether the next block has arrived.
  bool isReady() const;

  const LatencyStats& latency() const { return latency_; }
  uint64_t bytes() const { return bytes_; }

private:
  using Pending = Qv::Ptr<PendingTransfer>;
  bool mayAsk(uint32_t length);
  void ask(const ByteRange& range);
  void waitFor(const Pending& transfer) const;

  EngineFile& file_;
  Ranges ranges_;
  unsigned inFlight_;
  Qv::Ptr<ArrivalBell> bell_;
  std::deque<Pending> pending_;
  bool haveRange_ = false;  // `range_` was taken and not asked for yet
  bool ended_ = false;
  ByteRange range_;
  uint64_t kept_bytes_ = 0;  // what the engine may keep of this file since it was last cleared
  LatencyStats latency_;
  uint64_t bytes_ = 0;
};
