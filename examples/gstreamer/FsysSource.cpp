#include "FsysSource.h"

#include <algorithm>

#include "Failure.h"

namespace {

constexpr guint kAny = static_cast<guint>(-1);  // as many bytes as are convenient
constexpr gsize kConvenient_bytes = 64 << 10;

void letGo(gpointer holder) { delete static_cast<Qv::Ptr<iMemHolder>*>(holder); }

}  // namespace

FsysSource::FsysSource(GstAppSrc* source, const LightweightString<wchar_t>& path)
    : source_(GST_APP_SRC(gst_object_ref(source))),
      path_(path),
      reader_(path, [this] { return isStopped_.load(); }) {
  if (!reader_.isOpen()) {
    gst_object_unref(source_);
    throw Failure(Failure::eFailed, "opening " + inQuotes(path) + ": " + wordsOf(reader_.error()));
  }
  gst_app_src_set_stream_type(source_, GST_APP_STREAM_TYPE_RANDOM_ACCESS);
  gst_app_src_set_size(source_, static_cast<gint64>(reader_.size()));
  g_object_set(source_, "format", GST_FORMAT_BYTES, nullptr);
  GstAppSrcCallbacks callbacks = {};
  callbacks.need_data = &needData;
  callbacks.seek_data = &seekData;
  gst_app_src_set_callbacks(source_, &callbacks, this, nullptr);
}

FsysSource::~FsysSource() {
  GstAppSrcCallbacks nobody = {};
  gst_app_src_set_callbacks(source_, &nobody, nullptr, nullptr);
  gst_object_unref(source_);
}

void FsysSource::needData(GstAppSrc*, guint bytes, gpointer self) {
  static_cast<FsysSource*>(self)->push(bytes);
}

gboolean FsysSource::seekData(GstAppSrc*, guint64 position, gpointer self) {
  static_cast<FsysSource*>(self)->position_ = position;
  return TRUE;
}

// Whoever pulls gets as much as he asked for, fewer bytes only at the end of the file.
void FsysSource::push(guint bytes) {
  GstBuffer* buffer = gst_buffer_new();
  const uint64_t begin = position_;
  const FsysReader::Outcome outcome = append(buffer, bytes == kAny ? kConvenient_bytes : bytes);
  // What came before a failure is not passed on: the file is at fault, and the failure is told.
  if (gst_buffer_get_size(buffer) > 0 && outcome != FsysReader::eFailed) {
    GST_BUFFER_OFFSET(buffer) = begin;
    GST_BUFFER_OFFSET_END(buffer) = position_;
    gst_app_src_push_buffer(source_, buffer);
  } else {
    gst_buffer_unref(buffer);
    tell(outcome);
  }
}

// Up to so many bytes from the position on; they may lie in two of the engine's blocks.
FsysReader::Outcome FsysSource::append(GstBuffer* buffer, gsize bytes) {
  while (bytes > 0) {
    FsysReader::Slice slice;
    const FsysReader::Outcome outcome = reader_.read(position_, slice);
    if (outcome != FsysReader::eBytes) return outcome;
    const gsize count = std::min<gsize>(bytes, slice.length);
    auto* holder = new Qv::Ptr<iMemHolder>(slice.holder);
    gst_buffer_append_memory(buffer, gst_memory_new_wrapped(GST_MEMORY_FLAG_READONLY,
                                                            const_cast<unsigned char*>(slice.bytes),
                                                            count, 0, count, holder, &letGo));
    position_ += count;
    bytes -= count;
  }
  return FsysReader::eBytes;
}

void FsysSource::tell(FsysReader::Outcome outcome) {
  if (outcome == FsysReader::eFailed)
    GST_ELEMENT_ERROR(source_, RESOURCE, READ,
                      ("reading %s: %s", inQuotes(path_).c_str(), wordsOf(reader_.error()).c_str()),
                      ("at byte %" G_GUINT64_FORMAT, position_));
  gst_app_src_end_of_stream(source_);
}
