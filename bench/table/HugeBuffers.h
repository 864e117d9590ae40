#pragma once

#include <cstddef>

// HugeBuffers: memory of 2 MiB pages, where the system gives them, touched before it is used.
// Errors     throws std::bad_alloc.
class HugeBuffers {
public:
  explicit HugeBuffers(size_t bytes);
  ~HugeBuffers();
  HugeBuffers(const HugeBuffers&) = delete;
  HugeBuffers& operator=(const HugeBuffers&) = delete;

  unsigned char* at(size_t offset) const { return start_ + offset; }

private:
  void* mapping_;
  size_t mapped_;
  unsigned char* start_;
};
