#include "MediaInput.h"

#include "AvError.h"
#include "FsysAvio.h"
#include "PictureSequence.h"

MediaInput::MediaInput(const MediaCatalogue::File& file, const std::string& rate,
                       const AVIOInterruptCB& interrupt)
    : name_(inQuotes(file.path)), format_(avformat_alloc_context()) {
  if (!format_) throw avFailure("opening " + name_, AVERROR(ENOMEM));
  format_->interrupt_callback = interrupt;
  FsysAvio::serve(format_);
  try {
    open(file, rate);
    const int result = avformat_find_stream_info(format_, nullptr);
    if (result < 0) throw avFailure("looking into " + name_, result);
  } catch (const Failure&) {
    avformat_close_input(&format_);
    FsysAvio::close(&context_);
    throw;
  }
}

MediaInput::~MediaInput() {
  avformat_close_input(&format_);
  FsysAvio::close(&context_);
}

// A context that libavformat was given is not closed by it. On failure it frees the format.
void MediaInput::open(const MediaCatalogue::File& file, const std::string& rate) {
  std::string path;
  if (!toPathBytes(file.path, path)) throw Failure(Failure::eFailed, name_ + " is no file's name");
  const PictureSequence pictures(file.isLinked ? path : "");
  int result;
  if (pictures.isOne()) {
    result = openSequence(pictures.pattern, pictures.first, rate);
  } else {
    result = FsysAvio::open(&context_, file.path, format_->interrupt_callback);
    if (result < 0) throw avFailure("opening " + name_, result);
    format_->pb = context_;
    result = avformat_open_input(&format_, path.c_str(), nullptr, nullptr);
  }
  if (result < 0) throw avFailure("opening " + name_, result);
}

int MediaInput::openSequence(const std::string& pattern, const std::string& first,
                             const std::string& rate) {
  AVDictionary* options = nullptr;
  av_dict_set(&options, "pattern_type", "sequence", 0);
  av_dict_set(&options, "start_number", first.c_str(), 0);
  av_dict_set(&options, "framerate", rate.c_str(), 0);
  const int result =
      avformat_open_input(&format_, pattern.c_str(), av_find_input_format("image2"), &options);
  av_dict_free(&options);
  return result;
}

void MediaInput::goOn() const {
  if (context_) FsysAvio::goOn(context_);
}
