#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fsys/DiskManager.h"
#include "fsys/EngineSettings.h"
#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "fsys/FsysPoll.h"
#include "fsys/ResultCodes.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/Pattern.h"
#include "tests/support/Recorder.h"
#include "tests/support/TestDiagnostics.h"
#include "tests/support/TestHolder.h"

using Text = LightweightString<wchar_t>;
using Bytes = std::vector<unsigned char>;

// Looks into the engine, its files and its requests.
struct FsysPeer {
  static const Vector<FsysFile*>& readFiles(const Fsys& engine) { return engine.readFiles_; }
  static const Vector<FsysFile*>& writeFiles(const Fsys& engine) { return engine.writeFiles_; }
  static const Vector<FsysFile*>& openFiles(const Fsys& engine) { return engine.openFiles_; }
  static bool hasReceiver(const Fsys& engine) { return static_cast<bool>(engine.receiver_); }
  static IOCompletionReceiver* receiver(const Fsys& engine) { return engine.receiver_.get(); }
  static FsysPoll* readPoll(const Fsys& engine) { return engine.readPoll_.get(); }
  static FsysPoll* writePoll(const Fsys& engine) { return engine.writePoll_.get(); }
  static uint32_t readBytes(const Fsys& engine) { return engine.readBytesOutstanding_.get(); }
  static uint32_t writeBytes(const Fsys& engine) { return engine.writeBytesOutstanding_.get(); }
  static CriticalSection& readLock(Fsys& engine) { return engine.readFilesLock_; }
  static CriticalSection& writeLock(Fsys& engine) { return engine.writeFilesLock_; }
};

struct FsysPollPeer {
  static unsigned delay_ms(const FsysPoll& poll) { return poll.delay_ms_; }
  static unsigned spare(const FsysPoll& poll) { return poll.spare_; }
  static bool reads(const FsysPoll& poll) { return poll.reads_; }
  static uint32_t threadId(const FsysPoll& poll) { return poll.threadId_; }
  static Qv::Ptr<iThreadEvent>& wake(FsysPoll& poll) { return poll.wake_; }
};

// EngineFixture: an engine on the fake, whose settings are put back afterwards.
class EngineFixture : public testing::Test {
protected:
  void SetUp() override {
    OsAtomics::store(FsysError, 1u);
    os_->files().addFolder(L"/m");
    ASSERT_EQ(FsysInitialize(), 1u);
  }

  void TearDown() override {
    os_->asyncIo().hold(false);
    FsysUninitialize(Shutdown::eNormal);
    Fsys::BufferSpace_ = nullptr;
    DiskManager::deInit();
    FsysSetNetworkWriteCaching(false);
    FsysSetImmediateRequestHandling(true);
    FsysSetWriteSpeedWarning(true);
    OsAtomics::store(FsysError, 1u);
  }

  FsysFile* openForReading(const Text& path, uint32_t coalesceLength = 1 << 20) {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, path, coalesceLength, 1, nullptr), 1u);
    return file;
  }
  FsysFile* openForWriting(const Text& path, uint32_t coalesceLength = 1 << 20) {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, path, coalesceLength, 2, nullptr), 1u);
    return file;
  }
  // A file of pattern bytes, opened for reading.
  FsysFile* readPatternFile(const Text& path, uint32_t bytes) {
    os_->files().addFile(path, patternBytes(bytes));
    return openForReading(path);
  }

  uint32_t read(FsysFile* file, long position, uint32_t length, int ticket = 0) {
    Qv::Ptr<iObject> context = recorder_->ticket(ticket);
    return file->DirectRead(position, length, false, &Recorder::told, context);
  }
  uint32_t write(FsysFile* file, Qv::Ptr<iMemHolder> data, int ticket = 0,
                 bool synchronous = false) {
    Qv::Ptr<iObject> context = recorder_->ticket(ticket);
    return file->DirectWrite(data, false, &Recorder::told, context, synchronous);
  }

  // One pass of a poller, now.
  void passOverReads() { FsysPeer::readPoll(*theFsys)->Polltasks(); }
  void passOverWrites() { FsysPeer::writePoll(*theFsys)->Polltasks(); }

  FakeOSScope os_;
  TestDiagnostics texts_;
  Qv::Ptr<Recorder> recorder_{new Recorder};
};

// Puts a setting back.
class SettingScope {
public:
  SettingScope(int& setting, int value) : setting_(setting), before_(setting) { setting = value; }
  ~SettingScope() { setting_ = before_; }
  SettingScope(const SettingScope&) = delete;
  SettingScope& operator=(const SettingScope&) = delete;

private:
  int& setting_;
  int before_;
};
