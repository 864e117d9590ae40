#pragma once

#include <cstdint>
#include <vector>

#include "fsys/FsysFile.h"
#include "tests/FileRequestPeer.h"

// RecordingFile: a file that writes down the transfers it is asked to start, and starts none.
class RecordingFile final : public FsysFile {
public:
  struct Start {
    bool write;
    uint64_t offset;
    uint32_t bytes;
    bool deferrable;
    bool synchronous;
    size_t entries;
    FsysFile* file;
    std::vector<unsigned char> data;  // what a write would have written
  };

  explicit RecordingFile(uint32_t sectorSize = 512, uint32_t coalesceLength = 1 << 20)
      : FsysFile(LightweightString<wchar_t>(L"/recorded"), nullptr, sectorSize, iDiskDrive::eFixed,
                 3, coalesceLength) {}

  uint32_t LowLevelAsyncRead(FileRequest* request) override { return record(request, false); }
  uint32_t LowLevelAsyncWrite(FileRequest* request) override { return record(request, true); }

  const std::vector<Start>& starts() const { return starts_; }
  void answerWith(uint32_t result) { result_ = result; }

private:
  uint32_t record(FileRequest* request, bool write) {
    Start start{write,
                request->transferOffset(),
                static_cast<uint32_t>(request->transferBytes()),
                FileRequestPeer::isDeferrable(*request),
                FileRequestPeer::isSynchronous(*request),
                FileRequestPeer::entries(*request).size(),
                FileRequestPeer::file(*request),
                {}};
    if (write) {
      const unsigned char* from =
          FileRequestPeer::buffer(*request)->getBuffer() + FileRequestPeer::startAdjust(*request);
      start.data.assign(from, from + start.bytes);
    }
    starts_.push_back(start);
    return result_;
  }

  std::vector<Start> starts_;
  uint32_t result_ = 1;
};
