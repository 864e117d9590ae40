#pragma once

#include <gst/app/gstappsrc.h>

#include <atomic>

#include "FsysReader.h"

// FsysSource: feeds an application source of GStreamer from a file of the engine.
// Story      It makes the source one of random access, so that a demuxer may ask for any part of
//            the file. Each part goes out in the memory that the disk wrote it to: a buffer shares
//            the engine's block, and lets go of it when the last element is done with it.
// Threads    made and destroyed by one thread, while the pipeline does not run. The source asks
//            from its own streaming thread, and waits there. stop: any.
// Ownership  shares the source. Buffers may outlive it.
// Errors     of a file that cannot be read the pipeline's bus is told, and the stream ends.
class FsysSource {
public:
  // Throws a Failure when the file cannot be opened.
  FsysSource(GstAppSrc* source, const LightweightString<wchar_t>& path);
  ~FsysSource();
  FsysSource(const FsysSource&) = delete;
  FsysSource& operator=(const FsysSource&) = delete;

  // From now on nothing is waited for, and the stream ends: said before the pipeline is stopped.
  void stop() { isStopped_ = true; }

private:
  static void needData(GstAppSrc* source, guint bytes, gpointer self);
  static gboolean seekData(GstAppSrc* source, guint64 position, gpointer self);

  void push(guint bytes);
  FsysReader::Outcome append(GstBuffer* buffer, gsize bytes);
  void tell(FsysReader::Outcome outcome);

  GstAppSrc* const source_;
  const LightweightString<wchar_t> path_;
  std::atomic<bool> isStopped_{false};
  FsysReader reader_;
  uint64_t position_ = 0;  // of the next byte that goes out; the streaming thread's
};
