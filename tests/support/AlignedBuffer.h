#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

// AlignedBuffer: memory that direct transfers of any device take, filled with a byte.
class AlignedBuffer {
public:
  explicit AlignedBuffer(size_t bytes, unsigned char fill = 0xEE)
      : memory_(static_cast<unsigned char*>(std::aligned_alloc(kAlignment, round(bytes))),
                &std::free),
        size_(bytes) {
    for (size_t i = 0; i < round(bytes); ++i) memory_[i] = fill;
  }

  unsigned char* data() { return memory_.get(); }
  size_t size() const { return size_; }
  unsigned char& operator[](size_t index) { return memory_[index]; }

private:
  static constexpr size_t kAlignment = 4096;
  static size_t round(size_t bytes) { return (bytes + kAlignment) / kAlignment * kAlignment; }

  std::unique_ptr<unsigned char[], decltype(&std::free)> memory_;
  size_t size_;
};
