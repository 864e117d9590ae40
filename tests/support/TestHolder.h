#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "fsys/iMemHolder.h"
#include "tests/support/Pattern.h"

// TestHolder: a holder over bytes of its own, exactly as long as they are.
class TestHolder final : public iMemHolder {
public:
  explicit TestHolder(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}
  explicit TestHolder(unsigned size) : bytes_(size) {}

  // A holder of pattern bytes that belong at `offset`.
  static Qv::Ptr<iMemHolder> ofPattern(unsigned size, uint64_t offset = 0, uint64_t seed = 1) {
    return Qv::Ptr<iMemHolder>(new TestHolder(patternBytes(size, offset, seed)));
  }

  unsigned char* getBuffer() const override { return bytes_.empty() ? nullptr : bytes_.data(); }
  unsigned getSize() const override { return static_cast<unsigned>(bytes_.size()); }
  unsigned getUsed() const override { return used_; }
  bool setUsed(unsigned used) override {
    used_ = used;
    return true;
  }

private:
  mutable std::vector<unsigned char> bytes_;
  unsigned used_ = 0;
};
