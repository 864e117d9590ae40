// Direct transfers and the two caches behind them.

#include <limits>

#include "fsys/WriteMemRef.h"
#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"

namespace {

constexpr uint32_t kStaged = 131072;

class FsysFileDirectTest : public EngineFixture {
protected:
  FsysFile* openForSynchronousWriting() {
    os_->files().setDrive(L"/s/", {.asyncTransfers = false});
    return openForWriting(L"/s/a");
  }
  // Reads a range and lets it finish, so that it is kept.
  void keep(FsysFile* file, long position, uint32_t length, int ticket = 0) {
    ASSERT_EQ(read(file, position, length, ticket), 1u);
    passOverReads();
    os_->asyncIo().finishAll();
  }
  size_t startedCount() {
    size_t count = 0;
    for (const FakeTransferRecord& record : os_->files().transfers())
      count += record.way == FakeTransferRecord::eAsync;
    return count;
  }
};

// The read cache ---------------------------------------------------------------------------------

TEST_F(FsysFileDirectTest, AReadInsideAFinishedOneIsAnsweredAtOnceFromItsBuffer) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  recorder_->keepHolders();
  keep(file, 1000, 3000);
  os_->files().clearRecords();
  EXPECT_EQ(read(file, 1500, 700), 1u);
  ASSERT_EQ(recorder_->count(), 2u);
  Recorder::Call hit = recorder_->at(1);
  EXPECT_EQ(whyNotPattern(hit.bytes, 1500), "");
  EXPECT_EQ(hit.size, 700u);
  EXPECT_EQ(hit.address, recorder_->at(0).address + 500) << "the kept buffer itself, no copy";
  EXPECT_TRUE(os_->files().transfers().empty());
  EXPECT_EQ(file->GetCacheHits(), 1u);
}

TEST_F(FsysFileDirectTest, AReadThatOverlapsAFinishedOneOnlyPartlyIsQueued) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  keep(file, 1000, 1000);
  EXPECT_EQ(read(file, 1500, 501), 1u);
  EXPECT_EQ(read(file, 999, 100), 1u);
  EXPECT_EQ(recorder_->count(), 1u);
  os_->run();
  EXPECT_EQ(recorder_->count(), 3u);
  EXPECT_EQ(file->GetCacheHits(), 0u);
}

TEST_F(FsysFileDirectTest, TheWholeRangeOfAFinishedReadIsAHitToo) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  keep(file, 1000, 1000);
  EXPECT_EQ(read(file, 1000, 1000), 1u);
  EXPECT_EQ(recorder_->count(), 2u);
}

TEST_F(FsysFileDirectTest, OfTwoFinishedReadsThatCoverTheEarlierInTheListAnswers) {
  FsysFile* file = readPatternFile(L"/m/a", 65536);
  FsysSetCoalesceLength(file, 0);
  recorder_->keepHolders();
  // Queued in one go, so that both are kept: a wide one, then a tighter one.
  read(file, 10000, 1000, 1);
  read(file, 0, 20000, 2);
  passOverReads();
  os_->asyncIo().finishAll();
  ASSERT_EQ(FsysFilePeer::readRequests(*file).size(), 2u);
  read(file, 10100, 100, 3);
  EXPECT_EQ(recorder_->at(2).address, recorder_->at(0).address + 100);
}

TEST_F(FsysFileDirectTest, AHitStampsTheReadThatAnswered) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  keep(file, 0, 4096);
  uint64_t clock = FileRequest::usageClock_.get();
  read(file, 0, 10);
  EXPECT_EQ(FileRequest::usageClock_.get(), clock + 1);
}

TEST_F(FsysFileDirectTest, AFileThatIsClosingAnswersNothingFromTheCache) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  keep(file, 0, 4096);
  FsysFilePeer::setClosing(*file);
  EXPECT_EQ(read(file, 0, 10), 0u);
  EXPECT_EQ(recorder_->count(), 1u);
}

TEST_F(FsysFileDirectTest, ADisabledCacheIgnoresReads) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  EXPECT_EQ(file->DisableCache(), 1u);
  EXPECT_EQ(read(file, 0, 512), 1u);
  EXPECT_EQ(file->GetPosition(), 512u);
  os_->advance(200);
  EXPECT_EQ(recorder_->count(), 0u);
  EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
}

TEST_F(FsysFileDirectTest, EveryAcceptedReadAdvancesThePosition) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  read(file, 4000, 100);
  EXPECT_EQ(file->GetPosition(), 100u) << "by the length, wherever it was";
}

TEST_F(FsysFileDirectTest, AFullReadListGivesItsResultAndBuildsNoRequest) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  os_->asyncIo().hold(true);
  for (int i = 0; i < 41; ++i) ASSERT_EQ(read(file, i * 9000L, 512), 1u);
  os_->run();
  uint64_t position = file->GetPosition();
  EXPECT_EQ(read(file, 500000, 512), 0u);
  EXPECT_EQ(FsysGetLastError(), 8u);
  EXPECT_EQ(file->GetPosition(), position);
  FsysFilePeer::setDeferred(*file, 61);
  EXPECT_EQ(read(file, 500000, 512), 8u);
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 41u);
  os_->asyncIo().hold(false);
}

TEST_F(FsysFileDirectTest, ReadsOfAFileThatWasOpenedForWritingAreRefused) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(read(file, 0, 1), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsAccessDenied});
}

TEST_F(FsysFileDirectTest, WritesOfAFileThatWasOpenedForReadingAreRefused) {
  FsysFile* file = readPatternFile(L"/m/a", 512);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512)), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsAccessDenied});
}

TEST_F(FsysFileDirectTest, AReadOfNoBytesIsAnsweredAsAFailure) {
  FsysFile* file = readPatternFile(L"/m/a", 512);
  EXPECT_EQ(read(file, 0, 0), 1u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(texts_.outText(), "assertion failed ByteCount_ != 0 at fsys/FileRequest line 59\n");
}

TEST_F(FsysFileDirectTest, ReadsAtTheEndsOfTheNumbersAreAnsweredAsFailures) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  FsysSetCoalesceLength(file, 0);
  const long positions[] = {1L << 40, std::numeric_limits<long>::max(), -1, -512,
                            std::numeric_limits<long>::min()};
  for (long position : positions) read(file, position, 512);
  read(file, 0, 0xFFFFFFFF);
  read(file, 0, 0xFFFFFE00);
  read(file, 511, 0xFFFFFFFF - 511);
  os_->advance(5000);
  ASSERT_EQ(recorder_->count(), 8u);
  for (const Recorder::Call& call : recorder_->calls()) EXPECT_EQ(call.status, eRequestFailed);
}

TEST_F(FsysFileDirectTest, AReadWithoutACallbackIsDoneAndTellsNobody) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  Qv::Ptr<iObject> nobody;
  EXPECT_EQ(file->DirectRead(0, 512, false, nullptr, nobody), 1u);
  os_->run();
  EXPECT_EQ(read(file, 0, 512), 1u);
  EXPECT_EQ(recorder_->count(), 1u) << "and is kept";
  EXPECT_EQ(file->DirectRead(0, 512, false, nullptr, nobody), 1u);
}

// Writing straight -------------------------------------------------------------------------------

TEST_F(FsysFileDirectTest, AnAlignedWriteIsQueuedAsItIsFromTheCallersBuffer) {
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

TEST_F(FsysFileDirectTest, TheSameWriteAfterOneUnalignedWriteIsStaged) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1));
  write(file, TestHolder::ofPattern(1024, 1));
  EXPECT_EQ(recorder_->count(), 2u) << "both were absorbed and told at once";
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 1025u);
  EXPECT_EQ(file->GetPosition(), 0u);
  EXPECT_EQ(startedCount(), 0u);
}

TEST_F(FsysFileDirectTest, AnAlignedWriteAtAnUnalignedPositionIsStaged) {
  os_->files().addFile(L"/m/a", patternBytes(100));
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512, 100));
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 512u);
}

TEST_F(FsysFileDirectTest, ASynchronousAlignedWriteReturnsWhenItIsDone) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(512), 1, true), 1u);
  EXPECT_EQ(recorder_->count(), 1u);
}

TEST_F(FsysFileDirectTest, AWriteWithoutDataOrWithoutMemoryIsRefused) {
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

class WriteCachingTest : public FsysFileDirectTest,
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

TEST_F(FsysFileDirectTest, Exactly131072StagedBytesAreAbsorbedAndOneMoreSendsWholeSectors) {
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

TEST_F(FsysFileDirectTest, TheTippingWriteIsToldWithTheWriteCacheAsItsData) {
  FsysFile* file = openForWriting(L"/m/a");
  unsigned char* cache = FsysFilePeer::writeCache(*file)->getBuffer();
  write(file, TestHolder::ofPattern(kStaged - 1));
  write(file, TestHolder::ofPattern(513, kStaged - 1), 2);
  EXPECT_EQ(recorder_->at(1).address, cache);
  EXPECT_EQ(recorder_->at(1).size, 0u) << "the cache's holder carries no length";
}

TEST_F(FsysFileDirectTest, AStagedWriteOfNoBytesIsAbsorbed) {
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

class LargeStagedWriteTest : public FsysFileDirectTest,
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

TEST_F(FsysFileDirectTest, ALargeWriteOntoHeldBytesKeepsThemInFront) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(777));
  write(file, TestHolder::ofPattern(600001, 777));
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(600778));
}

TEST_F(FsysFileDirectTest, AFileContinuedTwiceAtUnalignedEndsHasEveryByteWhereItBelongs) {
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

TEST_F(FsysFileDirectTest, AStagedWriteThatCannotBeQueuedKeepsItsDataAndThePosition) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1));
  write(file, TestHolder::ofPattern(kStaged - 1, 1));
  os_->asyncIo().hold(true);
  for (uint64_t i = 0; i < 41; ++i)
    file->QueueWriteRequest(new FileRequest(false, 512, 1 << 20, false, false,
                                            TestHolder::ofPattern(512), file, nullptr, nullptr));
  os_->run();
  recorder_->clear();
  EXPECT_EQ(write(file, TestHolder::ofPattern(1, kStaged)), 0u);
  EXPECT_EQ(FsysGetLastError(), 8u);
  EXPECT_EQ(os_->threads().sleeps(), std::vector<uint32_t>(201, 20u));
  EXPECT_EQ(recorder_->count(), 0u);
  EXPECT_EQ(file->GetPosition(), 0u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), kStaged + 1);
  os_->asyncIo().hold(false);
}

TEST_F(FsysFileDirectTest, AFullWriteListIsTriedAgainEvery20MsUntilThereIsRoom) {
  FsysFile* file = openForWriting(L"/m/a");
  os_->asyncIo().hold(true);
  for (int i = 0; i < 41; ++i) write(file, TestHolder::ofPattern(512, uint64_t(i) * 512), i);
  os_->run();
  os_->asyncIo().hold(false);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512, 41 * 512), 41), 1u);
  EXPECT_EQ(os_->threads().sleeps(), std::vector<uint32_t>{20});
}

TEST_F(FsysFileDirectTest, TheNumberOfRetriesIsASetting) {
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

TEST_F(FsysFileDirectTest, AFailureOtherThan8IsNotTriedAgain) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::setDeferred(*file, 61);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512)), 0u);
  EXPECT_TRUE(os_->threads().sleeps().empty());
  EXPECT_EQ(file->GetPosition(), 0u);
}

// Files without asynchronous transfers -----------------------------------------------------------

TEST_F(FsysFileDirectTest, ASynchronousFileAbsorbs131072BytesAndThenWritesWholeSectorsAtOnce) {
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

TEST_F(FsysFileDirectTest, ASynchronousFileThatCannotBeWrittenKeepsItsCacheAndTriesAgain) {
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

TEST_F(FsysFileDirectTest, ASynchronousFileTakesAWriteLargerThanItsCache) {
  FsysFile* file = openForSynchronousWriting();
  EXPECT_EQ(write(file, TestHolder::ofPattern((1 << 20) + 1)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/s/a"), patternBytes((1 << 20) + 1));
}

TEST_F(FsysFileDirectTest, WithoutACallbackAWriteIsAbsorbedAllTheSame) {
  for (FsysFile* file : {openForSynchronousWriting(), openForWriting(L"/m/a")}) {
    Qv::Ptr<iObject> nobody;
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(100);
    EXPECT_EQ(file->DirectWrite(data, false, nullptr, nobody, false), 1u);
    EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 100u);
  }
}

// The cache's life -------------------------------------------------------------------------------

TEST_F(FsysFileDirectTest, AFileOpenedForWritingHasAnEmptyCacheOf524288Bytes) {
  FsysFile* file = openForWriting(L"/m/a");
  ASSERT_NE(FsysFilePeer::writeCache(*file), nullptr);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 0u);
  EXPECT_EQ(os_->memory().allocations().back().bytes, 524288u);
  os_->files().addFile(L"/m/b");
  EXPECT_EQ(FsysFilePeer::writeCache(*openForReading(L"/m/b")), nullptr);
}

TEST_F(FsysFileDirectTest, AllocatingTheCacheAgainDropsTheEarlierOne) {
  FsysFile* file = openForWriting(L"/m/a");
  size_t regions = os_->memory().regions();
  file->AllocWriteCache();
  EXPECT_EQ(os_->memory().regions(), regions);
  file->FreeWriteCache();
  EXPECT_EQ(os_->memory().regions(), regions - 1);
  EXPECT_EQ(FsysFilePeer::writeCache(*file), nullptr);
}

TEST_F(FsysFileDirectTest, AFileWhoseCacheGotNoMemoryStillWritesEveryByte) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1000));
  write(file, TestHolder::ofPattern(200000, 1000));
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(201000));
}

TEST_F(FsysFileDirectTest, AWriteForWhichThereIsNoMemoryIsRefusedAndLosesNothing) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  EXPECT_EQ(write(file, TestHolder::ofPattern(600000, 100)), 10u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 100u);
  EXPECT_EQ(write(file, TestHolder::ofPattern(600000, 100)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(600100));
}

TEST_F(FsysFileDirectTest, ClearingTheReadListDropsEveryRequest) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  keep(file, 0, 4096);
  EXPECT_EQ(file->ClearMemoryRefs(), 1u);
  EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
  EXPECT_EQ(os_->memory().regions(), 0u);
  EXPECT_TRUE(texts_.out().empty());
}

TEST_F(FsysFileDirectTest, AWriteInTheReadListIsReportedAndDroppedAllTheSame) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  FsysFilePeer::readRequests(*file).add(
      new FileRequest(false, 1, 0, false, false, TestHolder::ofPattern(1), file, nullptr, nullptr));
  file->ClearMemoryRefs();
  EXPECT_EQ(texts_.outText(), "assertion failed fr->is_read_ at fsys/FsysFile\n");
  EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
}

TEST_F(FsysFileDirectTest, ACachedReadWithoutABufferIsReported) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  auto* kept = new FileRequest(true, 512, 0, false, false, nullptr, file, nullptr, nullptr);
  kept->setStatus(FileRequest::COMPLETED);
  FsysFilePeer::readRequests(*file).add(kept);
  Qv::Ptr<iMemHolder> own = TestHolder::ofPattern(8);
  auto* request =
      new FileRequest(true, 8, 0, false, false, own, file, &Recorder::told, recorder_->context());
  EXPECT_EQ(file->SatisfyFromCache(request), 1u);
  EXPECT_EQ(texts_.outText(),
            "assertion failed fr->buffer_ == NULL at fsys/FsysFile\n"
            "assertion failed CachedFr->buffer_ != NULL at fsys/FsysFile\n");
}

}  // namespace
