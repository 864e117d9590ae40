#pragma once

#include <string>
#include <vector>

#include "StreamDecoder.h"

// FrameHash: frames as `ffmpeg -f framemd5` prints them.
// Errors     throws Failures.
class FrameHash {
public:
  explicit FrameHash(const StreamDecoder& decoder);

  // The lines before the first frame, which is this one; each ends in a line feed.
  std::string header(const AVFrame& first) const;
  // Time, length, size and hash of a frame's bytes, as raw video or as interleaved samples.
  std::string line(const AVFrame& frame);

private:
  void takePicture(const AVFrame& frame);
  void takeSound(const AVFrame& frame);

  const StreamDecoder& decoder_;
  const bool isPicture_;
  const AVRational base_;  // in which times are printed
  std::vector<uint8_t> bytes_;
};
