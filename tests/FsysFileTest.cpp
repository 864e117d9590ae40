// A file's queues: entering, merging, the limit, deferring.

#include "fsys/FsysFile.h"

#include "tests/FsysFileFixture.h"

namespace {

class FsysFileTest : public FsysFileFixture {};

TEST_F(FsysFileTest, AFileWithoutAPathIsNotSetUpAndTakesNothing) {
  FsysFile file(Text(), nullptr, 512, iDiskDrive::eFixed, 1, 0);
  FileRequest* request = readRequest(&file, 0, 512);
  EXPECT_EQ(file.QueueReadRequest(request), 0u);
  Qv::Ptr<iObject> context;
  EXPECT_EQ(file.DirectRead(0, 1, false, &Recorder::told, context), 0u);
  EXPECT_EQ(file.ClearMemoryRefs(), 1u);
  EXPECT_EQ(file.SatisfyFromCache(request), 0u);
  EXPECT_EQ(file.QueueWriteRequest(request), 0u);
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(512);
  EXPECT_EQ(file.DirectWrite(data, false, &Recorder::told, context, false), 0u);
  request->release();
  EXPECT_EQ(recorder_->count(), 0u);
}

TEST_F(FsysFileTest, ANewFileStoresItsArgumentsAndStartsAtZero) {
  FsysFile file(Text(L"/m/a"), readPoll(), 4096, iDiskDrive::eOptical, 1, 777);
  EXPECT_EQ(file.GetSectorSize(), 4096u);
  EXPECT_EQ(file.GetPosition(), 0u);
  EXPECT_EQ(FsysFilePeer::coalesceLength(file), 777u);
  EXPECT_EQ(FsysFilePeer::deferred(file), 0u);
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(file), 0u);
  EXPECT_FALSE(FsysFilePeer::closing(file));
  EXPECT_FALSE(FsysFilePeer::cacheDisabled(file));
  EXPECT_FALSE(file.isASyncIOSupported()) << "no probe handle";
  EXPECT_EQ(file.GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(file.GetWriteBytesOutstanding(), 0u);
}

TEST_F(FsysFileTest, AsynchronousTransfersAreWhatTheProbeSays) {
  os_->files().setDrive(L"/s/", {.asyncTransfers = false});
  os_->files().addFile(L"/s/a");
  os_->files().addFile(L"/m/a");
  EXPECT_FALSE(openForReading(L"/s/a")->isASyncIOSupported());
  EXPECT_TRUE(openForReading(L"/m/a")->isASyncIOSupported());
}

// Queueing reads ---------------------------------------------------------------------------------

TEST_F(FsysFileTest, AClosingFileTakesNeitherReadsNorWrites) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  FsysFilePeer::setClosing(*file);
  FileRequest* read = readRequest(file, 0, 512);
  FileRequest* write = writeRequest(file, 0, 512);
  EXPECT_EQ(file->QueueReadRequest(read), 0u);
  EXPECT_EQ(file->QueueWriteRequest(write), 0u);
  EXPECT_EQ(file->QueueReadRequest(nullptr), 0u);
  EXPECT_EQ(file->QueueWriteRequest(nullptr), 0u);
  read->release();
  write->release();
}

TEST_F(FsysFileTest, AQueuedReadIsCountedEverywhereAndKicksThePoller) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  unsigned pending = Fsys::BufferSpace_->GetPendingBytes();
  FileRequest* request = readRequest(file, 0, 700);
  EXPECT_FALSE(readPollIsDue());
  EXPECT_EQ(file->QueueReadRequest(request), 1u);
  EXPECT_TRUE(readPollIsDue());
  EXPECT_EQ(request->status(), 1u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 700u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 700u);
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), pending + 700);
  os_->run();
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), pending) << "the block was taken";
}

TEST_F(FsysFileTest, TheFirstQueuedReadInListOrderTakesAMergeableOne) {
  FsysFile* file = readPatternFile(L"/m/a", 64 * 1024);
  file->QueueReadRequest(readRequest(file, 0, 1000, 1));
  file->QueueReadRequest(readRequest(file, 20000, 1000, 2));
  file->QueueReadRequest(readRequest(file, 1000, 1000, 3));
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 2u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 3000u);
  os_->run();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 3, 2}));
  EXPECT_EQ(whyNotPattern(recorder_->at(1).bytes, 1000), "");
}

TEST_F(FsysFileTest, WithImmediateHandlingEveryReadWakesThePollerAlsoADeferrableOne) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  file->QueueReadRequest(readRequest(file, 0, 512, 0, true));
  EXPECT_TRUE(readPollIsDue());
  EXPECT_EQ(FsysFilePeer::deferred(*file), 0u);
}

TEST_F(FsysFileTest, DeferredReadsWakeThePollerOnlyWithThe31st) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  for (int i = 0; i < 30; ++i) file->QueueReadRequest(readRequest(file, i * 9000u, 512, i, true));
  EXPECT_FALSE(readPollIsDue());
  EXPECT_EQ(FsysFilePeer::deferred(*file), 30u);
  file->QueueReadRequest(readRequest(file, 30 * 9000u, 512, 30, true));
  EXPECT_TRUE(readPollIsDue());
}

TEST_F(FsysFileTest, AMergedDeferredReadCountsAsDeferredToo) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  file->QueueReadRequest(readRequest(file, 0, 512, 1, true));
  file->QueueReadRequest(readRequest(file, 512, 512, 2, true));
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 1u);
  EXPECT_EQ(FsysFilePeer::deferred(*file), 2u);
  EXPECT_FALSE(readPollIsDue());
}

TEST_F(FsysFileTest, AReadThatIsNotDeferrableWakesThePollerWhileOthersAreDeferred) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  file->QueueReadRequest(readRequest(file, 0, 512, 1, true));
  file->QueueReadRequest(readRequest(file, 9000, 512, 2, true));
  EXPECT_FALSE(readPollIsDue());
  file->QueueReadRequest(readRequest(file, 18000, 512, 3));
  EXPECT_TRUE(readPollIsDue());
  EXPECT_EQ(FsysFilePeer::deferred(*file), 2u) << "itself it is not deferred";
  os_->run();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2, 3}));
}

TEST_F(FsysFileTest, AMergedReadThatIsNotDeferrableWakesThePollerToo) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  file->QueueReadRequest(readRequest(file, 0, 512, 1, true));
  EXPECT_FALSE(readPollIsDue());
  file->QueueReadRequest(readRequest(file, 512, 512, 2));
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 1u);
  EXPECT_TRUE(readPollIsDue());
  EXPECT_EQ(FsysFilePeer::deferred(*file), 1u);
}

TEST_F(FsysFileTest, ADeferrableSynchronousReadIsStartedAtOnceAndNotCountedAsDeferred) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  double before_ms = Qv::now();
  EXPECT_EQ(file->QueueReadRequest(readRequest(file, 100, 200, 1, true, true)), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(Qv::now(), before_ms) << "the poller was woken, and did not come by itself";
  EXPECT_EQ(FsysFilePeer::deferred(*file), 0u);
}

TEST_F(FsysFileTest, ASynchronousReadReturnsWhenItIsDone) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  EXPECT_EQ(file->QueueReadRequest(readRequest(file, 100, 200, 1, false, true)), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 100), "");
}

TEST_F(FsysFileTest, ASynchronousReadThatIsMergedAwayIsWaitedForAsWell) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  // One that stays queued, synchronous but not waited for: put there by hand.
  FileRequest* queued = readRequest(file, 0, 512, 1, true, true);
  queued->setStatus(FileRequest::QUEUED);
  FsysFilePeer::readRequests(*file).add(queued);
  FsysFilePeer::addReadBytes(*file, 512);
  EXPECT_EQ(file->QueueReadRequest(readRequest(file, 512, 512, 2, true, true)), 1u);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
}

// Queueing writes --------------------------------------------------------------------------------

TEST_F(FsysFileTest, AWriteThatIsNotDeferrableIsNeverMergedAndKicksThePoller) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = openForWriting(L"/m/a");
  Qv::Ptr<iMemHolder> both = TestHolder::ofPattern(1024);
  auto half = [&](unsigned start) {
    return new FileRequest(false, 512, start, false, false,
                           Qv::Ptr<iMemHolder>(new MemRef(both, start, 512)), file, &Recorder::told,
                           recorder_->context());
  };
  EXPECT_EQ(file->QueueWriteRequest(half(0)), 1u);
  EXPECT_TRUE(writePollIsDue());
  EXPECT_EQ(file->QueueWriteRequest(half(512)), 1u);
  EXPECT_EQ(FsysFilePeer::writeRequests(*file).size(), 2u);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 1024u);
}

TEST_F(FsysFileTest, DeferrableWritesMergeOnlyWhileImmediateHandlingIsOff) {
  for (bool immediate : {true, false}) {
    FsysSetImmediateRequestHandling(immediate);
    FsysFile* file = openForWriting(immediate ? L"/m/a" : L"/m/b");
    Qv::Ptr<iMemHolder> both = TestHolder::ofPattern(1024);
    for (unsigned start : {0u, 512u})
      file->QueueWriteRequest(new FileRequest(false, 512, start, true, false,
                                              Qv::Ptr<iMemHolder>(new MemRef(both, start, 512)),
                                              file, &Recorder::told, recorder_->context()));
    EXPECT_EQ(FsysFilePeer::writeRequests(*file).size(), immediate ? 2u : 1u);
    EXPECT_EQ(FsysFilePeer::deferred(*file), 2u) << "either way it counts as deferred";
    EXPECT_FALSE(writePollIsDue());
    passOverWrites();
    os_->run();
    EXPECT_EQ(os_->files().bytesOf(immediate ? L"/m/a" : L"/m/b"), patternBytes(1024));
  }
}

TEST_F(FsysFileTest, MergedWritesKeepBothBuffersUntilTheTransferIsOver) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* file = openForWriting(L"/m/a");
  Bytes bytes = patternBytes(1024);
  struct Piece : iMemHolder {
    Piece(unsigned char* at, bool& gone) : at_(at), gone_(gone) {}
    ~Piece() override { gone_ = true; }
    unsigned char* getBuffer() const override { return at_; }
    unsigned getSize() const override { return 512; }
    unsigned getUsed() const override { return 512; }
    bool setUsed(unsigned) override { return false; }
    unsigned char* at_;
    bool& gone_;
  };
  bool gone[2] = {false, false};
  for (unsigned i : {1u, 0u})
    file->QueueWriteRequest(
        new FileRequest(false, 512, i * 512, true, false,
                        Qv::Ptr<iMemHolder>(new Piece(bytes.data() + i * 512, gone[i])), file,
                        &Recorder::told, recorder_->context()));
  ASSERT_EQ(FsysFilePeer::writeRequests(*file).size(), 1u);
  passOverWrites();
  EXPECT_FALSE(gone[0] || gone[1]);
  os_->asyncIo().finishAll();
  EXPECT_TRUE(gone[0] && gone[1]);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), bytes);
}

TEST_F(FsysFileTest, DeferrableWritesWakeThePollerOnlyWithThe31st) {
  FsysFile* file = openForWriting(L"/m/a");
  for (int i = 0; i < 30; ++i)
    file->QueueWriteRequest(writeRequest(file, uint64_t(i) * 512, 512, i, true));
  EXPECT_FALSE(writePollIsDue());
  file->QueueWriteRequest(writeRequest(file, 30 * 512, 512, 30, true));
  EXPECT_TRUE(writePollIsDue());
}

TEST_F(FsysFileTest, ASynchronousWriteKicksOnlyAfterItsCompletion) {
  FsysFile* file = openForWriting(L"/m/a");
  os_->advance(200);
  double before = Qv::now();
  bool dueDuring = true;
  recorder_->onCall([&](const Recorder::Call&) { dueDuring = writePollIsDue(); });
  EXPECT_EQ(file->QueueWriteRequest(writeRequest(file, 0, 512, 1, false, true)), 1u);
  EXPECT_GT(Qv::now(), before) << "the poller's own pass started it";
  EXPECT_FALSE(dueDuring);
  EXPECT_TRUE(writePollIsDue()) << "the kick came after it";
  EXPECT_EQ(recorder_->count(), 1u);
}

// The limit --------------------------------------------------------------------------------------

TEST_F(FsysFileTest, AListOf40HasRoomAndOneOf41HasNoneWithError8) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 40);
  auto& list = FsysFilePeer::writeRequests(*file);
  EXPECT_EQ(file->CheckRequestListSize(&list), 1u);
  EXPECT_EQ(file->QueueWriteRequest(writeRequest(file, 40 * 512, 512)), 1u);
  ASSERT_EQ(list.size(), 41u);
  os_->run();
  EXPECT_FALSE(writePollIsDue());
  OsAtomics::store(FsysError, 1u);
  FileRequest* refused = writeRequest(file, 41 * 512, 512);
  EXPECT_EQ(file->QueueWriteRequest(refused), 0u);
  EXPECT_EQ(FsysGetLastError(), 8u);
  EXPECT_TRUE(writePollIsDue()) << "a full list wakes the poller";
  EXPECT_EQ(list.size(), 41u);
  refused->release();
}

TEST_F(FsysFileTest, AFullListDropsAKeptRequestFirstIfThereIsOneBehindTheFirst) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 41);
  os_->asyncIo().finish(5);
  auto& list = FsysFilePeer::writeRequests(*file);
  EXPECT_EQ(file->CheckRequestListSize(&list), 1u);
  EXPECT_EQ(list.size(), 40u);
  EXPECT_EQ(FsysGetLastError(), 8u) << "the error is set before the list is trimmed";
}

TEST_F(FsysFileTest, AKeptRequestAtTheFrontIsNotDropped) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 41);
  os_->asyncIo().finish(0);
  EXPECT_EQ(file->CheckRequestListSize(&FsysFilePeer::writeRequests(*file)), 0u);
}

TEST_F(FsysFileTest, MoreThan60DeferredRequestsGive8AndTouchNothing) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  auto& list = FsysFilePeer::readRequests(*file);
  // More than the limit, and one behind the first that could be dropped.
  for (unsigned i = 0; i < 41; ++i) {
    list.add(readRequest(file, i * 9000u, 512));
    list[i]->setStatus(i == 1 ? FileRequest::COMPLETED : FileRequest::CONSTRUCTED);
  }
  const std::vector<FileRequest*> before(list.begin(), list.end());
  FsysFilePeer::setDeferred(*file, 61);
  EXPECT_EQ(file->CheckRequestListSize(&list), 8u);
  EXPECT_EQ(std::vector<FileRequest*>(list.begin(), list.end()), before);
  EXPECT_EQ(FsysGetLastError(), 1u);
  EXPECT_FALSE(readPollIsDue());
  FsysFilePeer::setDeferred(*file, 60);
  EXPECT_EQ(file->CheckRequestListSize(&list), 1u);
  EXPECT_EQ(list.size(), 40u);
  EXPECT_EQ(FsysGetLastError(), 8u);
  EXPECT_TRUE(readPollIsDue());
  file->ClearMemoryRefs();
}

TEST_F(FsysFileTest, TheLastKeptReadIsDroppedAndNeverTheFirst) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  auto& list = FsysFilePeer::readRequests(*file);
  FileRequest* requests[4];
  for (int i = 0; i < 4; ++i) {
    requests[i] = readRequest(file, i * 9000u, 512);
    requests[i]->setStatus(FileRequest::COMPLETED);
    list.add(requests[i]);
    requests[i]->Use();
  }
  requests[3]->setStatus(FileRequest::QUEUED);
  requests[2]->Use();  // the most recently used, and still the one that goes
  file->removeOldestRequest(&list);
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0], requests[0]);
  EXPECT_EQ(list[1], requests[1]);
  EXPECT_EQ(list[2], requests[3]);
  file->removeOldestRequest(&list);
  file->removeOldestRequest(&list);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0], requests[0]) << "a kept read at the front stays";
  requests[3]->setStatus(FileRequest::FAILED);
}

TEST_F(FsysFileTest, AKeptReadLastUsedAt4294967294IsDroppedAndOneLaterNever) {
  const uint64_t clock = FileRequest::usageClock_.get();
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  auto& list = FsysFilePeer::readRequests(*file);
  for (unsigned i = 0; i < 3; ++i) {
    list.add(readRequest(file, i * 9000u, 512));
    list[i]->setStatus(FileRequest::COMPLETED);
    FileRequest::usageClock_.set(i == 2 ? 4294967295u : 4294967294u);
    list[i]->Use();
  }
  FileRequest* const stays = list[2];
  FileRequest::usageClock_.set(clock);
  file->removeOldestRequest(&list);
  ASSERT_EQ(list.size(), 2u) << "the one before the last went";
  EXPECT_EQ(list[1], stays);
  file->removeOldestRequest(&list);
  EXPECT_EQ(list.size(), 2u);
}

}  // namespace
