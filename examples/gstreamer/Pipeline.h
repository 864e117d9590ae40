#pragma once

#include <gst/app/gstappsink.h>

#include <memory>
#include <string>

#include "FsysSource.h"

// Pipeline: a file of the catalogue, decoded by GStreamer.
// Threads    the main thread; the elements have their own.
// Errors     throws Failures: what the bus tells, and Ctrl-C.
class Pipeline {
public:
  // `decoding`: the elements between the file's bytes and the decoded stream, as gst-launch-1.0
  // takes them.
  Pipeline(const LightweightString<wchar_t>& path, const std::string& decoding);
  ~Pipeline();
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  struct SampleEnd {
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
  };
  using Sample = std::unique_ptr<GstSample, SampleEnd>;

  // The next piece of the decoded stream; null at its end.
  Sample next();
  // That which is shown at a time; null where there is none.
  Sample at(double seconds);

private:
  void make(const LightweightString<wchar_t>& path, const std::string& decoding);
  void end();
  void set(GstState state);
  void check();

  GstElement* pipeline_ = nullptr;
  GstAppSink* sink_ = nullptr;
  std::unique_ptr<FsysSource> source_;
  bool isPlaying_ = false;
};
