#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/LatencyStats.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/ReadStream.h"

// DemoClock: when each picture's turn is.
struct DemoClock {
  static constexpr double kPicture_ms = 40;  // 25 pictures a second
  double begin_ms = 0;
  double turnOf_ms(uint64_t picture) const {
    return begin_ms + kPicture_ms * static_cast<double>(picture);
  }
};

// DemoFigures: what came of a track, or of the recording.
struct DemoFigures {
  uint64_t bytes = 0;
  uint64_t pictures = 0;
  uint64_t late = 0;
  uint64_t cacheHits = 0;
  uint64_t checkedBytes = 0;
  double checking_ms = 0;  // processor time that checking took, not the engine
  LatencyStats latency;
};

// DemoTrack: one track of the demo's timeline: it plays a file picture by picture, each at its
// turn, and compares every byte with the source that the file was copied from. Story      prepare()
// asks for the first pictures ahead of the start, as a player does; run() plays.
//            A scrubbed track goes back and forth over its first second before it plays on: that
//            second is read once, and its pictures come from the engine's read cache.
// Threads    prepare: the main thread; run: a thread of its own; the rest after that has ended.
// Errors     prepare throws; run keeps its failure for rethrow().
class DemoTrack {
public:
  DemoTrack(const std::string& file, const std::string& source, uint64_t pictures, bool scrubbed);

  void prepare();
  void run(const DemoClock& clock) noexcept;
  void rethrow() const;

  const std::string& name() const { return name_; }
  bool isScrubbed() const { return scrubbed_; }
  const DemoFigures& figures() const { return figures_; }

private:
  ByteRange pictureRange(uint64_t picture) const;
  uint64_t pictureAt(uint64_t turn) const;
  void check(const Block& block);
  void play(const DemoClock& clock);

  std::string name_;
  EngineFile file_;
  PlainFile source_;
  uint64_t size_;
  uint64_t pictures_;  // of the file, and as many turns
  bool scrubbed_;
  std::vector<unsigned char> expected_;
  std::unique_ptr<ReadStream> stream_;
  DemoFigures figures_;
  std::exception_ptr failure_;
};

// Processor time of the calling thread.
double threadCpu_ms();
// Throws a verification failure that names the first byte that differs.
void compareBytes(const std::string& name, uint64_t offset, const unsigned char* bytes,
                  const unsigned char* expected, size_t count);
