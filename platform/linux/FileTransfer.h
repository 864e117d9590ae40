#pragma once

#include <cstdint>

#include "platform/linux/OpenDescriptors.h"

// FileTransfer: how far one transfer has come, and what of it the system is to do next.
// Story      Whoever carries a transfer out asks for the next part, has the system do it, and gives
//            the outcome back, until the transfer has ended. All rules are here: a refused direct
//            part is done again through the page cache, an interrupted or short one is continued, a
//            read that ended early has its rest zero-filled. It makes no system call itself.
// Threads    one at a time.
// Ownership  nothing: the descriptors and the buffer outlive it.
// Units      bytes; an outcome is a count, or the negative of an error number of the system's.
// States     going on -> ended, by take(); done() and error() are final then.
class FileTransfer {
public:
  enum eDirection : uint8_t { eRead, eWrite };
  struct Part {
    int descriptor = -1;
    uint64_t offset = 0;
    unsigned char* address = nullptr;
    uint32_t bytes = 0;
    bool direct = false;
  };
  // Most bytes of one part: below what the system takes at once, and aligned for every device.
  static constexpr uint32_t kLargestPart = 1u << 30;

  FileTransfer(eDirection direction, OpenDescriptors* descriptors, uint64_t offset, void* buffer,
               uint32_t bytes);
  // All parts go through the page cache, whatever the alignment. Before the first part.
  void goThroughCache() { mayGoDirect_ = false; }

  // 0, or why no transfer can be made: no buffer, an offset that the system does not know, or a
  // file that was not opened for it. The system is not asked.
  static uint32_t check(eDirection direction, const OpenDescriptors& descriptors, uint64_t offset,
                        const void* buffer, uint32_t bytes);

  eDirection direction() const { return direction_; }
  // While the transfer goes on. The part is kept until its outcome is taken.
  const Part& nextPart();
  // The outcome of the last part. True when the transfer has ended.
  bool take(int64_t outcome);
  // The last part could not be done without waiting: whoever does the next one may wait.
  bool mustWait() const { return mustWait_; }

  uint32_t done() const { return done_; }
  // 0, or the system's error number.
  int error() const { return error_; }

private:
  bool end(int error);
  bool takeFailure(int error);

  OpenDescriptors* descriptors_;
  uint64_t offset_;
  unsigned char* buffer_;
  uint32_t bytes_;
  uint32_t done_ = 0;
  int error_ = 0;
  Part part_;
  eDirection direction_;
  bool mustWait_ = false;
  bool mayGoDirect_ = true;
};
