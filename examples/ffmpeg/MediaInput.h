#pragma once

#include <string>

#include "MediaCatalogue.h"

extern "C" {
#include <libavformat/avformat.h>
}

// MediaInput: a file of the catalogue, opened by libavformat through the engine.
// Story      A container, or a still, is read from one FsysAvio. A sequence of pictures is read by
//            libavformat's image2, which opens each picture by itself: it is served with
//            FsysAvio's, and only whether there is a next picture it asks the system.
// Threads    one at a time.
// Errors     throws Failures.
class MediaInput {
public:
  // `rate`: pictures a second, for sequences, which have none of their own.
  MediaInput(const MediaCatalogue::File& file, const std::string& rate,
             const AVIOInterruptCB& interrupt);
  ~MediaInput();
  MediaInput(const MediaInput&) = delete;
  MediaInput& operator=(const MediaInput&) = delete;

  AVFormatContext* format() const { return format_; }
  const std::string& name() const { return name_; }
  // Reading may go on after an interruption.
  void goOn() const;
  // The context of the one file; null for a sequence.
  const AVIOContext* context() const { return context_; }

private:
  void open(const MediaCatalogue::File& file, const std::string& rate);
  int openSequence(const std::string& pattern, const std::string& first, const std::string& rate);

  std::string name_;
  AVIOContext* context_ = nullptr;
  AVFormatContext* format_ = nullptr;
};
