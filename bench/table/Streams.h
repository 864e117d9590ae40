#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "bench/table/Meter.h"
#include "bench/table/Workload.h"

// Streams: how fast each file of a workload went, from the making of this until its last block.
// Threads    came: any. tell: one, when every block has come.
class Streams {
public:
  explicit Streams(const Workload& work)
      : count_(work.files.size()),
        bytes_(work.bytesPerFile),
        streams_(std::make_unique<Stream[]>(count_)),
        start_(Clock::now()) {
    for (size_t i = 0; i < count_; ++i) streams_[i].left = work.bytesPerFile / work.block;
  }

  // A block of the file has come; each is told of once.
  void came(size_t file) {
    Stream& stream = streams_[file];
    if (stream.left.fetch_sub(1) == 1) stream.end = Clock::now();
  }

  void tell(Round& round) const {
    for (size_t i = 0; i < count_; ++i) {
      std::chrono::duration<double> passed = streams_[i].end - start_;
      if (passed.count() > 0)
        round.streams_mbps.push_back(static_cast<double>(bytes_) / 1e6 / passed.count());
    }
  }

private:
  using Clock = std::chrono::steady_clock;
  struct Stream {
    std::atomic<uint64_t> left{0};
    Clock::time_point end;  // written once, by whoever took the last block
  };

  size_t count_;
  uint64_t bytes_;
  std::unique_ptr<Stream[]> streams_;
  Clock::time_point start_;
};
