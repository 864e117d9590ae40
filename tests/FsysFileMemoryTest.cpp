// Requests that find no memory: nothing moves, nothing is counted, and what is written is whole.

#include <set>
#include <string>
#include <utility>

#include "fsys/DeliveryScope.h"
#include "fsys/LostBytes.h"
#include "tests/FileRequestPeer.h"
#include "tests/FsysFileDirectFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

constexpr unsigned kQueued = 40;  // as many as a list has room for from the start
constexpr uint32_t kBytes = 512;
constexpr int kMost = 200;  // allocations

class FsysFileMemoryTest : public FsysFileDirectFixture {
protected:
  void SetUp() override {
    if (!heap_.isAsked())
      GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
    FsysFileDirectFixture::SetUp();
  }
  void TearDown() override {
    if (heap_.isAsked()) FsysFileDirectFixture::TearDown();
  }

  FsysFile* withFullList() {
    FsysFile* file = openForWriting(L"/m/a");
    for (unsigned i = 0; i < kQueued; ++i) write(file, TestHolder::ofPattern(kBytes, i * kBytes));
    return file;
  }
  // Whether the write that comes next was taken while the `nth` allocation is refused.
  bool isTaken(FsysFile* file, const Qv::Ptr<iMemHolder>& data, int nth, bool& refused) {
    uint32_t result = 0;
    // As within a callback, where no write waits: what the fake needs meanwhile is left alone.
    DeliveryScope scope(file);
    heap_.refuse(nth, true);
    try {
      result = write(file, data);
    } catch (const std::bad_alloc&) {
    }
    refused = heap_.letBe();
    return result == 1;
  }

  FailingHeap heap_;
};

TEST_F(FsysFileMemoryTest, AWriteThatFindsNoRoomInTheListMovesAndCountsNothing) {
  int lists = 0;
  bool refused = true;
  for (int nth = 0; refused && nth < kMost; ++nth) {
    FsysFile* file = withFullList();
    bool taken = isTaken(file, TestHolder::ofPattern(kBytes, kQueued * kBytes), nth, refused);
    unsigned count = kQueued + (taken ? 1 : 0);
    EXPECT_EQ(file->GetPosition(), count * kBytes) << "allocation " << nth;
    EXPECT_EQ(file->GetWriteBytesOutstanding(), count * kBytes) << "allocation " << nth;
    EXPECT_EQ(FsysFilePeer::writeRequests(*file).size(), count) << "allocation " << nth;
    lists += !taken && FsysGetLastError() == uint32_t{eOsNoMemory};
    OsAtomics::store(FsysError, 1u);
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(count * kBytes));
    OS()->getFileManager()->deleteFile(Text(L"/m/a"));
  }
  EXPECT_FALSE(refused);
  EXPECT_EQ(lists, 1) << "the list grows once";
}

TEST_F(FsysFileMemoryTest, AStagedWriteThatFindsNoRoomInTheListStaysHeldWhereItBelongs) {
  constexpr uint64_t before = kQueued * kBytes, staged = 140001;
  int held = 0;
  bool refused = true;
  for (int nth = 0; refused && nth < kMost; ++nth) {
    FsysFile* file = withFullList();
    bool taken = isTaken(file, TestHolder::ofPattern(staged, before), nth, refused);
    bool isHeld = !taken && FsysFilePeer::cachedBytes(*file) == staged;
    EXPECT_TRUE(taken || file->GetPosition() == before) << "allocation " << nth;
    held += isHeld;
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    EXPECT_EQ(os_->files().bytesOf(L"/m/a"),
              patternBytes(taken || isHeld ? before + staged : before))
        << "allocation " << nth;
    OS()->getFileManager()->deleteFile(Text(L"/m/a"));
  }
  EXPECT_FALSE(refused);
  EXPECT_GT(held, 0);
}

TEST_F(FsysFileMemoryTest, AReadThatFindsNoRoomInTheListIsRefused) {
  int lists = 0;
  bool refused = true;
  for (int nth = 0; refused && nth < kMost; ++nth) {
    FsysFile* file = readPatternFile(L"/m/r", 1 << 20);
    FsysSetCoalesceLength(file, 0);
    for (unsigned i = 0; i < kQueued; ++i) read(file, i * 8192, kBytes);
    uint32_t result = 0;
    heap_.refuse(nth, true);
    try {
      result = read(file, kQueued * 8192, kBytes);
    } catch (const std::bad_alloc&) {
    }
    refused = heap_.letBe();
    unsigned count = kQueued + (result == 1 ? 1 : 0);
    EXPECT_EQ(file->GetReadBytesOutstanding(), count * kBytes) << "allocation " << nth;
    EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), count) << "allocation " << nth;
    lists += result != 1 && FsysGetLastError() == uint32_t{eOsNoMemory};
    OsAtomics::store(FsysError, 1u);
    os_->run();
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
  }
  EXPECT_FALSE(refused);
  EXPECT_EQ(lists, 1);
}

TEST_F(FsysFileMemoryTest, ACallbacksCloseThatFindsNoMemoryIsRefusedAndTheFileStaysOpen) {
  FsysFile* file = readPatternFile(L"/m/r", 4096);
  uint32_t result = 77;
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 0) {
      // The engine's thread for closes is there when it is asked the second time.
      os_->faults().fail(FaultPlan::ePostTask, eOsNoMemory);
      EXPECT_EQ(FsysClose(file, nullptr), 0u);
      return;
    }
    heap_.refuse(0, true);
    result = FsysClose(file, nullptr);
    EXPECT_TRUE(heap_.letBe());
  });
  read(file, 0, kBytes, 0);
  os_->run();
  OsAtomics::store(FsysError, 1u);
  read(file, 2048, kBytes, 1);
  os_->run();
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoMemory});
  EXPECT_EQ(FsysClose(file, nullptr), 1u) << "it is open";
}

TEST_F(FsysFileMemoryTest, ASegmentThatFindsNoMemoryForItsRequestStaysPending) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::setPosition(*file, 100);
  FsysFilePeer::giveSegment(*file, TestHolder::ofPattern(512), 100);
  std::vector<RequestHandle> requests;
  requests.reserve(1 << 16);
  heap_.refuse(0, false);
  try {
    // Until the pool of requests is empty.
    while (requests.size() < requests.capacity())
      requests.emplace_back(
          new FileRequest(false, 1, 0, false, false, nullptr, file, nullptr, nullptr));
  } catch (const std::bad_alloc&) {
  }
  EXPECT_EQ(file->SendWriteSegBuffer(), uint32_t{eOsNoMemory});
  EXPECT_TRUE(heap_.letBe());
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(*file), 100u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoMemory});
}

TEST_F(FsysFileMemoryTest, AnOpenThatFindsNoMemoryIsInNoneOfTheEnginesLists) {
  constexpr size_t kFiles = 50;  // the lists grow several times
  // An open can do without some of it, and then its list grows behind the one refusal: so readers
  // are refused all that follows as well. The fake needs memory to take a writer's cache back.
  const std::pair<uint32_t, bool> plays[] = {{1, true}, {1, false}, {2, true}};
  for (auto [flags, once] : plays) {
    os_->files().addFile(L"/m/a", patternBytes(2 * kBytes));
    const Vector<FsysFile*>& list =
        flags == 1 ? FsysPeer::readFiles(*theFsys) : FsysPeer::writeFiles(*theFsys);
    const size_t listed = list.size();
    const size_t before = FsysPeer::openFiles(*theFsys).size();
    for (size_t open = 0; open < kFiles; ++open) {
      uint32_t result = 0;
      for (int nth = 0; result != 1 && nth < kMost; ++nth) {
        EXPECT_EQ(list.size(), listed + open) << "allocation " << nth;
        EXPECT_EQ(FsysPeer::openFiles(*theFsys).size(), before + open) << "allocation " << nth;
        FsysFile* file = nullptr;
        const Text path(L"/m/a");
        heap_.refuse(nth, once);
        result = FsysOpen(&file, path, 0, flags, nullptr);
        heap_.letBe();
      }
      ASSERT_EQ(result, 1u);
    }
  }
}

// A text that names a file is said without the name where there is no memory for it.
class FsysTextMemoryTest : public FsysFileMemoryTest {
protected:
  static constexpr const wchar_t* kPath = L"/m/a name that no string keeps within itself";
  const std::string kName = "/m/a name that no string keeps within itself";

  // What was logged while one allocation after the other was refused.
  template <typename Say>
  std::set<std::string> saidWithout(const Say& say) {
    std::set<std::string> said;
    bool refused = true;
    for (int nth = 0; refused && nth < kMost; ++nth) {
      texts_.clear();
      heap_.refuse(nth, true);
      try {
        say();
      } catch (const std::bad_alloc&) {
        // The test's own: what keeps the texts.
      }
      refused = heap_.letBe();
      for (const std::string& text : texts_.log()) said.insert(text);
    }
    EXPECT_FALSE(refused);
    return said;
  }

  using Texts = std::set<std::string>;
};

TEST_F(FsysTextMemoryTest, BytesThatAreLost) {
  EXPECT_EQ(saidWithout([] { reportLost(5, Text(kPath)); }),
            (Texts{"The last 5 bytes of " + kName + " could not be written\n",
                   "The last 5 bytes of a file could not be written\n"}));
}

TEST_F(FsysTextMemoryTest, AFileThatIsLeft) {
  const std::string end = " held may not be written: it was at work as the process ended\n";
  EXPECT_EQ(saidWithout([] { reportLeft(Text(kPath)); }),
            (Texts{"What " + kName + end, "What a file" + end}));
}

TEST_F(FsysTextMemoryTest, AFileThatDidNotReachItsDisk) {
  FsysFile* file = openForWriting(kPath);
  os_->faults().fail(FaultPlan::eSettle, eOsIoError, 1, FaultPlan::eFromThenOn);
  const std::string end = " reached its disk: error 0x1005\n";
  EXPECT_EQ(saidWithout([file] {
              FsysFilePeer::setWroteBehind(*file);
              FsysFilePeer::settleWrites(*file);
            }),
            (Texts{"Not all of " + kName + end, "Not all of a file" + end}));
}

TEST_F(FsysTextMemoryTest, AFileWhoseRequestsWereStarted) {
  SettingScope tells(EngineSettings::ShowRequestDebug, 1);
  FsysFile* file = readPatternFile(kPath, 1 << 20);
  long position = 0;
  Texts said = saidWithout([&] {
    // Neither merged with the one before nor answered from it.
    read(file, position += 8192, kBytes);
    passOverReads();
    passOverReads();
  });
  EXPECT_TRUE(said.contains("Started requests of " + kName + "\n"));
  EXPECT_TRUE(said.contains("Started requests of a file\n"));
}

}  // namespace
