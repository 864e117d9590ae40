#pragma once

#include <cstdint>

#include "FsysReader.h"

extern "C" {
#include <libavformat/avformat.h>
}

// FsysAvio: a file of the engine as an I/O context of libavformat.
// Story      `open` makes a context that a demuxer reads from; `serve` has a demuxer open the files
//            that it finds by itself (the pictures of a sequence) the same way. Reading ahead is
//            the FsysReader's.
// Threads    as libavformat uses a context: one at a time.
// Ownership  a context is closed by `close`, or by the format that was served; nothing of the
//            engine calls back after that.
// Errors     AVERROR codes: of the system's errors, AVERROR_EOF, and AVERROR_EXIT for what the
//            interrupt callback ended, within 50 ms. libavformat remembers the failure of a read in
//            the context: whoever goes on after one calls `goOn` first.
class FsysAvio {
public:
  // 0, or an AVERROR and no context.
  static int open(AVIOContext** context, const LightweightString<wchar_t>& path,
                  const AVIOInterruptCB& interrupt);
  // Null is none. The pointer is cleared.
  static void close(AVIOContext** context);
  static void serve(AVFormatContext* format);
  static void goOn(AVIOContext* context);
  static const FsysReader& reader(const AVIOContext* context);

private:
  FsysAvio(const LightweightString<wchar_t>& path, const AVIOInterruptCB& interrupt);

  static int readPacket(void* self, uint8_t* buffer, int bytes);
  static int64_t seek(void* self, int64_t offset, int whence);
  static int openForFormat(AVFormatContext* format, AVIOContext** context, const char* url,
                           int flags, AVDictionary** options);
  static int closeForFormat(AVFormatContext* format, AVIOContext* context);

  int read(uint8_t* buffer, int bytes);

  FsysReader reader_;
  int64_t position_ = 0;
};
