// Files that are closed, and engines that end, while reads and writes are in flight.

#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

#include "fsys/EngineSettings.h"
#include "platform/OS.h"
#include "tests/stress/CountedRequest.h"
#include "tests/support/ProcessFigures.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"
#include "tests/support/StreamedFile.h"

namespace {

constexpr uint32_t kMediaBytes = 4 << 20;
constexpr unsigned kMostRequests = 8;  // a file and cycle
constexpr uint32_t kLargestRead = 200'000;
constexpr uint32_t kLargestWrite = 90'000;
constexpr uint32_t kSector = 4096;

// What a cycle does to a file that is written: its requests stay to be looked at.
struct Written {
  std::string name;
  FsysFile* file = nullptr;
  std::vector<Qv::Ptr<CountedRequest>> requests;
};

class EngineTeardownStressTest : public testing::Test {
protected:
  void SetUp() override {
    // Short steps: a close then also comes to the end of its patience with reads.
    EngineSettings::ReadPollDelay = EngineSettings::WritePollDelay = 1;
    ASSERT_EQ(FsysInitialize(), 1u);
    ASSERT_TRUE(streamOut(folder_ / "media", 0, kMediaBytes, 1 << 20));
    FsysUninitialize(Shutdown::eNormal);
    before_ = ProcessFigures::now();
  }
  void TearDown() override {
    FsysUninitialize(Shutdown::eNormal);
    EngineSettings::ReadPollDelay = readDelay_ms_;
    EngineSettings::WritePollDelay = writeDelay_ms_;
  }

  FsysFile* openToRead() {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, folder_ / "media", 1 << 18, 1, nullptr), 1u);
    return file;
  }
  Written openToWrite(const std::string& name) {
    Written written{name, nullptr, {}};
    EXPECT_EQ(FsysOpen(&written.file, folder_ / name, 1 << 18, 2, nullptr), 1u);
    return written;
  }

  void askReads(FsysFile* file, bool lastCloses, Tally& tally) {
    unsigned count = 1 + random_() % kMostRequests;
    for (unsigned i = 0; i < count; ++i) {
      uint32_t bytes = 1 + static_cast<uint32_t>(random_() % kLargestRead);
      Qv::Ptr<CountedRequest> read(
          new CountedRequest(tally, random_() % (kMediaBytes - bytes), bytes));
      bool closes = lastCloses && i + 1 == count;
      if (closes) read->closeWhenTold(file);
      ASSERT_TRUE(read->read(file, !closes && random_() % 2 == 0));
    }
  }
  void askWrites(Written& to, bool lastCloses, Tally& tally) {
    unsigned count = 1 + random_() % kMostRequests;
    uint64_t at = 0;
    for (unsigned i = 0; i < count; ++i) {
      uint32_t bytes = 1 + static_cast<uint32_t>(random_() % kLargestWrite);
      if (random_() % 2 == 0) bytes = (bytes + kSector - 1) / kSector * kSector;
      to.requests.emplace_back(new CountedRequest(tally, at, bytes));
      at += bytes;
      bool closes = lastCloses && i + 1 == count;
      if (closes) to.requests.back()->closeWhenTold(to.file);
      ASSERT_TRUE(
          to.requests.back()->write(to.file, !closes && random_() % 2 == 0, random_() % 8 == 0));
    }
  }

  // What was told as a success is in the file; then the file goes.
  void expectItsBytes(const Written& written) {
    std::string content = folder_.content(written.name);
    for (const auto& request : written.requests) {
      if (!request->hasSucceeded()) continue;
      ASSERT_GE(content.size(), request->offset() + request->bytes());
      ASSERT_EQ(
          whyNotPattern(content.data() + request->offset(), request->bytes(), request->offset()),
          "");
    }
    std::remove(folder_.bytes(written.name).c_str());
  }

  static void waitUntilSettled(const Tally& tally) {
    double deadline_ms = Qv::now() + 60'000;
    while (tally.answered < tally.accepted && Qv::now() < deadline_ms) std::this_thread::yield();
  }

  void expectNothingOutstanding() {
    unsigned bytes = 1;
    EXPECT_EQ(FsysGetWriteBytesOutstanding(&bytes), 1u);
    EXPECT_EQ(bytes, 0u);
  }

  // Both files are closed: one after the other, at once on two threads, or by their own callbacks,
  // whose closes the end of the engine waits for.
  void closeBoth(unsigned cycle, FsysFile* reading, FsysFile* writing) {
    uint32_t closed = 0;
    if (cycle % 3 == 1) {
      std::thread other([&] { closed = FsysClose(reading, nullptr); });
      EXPECT_EQ(FsysClose(writing, nullptr), 1u);
      other.join();
    } else {
      closed = FsysClose(reading, nullptr);
      EXPECT_EQ(FsysClose(writing, nullptr), 1u);
    }
    EXPECT_EQ(closed, 1u);
  }

  ScratchFolder folder_;
  std::mt19937 random_{20260101};
  ProcessFigures before_;
  int readDelay_ms_ = EngineSettings::ReadPollDelay;
  int writeDelay_ms_ = EngineSettings::WritePollDelay;
};

TEST_F(EngineTeardownStressTest, FilesThatAreClosedInFullFlightAnswerEveryRequestOnce) {
  const unsigned cycles = soakTurns(150, 10'000);
  uint64_t inFlight = 0, asked = 0, failed = 0;
  ASSERT_EQ(FsysInitialize(), 1u);
  for (unsigned cycle = 0; cycle < cycles && !HasFailure(); ++cycle) {
    bool byCallback = cycle % 3 == 2;
    Tally tally;
    FsysFile* reading = openToRead();
    Written written = openToWrite("closed");
    ASSERT_NO_FATAL_FAILURE(askReads(reading, byCallback, tally));
    ASSERT_NO_FATAL_FAILURE(askWrites(written, byCallback, tally));
    inFlight += tally.answered < tally.accepted;
    if (byCallback) {
      waitUntilSettled(tally);
      FsysUninitialize(Shutdown::eNormal);
      ASSERT_EQ(FsysInitialize(), 1u);
    } else {
      closeBoth(cycle, reading, written.file);
      // A callback that runs as the close ends may end a little later.
      waitUntilSettled(tally);
    }
    ASSERT_EQ(tally.whyNotSettled(), "") << "in cycle " << cycle;
    expectNothingOutstanding();
    expectItsBytes(written);
    asked += tally.accepted;
    failed += tally.failed;
  }
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(before_.whatIsLeft(), "");
  EXPECT_GT(inFlight, 0u) << "no file was closed with requests in flight";
  std::cout << cycles << " cycles, " << inFlight << " with requests in flight; " << asked
            << " requests, " << failed << " given up\n";
}

// The end closes every other file of a direction. What the rest had in flight to read is cut off,
// and nobody is called for it.
TEST_F(EngineTeardownStressTest, EnginesThatEndInFullFlightAnswerEveryRequestOfAClosedFileOnce) {
  const unsigned cycles = soakTurns(60, 10'000);
  uint64_t inFlight = 0, asked = 0, cut = 0;
  for (unsigned cycle = 0; cycle < cycles && !HasFailure(); ++cycle) {
    Tally closed, left;
    ASSERT_EQ(FsysInitialize(), 1u);
    FsysFile* first = openToRead();
    FsysFile* second = openToRead();
    Written one = openToWrite("one"), other = openToWrite("other");
    ASSERT_NO_FATAL_FAILURE(askReads(first, false, closed));
    ASSERT_NO_FATAL_FAILURE(askWrites(one, cycle % 4 == 3, closed));
    ASSERT_NO_FATAL_FAILURE(askReads(second, false, left));
    ASSERT_NO_FATAL_FAILURE(askWrites(other, false, closed));
    inFlight += closed.answered < closed.accepted;
    FsysUninitialize(Shutdown::eNormal);
    ASSERT_EQ(closed.whyNotSettled(), "") << "in cycle " << cycle;
    uint64_t answered = left.answered;
    expectItsBytes(one);
    expectItsBytes(other);
    EXPECT_EQ(left.answered, answered) << "somebody was called after the end, in cycle " << cycle;
    EXPECT_LE(answered, left.accepted);
    EXPECT_EQ(left.again + left.wrong, 0u);
    asked += closed.accepted + left.accepted;
    cut += left.accepted - answered;
  }
  EXPECT_EQ(before_.whatIsLeft(), "");
  EXPECT_GT(inFlight, 0u) << "no engine ended with requests in flight";
  std::cout << cycles << " engines, " << inFlight << " with requests in flight; " << asked
            << " requests, " << cut << " cut off\n";
}

}  // namespace
