// A process that ends itself from a completion callback.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

constexpr uint32_t kBlock = 65536;
constexpr uint32_t kReads = 24;
// A process that does not end by itself ends by this, with a signal.
constexpr unsigned kProcessLives_s = 60;

// Each body runs in a process of its own.
class EngineExitDeathTest : public ::testing::Test {
protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::vector<unsigned char> bytes = patternBytes(kReads * kBlock);
    folder_.put("clip", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }

  static FsysFile* open(const LightweightString<wchar_t>& path, uint32_t flags) {
    alarm(kProcessLives_s);
    FsysFile* file = nullptr;
    if (FsysInitialize() != 1 || FsysOpen(&file, path, 0, flags, nullptr) != 1) _exit(99);
    return file;
  }
  static void read(FsysFile* file, unsigned piece, const Qv::Ptr<Recorder>& recorder) {
    Qv::Ptr<iObject> context = recorder->ticket(static_cast<int>(piece));
    file->DirectRead(long{piece} * kBlock, kBlock, false, &Recorder::told, context);
  }
  static void write(FsysFile* file, uint64_t at, unsigned size, const Qv::Ptr<Recorder>& recorder) {
    Qv::Ptr<iObject> context = recorder->context();
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(size, at);
    file->DirectWrite(data, false, &Recorder::told, context, false);
  }
  // Where several callbacks run at once: a process may be ended by one thread only.
  static void exitOnce(int code) {
    static std::atomic<bool> ends{false};
    if (!ends.exchange(true)) std::exit(code);
  }
  // The main thread of a process that another thread ends.
  static void stay() {
    for (;;) pause();
  }

  // In the folder of the test, also for the process that it makes, which would have another.
  static LightweightString<wchar_t> place(const char* name) {
    return fromUTF8(std::getenv("FSYS_EXIT_FOLDER") + std::string("/") + name);
  }

  ScratchFolder folder_;
  const char* given_ = std::getenv("FSYS_EXIT_FOLDER");
  ScopedEnvironment choice_{"FSYS_EXIT_FOLDER", given_ ? given_ : folder_.path().c_str()};
};

TEST_F(EngineExitDeathTest, ItEndsWithItsCodeWhenAReadsCallbackExits) {
  auto body = [this] {
    FsysFile* file = open(place("clip"), 1);
    static Qv::Ptr<Recorder>& recorder = *new Qv::Ptr<Recorder>(new Recorder);
    recorder->onCall([](const Recorder::Call& call) {
      if (call.ticket == 5) std::exit(41);
    });
    for (unsigned i = 0; i < kReads; ++i) read(file, i, recorder);
    stay();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(41), "");
}

TEST_F(EngineExitDeathTest, ItEndsWithItsCodeWhenACacheHitsCallbackExits) {
  auto body = [this] {
    FsysFile* file = open(place("clip"), 1);
    // A read is kept a little after it was told.
    Qv::Ptr<Recorder> silent(new Recorder);
    for (size_t reads = 1; file->GetCacheHits() == 0; ++reads) {
      read(file, 0, silent);
      silent->waitFor(reads);
    }
    static Qv::Ptr<Recorder>& recorder = *new Qv::Ptr<Recorder>(new Recorder);
    static const std::thread::id caller = std::this_thread::get_id();
    recorder->onCall(
        [](const Recorder::Call&) { std::exit(std::this_thread::get_id() == caller ? 42 : 98); });
    read(file, 0, recorder);
    stay();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(42), "");
}

TEST_F(EngineExitDeathTest, WhatWasAcceptedIsWrittenWhenAnAbsorbedWritesCallbackExits) {
  auto body = [this] {
    FsysFile* file = open(place("new"), 2);
    static Qv::Ptr<Recorder>& recorder = *new Qv::Ptr<Recorder>(new Recorder);
    write(file, 0, 1001, recorder);
    recorder->onCall([](const Recorder::Call&) { std::exit(43); });
    write(file, 1001, 2002, recorder);
    stay();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(43), "");
  std::string there = folder_.content("new");
  EXPECT_EQ(there.size(), 3003u);
  EXPECT_EQ("", whyNotPattern(there.data(), there.size(), 0));
}

TEST_F(EngineExitDeathTest, WhatWasAcceptedIsWrittenWhenAWritesCallbackExits) {
  auto body = [this] {
    FsysFile* staged = open(place("new"), 2);
    FsysFile* file = open(place("other"), 2);
    static Qv::Ptr<Recorder>& silent = *new Qv::Ptr<Recorder>(new Recorder);
    static Qv::Ptr<Recorder>& recorder = *new Qv::Ptr<Recorder>(new Recorder);
    write(staged, 0, 1001, silent);
    recorder->onCall([](const Recorder::Call&) { exitOnce(44); });
    for (unsigned i = 0; i < 8; ++i) write(file, uint64_t{i} * kBlock, kBlock, recorder);
    stay();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(44), "");
  std::string there = folder_.content("new");
  EXPECT_EQ(there.size(), 1001u);
  EXPECT_EQ("", whyNotPattern(there.data(), there.size(), 0));
}

TEST_F(EngineExitDeathTest, WhatFilesHoldThatACallbackClosesIsWrittenWhenItExits) {
  auto body = [this] {
    static FsysFile* staged = open(place("new"), 2);
    static FsysFile* file = open(place("other"), 2);
    static Qv::Ptr<Recorder>& silent = *new Qv::Ptr<Recorder>(new Recorder);
    static Qv::Ptr<Recorder>& recorder = *new Qv::Ptr<Recorder>(new Recorder);
    write(staged, 0, 1001, silent);
    // The first waits for this very callback, so that the second is never closed.
    recorder->onCall([](const Recorder::Call&) {
      FsysClose(file, nullptr);
      FsysClose(staged, nullptr);
      exitOnce(45);
    });
    for (unsigned i = 0; i < 8; ++i) write(file, uint64_t{i} * kBlock, kBlock, recorder);
    stay();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(45), "");
  std::string there = folder_.content("new");
  EXPECT_EQ(there.size(), 1001u);
  EXPECT_EQ("", whyNotPattern(there.data(), there.size(), 0));
}

TEST_F(EngineExitDeathTest, WhatWasAcceptedIsWrittenWhenTheCallbackOfAFailedStartExits) {
  auto body = [this] {
    FsysFile* staged = open(place("new"), 2);
    FsysFile* file = open(place("clip"), 1);
    static Qv::Ptr<Recorder>& silent = *new Qv::Ptr<Recorder>(new Recorder);
    static Qv::Ptr<Recorder>& recorder = *new Qv::Ptr<Recorder>(new Recorder);
    write(staged, 0, 1001, silent);
    recorder->onCall([](const Recorder::Call&) { std::exit(46); });
    Qv::Ptr<iObject> context = recorder->context();
    constexpr long kBehindTheLast = std::numeric_limits<long>::max() - kBlock;
    file->DirectRead(kBehindTheLast, kBlock, false, &Recorder::told, context);
    stay();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(46), "");
  EXPECT_EQ(folder_.content("new").size(), 1001u);
}

}  // namespace
