#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/ReadStream.h"
#include "tools/fsys/demo/DemoChannel.h"

// DemoTrack: plays a file picture by picture, each at its turn, and compares every byte with the
// source that the file was made from.
// Story      The first pictures are asked for ahead of the start, as a player does. A scrubbed
//            track goes back and forth over its first second before it plays on: that second is
//            read once, and its pictures come from the engine's read cache.
class DemoTrack final : public DemoChannel {
public:
  DemoTrack(const std::string& file, const std::string& source, uint64_t pictures, bool scrubbed);

  void prepare() override;
  bool take(uint64_t turn, double turn_ms) override;
  void finish() override;

private:
  ByteRange pictureRange(uint64_t picture) const;
  uint64_t pictureAt(uint64_t turn) const;
  void readFirstSecond();
  void check(const Block& block);

  std::string name_;
  EngineFile file_;
  PlainFile source_;
  uint64_t size_;
  uint64_t pictures_;  // of the file, and as many turns
  bool scrubbed_;
  std::vector<unsigned char> expected_;
  std::unique_ptr<ReadStream> stream_;
};
