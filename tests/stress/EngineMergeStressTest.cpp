// Pieces of a read that is in flight, asked for on other threads while it completes.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "fsys/FileRequest.h"
#include "platform/OS.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

constexpr uint32_t kFileBytes = 8 << 20;
constexpr unsigned kAskers = 3;
constexpr unsigned kPieces = 40;  // an asker and round
constexpr int kRounds = 40;

struct Answers {
  std::atomic<unsigned> told{0};
  std::atomic<unsigned> wrong{0};
};

struct Piece final : iObject {
  uint64_t offset = 0;
  uint32_t bytes = 0;
  Answers* answers = nullptr;

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    auto& piece = static_cast<Piece&>(*context);
    // A few bytes of a piece tell whose they are.
    uint32_t looked = std::min(piece.bytes, 64u);
    bool right = status == eRequestSucceeded && data && data->getSize() == piece.bytes &&
                 whyNotPattern(data->getBuffer(), looked, piece.offset).empty();
    if (!right) piece.answers->wrong.fetch_add(1);
    piece.answers->told.fetch_add(1);
  }
};

class EngineMergeStressTest : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(FsysInitialize(), 1u);
    ASSERT_TRUE(streamOut(folder_ / "media", 0, kFileBytes, 1 << 20));
  }
  void TearDown() override { FsysUninitialize(Shutdown::eNormal); }

  static void ask(FsysFile* file, uint64_t offset, uint32_t bytes, Answers& answers) {
    Qv::Ptr<Piece> piece(new Piece);
    piece->offset = offset;
    piece->bytes = bytes;
    piece->answers = &answers;
    Qv::Ptr<iObject> context(piece);
    while (file->DirectRead(static_cast<long>(offset), bytes, false, &Piece::told, context) != 1)
      std::this_thread::yield();
  }
  static void waitFor(const Answers& answers, unsigned expected) {
    double deadline_ms = Qv::now() + 60'000;
    while (answers.told.load() < expected && Qv::now() < deadline_ms) std::this_thread::yield();
  }

  ScratchFolder folder_;
};

TEST_F(EngineMergeStressTest, EveryPieceOfAReadInFlightIsToldOnceAndRight) {
  uint64_t merges = FileRequest::GetMergeCount();
  for (int round = 0; round < kRounds; ++round) {
    FsysFile* file = nullptr;
    ASSERT_EQ(FsysOpen(&file, folder_ / "media", kFileBytes, 1, nullptr), 1u);
    Answers answers;
    ask(file, 0, kFileBytes, answers);
    std::vector<std::thread> askers;
    for (unsigned asker = 0; asker < kAskers; ++asker) {
      askers.emplace_back([&, asker] {
        std::mt19937 random(static_cast<unsigned>(round) * kAskers + asker);
        for (unsigned i = 0; i < kPieces; ++i) {
          auto bytes = static_cast<uint32_t>(1 + random() % 10000);
          ask(file, random() % (kFileBytes - bytes), bytes, answers);
        }
      });
    }
    for (std::thread& asker : askers) asker.join();
    waitFor(answers, 1 + kAskers * kPieces);
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    EXPECT_EQ(answers.told.load(), 1 + kAskers * kPieces);
    EXPECT_EQ(answers.wrong.load(), 0u);
  }
  EXPECT_GT(FileRequest::GetMergeCount(), merges) << "no piece came while a read was in flight";
}

}  // namespace
