// A file's queues: entering, merging, the limit, deferring, the start pass, draining.

#include "fsys/FsysFile.h"

#include "fsys/MemRef.h"
#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"

namespace {

class FsysFileTest : public EngineFixture {
protected:
  void SetUp() override {
    EngineFixture::SetUp();
    os_->run();
  }

  FileRequest* readRequest(FsysFile* file, uint64_t offset, uint32_t bytes, int ticket = 0,
                           bool deferrable = false, bool synchronous = false) {
    return new FileRequest(true, bytes, offset, deferrable, synchronous, nullptr, file,
                           &Recorder::told, recorder_->ticket(ticket));
  }
  FileRequest* writeRequest(FsysFile* file, uint64_t offset, uint32_t bytes, int ticket = 0,
                            bool deferrable = false, bool synchronous = false) {
    return new FileRequest(false, bytes, offset, deferrable, synchronous,
                           TestHolder::ofPattern(bytes, offset), file, &Recorder::told,
                           recorder_->ticket(ticket));
  }
  // Whether the poller was kicked since it last ran.
  bool readPollIsDue() { return os_->threads().isDue(FsysPollPeer::threadId(*readPoll())); }
  bool writePollIsDue() { return os_->threads().isDue(FsysPollPeer::threadId(*writePoll())); }
  FsysPoll* readPoll() { return FsysPeer::readPoll(*theFsys); }
  FsysPoll* writePoll() { return FsysPeer::writePoll(*theFsys); }

  // Fills a write list with started writes that do not end.
  void fillWriteList(FsysFile* file, int entries) {
    os_->asyncIo().hold(true);
    for (int i = 0; i < entries; ++i)
      ASSERT_EQ(file->QueueWriteRequest(writeRequest(file, uint64_t(i) * 512, 512)), 1u);
    passOverWrites();
    os_->run();
  }
};

TEST_F(FsysFileTest, AFileWithoutAPathIsNotSetUpAndTakesNothing) {
  FsysFile file(Text(), nullptr, 512, iDiskDrive::eFixed, 1, 0);
  FileRequest* request = readRequest(&file, 0, 512);
  EXPECT_EQ(file.QueueReadRequest(request), 0u);
  Qv::Ptr<iObject> context;
  EXPECT_EQ(file.DirectRead(0, 1, false, &Recorder::told, context), 0u);
  EXPECT_EQ(file.ClearMemoryRefs(), 1u);
  request->release();
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
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  file->QueueReadRequest(readRequest(file, 0, 512));
  EXPECT_TRUE(readPollIsDue());
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
  OsAtomics::store(FsysError, 1u);
  FileRequest* refused = writeRequest(file, 41 * 512, 512);
  EXPECT_EQ(file->QueueWriteRequest(refused), 0u);
  EXPECT_EQ(FsysGetLastError(), 8u);
  EXPECT_TRUE(writePollIsDue());
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
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  auto& list = FsysFilePeer::readRequests(*file);
  FsysFilePeer::setDeferred(*file, 60);
  EXPECT_EQ(file->CheckRequestListSize(&list), 1u);
  FsysFilePeer::setDeferred(*file, 61);
  EXPECT_EQ(file->CheckRequestListSize(&list), 8u);
  EXPECT_EQ(FsysGetLastError(), 1u);
  EXPECT_FALSE(readPollIsDue());
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

// The start pass ---------------------------------------------------------------------------------

TEST_F(FsysFileTest, APassClearsTheBusyMarkOnlyIfNothingWasDeferred) {
  Qv::Ptr<MediaDrive> drive(new MediaDrive(Text(L"/m/a/")));
  DiskManager::addVolume(drive);
  FsysFile* file = readPatternFile(L"/m/a/", 4096);
  drive->setBusy(true);
  FsysFilePeer::setDeferred(*file, 1);
  passOverReads();
  EXPECT_TRUE(drive->isBusy());
  EXPECT_EQ(FsysFilePeer::deferred(*file), 0u) << "each pass starts the count again";
  passOverReads();
  EXPECT_FALSE(drive->isBusy());
}

TEST_F(FsysFileTest, APassStartsEveryQueuedRequestInOrder) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  for (int i = 0; i < 5; ++i) read(file, i * 9000L, 512, i);
  EXPECT_EQ(file->StartRequests(&FsysFilePeer::readRequests(*file)), 1u);
  ASSERT_EQ(os_->asyncIo().pending().size(), 5u);
  for (size_t i = 0; i < 5; ++i)
    EXPECT_EQ(os_->asyncIo().pending()[i].offset, i * 9000 / 512 * 512);
}

TEST_F(FsysFileTest, APassDropsOneKeptReadBeforeItStartsAndOneAfter) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  for (int i = 0; i < 6; ++i) read(file, i * 9000L, 512, i);
  passOverReads();
  os_->asyncIo().finishAll();
  auto& list = FsysFilePeer::readRequests(*file);
  ASSERT_EQ(list.size(), 6u);
  passOverReads();
  EXPECT_EQ(list.size(), 4u);
  passOverReads();
  passOverReads();
  EXPECT_EQ(list.size(), 1u) << "the first stays";
}

TEST_F(FsysFileTest, ARequestWithoutBufferFailsWithCode10OnTheFortiethTry) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  read(file, 0, 512);
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory, 1, FaultPlan::eFromThenOn);
  for (int tries = 1; tries < 40; ++tries) {
    passOverReads();
    ASSERT_EQ(FsysFilePeer::readRequests(*file)[0]->status(), 1u) << "try " << tries;
    ASSERT_EQ(recorder_->count(), 0u);
  }
  passOverReads();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), 10u);
  EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
  EXPECT_EQ(texts_.log(), std::vector<std::string>{"Failed starting request ECODE        a\n"});
}

TEST_F(FsysFileTest, WhileOneRequestFindsNoBufferTheNextIsTried) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  read(file, 0, 512, 1);
  read(file, 9000, 512, 2);
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  passOverReads();
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u);
  EXPECT_EQ(os_->asyncIo().pending()[0].offset, 8704u);
  passOverReads();
  EXPECT_EQ(os_->asyncIo().pending().size(), 2u);
}

TEST_F(FsysFileTest, AFailedStartEndsThePassWith0AndTheRestWaitsForTheNext) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  read(file, 0, 512, 1);
  read(file, 9000, 512, 2);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  auto& list = FsysFilePeer::readRequests(*file);
  EXPECT_EQ(file->StartRequests(&list), 0u);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsIoError});
  EXPECT_EQ(texts_.log(), std::vector<std::string>{"Failed starting request ECODE     1005\n"});
  EXPECT_TRUE(os_->asyncIo().pending().empty());
  EXPECT_EQ(list.size(), 1u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 512u);
  EXPECT_EQ(file->StartRequests(&list), 1u);
  EXPECT_EQ(os_->asyncIo().pending().size(), 1u);
}

TEST_F(FsysFileTest, AFailedStartsCallbackMayQueueMoreOnItsOwnFile) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    for (int i = 2; i < 50; ++i) read(file, i * 9000L, 512, i);
  });
  read(file, 0, 512, 1);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  passOverReads();
  os_->advance(100);
  EXPECT_GE(recorder_->count(), 41u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(recorder_->at(40).status, eRequestSucceeded);
}

TEST_F(FsysFileTest, StartedRequestsAreLoggedOnlyOnRequest) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  read(file, 0, 512);
  passOverReads();
  EXPECT_TRUE(texts_.log().empty());
  SettingScope debug(EngineSettings::ShowRequestDebug, 1);
  read(file, 2048, 512);
  passOverReads();
  ASSERT_EQ(texts_.log().size(), 1u);
  EXPECT_NE(texts_.log()[0].find("/m/a"), std::string::npos);
  passOverReads();
  EXPECT_EQ(texts_.log().size(), 1u) << "nothing was started";
}

TEST_F(FsysFileTest, AWriteWithoutBytesIsAnsweredAsAFailureAndHoldsNothingUp) {
  FsysFile* file = openForWriting(L"/m/a");
  file->QueueWriteRequest(new FileRequest(false, 0, 0, false, false, TestHolder::ofPattern(1), file,
                                          &Recorder::told, recorder_->context()));
  passOverWrites();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_TRUE(os_->asyncIo().pending().empty());
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_TRUE(os_->threads().sleeps().empty());
}

TEST_F(FsysFileTest, AWriteThatGoesWhollyToTheSegmentIsAnsweredAndHoldsNothingUp) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::giveSegment(*file, Qv::Ptr<iMemHolder>(new TestHolder(512u)), 0);
  file->QueueWriteRequest(writeRequest(file, 100, 50));
  passOverWrites();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(*file), 150u);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
}

TEST_F(FsysFileTest, AWriteLargerThanItsHolderNeverReachesTheSystem) {
  FsysFile* file = openForWriting(L"/m/a");
  file->QueueWriteRequest(new FileRequest(false, 1024, 0, false, false, TestHolder::ofPattern(512),
                                          file, &Recorder::told, recorder_->context()));
  passOverWrites();
  EXPECT_TRUE(os_->asyncIo().pending().empty());
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsInvalid});
}

// Synchronous transfers, seeking, draining -------------------------------------------------------

TEST_F(FsysFileTest, AReadAtThePositionMovesItByTheCountAndAFailedOneDoesNot) {
  FsysFile* file = readPatternFile(L"/m/a", 1000);
  Bytes bytes(600);
  EXPECT_EQ(file->Read(bytes.data(), 600), 1u);
  EXPECT_EQ(file->GetPosition(), 600u);
  EXPECT_EQ(whyNotPattern(bytes), "");
  EXPECT_EQ(file->Read(bytes.data(), 600), 1u) << "ends at the end of the file";
  EXPECT_EQ(whyNotPattern(bytes.data(), 400, 600), "");
  EXPECT_EQ(whyNotZeros(bytes.data() + 400, 200), "");
  EXPECT_EQ(file->GetPosition(), 1200u);
  EXPECT_EQ(file->Read(bytes.data(), 1), 0u) << "begins behind it";
  EXPECT_EQ(file->GetPosition(), 1200u);
  os_->faults().fail(FaultPlan::eRead, eOsIoError);
  file->Seek(0, eSeekFromStart);
  EXPECT_EQ(file->Read(bytes.data(), 1), uint32_t{eOsIoError});
  EXPECT_EQ(file->GetPosition(), 0u);
}

TEST_F(FsysFileTest, AWriteSendsTheCacheFirstAndMovesByBoth) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(300));
  Bytes bytes = patternBytes(200, 300);
  EXPECT_EQ(file->Write(bytes.data(), 200), 1u);
  EXPECT_EQ(file->GetPosition(), 500u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 0u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(500));
}

TEST_F(FsysFileTest, AWriteWhoseCacheCannotBeSentFailsAndLosesNothing) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(300));
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace);
  Bytes bytes = patternBytes(200, 300);
  EXPECT_EQ(file->Write(bytes.data(), 200), uint32_t{eOsNoSpace});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoSpace});
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 300u);
  EXPECT_EQ(file->Write(bytes.data(), 200), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(500));
}

TEST_F(FsysFileTest, SeekingSendsTheCacheAndStartsFromThePositionBeforeIt) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(300));
  EXPECT_EQ(file->Seek(10, eSeekFromCurrent), 1u);
  EXPECT_EQ(file->GetPosition(), 10u) << "not 310: the position before the cache was sent counts";
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(300));
  EXPECT_EQ(file->Seek(1000, eSeekFromStart), 1u);
  EXPECT_EQ(file->GetPosition(), 1000u);
  EXPECT_EQ(file->Seek(-400, static_cast<SEEK_TYPE>(7)), 1u) << "any other value adds";
  EXPECT_EQ(file->GetPosition(), 600u);
}

TEST_F(FsysFileTest, WhatIsWrittenAfterASeekLandsWhereTheSeekWent) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  file->Seek(1000, eSeekFromStart);
  write(file, TestHolder::ofPattern(50, 1000));
  FsysClose(file, nullptr);
  Bytes bytes = os_->files().bytesOf(L"/m/a");
  ASSERT_EQ(bytes.size(), 1050u);
  EXPECT_EQ(whyNotPattern(bytes.data(), 100, 0), "");
  EXPECT_EQ(whyNotPattern(bytes.data() + 1000, 50, 1000), "");
}

TEST_F(FsysFileTest, BytesThatASeekCouldNotSendDoNotEndUpElsewhere) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  os_->faults().fail(FaultPlan::eWrite, eOsIoError);
  EXPECT_EQ(file->Seek(1000, eSeekFromStart), 1u);
  write(file, TestHolder::ofPattern(50, 1000));
  FsysClose(file, nullptr);
  Bytes bytes = os_->files().bytesOf(L"/m/a");
  ASSERT_EQ(bytes.size(), 1050u);
  EXPECT_EQ(whyNotPattern(bytes.data(), 100, 0), "");
  EXPECT_EQ(whyNotPattern(bytes.data() + 1000, 50, 1000), "");
}

TEST_F(FsysFileTest, DrainingAFileWithoutOutstandingWritesReturnsAtOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  double before = Qv::now();
  file->WaitForDrain();
  EXPECT_EQ(Qv::now(), before);
  EXPECT_TRUE(texts_.splats().empty());
}

TEST_F(FsysFileTest, DrainingWritesTheHeldBytesOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(700));
  os_->files().clearRecords();
  file->WaitForDrain();
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, 700u);
  EXPECT_EQ(file->GetPosition(), 700u);
  file->WaitForDrain();
  EXPECT_EQ(os_->files().transfers().size(), 1u);
}

TEST_F(FsysFileTest, DrainingWaitsForWritesInFlight) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512));
  file->WaitForDrain();
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_TRUE(texts_.splats().empty());
}

TEST_F(FsysFileTest, DrainingGivesUpAfter4000Ms) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 1);
  double before = Qv::now();
  file->WaitForDrain();
  EXPECT_NEAR(Qv::now() - before, 4000, 2);
  TestDiagnostics::Splat expected{0, "Timed out waiting for write completion\n"};
  EXPECT_EQ(texts_.splats(), std::vector<TestDiagnostics::Splat>{expected});
}

TEST_F(FsysFileTest, ASignalThatIsLeftOverFromEarlierWritesEndsNoDrain) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512), 1);
  os_->run();
  write(file, TestHolder::ofPattern(512, 512), 2);
  file->WaitForDrain();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
}

}  // namespace
