// The fault layer itself: it passes everything on, counts, and strikes when it was told to.

#include "tests/fault/FaultLayer.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/fake/FakeOSScope.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/Pattern.h"

namespace {

using Text = LightweightString<wchar_t>;
constexpr uint32_t kBytes = 4096;

class CountedTask final : public iTask {
public:
  void run() override { ++runs; }
  int runs = 0;
};

unsigned returnAtOnce(void*) { return 0; }

class FaultLayerTest : public testing::Test {
protected:
  FaultLayerTest() { os_->files().addFolder(L"/m"); }

  Qv::Ptr<iFile> open(const wchar_t* name, bool write = false) {
    return layer_.getFileManager()->openMedia(
        Text(name), 3, write, iFileManager::eOpenOrCreateNeverTruncate, iFileManager::eModeAsync);
  }
  Qv::Ptr<iFile> openPattern(const wchar_t* name = L"/m/a", bool write = false) {
    os_->files().addFile(Text(name), patternBytes(kBytes));
    return open(name, write);
  }
  uint32_t lastError() { return OS()->getErrors()->getLastError(); }

  // One call of that kind; whether it went well.
  bool call(FaultCall kind) {
    iFileManager* files = OS()->getFileManager();
    iThreads* threads = OS()->getThreads();
    uint64_t size = 0;
    switch (kind) {
      case FaultCall::eOpenMedia:
        return static_cast<bool>(open(L"/m/a"));
      case FaultCall::eOpenFile:
        return static_cast<bool>(files->openFile(Text(L"/m/a"), 1, 0, 0, 0));
      case FaultCall::eOpenServed:
        return static_cast<bool>(files->openServed(Text(L"mem:a"), 2, true));
      case FaultCall::eExists:
        return files->exists(Text(L"/m/a"));
      case FaultCall::eGetFileSize:
        return files->getFileSize(Text(L"/m/a"), size) && size == kBytes;
      case FaultCall::eDeleteFile:
        os_->files().addFile(Text(L"/m/gone"), {});
        return files->deleteFile(Text(L"/m/gone")) && !os_->files().hasFile(Text(L"/m/gone"));
      case FaultCall::eCreateFolder:
        return files->createFolder(Text(L"/folder"));
      case FaultCall::eCreateContext:
        return static_cast<bool>(OS()->getAsyncIo()->createContext());
      case FaultCall::eCreatePort:
        return static_cast<bool>(
            OS()->getAsyncIo()->createPort("port", CompletionCommand(), 3, 3, 3, 3));
      case FaultCall::eCreateEvent:
        return static_cast<bool>(threads->createEvent(0, 0, 0));
      case FaultCall::eCreateThread:
        return makeThread();
      case FaultCall::eCreateTaskQueue:
        return static_cast<bool>(threads->createTaskQueue("queue", 1));
      case FaultCall::eAllocateRegion:
        return takeRegion();
      default:
        return callOfADrive(kind);
    }
  }

  bool callOfADrive(FaultCall kind) {
    iFileManager* files = OS()->getFileManager();
    Text unc;
    Vector<iFileManager::Share> shares;
    switch (kind) {
      case FaultCall::eGetDisk:
        return static_cast<bool>(files->getDisk(Text(L"/m/a")));
      case FaultCall::eGetDisks:
        os_->files().setDrive(Text(L"/m/"), {.listed = true});
        return files->getDisks().size() == 1;
      case FaultCall::eGetSpace:
        return tellsSpace();
      case FaultCall::eOnDrive: {
        Qv::Ptr<CountedTask> errand(new CountedTask);
        bool went = files->onDrive(Text(L"/m/a"), errand, 500);
        EXPECT_EQ(errand->runs, went ? 1 : 0);
        return went;
      }
      case FaultCall::eGetUNCName:
        os_->files().setDrive(Text(L"/m/"), {.uncName = L"\\\\server\\share"});
        unc = files->getUNCName(Text(L"/m/a"));
        EXPECT_EQ(unc.isNull(), unc != L"\\\\server\\share\\a");
        return !unc.isNull();
      case FaultCall::eGetShares:
        shares.add({Text(L"\\\\here\\m"), Text(L"/m/")});
        os_->files().setShares(shares);
        return files->getShares(Text(L"here")).size() == 1;
      default:
        return callOfAName(kind);
    }
  }
  bool tellsSpace() {
    uint64_t free = 1;
    uint64_t total = 1;
    Qv::Ptr<iDiskDrive> drive = OS()->getFileManager()->getDisk(Text(L"/m/a"));
    EXPECT_TRUE(drive->isAvailable());
    bool told = drive->getSpace(free, total);
    EXPECT_EQ(free, told ? FakeDrive().freeBytes : 0);
    EXPECT_EQ(total, told ? FakeDrive().totalBytes : 0);
    return told;
  }

  bool callOfAName(FaultCall kind) {
    iFileManager* files = OS()->getFileManager();
    Text behind(L"before");
    MediaLeft left;
    iFileManager::LockState lock = iFileManager::eLockHeld;
    Vector<iFileManager::ListedFile> listed;
    listed.add({});
    switch (kind) {
      case FaultCall::eFolderExists:
        return files->folderExists(Text(L"/m"));
      case FaultCall::eIsWritable:
        return files->isWritable(Text(L"/m/a"));
      case FaultCall::eListFiles:
        if (files->listFiles(Text(L"/m/a*"), listed)) return listed.size() == 1;
        EXPECT_TRUE(listed.empty());
        return false;
      case FaultCall::eRenameFile:
        os_->files().addFile(Text(L"/m/from"));
        return files->renameFile(Text(L"/m/from"), Text(L"/m/to")) &&
               !os_->files().hasFile(Text(L"/m/from"));
      case FaultCall::eDeleteMedia:
        os_->files().addFile(Text(L"/m/gone"));
        os_->files().addFile(Text(L"/m/gone.1"));
        os_->files().addFile(Text(L"/m/sub/a"));
        return files->deleteMedia({Text(L"/m/gone"), Text(L"gone.*"), Text(L"/m/sub"), {}}, left) &&
               !os_->files().hasFile(Text(L"/m/gone")) &&
               !os_->files().hasFile(Text(L"/m/gone.1")) &&
               !os_->files().hasFile(Text(L"/m/sub/a"));
      case FaultCall::eSyncFolder:
        return files->syncFolder(Text(L"/m"));
      case FaultCall::eFollowLinks:
        os_->files().addLink(Text(L"/link"), Text(L"/m/a"));
        if (files->followLinks(Text(L"/link"), behind)) return behind == L"/m/a";
        EXPECT_TRUE(behind.empty());
        return false;
      case FaultCall::eCopyMode:
        return files->copyMode(Text(L"/m/a"), Text(L"/m/a"));
      case FaultCall::eMarkFile:
        os_->files().addFile(Text(L"/m/empty"));
        return files->markFile(Text(L"/m/empty"));
      case FaultCall::eAskLock:
        if (files->askLock(Text(L"/m/a"), lock)) return lock == iFileManager::eLockFree;
        EXPECT_EQ(lock, iFileManager::eLockUnknown);
        return false;
      default:
        return callOfAFile(kind);
    }
  }

  bool makeThread() {
    uint32_t id = OS()->getThreads()->create(&returnAtOnce, "thread", nullptr);
    if (id == 0) return false;
    OS()->getThreads()->kill(id);
    return true;
  }
  bool takeRegion() {
    iVirtualMemory* memory = OS()->getVirtualMemory();
    void* region = memory->allocate(nullptr, kBytes, eVmReserveAndCommit, eVmReadWrite);
    if (!region) return false;
    EXPECT_EQ(memory->figures().bytesInUse, kBytes);
    return memory->free(region, 0, eVmDecommitAndRelease);
  }

  // What it needs beside the call itself is not looked at.
  bool callOfAFile(FaultCall kind) {
    FaultPause preparing;
    Qv::Ptr<iFile> file = open(L"/m/a", true);
    std::vector<unsigned char> bytes(kBytes);
    uint32_t done = 0;
    FILE_INFO info;
    if (kind == FaultCall::ePostTask) return post();
    FaultWatch calling;
    switch (kind) {
      case FaultCall::eGetSize:
        return file->getSize() == kBytes;
      case FaultCall::eGetInfo:
        return file->getInfo(&info) == 1 && info.writePosition == kBytes;
      case FaultCall::eRead:
        return file->readAt(0, bytes.data(), kBytes, &done) == 1 && done == kBytes &&
               whyNotPattern(bytes).empty();
      case FaultCall::eSettle:
        return file->writeBehind(0, patternBytes(kBytes).data(), kBytes, &done) == 1 &&
               file->settle() == 1;
      case FaultCall::eFlush:
        return file->flush() == 1;
      case FaultCall::eWrite:
        return file->writeAt(0, patternBytes(kBytes).data(), kBytes, &done) == 1 && done == kBytes;
      default:
        return transfer(kind, file);
    }
  }
  bool post() {
    Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("queue", 1);
    FaultWatch calling;
    return queue->post(Qv::Ptr<iTask>(new CountedTask));
  }
  bool transfer(FaultCall kind, const Qv::Ptr<iFile>& file) {
    FaultPause preparing;
    AsyncTester tester;
    AsyncTester::Request request(kBytes);
    FaultWatch calling;
    if (file->attach(tester.handler()) != 1) return false;
    bool reads = kind == FaultCall::eStartRead || kind == FaultCall::eFinishRead;
    if ((reads ? tester.read(file, request, 0) : tester.write(file, request, 0)) != 1) return false;
    os_->run();
    return request.reports == 1 && request.succeeded;
  }

  FakeOSScope os_;
  FaultLayer layer_;
};

TEST_F(FaultLayerTest, EveryKindOfCallIsPassedOnAndCounted) {
  for (FaultCall kind : everyFaultCall()) {
    if (kind == FaultCall::eAllocate) continue;
    os_->files().addFile(Text(L"/m/a"), patternBytes(kBytes));
    layer_.points().arm({.call = kind, .nth = 2});
    EXPECT_TRUE(call(kind)) << faultCallName(kind);
    EXPECT_EQ(layer_.points().calls(kind), 1u) << faultCallName(kind);
    EXPECT_EQ(layer_.points().fired(), 0u);
  }
}

TEST_F(FaultLayerTest, EveryKindOfCallFailsWithEachOfItsErrorsAndThenGoesWellAgain) {
  for (FaultCall kind : everyFaultCall()) {
    if (kind == FaultCall::eAllocate) continue;
    os_->files().addFile(Text(L"/m/a"), patternBytes(kBytes));
    std::span<const uint32_t> errors = faultErrors(kind);
    for (unsigned pick = 0; pick < errors.size(); ++pick) {
      layer_.points().arm({.call = kind, .nth = 2, .pick = pick});
      OS()->getErrors()->setLastError(0);
      EXPECT_TRUE(call(kind)) << faultCallName(kind);
      EXPECT_FALSE(call(kind)) << faultCallName(kind);
      EXPECT_TRUE(call(kind)) << faultCallName(kind);
      EXPECT_EQ(layer_.points().fired(), 1u) << faultCallName(kind);
      EXPECT_EQ(layer_.points().lastFired(), kind);
      bool onAnotherThread = kind == FaultCall::eFinishRead || kind == FaultCall::eFinishWrite;
      EXPECT_EQ(lastError(), onAnotherThread ? 0 : errors[pick]) << faultCallName(kind);
    }
  }
}

TEST_F(FaultLayerTest, AFaultOfAnyKindStrikesTheNthCallOfAll) {
  os_->files().addFile(Text(L"/m/a"), patternBytes(kBytes));
  layer_.points().arm({.nth = 3});
  EXPECT_TRUE(call(FaultCall::eGetDisk));
  EXPECT_TRUE(call(FaultCall::eCreateEvent));
  EXPECT_FALSE(call(FaultCall::eExists));
  EXPECT_TRUE(call(FaultCall::eExists));
  EXPECT_EQ(layer_.points().calls(), 4u);
  EXPECT_EQ(layer_.points().lastFired(), FaultCall::eExists);
}

TEST_F(FaultLayerTest, AFaultFromThenOnStrikesUntilItIsDisarmed) {
  layer_.points().arm({.call = FaultCall::eCreateEvent, .nth = 2, .fromThenOn = true});
  EXPECT_TRUE(call(FaultCall::eCreateEvent));
  EXPECT_FALSE(call(FaultCall::eCreateEvent));
  EXPECT_FALSE(call(FaultCall::eCreateEvent));
  EXPECT_TRUE(call(FaultCall::eCreateContext)) << "another kind";
  EXPECT_EQ(layer_.points().fired(), 2u);
  layer_.points().disarm();
  EXPECT_TRUE(call(FaultCall::eCreateEvent));
}

TEST_F(FaultLayerTest, WhatIsDoneInAPauseIsNeitherCountedNorStruck) {
  layer_.points().arm({.nth = 1, .fromThenOn = true});
  FaultPause pause;
  EXPECT_TRUE(call(FaultCall::eCreateEvent));
  EXPECT_EQ(layer_.points().calls(), 0u);
  {
    FaultWatch watch;
    EXPECT_FALSE(call(FaultCall::eCreateEvent));
  }
  EXPECT_TRUE(call(FaultCall::eCreateEvent));
}

TEST_F(FaultLayerTest, ASynchronousReadThatIsCutShortIsZeroFilled) {
  Qv::Ptr<iFile> file = openPattern();
  for (uint32_t length : {0u, 1u, 512u, kBytes / 2}) {
    for (uint32_t error : {0u, uint32_t{eOsIoError}}) {
      layer_.points().arm({.call = FaultCall::eRead, .error = error, .cutShort = length});
      std::vector<unsigned char> bytes(kBytes, 0xEE);
      uint32_t done = 77;
      // Without an error of its own the read ends as at the end of the file.
      EXPECT_EQ(file->readAt(0, bytes.data(), kBytes, &done), error == 0 ? 1 : error);
      EXPECT_EQ(done, length);
      EXPECT_EQ(whyNotPattern(bytes.data(), length, 0), "");
      EXPECT_EQ(whyNotZeros(bytes.data() + length, kBytes - length), "");
    }
  }
}

TEST_F(FaultLayerTest, ASynchronousWriteThatIsCutShortFailsAfterSoManyBytes) {
  for (uint32_t length : {0u, 1u, 512u, kBytes / 2}) {
    Text path(L"/m/w");
    Qv::Ptr<iFile> file = open(path.c_str(), true);
    layer_.points().arm({.call = FaultCall::eWrite, .error = eOsNoSpace, .cutShort = length});
    uint32_t done = 77;
    EXPECT_EQ(file->write(patternBytes(kBytes).data(), kBytes, &done), uint32_t{eOsNoSpace});
    EXPECT_EQ(done, length);
    EXPECT_EQ(os_->files().bytesOf(path), patternBytes(length));
    OS()->getFileManager()->deleteFile(path);
  }
}

TEST_F(FaultLayerTest, AnAsynchronousReadIsCutShortOrFailsWithNoRightByteBehindThat) {
  Qv::Ptr<iFile> file = openPattern();
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  for (uint32_t length : {0u, 1u, 512u, kBytes / 2}) {
    for (uint32_t error : {0u, uint32_t{eOsIoError}}) {
      layer_.points().arm({.call = FaultCall::eFinishRead, .error = error, .cutShort = length});
      AsyncTester::Request request(kBytes);
      ASSERT_EQ(tester.read(file, request, 0), 1u);
      os_->run();
      ASSERT_EQ(request.reports, 1);
      EXPECT_EQ(request.succeeded, error == 0);
      EXPECT_EQ(request.bytes, length);
      EXPECT_EQ(request.error, error);
      EXPECT_EQ(whyNotPattern(request.buffer.data(), length, 0), "");
      EXPECT_EQ(whyNotZeros(request.buffer.data() + length, kBytes - length), "");
    }
  }
}

TEST_F(FaultLayerTest, AnAsynchronousWriteThatIsCutShortMovesSoMuchAndFails) {
  for (uint32_t length : {1u, 512u, kBytes / 2}) {
    Text path(L"/m/w");
    AsyncTester tester;
    Qv::Ptr<iFile> file = open(path.c_str(), true);
    ASSERT_EQ(file->attach(tester.handler()), 1u);
    layer_.points().arm({.call = FaultCall::eFinishWrite, .error = eOsNoSpace, .cutShort = length});
    AsyncTester::Request request(kBytes);
    ASSERT_EQ(tester.write(file, request, 0), 1u);
    os_->run();
    EXPECT_FALSE(request.succeeded);
    EXPECT_EQ(request.error, uint32_t{eOsNoSpace});
    EXPECT_EQ(request.bytes, length);
    EXPECT_EQ(os_->files().bytesOf(path).size(), length);
    OS()->getFileManager()->deleteFile(path);
  }
}

TEST_F(FaultLayerTest, ATransferWhoseLinkWasCutLeavesNothingForTheNextOfItsRequest) {
  Qv::Ptr<iFile> file = openPattern();
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  AsyncTester::Request request(kBytes);
  layer_.points().arm({.call = FaultCall::eFinishRead});
  ASSERT_EQ(tester.read(file, request, 0), 1u);
  request.context->detach();
  os_->run();
  EXPECT_EQ(request.reports, 0);
  ASSERT_EQ(tester.read(file, request, 0), 1u);
  os_->run();
  EXPECT_EQ(request.reports, 1);
  EXPECT_TRUE(request.succeeded);
}

TEST_F(FaultLayerTest, TheNthAllocationIsRefusedAndWhatIsAliveIsCounted) {
  if (!layer_.seesAllocations())
    GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  long before = layer_.heap().live();
  layer_.points().arm({.call = FaultCall::eAllocate, .nth = 2});
  void* first = ::operator new(1);
  void* second = ::operator new(1, std::nothrow);
  void* third = ::operator new(1);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(layer_.points().calls(FaultCall::eAllocate), 3u);
  layer_.points().disarm();
  EXPECT_EQ(layer_.points().calls(), 0u) << "the heap is none of any kind";
  EXPECT_EQ(layer_.heap().live(), before + 2);
  ::operator delete(first);
  ::operator delete(third);
  EXPECT_EQ(layer_.heap().live(), before);
}

}  // namespace
