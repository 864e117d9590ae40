// Callbacks that go on by themselves, on real threads: chains of reads and of writes, files that
// close themselves, and an engine that ends in the middle of it.

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "platform/OS.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

constexpr uint32_t kFileBytes = 4 << 20;
constexpr uint32_t kLeastWrite = 3000;  // bounds how deep absorbed writes call each other
constexpr uint32_t kMostWrite = 200000;

// Chain: goes through a file from its start; each callback asks for what follows. The context of
// its requests, one of which is under way at a time.
struct Chain : iObject {
  FsysFile* file = nullptr;
  uint64_t size = 0;
  bool writes = false;
  bool closesItself = false;
  std::mt19937 random;
  // Set before the next request is seen, left alone afterwards: then they are the callback's.
  uint64_t at = 0;
  uint32_t asked = 0;
  std::atomic<uint64_t> done{0};  // bytes that were told as a success
  std::atomic<bool> isOver{false};
  std::atomic<unsigned> wrong{0};

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    static_cast<Chain&>(*context).take(data, status);
  }

  void take(const Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    if (status != eRequestSucceeded) {
      isOver = true;
      return;
    }
    if (!writes && (!data || !whyNotPattern(data->getBuffer(), asked, at - asked).empty())) ++wrong;
    done += asked;
    next();
  }

  void next() {
    if (at == size) {
      if (closesItself && FsysClose(file, nullptr) != 1) ++wrong;
      isOver = true;
      return;
    }
    uint32_t before = asked;
    asked = static_cast<uint32_t>(
        std::min<uint64_t>(kLeastWrite + random() % (kMostWrite - kLeastWrite), size - at));
    if (random() % 2 == 0) asked = std::max(asked & ~511u, 512u);
    asked = static_cast<uint32_t>(std::min<uint64_t>(asked, size - at));
    at += asked;
    if (ask(at - asked, random() % 2 == 0, random() % 2 == 0)) return;
    // Nobody has seen it: the file is closing.
    at -= asked;
    asked = before;
    isOver = true;
  }

  bool ask(uint64_t from, bool deferrable, bool synchronous) {
    Qv::Ptr<iObject> context(this);
    if (!writes)
      return file->DirectRead(static_cast<long>(from), asked, deferrable, &told, context) == 1;
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(asked, from);
    return file->DirectWrite(data, deferrable, &told, context, synchronous) == 1;
  }
};

class EngineCallbackStressTest : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(FsysInitialize(), 1u);
    ASSERT_TRUE(streamOut(folder_ / "media", 0, kFileBytes, 1 << 20));
  }
  void TearDown() override {
    FsysSetImmediateRequestHandling(true);
    FsysUninitialize(Shutdown::eNormal);
  }

  Qv::Ptr<Chain> chain(const std::string& name, bool writes, unsigned seed) {
    Qv::Ptr<Chain> made(new Chain);
    made->random.seed(seed);
    made->writes = writes;
    made->size = kFileBytes - 777;
    EXPECT_EQ(FsysOpen(&made->file, folder_ / name, 1 << 18, writes ? 2 : 1, nullptr), 1u);
    return made;
  }

  static bool waitFor(const Chain& chain) {
    double deadline_ms = Qv::now() + 60'000;
    while (!chain.isOver && Qv::now() < deadline_ms) std::this_thread::yield();
    return chain.isOver;
  }

  uint64_t sizeOf(const std::string& name) {
    uint64_t bytes = 0;
    OS()->getFileManager()->getFileSize(folder_ / name, bytes);
    return bytes;
  }

  // The bytes of a write that is refused as the cache is sent stay held with those before them.
  void expectAllThatWasTaken(const std::string& name, const Chain& chain) {
    uint64_t size = sizeOf(name);
    EXPECT_GE(size, chain.at);
    EXPECT_LE(size, chain.at + kMostWrite);
    EXPECT_EQ(whyNotStreamedBack(folder_ / name, size, 1 << 20), "");
  }

  ScratchFolder folder_;
};

TEST_F(EngineCallbackStressTest, ChainsOfReadsAndWritesGoThroughTheirFilesAndCloseThem) {
  for (bool immediate : {true, false}) {
    FsysSetImmediateRequestHandling(immediate);
    std::vector<Qv::Ptr<Chain>> chains;
    for (unsigned seed = 1; seed <= 3; ++seed) {
      chains.push_back(chain("media", false, seed));
      chains.push_back(chain((immediate ? "a" : "b") + std::to_string(seed), true, seed));
    }
    for (Qv::Ptr<Chain>& each : chains) {
      each->closesItself = true;
      each->next();
    }
    for (Qv::Ptr<Chain>& each : chains) {
      ASSERT_TRUE(waitFor(*each));
      EXPECT_EQ(each->done, each->size);
      EXPECT_EQ(each->wrong, 0u);
    }
    // The engine's own thread may still be closing them: ending the engine waits for it.
    FsysUninitialize(Shutdown::eNormal);
    ASSERT_EQ(FsysInitialize(), 1u);
    for (unsigned seed = 1; seed <= 3; ++seed) {
      std::string name = (immediate ? "a" : "b") + std::to_string(seed);
      EXPECT_EQ(sizeOf(name), kFileBytes - 777u);
      EXPECT_EQ(whyNotStreamedBack(folder_ / name, kFileBytes - 777, 1 << 20), "");
    }
  }
}

TEST_F(EngineCallbackStressTest, AFileThatIsClosedWhileItsCallbacksWriteHoldsAllThatWasTaken) {
  for (unsigned round = 0; round < 20; ++round) {
    std::string name = "cut" + std::to_string(round);
    Qv::Ptr<Chain> writing = chain(name, true, round + 1);
    writing->next();
    while (writing->done < round * 100000 && !writing->isOver) std::this_thread::yield();
    ASSERT_EQ(FsysClose(writing->file, nullptr), 1u);
    ASSERT_TRUE(waitFor(*writing));
    expectAllThatWasTaken(name, *writing);
  }
}

TEST_F(EngineCallbackStressTest,
       AnEngineThatEndsWhileCallbacksGoOnKeepsWhatWasTakenAndCallsNobody) {
  for (unsigned round = 0; round < 10; ++round) {
    std::vector<Qv::Ptr<Chain>> reading, writing;
    for (unsigned i = 0; i < 3; ++i) {
      std::string name = "end" + std::to_string(round) + "." + std::to_string(i);
      reading.push_back(chain("media", false, round * 3 + i));
      writing.push_back(chain(name, true, round * 3 + i));
      writing[i]->closesItself = i == 1;
    }
    for (unsigned i = 0; i < 3; ++i) {
      reading[i]->next();
      writing[i]->next();
    }
    while (writing[0]->done < round * 200000 && !writing[0]->isOver) std::this_thread::yield();
    FsysUninitialize(Shutdown::eNormal);
    std::vector<uint64_t> doneAtTheEnd;
    for (const auto& each : reading) doneAtTheEnd.push_back(each->done);
    ASSERT_EQ(FsysInitialize(), 1u);
    for (unsigned i = 0; i < 3; ++i) {
      std::string name = "end" + std::to_string(round) + "." + std::to_string(i);
      expectAllThatWasTaken(name, *writing[i]);
      EXPECT_EQ(reading[i]->done, doneAtTheEnd[i]) << "nobody is called after the end";
      EXPECT_EQ(reading[i]->wrong + writing[i]->wrong, 0u);
    }
  }
}

TEST_F(EngineCallbackStressTest, ManyThreadsOpenStreamAndCloseFilesAtOnce) {
  std::atomic<unsigned> wrong{0};
  std::vector<std::thread> threads;
  for (unsigned number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      std::mt19937 random(number);
      for (unsigned round = 0; round < 8; ++round) {
        LightweightString<wchar_t> name =
            folder_ / ("t" + std::to_string(number) + "." + std::to_string(round));
        uint64_t size = 1 + random() % (1 << 20);
        uint32_t block = static_cast<uint32_t>(4096 + random() % 300000);
        if (!streamOut(name, 0, size, block)) ++wrong;
        if (!whyNotStreamedBack(name, size, block).empty()) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0u);
}

}  // namespace
