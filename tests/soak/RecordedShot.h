#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fsys/CompletionInfo.h"
#include "tests/soak/Fate.h"
#include "tests/support/AlignedBuffer.h"
#include "tests/support/Pattern.h"

class ShotRecorder;

// ChunkBytes: a holder of pattern bytes, where direct transfers want them.
class ChunkBytes final : public iMemHolder {
public:
  ChunkBytes(uint32_t bytes, uint64_t offset, uint64_t seed) : buffer_(bytes) {
    fillPattern(buffer_.data(), bytes, offset, seed);
  }
  unsigned char* getBuffer() const override { return buffer_.data(); }
  unsigned getSize() const override { return static_cast<unsigned>(buffer_.size()); }
  unsigned getUsed() const override { return getSize(); }
  bool setUsed(unsigned) override { return false; }

private:
  mutable AlignedBuffer buffer_;
};

// ShotChunk: one piece of a shot on its way to the disk. The context of its writes.
class ShotChunk final : public iObject {
public:
  ShotChunk(ShotRecorder& recorder, uint64_t at, uint32_t size)
      : owner(recorder), offset(at), bytes(size) {}

  ShotRecorder& owner;
  const uint64_t offset;
  const uint32_t bytes;

  // Guarded by the recorder's lock.
  double asked_ms = 0;
  bool isAsked = false;
  bool isRight = false;
  bool isHit = false;
  bool isJudged = false;  // whether it came in time
  Fate fate;
};

// RecordedShot: one shot, and where it lies.
struct RecordedShot {
  std::string cookie;
  std::string folder;   // of its media, without a separator at its end
  std::string drive;    // the location's folder
  bool isTold = false;  // to the catalogue; else a scan finds it
  bool isOdd = false;   // its chunks are no whole sectors
  bool hasProxy = false;
  uint64_t bytes = 0;

  std::string name() const { return cookie + ".mov"; }
  std::string path() const { return folder + "/" + name(); }
  std::string partialPath() const { return path() + ".partial"; }
  // What lies beside it.
  std::string sidePath() const { return path() + ".reapeaks"; }
  std::string proxyName() const { return cookie + ".proxy.360.mov"; }
  std::string proxyPath() const { return folder + "/" + proxyName(); }
  // All that must go with it.
  std::vector<std::string> paths() const { return {path(), sidePath(), proxyPath()}; }
};
