#include "FrameHash.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "AvError.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/md5.h>
}

namespace {

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string formatted(const char* format, ...) {
  char text[256];
  va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof(text), format, values);
  va_end(values);
  return text;
}

std::string md5Of(const std::vector<uint8_t>& bytes) {
  uint8_t digest[16];
  av_md5_sum(digest, bytes.data(), bytes.size());
  std::string text;
  for (uint8_t byte : digest) text += formatted("%02x", byte);
  return text;
}

// Where the file does not say which channel is which, that which so many usually are.
std::string layoutOf(const AVChannelLayout& told) {
  char name[64] = "";
  AVChannelLayout usual = {};
  av_channel_layout_default(&usual, told.nb_channels);
  const bool isTold = told.order != AV_CHANNEL_ORDER_UNSPEC;
  av_channel_layout_describe(isTold ? &told : &usual, name, sizeof(name));
  av_channel_layout_uninit(&usual);
  return name;
}

}  // namespace

FrameHash::FrameHash(const StreamDecoder& decoder)
    : decoder_(decoder),
      isPicture_(decoder.codec()->codec_type == AVMEDIA_TYPE_VIDEO),
      base_(isPicture_ ? av_inv_q(decoder.rate()) : AVRational{1, decoder.codec()->sample_rate}) {}

std::string FrameHash::header(const AVFrame& first) const {
  const AVCodecContext& codec = *decoder_.codec();
  const AVCodecID raw = isPicture_ ? AV_CODEC_ID_RAWVIDEO : av_get_pcm_codec(codec.sample_fmt, -1);
  std::string text = "#format: frame checksums\n#version: 2\n#hash: MD5\n";
  text += formatted("#tb 0: %d/%d\n", base_.num, base_.den);
  text += formatted("#media_type 0: %s\n", isPicture_ ? "video" : "audio");
  text += formatted("#codec_id 0: %s\n", avcodec_get_name(raw));
  if (isPicture_) {
    const AVRational aspect = decoder_.aspectOf(first);
    text += formatted("#dimensions 0: %dx%d\n", first.width, first.height);
    text += formatted("#sar 0: %d/%d\n", aspect.num, aspect.den);
  } else {
    text += formatted("#sample_rate 0: %d\n", codec.sample_rate);
    text += formatted("#channel_layout_name 0: %s\n", layoutOf(codec.ch_layout).c_str());
  }
  return text + "#stream#, dts,        pts, duration,     size, hash\n";
}

std::string FrameHash::line(const AVFrame& frame) {
  if (isPicture_)
    takePicture(frame);
  else
    takeSound(frame);
  const int64_t time = av_rescale_q(decoder_.timeOf(frame), decoder_.stream()->time_base, base_);
  const int64_t length = isPicture_ ? 1 : frame.nb_samples;
  return formatted("0, %10" PRId64 ", %10" PRId64 ", %8" PRId64 ", %8zu, ", time, time, length,
                   bytes_.size()) +
         md5Of(bytes_) + "\n";
}

// Without what lies behind each of its lines.
void FrameHash::takePicture(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  int size = av_image_get_buffer_size(format, frame.width, frame.height, 1);
  if (size >= 0) {
    bytes_.resize(static_cast<size_t>(size));
    size = av_image_copy_to_buffer(bytes_.data(), size, frame.data, frame.linesize, format,
                                   frame.width, frame.height, 1);
  }
  if (size < 0) throw avFailure("copying a picture", size);
}

void FrameHash::takeSound(const AVFrame& frame) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const size_t sample = static_cast<size_t>(av_get_bytes_per_sample(format));
  const size_t channels = static_cast<size_t>(frame.ch_layout.nb_channels);
  const size_t count = static_cast<size_t>(frame.nb_samples);
  bytes_.resize(sample * channels * count);
  if (!av_sample_fmt_is_planar(format)) {
    std::memcpy(bytes_.data(), frame.extended_data[0], bytes_.size());
    return;
  }
  for (size_t channel = 0; channel < channels; ++channel)
    for (size_t each = 0; each < count; ++each)
      std::memcpy(&bytes_[(each * channels + channel) * sample],
                  frame.extended_data[channel] + each * sample, sample);
}
