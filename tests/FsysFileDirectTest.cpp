// Direct reads, and the read cache.

#include <limits>

#include "tests/FileRequestPeer.h"
#include "tests/FsysFileDirectFixture.h"

namespace {

using Peer = FileRequestPeer;

class FsysFileDirectTest : public FsysFileDirectFixture {
protected:
  // A finished read of pattern bytes at the list's end. Where they lie.
  static unsigned char* placeFinished(FsysFile* file, uint64_t offset, uint32_t bytes) {
    auto* kept =
        new FileRequest(true, bytes, offset, false, false, nullptr, file, nullptr, nullptr);
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(bytes, offset);
    Peer::setBuffer(*kept, data);
    kept->setStatus(FileRequest::COMPLETED);
    FsysFilePeer::readRequests(*file).add(kept);
    return data->getBuffer();
  }
  bool isDue(FsysPoll* poll) { return os_->threads().isDue(FsysPollPeer::threadId(*poll)); }
  bool readPollIsDue() { return isDue(FsysPeer::readPoll(*theFsys)); }
  bool writePollIsDue() { return isDue(FsysPeer::writePoll(*theFsys)); }
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
  placeFinished(file, 12000, 100);
  unsigned char* wide = placeFinished(file, 0, 20000);
  placeFinished(file, 10000, 1000);
  placeFinished(file, 0, 30000);
  read(file, 10100, 100);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).address, wide + 10100) << "neither the tightest nor the widest";
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 10100), "");
}

TEST_F(FsysFileDirectTest, AHitStampsTheReadThatAnswered) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  keep(file, 0, 4096);
  uint64_t clock = FileRequest::usageClock_.get();
  read(file, 0, 10);
  EXPECT_EQ(Peer::lastUse(*FsysFilePeer::readRequests(*file)[0]), clock);
  EXPECT_EQ(FileRequest::usageClock_.get(), clock + 1);
}

// Deferring --------------------------------------------------------------------------------------

TEST_F(FsysFileDirectTest, AReadMayWaitForThePollersNextPassOnlyIfItsCallerSaidSo) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = readPatternFile(L"/m/a", 65536);
  FsysSetCoalesceLength(file, 0);
  os_->run();
  Qv::Ptr<iObject> context = recorder_->context();
  EXPECT_EQ(file->DirectRead(0, 512, true, &Recorder::told, context), 1u);
  EXPECT_EQ(FsysFilePeer::deferred(*file), 1u);
  EXPECT_FALSE(readPollIsDue());
  EXPECT_EQ(file->DirectRead(20000, 512, false, &Recorder::told, context), 1u);
  EXPECT_EQ(FsysFilePeer::deferred(*file), 1u);
  EXPECT_TRUE(readPollIsDue());
}

TEST_F(FsysFileDirectTest, AnAlignedWriteMayWaitForThePollersNextPassOnlyIfItsCallerSaidSo) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = openForWriting(L"/m/a");
  os_->run();
  Qv::Ptr<iObject> context = recorder_->context();
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(512);
  EXPECT_EQ(file->DirectWrite(data, true, &Recorder::told, context, false), 1u);
  EXPECT_EQ(FsysFilePeer::deferred(*file), 1u);
  EXPECT_FALSE(writePollIsDue());
  EXPECT_EQ(file->DirectWrite(data, false, &Recorder::told, context, false), 1u);
  EXPECT_EQ(FsysFilePeer::deferred(*file), 1u);
  EXPECT_TRUE(writePollIsDue());
}

TEST_F(FsysFileDirectTest, TheRequestOfAStagedWriteIsDeferrableIfItsCallerSaidSo) {
  for (bool deferrable : {true, false}) {
    FsysFile* file = openForWriting(deferrable ? L"/m/a" : L"/m/b");
    bool wasDeferrable = !deferrable;
    recorder_->onCall([&](const Recorder::Call&) {
      wasDeferrable = Peer::isDeferrable(*FsysFilePeer::writeRequests(*file)[0]);
    });
    Qv::Ptr<iObject> context = recorder_->context();
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(kStaged + 1);
    EXPECT_EQ(file->DirectWrite(data, deferrable, &Recorder::told, context, false), 1u);
    EXPECT_EQ(wasDeferrable, deferrable);
  }
}

// What is refused and what is ignored ------------------------------------------------------------

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
  FsysFile* file = readPatternFile(L"/m/a", 1024);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512)), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsAccessDenied});
}

TEST_F(FsysFileDirectTest, AReadOfNoBytesIsAnsweredAsAFailure) {
  FsysFile* file = readPatternFile(L"/m/a", 1024);
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
