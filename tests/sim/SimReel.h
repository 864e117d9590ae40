#pragma once

#include <cstring>
#include <vector>

#include "fsys/MemRef.h"
#include "tests/sim/SimDice.h"

// SimReel: bytes to be written, all different, of which pieces are cut one behind the other: two
// neighbours abut in memory too. A piece keeps its reel.
class SimReel final : public iMemHolder {
public:
  // `live` counts the reels that exist.
  SimReel(uint32_t bytes, SimDice dice, unsigned& live) : bytes_(bytes), live_(live) {
    for (uint32_t at = 0; at < bytes; at += 8) {
      uint64_t word = dice.next();
      std::memcpy(bytes_.data() + at, &word, bytes - at < 8 ? bytes - at : 8);
    }
    ++live_;
  }
  ~SimReel() override { --live_; }

  uint32_t left() const { return static_cast<uint32_t>(bytes_.size()) - cut_; }
  Qv::Ptr<iMemHolder> cut(uint32_t bytes) {
    uint32_t start = cut_;
    cut_ += bytes;
    return Qv::Ptr<iMemHolder>(new MemRef(Qv::Ptr<iMemHolder>(this), start, bytes));
  }

  unsigned char* getBuffer() const override { return bytes_.data(); }
  unsigned getSize() const override { return static_cast<unsigned>(bytes_.size()); }
  unsigned getUsed() const override { return 0; }
  bool setUsed(unsigned) override { return false; }

private:
  mutable std::vector<unsigned char> bytes_;
  uint32_t cut_ = 0;
  unsigned& live_;
};
