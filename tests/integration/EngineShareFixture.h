#pragma once

#include <gtest/gtest.h>

#include "tests/support/HeldFileSystem.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

// What a test reads and writes at once.
inline constexpr uint32_t kPiece_bytes = 65536;

// EngineShareFixture: the engine, and a share that does what the test orders.
// Story      The share is mounted and the engine initialised before each test; after it the share
//            lets everything go, and the engine ends.
class EngineShareFixture : public ::testing::Test {
protected:
  void SetUp() override {
    if (!share_.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
    ASSERT_EQ(FsysInitialize(), 1u);
  }
  void TearDown() override {
    if (!share_.isMounted()) return;
    share_.letGo();
    FsysUninitialize(Shutdown::eNormal);
  }

  FsysFile* open(const char* name, uint32_t flags) {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, folder_ / name, 0, flags, nullptr), 1u) << name;
    return file;
  }
  FsysFile* openToRead() { return open("share/held", 1); }
  FsysFile* openToWrite() { return open("share/empty", 2); }

  // The ticket is the piece.
  void read(FsysFile* file, unsigned piece) {
    Qv::Ptr<iObject> context = recorder_->ticket(static_cast<int>(piece));
    long begin = long{piece} * kPiece_bytes;
    ASSERT_EQ(file->DirectRead(begin, kPiece_bytes, false, &Recorder::told, context), 1u);
  }
  void write(FsysFile* file, unsigned piece, Qv::Ptr<iMemHolder> data) {
    Qv::Ptr<iObject> context = recorder_->ticket(static_cast<int>(piece));
    ASSERT_EQ(file->DirectWrite(data, false, &Recorder::told, context, false), 1u);
  }
  void write(FsysFile* file, unsigned piece) {
    write(file, piece, TestHolder::ofPattern(kPiece_bytes, uint64_t{piece} * kPiece_bytes));
  }

  ScratchFolder folder_;
  HeldFileSystem share_{folder_.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs"};
  Qv::Ptr<Recorder> recorder_{new Recorder};
};
