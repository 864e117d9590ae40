#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

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
  // As many bytes as the next one says; fewer at the end.
  std::string_view text() {
    return textOf(std::min(static_cast<size_t>(number(1)), static_cast<size_t>(end_ - next_)));
  }
  std::string_view rest() { return textOf(static_cast<size_t>(end_ - next_)); }

private:
  std::string_view textOf(size_t count) {
    const auto* begin = reinterpret_cast<const char*>(next_);
    next_ += count;
    return {begin, count};
  }

  const uint8_t* next_;
  const uint8_t* end_;
};
