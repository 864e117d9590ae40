#pragma once

#include <cstddef>
#include <cstdint>

// InputBytes: the fuzzer's input, read as numbers from its start. At its end it gives zeros.
class InputBytes {
public:
  InputBytes(const uint8_t* bytes, size_t count) : next_(bytes), end_(bytes + count) {}

  bool empty() const { return next_ == end_; }
  // So many bytes as a number; at most eight.
  uint64_t number(unsigned bytes) {
    uint64_t value = 0;
    for (unsigned i = 0; i < bytes; ++i)
      value = value << 8 | (next_ == end_ ? uint8_t{0} : *next_++);
    return value;
  }
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(number(1)) % limit; }
  bool flag() { return number(1) % 2 == 1; }

private:
  const uint8_t* next_;
  const uint8_t* end_;
};
