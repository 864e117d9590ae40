// The engine on a share that fails, answers in part, late, or never.

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "platform/OS.h"
#include "tests/integration/EngineShareFixture.h"

namespace {

using Seconds = std::chrono::duration<double>;
using Clock = std::chrono::steady_clock;
using Order = HeldFileSystem::Order;

constexpr unsigned kPieces = HeldFileSystem::kFileBytes / kPiece_bytes;
// Longer than any machine takes for what is not waited for; only a failure waits so long.
constexpr Seconds kPatience{20};

// The order for the piece of that number alone, and once.
Order onceAt(HeldFileSystem::eWhat what, unsigned piece, HeldFileSystem::eHow how, uint32_t value) {
  uint64_t begin = uint64_t{piece} * kPiece_bytes;
  return {what, how, begin, begin + 1, value, 1};
}

class EngineUnreliableShareTest : public EngineShareFixture {
protected:
  void readAll(FsysFile* file) {
    for (unsigned piece = 0; piece < kPieces; ++piece) read(file, piece);
    ASSERT_TRUE(recorder_->waitFor(kPieces));
  }
  void writeAll(FsysFile* file) {
    for (unsigned piece = 0; piece < kPieces; ++piece) write(file, piece);
    ASSERT_TRUE(recorder_->waitFor(kPieces));
  }

  // That each piece was told once: those as failures, the rest as read.
  void expectReadBut(const std::vector<int>& failed) {
    std::vector<int> told(kPieces);
    for (const Recorder::Call& call : recorder_->calls()) {
      ++told[static_cast<size_t>(call.ticket)];
      bool shouldFail = std::find(failed.begin(), failed.end(), call.ticket) != failed.end();
      EXPECT_EQ(call.status == eRequestFailed, shouldFail) << "piece " << call.ticket;
      if (call.status != eRequestSucceeded) continue;
      EXPECT_EQ(call.bytes.size(), kPiece_bytes);
      EXPECT_EQ("", whyNotPattern(call.bytes, static_cast<uint64_t>(call.ticket) * kPiece_bytes));
    }
    EXPECT_EQ(told, std::vector<int>(kPieces, 1));
    recorder_->clear();
  }
};

TEST_F(EngineUnreliableShareTest, AReadThatFailsIsToldWithItsErrorToItsCallerAndToNobodyElse) {
  for (int error : {EIO, ENOSPC, ESTALE, EACCES, ETIMEDOUT, EINVAL, ENOMEM, EHOSTDOWN}) {
    FsysFile* file = openToRead();
    share_.order(onceAt(HeldFileSystem::eRead, 5, HeldFileSystem::eFail, uint32_t(error)));
    readAll(file);
    expectReadBut({5});
    EXPECT_EQ(FsysGetLastError(), uint32_t{eOsErrorBase} + uint32_t(error));
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
  }
}

TEST_F(EngineUnreliableShareTest, AReadThatFailedOnceIsAskedForAgainAndHasEveryByte) {
  FsysFile* file = openToRead();
  share_.order(onceAt(HeldFileSystem::eRead, 3, HeldFileSystem::eFail, EIO));
  readAll(file);
  expectReadBut({3});
  read(file, 3);
  ASSERT_TRUE(recorder_->waitFor(1));
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_EQ("", whyNotPattern(recorder_->at(0).bytes, 3 * kPiece_bytes));
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

TEST_F(EngineUnreliableShareTest, WhatTheShareInterruptsIsDoneAgainAndNobodyIsTold) {
  FsysFile* file = openToRead();
  for (uint32_t piece : {0u, 7u, 15u})
    share_.order({HeldFileSystem::eRead, HeldFileSystem::eFail, piece * uint64_t{kPiece_bytes},
                  piece * uint64_t{kPiece_bytes} + 1, EINTR, 3});
  readAll(file);
  expectReadBut({});
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

TEST_F(EngineUnreliableShareTest, ReadsThatAreAnsweredInPartAreContinuedAndHaveEveryByte) {
  FsysFile* file = openToRead();
  uint32_t piece = 0;
  for (uint32_t bytes : {1u, 511u, 512u, 4095u, 4096u, 4097u, kPiece_bytes - 1})
    share_.order(onceAt(HeldFileSystem::eRead, piece++, HeldFileSystem::eShorten, bytes));
  // Part after part, and a failure behind a part.
  uint64_t begin = uint64_t{piece} * kPiece_bytes;
  share_.order(
      {HeldFileSystem::eRead, HeldFileSystem::eShorten, begin, begin + kPiece_bytes, 5000});
  begin = 12 * kPiece_bytes;
  share_.order(onceAt(HeldFileSystem::eRead, 12, HeldFileSystem::eShorten, 4096));
  share_.order({HeldFileSystem::eRead, HeldFileSystem::eFail, begin + 1, begin + 4097, EIO, 1});
  readAll(file);
  expectReadBut({12});
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

TEST_F(EngineUnreliableShareTest, AWriteThatFailsIsToldToItsCallerAndTheOthersAreThere) {
  for (int error : {EIO, ENOSPC, ESTALE, EDQUOT}) {
    recorder_->clear();
    FsysFile* file = openToWrite();
    ASSERT_EQ(file->Seek(0, eSeekFromStart), 1u);
    share_.order(onceAt(HeldFileSystem::eWrite, 9, HeldFileSystem::eFail, uint32_t(error)));
    writeAll(file);
    for (const Recorder::Call& call : recorder_->calls())
      EXPECT_EQ(call.status == eRequestFailed, call.ticket == 9) << "piece " << call.ticket;
    EXPECT_EQ(FsysGetLastError(), uint32_t{eOsErrorBase} + uint32_t(error));
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    std::string there = folder_.content("share/empty");
    ASSERT_EQ(there.size(), HeldFileSystem::kFileBytes);
    EXPECT_EQ("", whyNotPattern(there.data(), 9 * kPiece_bytes, 0));
    EXPECT_EQ("", whyNotZeros(there.data() + 9 * kPiece_bytes, kPiece_bytes));
    EXPECT_EQ("",
              whyNotPattern(there.data() + 10 * kPiece_bytes, 6 * kPiece_bytes, 10 * kPiece_bytes));
  }
}

TEST_F(EngineUnreliableShareTest, WritesThatAreTakenInPartAreContinuedAndEveryByteIsThere) {
  FsysFile* file = openToWrite();
  uint32_t piece = 0;
  for (uint32_t bytes : {1u, 511u, 4096u, kPiece_bytes - 1})
    share_.order(onceAt(HeldFileSystem::eWrite, piece++, HeldFileSystem::eShorten, bytes));
  uint64_t begin = uint64_t{piece} * kPiece_bytes;
  share_.order(
      {HeldFileSystem::eWrite, HeldFileSystem::eShorten, begin, begin + kPiece_bytes, 3000});
  writeAll(file);
  for (const Recorder::Call& call : recorder_->calls()) EXPECT_EQ(call.status, eRequestSucceeded);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  std::string there = folder_.content("share/empty");
  ASSERT_EQ(there.size(), HeldFileSystem::kFileBytes);
  EXPECT_EQ("", whyNotPattern(there.data(), there.size(), 0));
}

TEST_F(EngineUnreliableShareTest, LateAnswersHoldUpNoOtherReadOfTheFileAndAreRightWhenTheyCome) {
  FsysFile* file = openToRead();
  share_.order(onceAt(HeldFileSystem::eRead, 4, HeldFileSystem::eHold, 0));
  for (unsigned piece = 0; piece < kPieces; ++piece) read(file, piece);
  ASSERT_TRUE(recorder_->waitFor(kPieces - 1));
  share_.waitUntilHeld(1);
  EXPECT_EQ(recorder_->count(), kPieces - 1);
  share_.letGo();
  ASSERT_TRUE(recorder_->waitFor(kPieces));
  EXPECT_EQ(recorder_->at(kPieces - 1).ticket, 4);
  expectReadBut({});
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

TEST_F(EngineUnreliableShareTest, OtherDrivesGoOnWhileItAnswersNothing) {
  share_.order({HeldFileSystem::eRead, HeldFileSystem::eHold});
  share_.order({HeldFileSystem::eWrite, HeldFileSystem::eHold});
  // More than a ring takes at once, and than there are threads.
  std::vector<FsysFile*> dead;
  for (unsigned i = 0; i < 20; ++i) {
    dead.push_back(openToRead());
    for (unsigned piece = 0; piece < kPieces; ++piece) read(dead.back(), piece);
  }
  dead.push_back(openToWrite());
  for (unsigned piece = 0; piece < kPieces; ++piece) write(dead.back(), piece);
  share_.waitUntilHeld(2);

  Qv::Ptr<Recorder> waiting = recorder_;
  constexpr uint64_t size = (8 << 20) + 4321;
  ASSERT_TRUE(streamOut(folder_ / "clip", 0, size, 1 << 16));
  EXPECT_EQ(whyNotStreamedBack(folder_ / "clip", size, 1 << 16), "");
  EXPECT_EQ(waiting->count(), 0u);

  share_.letGo();
  ASSERT_TRUE(waiting->waitFor(dead.size() * kPieces));
  for (const Recorder::Call& call : waiting->calls()) EXPECT_EQ(call.status, eRequestSucceeded);
  for (FsysFile* file : dead) EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

}  // namespace
