#pragma once

#include <memory>

#include "fsys/FileRequest.h"

// FileRequestPeer: looks into a request, and puts it where a transfer or a file would have.
struct FileRequestPeer {
  static bool isRead(const FileRequest& x) { return x.is_read_; }
  static bool isSynchronous(const FileRequest& x) { return x.synchronous_; }
  static bool isDeferrable(const FileRequest& x) { return x.deferrable_; }
  static bool hasTransfer(const FileRequest& x) { return !x.startedWithoutTransfer_; }
  static uint64_t offset(const FileRequest& x) { return x.offset_; }
  static uint32_t byteCount(const FileRequest& x) { return x.ByteCount_; }
  static int32_t startAdjust(const FileRequest& x) { return x.startAdjust_; }
  static int32_t lengthAdjust(const FileRequest& x) { return x.lengthAdjust_; }
  static uint32_t bytesDone(const FileRequest& x) { return x.bytesDone_; }
  static uint16_t startRetries(const FileRequest& x) { return x.startRetries_; }
  static uint64_t lastUse(const FileRequest& x) { return x.lastUse_; }
  static FsysFile* file(const FileRequest& x) { return x.file_; }
  static const Qv::Ptr<iMemHolder>& buffer(const FileRequest& x) { return x.buffer_; }
  static const Qv::Ptr<iAsyncContext>& asyncContext(const FileRequest& x) {
    return x.asyncContext_;
  }
  static Qv::Ptr<iThreadEvent>& waiter(FileRequest& x) { return x.waiter_; }
  static const Vector<CompletionInfo*>& entries(const FileRequest& x) { return x.completions_; }

  static size_t mergedHolders(const FileRequest& x) { return x.mergedHolders_.size(); }

  static void addEntry(FileRequest& x, const CompletionInfo& entry) {
    x.completions_.add(new CompletionInfo(entry));
  }
  static void setBuffer(FileRequest& x, const Qv::Ptr<iMemHolder>& buffer) { x.buffer_ = buffer; }
  static void setCarriedByCaller(FileRequest& x) { x.carriedByCaller_ = true; }
  static void setBytesDone(FileRequest& x, uint32_t bytes) { x.bytesDone_ = bytes; }
};

// A request that lets its share go at the end of a scope.
struct FileRequestRelease {
  void operator()(FileRequest* request) const { request->release(); }
};
using RequestHandle = std::unique_ptr<FileRequest, FileRequestRelease>;
