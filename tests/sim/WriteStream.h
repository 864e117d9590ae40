#pragma once

#include <cstdint>
#include <string>
#include <vector>

// WriteStream: the model of one file that is being written: every byte that was given to it, where
// it belongs, and what became of it.
// Story      A write takes its place as it is asked for, and gives it back when it is refused. The
//            last `held` bytes are in the write cache. What reaches the disk must be bytes that
//            were given, in their place, and once. What failed, or whose caller was told so, is
//            excused. When the file is closed nothing else may be missing.
// Errors     what does not hold is said in words; an empty text: it holds.
class WriteStream {
public:
  void begin(uint64_t at) { base_ = at; }

  // Where the next byte belongs, and where the file's position is.
  uint64_t end() const { return base_ + bytes_.size(); }
  uint64_t position() const { return end() - held_; }
  uint32_t held() const { return held_; }
  void hold(uint32_t bytes) { held_ = bytes; }

  void append(const unsigned char* bytes, uint32_t count);
  // The last ones were refused.
  void takeBack(uint32_t count);

  // A write has ended: of `bytes`, the first `done` are on the disk.
  std::string whyNotMoved(uint64_t offset, const unsigned char* buffer, uint32_t bytes,
                          uint32_t done, bool failed);
  // Whether any of them needed it.
  bool excuse(uint64_t offset, uint64_t bytes);
  // For a file that is closed.
  std::string whyNotComplete() const;

  const unsigned char* at(uint64_t offset) const { return bytes_.data() + (offset - base_); }

private:
  enum eFate : unsigned char { eGiven, eExcused, eWritten };

  uint64_t base_ = 0;
  uint32_t held_ = 0;
  std::vector<unsigned char> bytes_;
  std::vector<unsigned char> fates_;
};
