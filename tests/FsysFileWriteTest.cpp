// Direct writes, and the write cache.

#include "fsys/WriteMemRef.h"
#include "tests/FsysFileDirectFixture.h"

namespace {

class FsysFileWriteTest : public FsysFileDirectFixture {};

// Writing straight -------------------------------------------------------------------------------

TEST_F(FsysFileWriteTest, AnAlignedWriteIsQueuedAsItIsFromTheCallersBuffer) {
  FsysFile* file = openForWriting(L"/m/a");
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(1024);
  EXPECT_EQ(write(file, data), 1u);
  EXPECT_EQ(file->GetPosition(), 1024u);
  EXPECT_EQ(FsysFilePeer::cachePosition(*file), 1024u);
  EXPECT_EQ(recorder_->count(), 0u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).address, data->getBuffer());
  EXPECT_EQ(os_->files().transfers().back().address, data->getBuffer()) << "no copy";
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(1024));
}

TEST_F(FsysFileWriteTest, TheSameWriteAfterOneUnalignedWriteIsStaged) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1));
  write(file, TestHolder::ofPattern(1024, 1));
  EXPECT_EQ(recorder_->count(), 2u) << "both were absorbed and told at once";
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 1025u);
  EXPECT_EQ(file->GetPosition(), 0u);
  EXPECT_EQ(startedCount(), 0u);
}

TEST_F(FsysFileWriteTest, AnAlignedWriteAtAnUnalignedPositionIsStaged) {
  os_->files().addFile(L"/m/a", patternBytes(100));
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512, 100));
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 512u);
}

TEST_F(FsysFileWriteTest, ASynchronousAlignedWriteReturnsWhenItIsDone) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(512), 1, true), 1u);
  EXPECT_EQ(recorder_->count(), 1u);
}

TEST_F(FsysFileWriteTest, AWriteWithoutDataOrWithoutMemoryIsRefused) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(write(file, nullptr), 0u);
  EXPECT_EQ(write(file, Qv::Ptr<iMemHolder>(new TestHolder(0u))), 0u);
  EXPECT_EQ(file->GetPosition(), 0u);
}

struct CachingCase {
  const char* name;
  bool flag;
  int always;
  iDiskDrive::eType drive;
  bool staged;
};

class WriteCachingTest : public FsysFileWriteTest,
                         public testing::WithParamInterface<CachingCase> {};

TEST_P(WriteCachingTest, AnAlignedWriteIsStagedOnlyWhereCachingIsInForce) {
  SettingScope always(EngineSettings::AlwaysUseWriteCache, GetParam().always);
  FsysSetNetworkWriteCaching(GetParam().flag);
  os_->files().setDrive(L"/c/", {.type = GetParam().drive});
  FsysFile* file = openForWriting(L"/c/a");
  write(file, TestHolder::ofPattern(512));
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), GetParam().staged ? 512u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    All, WriteCachingTest,
    testing::Values(CachingCase{"NetworkOn", true, 0, iDiskDrive::eNetwork, true},
                    CachingCase{"NetworkOff", false, 0, iDiskDrive::eNetwork, false},
                    CachingCase{"LocalOn", true, 0, iDiskDrive::eFixed, false},
                    CachingCase{"LocalAlways", true, 1, iDiskDrive::eFixed, true},
                    CachingCase{"LocalAlwaysWithoutTheFlag", false, 1, iDiskDrive::eFixed, false},
                    CachingCase{"AlwaysIsExactlyOne", true, 2, iDiskDrive::eFixed, false}),
    [](const auto& test) { return test.param.name; });

// Staging ----------------------------------------------------------------------------------------

TEST_F(FsysFileWriteTest, Exactly131072StagedBytesAreAbsorbedAndOneMoreSendsWholeSectors) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(72), 1);
  write(file, TestHolder::ofPattern(kStaged - 72, 72), 2);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), kStaged);
  EXPECT_EQ(startedCount(), 0u);
  os_->files().clearRecords();

  EXPECT_EQ(write(file, TestHolder::ofPattern(1, kStaged), 3), 1u);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2, 3})) << "it waited for its request";
  EXPECT_EQ(recorder_->at(2).status, eRequestSucceeded);
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, kStaged);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 1u);
  EXPECT_EQ(file->GetPosition(), kStaged);
  EXPECT_EQ(FsysFilePeer::cachePosition(*file), kStaged);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(kStaged + 1));
}

TEST_F(FsysFileWriteTest, TheTippingWriteIsToldWithTheWriteCacheAsItsData) {
  FsysFile* file = openForWriting(L"/m/a");
  unsigned char* cache = FsysFilePeer::writeCache(*file)->getBuffer();
  write(file, TestHolder::ofPattern(kStaged - 1));
  write(file, TestHolder::ofPattern(513, kStaged - 1), 2);
  EXPECT_EQ(recorder_->at(1).address, cache);
  EXPECT_EQ(recorder_->at(1).size, 0u) << "the cache's holder carries no length";
}

TEST_F(FsysFileWriteTest, AStagedWriteOfNoBytesIsAbsorbed) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  struct Empty : iMemHolder {
    unsigned char* getBuffer() const override { return &byte; }
    unsigned getSize() const override { return 0; }
    unsigned getUsed() const override { return 0; }
    bool setUsed(unsigned) override { return false; }
    mutable unsigned char byte = 0;
  };
  EXPECT_EQ(write(file, Qv::Ptr<iMemHolder>(new Empty)), 1u);
  EXPECT_EQ(recorder_->count(), 2u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 100u);
}

class LargeStagedWriteTest : public FsysFileWriteTest,
                             public testing::WithParamInterface<uint32_t> {};

TEST_P(LargeStagedWriteTest, AWriteLargerThanTheCacheGoesOutAsOneRequest) {
  const uint32_t size = GetParam();
  FsysFile* file = openForWriting(L"/m/a");
  os_->files().clearRecords();
  EXPECT_EQ(write(file, TestHolder::ofPattern(size)), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, size / 512 * 512);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), size % 512);
  EXPECT_NE(dynamic_cast<WriteMemRef*>(FsysFilePeer::writeCache(*file)), nullptr)
      << "the cache has its own size again";
  EXPECT_EQ(write(file, TestHolder::ofPattern(1000, size)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(size + 1000));
}

INSTANTIATE_TEST_SUITE_P(Sizes, LargeStagedWriteTest,
                         testing::Values((1u << 20) + 1, (64u << 20) + 3, 524288u + 1));

TEST_F(FsysFileWriteTest, ALargeWriteOntoHeldBytesKeepsThemInFront) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(777));
  write(file, TestHolder::ofPattern(600001, 777));
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(600778));
}

TEST_F(FsysFileWriteTest, AFileContinuedTwiceAtUnalignedEndsHasEveryByteWhereItBelongs) {
  uint32_t size = 0;
  for (uint32_t bytes : {1000u, 200001u, 77u}) {
    FsysFile* file = openForWriting(L"/m/a");
    EXPECT_EQ(file->GetPosition(), size);
    EXPECT_EQ(FsysFilePeer::cachePosition(*file), size);
    write(file, TestHolder::ofPattern(bytes, size));
    write(file, TestHolder::ofPattern(5, size + bytes));
    size += bytes + 5;
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
  }
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(size));
}

TEST_F(FsysFileWriteTest, AStagedWriteThatCannotBeQueuedKeepsItsDataAndThePosition) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1));
  write(file, TestHolder::ofPattern(kStaged - 1, 1));
  os_->asyncIo().hold(true);
  for (uint64_t i = 0; i < 41; ++i)
    file->QueueWriteRequest(new FileRequest(false, 512, 1 << 20, false, false,
                                            TestHolder::ofPattern(512), file, nullptr, nullptr));
  os_->run();
  recorder_->clear();
  const iMemHolder* cache = FsysFilePeer::writeCache(*file);
  EXPECT_EQ(write(file, TestHolder::ofPattern(1, kStaged)), 0u);
  EXPECT_EQ(FsysGetLastError(), 8u);
  EXPECT_EQ(os_->threads().sleeps(), std::vector<uint32_t>(201, 20u));
  EXPECT_EQ(recorder_->count(), 0u);
  EXPECT_EQ(file->GetPosition(), 0u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), kStaged + 1);
  EXPECT_EQ(FsysFilePeer::cachePosition(*file), 0u);
  EXPECT_EQ(FsysFilePeer::writeCache(*file), cache);
  os_->asyncIo().hold(false);
  os_->run();
  os_->files().clearRecords();
  EXPECT_EQ(write(file, TestHolder::ofPattern(999, kStaged + 1)), 1u);
  ASSERT_FALSE(os_->files().transfers().empty());
  EXPECT_EQ(os_->files().transfers()[0].offset, 0u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, kStaged + 512);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  std::vector<unsigned char> written = os_->files().bytesOf(L"/m/a");
  ASSERT_GE(written.size(), kStaged + 1000);
  EXPECT_EQ(whyNotPattern(written.data(), kStaged + 1000, 0), "");
}

TEST_F(FsysFileWriteTest, AStagedWriteWithoutMemoryForTheNextCacheIsRefusedAndLosesNothing) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1));
  write(file, TestHolder::ofPattern(kStaged - 1, 1));
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  EXPECT_EQ(write(file, TestHolder::ofPattern(700, kStaged)), 10u);
  EXPECT_EQ(startedCount(), 0u);
  EXPECT_EQ(file->GetPosition(), 0u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), kStaged + 700);
  EXPECT_EQ(write(file, TestHolder::ofPattern(300, kStaged + 700)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(kStaged + 1000));
}

// Sectors ----------------------------------------------------------------------------------------

TEST_F(FsysFileWriteTest, WholeSectorsAreThoseOfTheFilesOwnDrive) {
  os_->files().setDrive(L"/l/", {.sectorSize = 4096});
  FsysFile* file = openForWriting(L"/l/a");
  write(file, TestHolder::ofPattern(512));
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 512u) << "no sector yet";
  write(file, TestHolder::ofPattern(kStaged, 512));
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, kStaged);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 512u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/l/a"), patternBytes(kStaged + 512));
}

TEST_F(FsysFileWriteTest, ASynchronousFileSendsWholeSectorsOfItsOwnDriveToo) {
  os_->files().setDrive(L"/l/", {.sectorSize = 4096, .asyncTransfers = false});
  FsysFile* file = openForWriting(L"/l/a");
  write(file, TestHolder::ofPattern(kStaged + 4095));
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, kStaged);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 4095u);
}

class HugeSectorTest : public FsysFileWriteTest, public testing::WithParamInterface<bool> {};

TEST_P(HugeSectorTest, WhatFillsNoSectorIsAbsorbedHoweverMuchItIs) {
  os_->files().setDrive(L"/l/", {.sectorSize = 1 << 20, .asyncTransfers = GetParam()});
  FsysFile* file = openForWriting(L"/l/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(140001), 1), 1u);
  EXPECT_EQ(write(file, TestHolder::ofPattern(600000, 140001), 2), 1u);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_TRUE(os_->files().transfers().empty());
  EXPECT_EQ(write(file, TestHolder::ofPattern(900000, 740001), 3), 1u);
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, 1u << 20);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 1640001u - (1 << 20)) << "more than a cache holds";
  EXPECT_EQ(write(file, TestHolder::ofPattern(100, 1640001), 4), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/l/a"), patternBytes(1640101));
}

INSTANTIATE_TEST_SUITE_P(Transfers, HugeSectorTest, testing::Bool(), [](const auto& test) {
  return test.param ? "Asynchronous" : "Synchronous";
});

// Who is told ------------------------------------------------------------------------------------

TEST_F(FsysFileWriteTest, AnAbsorbedWriteIsToldAsASuccessWithItsCallersOwnHolder) {
  recorder_->keepHolders();
  for (FsysFile* file : {openForSynchronousWriting(), openForWriting(L"/m/a")}) {
    recorder_->clear();
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(100);
    EXPECT_EQ(write(file, data), 1u);
    ASSERT_EQ(recorder_->count(), 1u);
    EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
    EXPECT_EQ(recorder_->at(0).holder, data);
  }
}

TEST_F(FsysFileWriteTest, AFullWriteListIsTriedAgainEvery20MsUntilThereIsRoom) {
  FsysFile* file = openForWriting(L"/m/a");
  os_->asyncIo().hold(true);
  for (int i = 0; i < 41; ++i) write(file, TestHolder::ofPattern(512, uint64_t(i) * 512), i);
  os_->run();
  os_->asyncIo().hold(false);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512, 41 * 512), 41), 1u);
  EXPECT_EQ(os_->threads().sleeps(), std::vector<uint32_t>{20});
}

TEST_F(FsysFileWriteTest, TheNumberOfRetriesIsASetting) {
  SettingScope retries(EngineSettings::MaxFsysWriteRetries, 3);
  FsysFile* file = openForWriting(L"/m/a");
  os_->asyncIo().hold(true);
  for (int i = 0; i < 41; ++i) write(file, TestHolder::ofPattern(512, uint64_t(i) * 512), i);
  os_->run();
  uint64_t position = file->GetPosition();
  EXPECT_EQ(write(file, TestHolder::ofPattern(512)), 0u);
  EXPECT_EQ(os_->threads().sleeps().size(), 4u);
  EXPECT_EQ(file->GetPosition(), position);
  os_->asyncIo().hold(false);
}

TEST_F(FsysFileWriteTest, AWriterThatWaitsForRoomGivesUpWhenTheFileIsBeingClosed) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFile* other = readPatternFile(L"/m/r", 1024);
  os_->asyncIo().hold(true);
  for (int i = 0; i < 41; ++i) write(file, TestHolder::ofPattern(512, uint64_t(i) * 512), i);
  os_->run();
  os_->asyncIo().hold(false);
  // Told during the sleep, in which nothing of the list ends.
  os_->faults().fail(FaultPlan::eFinishWrite, eOsIoError, 1, FaultPlan::eFromThenOn);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 77) FsysFilePeer::setClosing(*file);
  });
  read(other, 0, 512, 77);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512)), 0u);
  EXPECT_EQ(os_->threads().sleeps(), std::vector<uint32_t>{20});
  EXPECT_EQ(file->GetPosition(), 41 * 512u);
}

TEST_F(FsysFileWriteTest, AFailureOtherThan8IsNotTriedAgain) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::setDeferred(*file, 61);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512)), 0u);
  EXPECT_TRUE(os_->threads().sleeps().empty());
  EXPECT_EQ(file->GetPosition(), 0u);
}

// Files without asynchronous transfers -----------------------------------------------------------

TEST_F(FsysFileWriteTest, ASynchronousFileAbsorbs131072BytesAndThenWritesWholeSectorsAtOnce) {
  FsysFile* file = openForSynchronousWriting();
  write(file, TestHolder::ofPattern(kStaged), 1);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_TRUE(os_->files().transfers().empty());
  write(file, TestHolder::ofPattern(600, kStaged), 2);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1}) << "the write that tips it is not told";
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].way, FakeTransferRecord::eAtOffset);
  EXPECT_EQ(os_->files().transfers()[0].bytes, kStaged + 512);
  EXPECT_EQ(file->GetPosition(), kStaged + 512);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 88u);
  EXPECT_EQ(FsysFilePeer::cachePosition(*file), kStaged + 512);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/s/a"), patternBytes(kStaged + 600));
}

TEST_F(FsysFileWriteTest, ASynchronousFileThatCannotBeWrittenKeepsItsCacheAndTriesAgain) {
  FsysFile* file = openForSynchronousWriting();
  write(file, TestHolder::ofPattern(kStaged));
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace);
  EXPECT_EQ(write(file, TestHolder::ofPattern(1, kStaged)), uint32_t{eOsNoSpace});
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), kStaged + 1);
  EXPECT_EQ(file->GetPosition(), 0u);
  EXPECT_EQ(write(file, TestHolder::ofPattern(1, kStaged + 1)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/s/a"), patternBytes(kStaged + 2));
}

TEST_F(FsysFileWriteTest, ASynchronousFileTakesAWriteLargerThanItsCache) {
  FsysFile* file = openForSynchronousWriting();
  EXPECT_EQ(write(file, TestHolder::ofPattern((1 << 20) + 1)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/s/a"), patternBytes((1 << 20) + 1));
}

TEST_F(FsysFileWriteTest, WithoutACallbackAWriteIsAbsorbedAllTheSame) {
  for (FsysFile* file : {openForSynchronousWriting(), openForWriting(L"/m/a")}) {
    Qv::Ptr<iObject> nobody;
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(100);
    EXPECT_EQ(file->DirectWrite(data, false, nullptr, nobody, false), 1u);
    EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 100u);
  }
}

// The cache's life -------------------------------------------------------------------------------

TEST_F(FsysFileWriteTest, AFileOpenedForWritingHasAnEmptyCacheOf524288Bytes) {
  FsysFile* file = openForWriting(L"/m/a");
  ASSERT_NE(FsysFilePeer::writeCache(*file), nullptr);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 0u);
  EXPECT_EQ(os_->memory().allocations().back().bytes, 524288u);
  os_->files().addFile(L"/m/b");
  EXPECT_EQ(FsysFilePeer::writeCache(*openForReading(L"/m/b")), nullptr);
}

TEST_F(FsysFileWriteTest, AllocatingTheCacheAgainDropsTheEarlierOne) {
  FsysFile* file = openForWriting(L"/m/a");
  size_t regions = os_->memory().regions();
  file->AllocWriteCache();
  EXPECT_EQ(os_->memory().regions(), regions);
  file->FreeWriteCache();
  EXPECT_EQ(os_->memory().regions(), regions - 1);
  EXPECT_EQ(FsysFilePeer::writeCache(*file), nullptr);
}

TEST_F(FsysFileWriteTest, AFileWhoseCacheGotNoMemoryStillWritesEveryByte) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1000));
  write(file, TestHolder::ofPattern(200000, 1000));
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(201000));
}

TEST_F(FsysFileWriteTest, AWriteForWhichThereIsNoMemoryIsRefusedAndLosesNothing) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  EXPECT_EQ(write(file, TestHolder::ofPattern(600000, 100)), 10u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 100u);
  EXPECT_EQ(write(file, TestHolder::ofPattern(600000, 100)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(600100));
}

// After the engine ------------------------------------------------------------------------------

class LeftOpenWritingTest : public FsysFileWriteTest {
protected:
  // Of two files the engine closes the first. Ends it, with the second's held bytes or without.
  FsysFile* leaveOpen() {
    openForWriting(L"/m/closed");
    FsysFile* left = openForWriting(L"/m/left");
    EXPECT_EQ(write(left, TestHolder::ofPattern(100)), 1u);
    FsysUninitialize(Shutdown::eNormal);
    os_->files().clearRecords();
    recorder_->clear();
    return left;
  }
  void expectInert(FsysFile* file) {
    double before_ms = Qv::now();
    for (bool synchronous : {false, true}) {
      EXPECT_EQ(write(file, TestHolder::ofPattern(512), 1, synchronous), 0u);
      EXPECT_EQ(write(file, TestHolder::ofPattern(100), 1, synchronous), 0u);
    }
    unsigned char bytes[512] = {};
    EXPECT_EQ(file->Write(bytes, 512), uint32_t{eOsInvalid});
    EXPECT_EQ(file->Seek(0, eSeekFromStart), 1u);
    EXPECT_EQ(file->GetPosition(), 0u);
    file->WaitForDrain();
    EXPECT_EQ(Qv::now(), before_ms);
    EXPECT_EQ(recorder_->count(), 0u);
    EXPECT_TRUE(os_->files().transfers().empty());
    EXPECT_TRUE(texts_.splats().empty());
  }
};

TEST_F(LeftOpenWritingTest, AFileThatItsEngineLeftOpenWritesNothingAndWaitsForNothing) {
  expectInert(leaveOpen());
  EXPECT_EQ(os_->files().bytesOf(L"/m/left"), patternBytes(100));
}

TEST_F(LeftOpenWritingTest, ItIsInertAlsoWhereItsHeldBytesCouldNotBeWritten) {
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace, 1, FaultPlan::eFromThenOn);
  FsysFile* left = leaveOpen();
  os_->faults().clear();
  expectInert(left);
  EXPECT_EQ(os_->memory().regions(), 0u) << "the cache went with the engine";
}

}  // namespace
