#include "Pipeline.h"

#include <cmath>

#include "Failure.h"
#include "Interrupt.h"

namespace {

constexpr GstClockTime kLook = 50 * GST_MSECOND;  // between looks at the bus and for Ctrl-C

// Takes the error.
Failure failureOf(GError* error) {
  const Failure failure(Failure::eFailed, error->message);
  g_error_free(error);
  return failure;
}

}  // namespace

Pipeline::Pipeline(const LightweightString<wchar_t>& path, const std::string& decoding) {
  try {
    make(path, decoding);
  } catch (const Failure&) {
    end();
    throw;
  }
}

Pipeline::~Pipeline() { end(); }

void Pipeline::make(const LightweightString<wchar_t>& path, const std::string& decoding) {
  const std::string text =
      "appsrc name=file ! " + decoding + " ! appsink name=decoded sync=false max-buffers=4";
  GError* error = nullptr;
  pipeline_ = gst_parse_launch(text.c_str(), &error);
  if (error) throw failureOf(error);
  const std::unique_ptr<GstElement, decltype(&gst_object_unref)> file(
      gst_bin_get_by_name(GST_BIN(pipeline_), "file"), &gst_object_unref);
  sink_ = GST_APP_SINK(gst_bin_get_by_name(GST_BIN(pipeline_), "decoded"));
  source_ = std::make_unique<FsysSource>(GST_APP_SRC(file.get()), path);
  set(GST_STATE_PAUSED);
}

// The elements first, while they may still ask the source for something.
void Pipeline::end() {
  if (source_) source_->stop();
  if (pipeline_) gst_element_set_state(pipeline_, GST_STATE_NULL);
  source_.reset();
  if (sink_) gst_object_unref(sink_);
  if (pipeline_) gst_object_unref(pipeline_);
}

// Returns when the pipeline is there: paused, it has something to show.
void Pipeline::set(GstState state) {
  GstStateChangeReturn result = gst_element_set_state(pipeline_, state);
  for (;;) {
    check();
    if (result == GST_STATE_CHANGE_SUCCESS) return;
    result = gst_element_get_state(pipeline_, nullptr, nullptr, kLook);
  }
}

void Pipeline::check() {
  if (Interrupt::isRequested()) throw Failure(Failure::eInterrupted, "interrupted");
  GstBus* bus = gst_element_get_bus(pipeline_);
  GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
  gst_object_unref(bus);
  if (!message) return;
  GError* error = nullptr;
  gst_message_parse_error(message, &error, nullptr);
  gst_message_unref(message);
  throw failureOf(error);
}

Pipeline::Sample Pipeline::next() {
  if (!isPlaying_) set(GST_STATE_PLAYING);
  isPlaying_ = true;
  for (;;) {
    Sample sample(gst_app_sink_try_pull_sample(sink_, kLook));
    if (sample) return sample;
    check();
    if (gst_app_sink_is_eos(sink_)) return nullptr;
  }
}

// Paused, a seek ends when the picture of that time has come to the sink.
Pipeline::Sample Pipeline::at(double seconds) {
  const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
  const auto time = std::llround(seconds * GST_SECOND);
  if (!gst_element_seek_simple(pipeline_, GST_FORMAT_TIME, flags, time))
    throw Failure(Failure::eFailed, "the stream cannot be seeked");
  set(GST_STATE_PAUSED);
  for (;;) {
    Sample sample(gst_app_sink_try_pull_preroll(sink_, kLook));
    if (sample) return sample;
    check();
    if (gst_app_sink_is_eos(sink_)) return nullptr;
  }
}
