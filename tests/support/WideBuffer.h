#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

// Four gibibytes of addresses over a few mebibytes of memory.
class WideBuffer {
public:
  static constexpr size_t kBytes = size_t{1} << 32;

  WideBuffer() {
    int memory = memfd_create("wide", MFD_CLOEXEC);
    if (memory < 0 || ftruncate(memory, kPiece) != 0) return;
    void* room =
        mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) return;
    data_ = static_cast<unsigned char*>(room);
    for (size_t at = 0; at < kBytes; at += kPiece)
      mmap(data_ + at, kPiece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, memory, 0);
    close(memory);
  }
  ~WideBuffer() {
    if (data_) munmap(data_, kBytes);
  }
  WideBuffer(const WideBuffer&) = delete;
  WideBuffer& operator=(const WideBuffer&) = delete;
  unsigned char* data() { return data_; }

private:
  static constexpr size_t kPiece = 4 << 20;
  unsigned char* data_ = nullptr;
};
