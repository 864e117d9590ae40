#pragma once

#include <cstdint>

#include "MediaInput.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

// StreamDecoder: the pictures, or the sound, of an input.
// Story      `next` gives one frame after another; `show` gives the picture that is on the screen
//            at a time: it goes to a key picture before it and decodes from there on.
// Threads    one at a time.
// Errors     the constructor throws Failures; next and show answer with AVERRORs. What cannot be
//            decoded is passed over, as a player does, and counted.
class StreamDecoder {
public:
  // Of the best stream of that type. `threads`: of the decoder, 0 for as many as there are
  // processors.
  StreamDecoder(const MediaInput& input, AVMediaType type, int threads);
  ~StreamDecoder();
  StreamDecoder(const StreamDecoder&) = delete;
  StreamDecoder& operator=(const StreamDecoder&) = delete;

  const AVStream* stream() const { return stream_; }
  const AVCodecContext* codec() const { return codec_; }
  AVRational rate() const;
  // Of a pixel; what the container says counts.
  AVRational aspectOf(const AVFrame& frame) const;
  // When a frame is shown, from the beginning of the file, in the stream's time base.
  int64_t timeOf(const AVFrame& frame) const;

  // 0 and the next frame; AVERROR_EOF at the end.
  int next(AVFrame* frame);
  // 0 and the picture; AVERROR_EOF where none is shown, before the first or behind the last.
  int show(double seconds, AVFrame* picture);
  // Packets and frames that were broken, so far.
  unsigned damaged() const { return damaged_; }

private:
  void open(AVMediaType type, int threads);
  void free();
  void giveTime(AVFrame* frame);
  int feed();
  int restart(int64_t from);
  int walkTo(int64_t time, AVFrame* picture);
  int64_t start() const;

  const MediaInput& input_;
  AVFormatContext* const format_;
  AVStream* stream_ = nullptr;
  AVCodecContext* codec_ = nullptr;
  AVPacket* packet_ = nullptr;
  AVFrame* ahead_ = nullptr;
  int64_t expected_ = 0;  // when the next frame is shown, if it does not say so
  int ended_ = 0;         // why reading ended: AVERROR_EOF, or the failure
  unsigned damaged_ = 0;
};
