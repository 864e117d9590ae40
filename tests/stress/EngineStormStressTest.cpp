// Everything against everything, for as long as one likes: requests are queued, merged, completed
// and answered from the cache, kept reads are evicted, files are closed and engines are ended while
// callbacks go on. Each of these must have been seen, and every request is answered once.

#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

#include "fsys/EngineSettings.h"
#include "fsys/FileRequest.h"
#include "platform/OS.h"
#include "tests/stress/CountedRequest.h"
#include "tests/support/ProcessFigures.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"
#include "tests/support/StreamedFile.h"

namespace {

constexpr double kBrief_ms = 2'000;
constexpr uint32_t kMediaBytes = 4 << 20;
constexpr uint32_t kStride = 64 << 10;
constexpr uint32_t kPiece = 8 << 10;

// What was seen, over all lives of the engine.
struct Seen {
  std::atomic<uint64_t> merges{0}, hits{0}, evictions{0}, closes{0}, ends{0}, written{0};
};

void waitUntilAnswered(const CountedRequest& request) {
  double deadline_ms = Qv::now() + 60'000;
  while (!request.hasAnswer() && Qv::now() < deadline_ms) std::this_thread::yield();
}

// Asks until it is taken: a list that is full empties.
void readPatiently(FsysFile* file, bool deferrable, Tally& tally, uint64_t offset, uint32_t bytes) {
  for (;;) {
    Qv::Ptr<CountedRequest> request(new CountedRequest(tally, offset, bytes));
    if (request->read(file, deferrable)) return;
    std::this_thread::yield();
  }
}

// Chain: each answer asks for the next read, until the file takes no more.
struct Chain : iObject {
  FsysFile* file = nullptr;
  Tally* tally = nullptr;
  std::atomic<uint64_t> next{0};

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    auto& chain = static_cast<Chain&>(*context);
    if (status == eRequestSucceeded ? !data || data->getSize() != kStride : bool(data))
      ++chain.tally->wrong;
    chain.ask();
    ++chain.tally->answered;
  }
  void ask() {
    Qv::Ptr<iObject> context(this);
    long at = static_cast<long>(next.fetch_add(1) * kStride % kMediaBytes);
    // Before the answer, which may come at once and ask again.
    ++tally->accepted;
    if (file->DirectRead(at, kStride, false, &told, context) != 1) --tally->accepted;
  }
};

class EngineStormStressTest : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(FsysInitialize(), 1u);
    ASSERT_TRUE(streamOut(folder_ / "media", 0, kMediaBytes, 1 << 20));
    FsysUninitialize(Shutdown::eNormal);
    before_ = ProcessFigures::now();
  }
  void TearDown() override {
    FsysSetImmediateRequestHandling(true);
    FsysUninitialize(Shutdown::eNormal);
    EngineSettings::ReadPollDelay = readDelay_ms_;
    EngineSettings::WritePollDelay = writeDelay_ms_;
  }

  FsysFile* open(const std::string& name, uint32_t flags) {
    FsysFile* file = nullptr;
    if (FsysOpen(&file, folder_ / name, 1 << 18, flags, nullptr) != 1) ++tally_.wrong;
    return file;
  }
  void close(FsysFile* file) {
    uint64_t accepted = tally_.accepted, answered = tally_.answered;
    if (FsysClose(file, nullptr) != 1) ++tally_.wrong;
    seen_.closes += answered < accepted;
  }

  // The activities, each on a thread of its own.
  void readShared(FsysFile* file, unsigned seed) {
    std::mt19937 random(seed);
    for (unsigned i = 0; i < 60; ++i) {
      uint64_t at = random() % (kMediaBytes / kStride) * kStride;
      readPatiently(file, random() % 2 == 0, tally_, at, kStride);
      readPatiently(file, random() % 2 == 0, tally_, at + random() % kPiece, kPiece);
    }
  }
  // The same piece again and again, and at times another: the pass for that one may evict the kept
  // one. When no hit was counted it had gone, and was read anew. What stands first in the list
  // never goes, so that this is not it.
  void readAgain(unsigned seed) {
    std::mt19937 random(seed);
    FsysFile* file = open("media", 1);
    for (unsigned i = 0; i < 60; ++i) {
      if (random() % 4 == 0) {
        Qv::Ptr<CountedRequest> other(new CountedRequest(tally_, 8 * kStride, kPiece));
        if (other->read(file, false)) waitUntilAnswered(*other);
      }
      uint32_t hits = file->GetCacheHits();
      Qv::Ptr<CountedRequest> request(new CountedRequest(tally_, i == 0 ? 0 : kStride, kPiece));
      if (!request->read(file, false)) continue;
      waitUntilAnswered(*request);
      if (file->GetCacheHits() > hits)
        ++seen_.hits;
      else
        seen_.evictions += i > 1;
    }
    close(file);
  }
  void closeInFlight(unsigned seed) {
    std::mt19937 random(seed);
    for (unsigned i = 0; i < 4; ++i) {
      FsysFile* file = open("media", 1);
      for (unsigned k = 0; k < 12; ++k)
        readPatiently(file, false, tally_, random() % (kMediaBytes - kStride), kStride);
      close(file);
    }
  }
  void write(const std::string& name, unsigned seed) {
    std::mt19937 random(seed);
    FsysFile* file = open(name, 2);
    uint64_t at = 0;
    for (unsigned i = 0; i < 10; ++i) {
      auto bytes = static_cast<uint32_t>(1 + random() % (2 * kStride));
      if (random() % 2 == 0) bytes = (bytes + 4095) / 4096 * 4096;
      Qv::Ptr<CountedRequest> request(new CountedRequest(tally_, at, bytes));
      if (!request->write(file, random() % 2 == 0, random() % 4 == 0)) ++tally_.wrong;
      at += bytes;
    }
    close(file);
    std::string content = folder_.content(name);
    if (content.size() != at || !whyNotPattern(content.data(), at, 0).empty()) ++tally_.wrong;
    std::remove(folder_.bytes(name).c_str());
    seen_.written += at;
  }

  // One life of the engine. At its end one file is being read by its own callbacks, and one has
  // writes in flight: the end closes the first file of each direction.
  void live(unsigned life) {
    EngineSettings::ReadPollDelay = EngineSettings::WritePollDelay = life % 4 < 2 ? 1 : 50;
    ASSERT_EQ(FsysInitialize(), 1u);
    FsysSetImmediateRequestHandling(life % 2 == 0);
    uint64_t merges = FileRequest::GetMergeCount();
    Qv::Ptr<Chain> chain(new Chain);
    chain->file = open("media", 1);
    chain->tally = &tally_;
    for (unsigned i = 0; i < 3; ++i) chain->ask();
    FsysFile* shared = open("media", 1);
    std::vector<std::thread> threads;
    threads.emplace_back([&] { readShared(shared, life * 8); });
    threads.emplace_back([&] { readShared(shared, life * 8 + 1); });
    threads.emplace_back([&] { readAgain(life * 8 + 5); });
    threads.emplace_back([&] { closeInFlight(life * 8 + 2); });
    threads.emplace_back([&] { write("a", life * 8 + 3); });
    threads.emplace_back([&] { write("b", life * 8 + 4); });
    for (std::thread& thread : threads) thread.join();
    close(shared);
    seen_.merges += FileRequest::GetMergeCount() - merges;
    end();
  }
  void end() {
    FsysFile* writing = open("last", 2);
    uint64_t at = 0;
    for (; at < 4 * kStride; at += kStride) {
      Qv::Ptr<CountedRequest> request(new CountedRequest(tally_, at, kStride));
      if (!request->write(writing, false, false)) ++tally_.wrong;
    }
    uint64_t answered = tally_.answered;
    seen_.ends += answered < tally_.accepted;
    FsysUninitialize(Shutdown::eNormal);
    std::string content = folder_.content("last");
    EXPECT_EQ(content.size(), at);
    EXPECT_EQ(whyNotPattern(content.data(), content.size(), 0), "");
    std::remove(folder_.bytes("last").c_str());
    EXPECT_EQ(tally_.whyNotSettled(), "");
  }

  ScratchFolder folder_;
  ProcessFigures before_;
  Tally tally_;
  Seen seen_;
  int readDelay_ms_ = EngineSettings::ReadPollDelay;
  int writeDelay_ms_ = EngineSettings::WritePollDelay;
};

TEST_F(EngineStormStressTest, EveryActivityGoesOnAgainstAllOthersAndEachRequestIsAnsweredOnce) {
  double deadline_ms = Qv::now() + soakTime_ms(kBrief_ms);
  unsigned lives = 0;
  for (; Qv::now() < deadline_ms && !HasFailure(); ++lives) live(lives);
  for (auto* activity :
       {&seen_.merges, &seen_.hits, &seen_.evictions, &seen_.closes, &seen_.ends, &seen_.written})
    EXPECT_GT(*activity, 0u);
  EXPECT_EQ(before_.whatIsLeft(), "");
  std::cout << lives << " lives: " << tally_.answered << " requests, " << tally_.failed
            << " given up; merges " << seen_.merges << ", hits " << seen_.hits << ", evictions "
            << seen_.evictions << ", closes in flight " << seen_.closes << ", ends in flight "
            << seen_.ends << ", bytes written " << seen_.written << "\n";
}

}  // namespace
