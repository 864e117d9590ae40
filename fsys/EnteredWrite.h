#pragma once

#include "fsys/FileRequest.h"
#include "fsys/FsysFile.h"

// A write as its caller has it. The request is shared: it may be merged away or finished before the
// caller waits.
struct FsysFile::EnteredWrite {
  FileRequest* const request;
  const Qv::Ptr<iThreadEvent> waiter;
  const bool countsAsDeferred;
  const bool byCaller;

  EnteredWrite(const FsysFile& file, FileRequest* write)
      : request(write),
        waiter(write->waiter_),
        countsAsDeferred(file.isCountedAsDeferred(write)),
        byCaller(file.isCarriedByCaller(write)) {
    request->retain();
    request->carriedByCaller_ = byCaller;
  }
  ~EnteredWrite() { request->release(); }
  EnteredWrite(const EnteredWrite&) = delete;
  EnteredWrite& operator=(const EnteredWrite&) = delete;
};
