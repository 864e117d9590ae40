#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "fsys/EngineSettings.h"
#include "fsys/Fsys.h"
#include "fsys/MemRef.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/FileRequestPeer.h"
#include "tests/FsysFilePeer.h"
#include "tests/RecordingFile.h"
#include "tests/support/Pattern.h"
#include "tests/support/Recorder.h"
#include "tests/support/TestDiagnostics.h"
#include "tests/support/TestHolder.h"

// FileRequestTest: requests of a file that starts nothing, and of files of an engine on the fake.
class FileRequestTest : public testing::Test {
protected:
  static constexpr uint32_t kReadFlag = 1;
  static constexpr uint32_t kWriteFlag = 2;

  void SetUp() override {
    OsAtomics::store(FsysError, 1u);
    os_->files().addFolder(L"/media");
    ASSERT_EQ(FsysInitialize(), 1u);
  }
  void TearDown() override {
    FsysUninitialize(Shutdown::eNormal);
    Fsys::BufferSpace_ = nullptr;
    OsAtomics::store(FsysError, 1u);
  }

  RequestHandle makeRead(uint64_t offset, uint32_t bytes, int ticket = 0,
                         bool synchronous = false) {
    return RequestHandle(new FileRequest(true, bytes, offset, false, synchronous, nullptr, &file_,
                                         &Recorder::told, recorder_->ticket(ticket)));
  }
  RequestHandle makeWrite(uint64_t offset, uint32_t bytes, Qv::Ptr<iMemHolder> data, int ticket = 0,
                          bool synchronous = false) {
    return RequestHandle(new FileRequest(false, bytes, offset, false, synchronous, data, &file_,
                                         &Recorder::told, recorder_->ticket(ticket)));
  }
  static RequestHandle inStatus(RequestHandle request, uint32_t status) {
    request->setStatus(status);
    return request;
  }

  // One line of output for a failed condition.
  static std::vector<std::string> assertion(const std::string& condition, int line) {
    return {"assertion failed " + condition + " at fsys/FileRequest line " + std::to_string(line) +
            "\n"};
  }

  // A file of pattern bytes on the fake, opened through the engine.
  FsysFile* openToRead(uint32_t bytes, uint32_t coalesceLength = 1 << 20) {
    os_->files().addFile(L"/media/a", patternBytes(bytes));
    return open(L"/media/a", coalesceLength, kReadFlag);
  }
  FsysFile* openToWrite(uint32_t coalesceLength = 1 << 20) {
    return open(L"/media/w", coalesceLength, kWriteFlag);
  }
  void queueRead(FsysFile* file, uint64_t offset, uint32_t bytes, int ticket = 0) {
    ASSERT_EQ(
        file->QueueReadRequest(new FileRequest(true, bytes, offset, false, false, nullptr, file,
                                               &Recorder::told, recorder_->ticket(ticket))),
        1u);
  }
  static uint32_t startReads(FsysFile* file) {
    return file->StartRequests(&FsysFilePeer::readRequests(*file));
  }
  static uint32_t startWrites(FsysFile* file) {
    return file->StartRequests(&FsysFilePeer::writeRequests(*file));
  }

  FakeOSScope os_;
  TestDiagnostics texts_;
  Qv::Ptr<Recorder> recorder_{new Recorder};
  RecordingFile file_;

private:
  FsysFile* open(const wchar_t* path, uint32_t coalesceLength, uint32_t flags) {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, LightweightString<wchar_t>(path), coalesceLength, flags, nullptr),
              1u);
    return file;
  }
};

using Lines = std::vector<std::string>;
