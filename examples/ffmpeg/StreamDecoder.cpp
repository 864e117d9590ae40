#include "StreamDecoder.h"

#include <algorithm>
#include <cmath>

#include "AvError.h"

namespace {

// No picture up to the time was found: it was looked for from too late on.
constexpr int kTooLate = 1;

int64_t durationOf(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
  return frame.duration;
#else
  return frame.pkt_duration;
#endif
}

}  // namespace

StreamDecoder::StreamDecoder(const MediaInput& input, AVMediaType type, int threads)
    : input_(input), format_(input.format()) {
  try {
    open(type, threads);
  } catch (const Failure&) {
    free();
    throw;
  }
}

StreamDecoder::~StreamDecoder() { free(); }

void StreamDecoder::free() {
  av_frame_free(&ahead_);
  av_packet_free(&packet_);
  avcodec_free_context(&codec_);
}

void StreamDecoder::open(AVMediaType type, int threads) {
  const std::string what = type == AVMEDIA_TYPE_VIDEO ? "pictures" : "sound";
  const std::string doing = "looking for " + what + " in " + input_.name();
  const AVCodec* decoder = nullptr;
  int result = av_find_best_stream(format_, type, -1, -1, &decoder, 0);
  if (result < 0) throw avFailure(doing, result);
  stream_ = format_->streams[result];
  // What the others hold is not even read where the container tells what lies where.
  for (unsigned each = 0; each < format_->nb_streams; ++each)
    if (format_->streams[each] != stream_) format_->streams[each]->discard = AVDISCARD_ALL;
  codec_ = avcodec_alloc_context3(decoder);
  packet_ = av_packet_alloc();
  ahead_ = av_frame_alloc();
  if (!codec_ || !packet_ || !ahead_) throw avFailure(doing, AVERROR(ENOMEM));
  result = avcodec_parameters_to_context(codec_, stream_->codecpar);
  if (result < 0) throw avFailure(doing, result);
  codec_->pkt_timebase = stream_->time_base;
  codec_->thread_count = threads;
  // The same figures on every machine.
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  result = avcodec_open2(codec_, decoder, nullptr);
  if (result < 0) throw avFailure(doing, result);
}

AVRational StreamDecoder::rate() const { return av_guess_frame_rate(format_, stream_, nullptr); }

AVRational StreamDecoder::aspectOf(const AVFrame& frame) const {
  const AVRational told = stream_->sample_aspect_ratio;
  return told.num != 0 ? told : frame.sample_aspect_ratio;
}

int64_t StreamDecoder::start() const {
  if (format_->start_time == AV_NOPTS_VALUE) return 0;
  return av_rescale_q(format_->start_time, AV_TIME_BASE_Q, stream_->time_base);
}

int64_t StreamDecoder::timeOf(const AVFrame& frame) const {
  return frame.best_effort_timestamp - start();
}

int StreamDecoder::next(AVFrame* frame) {
  for (;;) {
    const int result = avcodec_receive_frame(codec_, frame);
    if (result >= 0) {
      giveTime(frame);
      return 0;
    }
    if (result == AVERROR_EOF) return ended_;
    if (result != AVERROR(EAGAIN)) ++damaged_;
    const int fed = feed();
    if (fed < 0) return fed;
  }
}

// A frame of a broken file may have no time: it follows the one before it.
void StreamDecoder::giveTime(AVFrame* frame) {
  if (frame->best_effort_timestamp == AV_NOPTS_VALUE) frame->best_effort_timestamp = expected_;
  expected_ = frame->best_effort_timestamp + durationOf(*frame);
}

// Gives the decoder one packet, or tells it that there are no more: what it holds comes out then,
// also before the failure of a read is told. An interruption changes nothing.
int StreamDecoder::feed() {
  const int result = av_read_frame(format_, packet_);
  if (result == AVERROR_EXIT) return result;
  if (result < 0) {
    ended_ = result;
    avcodec_send_packet(codec_, nullptr);
    return 0;
  }
  if (packet_->stream_index == stream_->index) {
    const bool isWhole = (packet_->flags & AV_PKT_FLAG_CORRUPT) == 0;
    const int sent = avcodec_send_packet(codec_, packet_);
    if (sent < 0 || !isWhole) ++damaged_;
  }
  av_packet_unref(packet_);
  return 0;
}

int StreamDecoder::show(double seconds, AVFrame* picture) {
  // Time bases may be as coarse as the pictures: half of one is not the next.
  const int64_t time = av_rescale_q_rnd(std::llround(seconds * AV_TIME_BASE), AV_TIME_BASE_Q,
                                        stream_->time_base, AV_ROUND_DOWN);
  if (stream_->duration > 0 && time >= stream_->duration) return AVERROR_EOF;
  const int64_t second = av_rescale_q(AV_TIME_BASE, AV_TIME_BASE_Q, stream_->time_base);
  // The key picture before a time may not be enough: what is shown after it may need one more.
  for (int64_t back = 0;; back = std::max(second, 4 * back)) {
    int result = restart(std::max<int64_t>(time - back, 0));
    if (result >= 0) result = walkTo(time, picture);
    if (result != kTooLate) return result;
    if (back >= time) return AVERROR_EOF;
  }
}

int StreamDecoder::restart(int64_t from) {
  input_.goOn();
  ended_ = 0;
  avcodec_flush_buffers(codec_);
  return av_seek_frame(format_, stream_->index, start() + from, AVSEEK_FLAG_BACKWARD);
}

// The last one that begins at that time or before.
int StreamDecoder::walkTo(int64_t time, AVFrame* picture) {
  bool isShown = false;
  int result;
  while ((result = next(ahead_)) >= 0) {
    if (timeOf(*ahead_) > time) {
      av_frame_unref(ahead_);
      return isShown ? 0 : kTooLate;
    }
    av_frame_unref(picture);
    av_frame_move_ref(picture, ahead_);
    isShown = true;
  }
  if (result != AVERROR_EOF) return result;
  if (isShown && time < timeOf(*picture) + std::max<int64_t>(durationOf(*picture), 1)) return 0;
  // What is decoded from within a stream may not show all that comes: from further back it does.
  return !isShown || time < stream_->duration ? kTooLate : AVERROR_EOF;
}
