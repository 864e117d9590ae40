#include "FsysAvio.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "platform/OsErrors.h"

namespace {

constexpr int kBuffer_bytes = 64 << 10;  // what libavformat reads at once

int averrorOf(uint32_t error) { return AVERROR(static_cast<int>(error - eOsErrorBase)); }

}  // namespace

FsysAvio::FsysAvio(const LightweightString<wchar_t>& path, const AVIOInterruptCB& interrupt)
    : reader_(path, [interrupt] {
        return interrupt.callback != nullptr && interrupt.callback(interrupt.opaque) != 0;
      }) {}

int FsysAvio::open(AVIOContext** context, const LightweightString<wchar_t>& path,
                   const AVIOInterruptCB& interrupt) try {
  *context = nullptr;
  std::unique_ptr<FsysAvio> self(new FsysAvio(path, interrupt));
  if (!self->reader_.isOpen()) return averrorOf(self->reader_.error());
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBuffer_bytes));
  if (!buffer) return AVERROR(ENOMEM);
  *context = avio_alloc_context(buffer, kBuffer_bytes, 0, self.get(), &readPacket, nullptr, &seek);
  if (!*context) {
    av_free(buffer);
    return AVERROR(ENOMEM);
  }
  // The context has it now.
  static_cast<void>(self.release());
  return 0;
} catch (const std::bad_alloc&) {
  return AVERROR(ENOMEM);
}

void FsysAvio::close(AVIOContext** context) {
  if (!*context) return;
  delete static_cast<FsysAvio*>((*context)->opaque);
  // It may be another by now than the one that it was made with.
  av_freep(&(*context)->buffer);
  avio_context_free(context);
}

const FsysReader& FsysAvio::reader(const AVIOContext* context) {
  return static_cast<FsysAvio*>(context->opaque)->reader_;
}

void FsysAvio::goOn(AVIOContext* context) {
  context->error = 0;
  context->eof_reached = 0;
}

// libavformat is written in C: nothing may be thrown into it.
int FsysAvio::readPacket(void* self, uint8_t* buffer, int bytes) try {
  return static_cast<FsysAvio*>(self)->read(buffer, bytes);
} catch (const std::bad_alloc&) {
  return AVERROR(ENOMEM);
}

int FsysAvio::read(uint8_t* buffer, int bytes) {
  FsysReader::Slice slice;
  switch (reader_.read(static_cast<uint64_t>(position_), slice)) {
    case FsysReader::eEnd:
      return AVERROR_EOF;
    case FsysReader::eInterrupted:
      return AVERROR_EXIT;
    case FsysReader::eFailed:
      return averrorOf(reader_.error());
    case FsysReader::eBytes:
      break;
  }
  const int count = static_cast<int>(std::min<uint32_t>(slice.length, bytes));
  std::memcpy(buffer, slice.bytes, count);
  position_ += count;
  return count;
}

// Moves the position alone: what is in flight and of no use any more is let go of by the next read.
// So a seek never waits, and one that is interrupted has happened.
int64_t FsysAvio::seek(void* opaque, int64_t offset, int whence) {
  auto* self = static_cast<FsysAvio*>(opaque);
  int64_t from = 0;
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return static_cast<int64_t>(self->reader_.size());
    case SEEK_SET:
      break;
    case SEEK_CUR:
      from = self->position_;
      break;
    case SEEK_END:
      from = static_cast<int64_t>(self->reader_.size());
      break;
    default:
      return AVERROR(EINVAL);
  }
  if (offset < -from || offset > INT64_MAX - from) return AVERROR(EINVAL);
  self->position_ = from + offset;
  return self->position_;
}

void FsysAvio::serve(AVFormatContext* format) {
  format->io_open = &openForFormat;
  format->io_close2 = &closeForFormat;
}

int FsysAvio::openForFormat(AVFormatContext* format, AVIOContext** context, const char* url,
                            int flags, AVDictionary**) {
  if ((flags & AVIO_FLAG_WRITE) != 0) return AVERROR(EACCES);
  constexpr std::string_view kScheme = "file:";
  std::string_view name = url;
  if (name.substr(0, kScheme.size()) == kScheme) name.remove_prefix(kScheme.size());
  return open(context, fromUTF8(name), format->interrupt_callback);
}

int FsysAvio::closeForFormat(AVFormatContext*, AVIOContext* context) {
  close(&context);
  return 0;
}
