// Finishing transfers: the outcome, the judgement of the volume, the figures, the order.

#include "fsys/IoCompletion.h"

#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"
#include "tests/support/AddedDrive.h"

namespace {

class IoCompletionTest : public EngineFixture {
protected:
  // A file whose name is a drive's location, so that it has a volume.
  const Text kOnDrive = L"/m/clip/";

  FsysFile* openReading(uint32_t bytes) { return readPatternFile(kOnDrive, bytes); }

  // Starts a read of so many bytes and finishes it that long after.
  void readTaking(FsysFile* file, uint32_t bytes, double ms) {
    read(file, 0, bytes);
    passOverReads();
    os_->clock().step(ms);
    os_->asyncIo().finishAll();
    file->ClearMemoryRefs();
  }
  void writeTaking(FsysFile* file, uint32_t bytes, double ms) {
    write(file, TestHolder::ofPattern(bytes));
    passOverWrites();
    os_->clock().step(ms);
    os_->asyncIo().finishAll();
  }
};

TEST_F(IoCompletionTest, BothHandlersAreMadeWithFourTimes3) {
  IOCompletionReceiver receiver;
  const auto& ports = os_->asyncIo().ports();
  ASSERT_EQ(ports.size(), 2u);
  EXPECT_EQ(ports[0]->name, "FsysReads");
  EXPECT_EQ(ports[1]->name, "FsysWrites");
  for (const auto& port : ports) {
    EXPECT_EQ(port->waiting, 3);
    EXPECT_EQ(port->running, 3);
    EXPECT_EQ(port->queued, 3);
    EXPECT_EQ(port->kept, 3);
  }
}

TEST_F(IoCompletionTest, AReceiverWhoseSecondHandlerFailsLeavesNothing) {
  os_->faults().fail(FaultPlan::eCreatePort, eOsNoMemory, 2);
  EXPECT_THROW(IOCompletionReceiver(), std::bad_alloc);
  EXPECT_EQ(os_->asyncIo().livePorts(), 0u);
}

TEST_F(IoCompletionTest, TheReadHandlerEndsBeforeTheWriteHandler) {
  {
    IOCompletionReceiver receiver;
  }
  const auto& ports = os_->asyncIo().ports();
  ASSERT_EQ(ports.size(), 2u);
  EXPECT_EQ(ports[0]->ended, 1u);
  EXPECT_EQ(ports[1]->ended, 2u);
}

TEST_F(IoCompletionTest, ExecutingACommandReturns1AlsoForAFailureWithoutARequest) {
  IOCompletionReceiver receiver;
  OnIOCompletion command(nullptr);
  CompletionPortHandlerCallbackContext context(0, nullptr, false);
  EXPECT_EQ(receiver.executeCommand(command, context), 1u);
  EXPECT_EQ(texts_.outText(), "assertion failed false at fsys/IoCompletion\n");
}

TEST_F(IoCompletionTest, ADoneReadKeepsItsBufferAndEndsInStatus3) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  uint32_t during = 0;
  recorder_->onCall([&](const Recorder::Call&) {
    during = FsysFilePeer::readRequests(*file)[0]->status();
    EXPECT_EQ(file->GetReadBytesOutstanding(), 512u) << "taken off after the callbacks";
  });
  read(file, 0, 512);
  passOverReads();
  os_->asyncIo().finishAll();
  EXPECT_EQ(during, 4u);
  EXPECT_EQ(FsysFilePeer::readRequests(*file)[0]->status(), 3u);
  EXPECT_EQ(os_->memory().regions(), 1u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
}

TEST_F(IoCompletionTest, ADoneWriteLetsItsBufferGoAndEndsInStatus3) {
  FsysFile* file = openForWriting(L"/m/a");
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(512);
  write(file, data);
  passOverWrites();
  EXPECT_GT(data->refCount(), 1);
  os_->asyncIo().finishAll();
  EXPECT_EQ(data->refCount(), 1);
  EXPECT_EQ(FsysFilePeer::writeRequests(*file)[0]->status(), 3u);
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
}

TEST_F(IoCompletionTest, AFailedTransferTellsThePlatformsErrorAndEndsInStatus5) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  read(file, 0, 512);
  passOverReads();
  os_->asyncIo().fail(0, eOsIoError);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_FALSE(recorder_->at(0).hadData);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsIoError});
  EXPECT_EQ(FsysFilePeer::readRequests(*file)[0]->status(), 5u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 512u) << "counted until the next pass";
  passOverReads();
  EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
}

TEST_F(IoCompletionTest, FortyFailedReadsFollowedByAGoodOneFillNothingAndHoldNothingUp) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  os_->faults().fail(FaultPlan::eFinishRead, eOsIoError, 1, FaultPlan::eFromThenOn);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(read(file, i * 8192, 512), 1u);
  os_->advance(100);
  EXPECT_EQ(recorder_->count(), 40u);
  os_->faults().clear();
  EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
  EXPECT_EQ(read(file, 0, 512), 1u);
  os_->run();
  EXPECT_EQ(recorder_->at(40).status, eRequestSucceeded);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_TRUE(os_->threads().sleeps().empty());
}

TEST_F(IoCompletionTest, AFailedWriteIsFollowedByGoodOnesAndDoesNotHoldUpTheClose) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512), 1);
  passOverWrites();
  os_->asyncIo().fail(0, eOsNoSpace);
  write(file, TestHolder::ofPattern(512, 512), 2);
  os_->run();
  ASSERT_EQ(recorder_->count(), 2u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded);
  double before_ms = Qv::now();
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_LT(Qv::now() - before_ms, 200) << "a drain may take 4000";
  EXPECT_TRUE(texts_.splats().empty());
  EXPECT_TRUE(os_->threads().sleeps().empty());
}

TEST_F(IoCompletionTest, TheEndOfAWriteEndsADrainAtOnceWhetherItWentWellOrNot) {
  FsysFile* file = openForWriting(L"/m/a");
  for (bool well : {true, false}) {
    write(file, TestHolder::ofPattern(512));
    passOverWrites();
    if (!well) os_->faults().fail(FaultPlan::eFinishWrite, eOsNoSpace);
    double before_ms = Qv::now();
    file->WaitForDrain();
    EXPECT_LT(Qv::now() - before_ms, 200) << "of 4000";
    EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
  }
  EXPECT_EQ(recorder_->at(1).status, eRequestFailed);
}

TEST_F(IoCompletionTest, AFailedSegmentThatNobodyIsToldOfSetsTheErrorAndIsTakenOff) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::giveSegment(*file, TestHolder::ofPattern(512), 100);
  FsysFilePeer::setPosition(*file, 100);
  EXPECT_EQ(file->SendWriteSegBuffer(), 1u);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 512u);
  os_->asyncIo().fail(0, eOsNoSpace);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoSpace});
}

// The judgement ----------------------------------------------------------------------------------

// Of a file's last sector only what lies before its end is transferred.
TEST_F(IoCompletionTest, AReadThatTransfers10000BytesIsNeverJudgedOnItsRateAnd10001Is) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  readTaking(openReading(10000), 10001, 1000);
  EXPECT_FALSE(drive->isTooSlow()) << "the bytes that were transferred count, not those asked for";
  readTaking(openReading(10001), 10001, 1000);
  EXPECT_TRUE(drive->isTooSlow());
  readTaking(openReading(10001), 10000, 10001 / 300.0 - 0.01);
  EXPECT_FALSE(drive->isTooSlow()) << "at 300 bytes a ms and more it keeps up";
  readTaking(openReading(10001), 10000, 10001 / 300.0 + 0.01);
  EXPECT_TRUE(drive->isTooSlow());
}

TEST_F(IoCompletionTest, ALongReadQueueIsTooSlowFrom1001000BytesOn) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  FsysFile* file = openReading(4096);
  FsysFilePeer::addReadBytes(*file, 1000999 - 512);
  readTaking(file, 512, 0);
  EXPECT_FALSE(drive->isTooSlow());
  FsysFilePeer::addReadBytes(*file, 1);
  readTaking(file, 512, 0);
  EXPECT_TRUE(drive->isTooSlow());
  FsysFilePeer::addReadBytes(*file, -(1001000 - 512));
}

TEST_F(IoCompletionTest, AReadIsJudgedWithTheWarningFlagClearToo) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  FsysSetWriteSpeedWarning(false);
  readTaking(openReading(20480), 20480, 1000);
  EXPECT_TRUE(drive->isTooSlow());
}

TEST_F(IoCompletionTest, ASlowWriteIsToldWithoutDataWithStatus6AndError9) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  FsysFile* file = openForWriting(kOnDrive);
  uint32_t during = 0;
  recorder_->onCall(
      [&](const Recorder::Call&) { during = FsysFilePeer::writeRequests(*file)[0]->status(); });
  writeTaking(file, 20480, 1000);
  EXPECT_TRUE(drive->isTooSlow());
  EXPECT_EQ(during, 6u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_FALSE(recorder_->at(0).hadData);
  EXPECT_EQ(FsysGetLastError(), 9u);
  EXPECT_EQ(texts_.outText(), "assertion failed false at fsys/FileRequest line 537\n");
  EXPECT_EQ(os_->files().bytesOf(kOnDrive), patternBytes(20480)) << "the data is on the disk";
}

TEST_F(IoCompletionTest, AQuickWriteClearsTheTooSlowMark) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  drive->setTooSlow(true);
  writeTaking(openForWriting(kOnDrive), 20480, 20480 / 300.0 - 0.01);
  EXPECT_FALSE(drive->isTooSlow());
  EXPECT_TRUE(recorder_->at(0).hadData);
}

TEST_F(IoCompletionTest, AWriteQueueIsTooLongFrom1501000BytesOn) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  FsysFile* file = openForWriting(kOnDrive);
  FsysFilePeer::addWriteBytes(*file, 1500999 - 512);
  writeTaking(file, 512, 0);
  EXPECT_FALSE(drive->isTooSlow());
  FsysFilePeer::addWriteBytes(*file, 1);
  writeTaking(file, 512, 0);
  EXPECT_TRUE(drive->isTooSlow());
  FsysFilePeer::addWriteBytes(*file, -(1501000 - 512));
}

TEST_F(IoCompletionTest, WithTheWarningFlagClearASlowWriteClearsTheTooSlowMark) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  drive->setTooSlow(true);
  FsysSetWriteSpeedWarning(false);
  FsysFile* file = openForWriting(kOnDrive);
  writeTaking(file, 20480, 1000);
  EXPECT_FALSE(drive->isTooSlow());
  EXPECT_TRUE(recorder_->at(0).hadData);
  EXPECT_EQ(FsysGetLastError(), 1u);
}

TEST_F(IoCompletionTest, WithoutAVolumeNothingIsJudged) {
  FsysFile* file = openForWriting(L"/m/a");
  writeTaking(file, 20480, 1000);
  EXPECT_TRUE(recorder_->at(0).hadData);
  EXPECT_EQ(FsysGetLastError(), 1u);
}

TEST_F(IoCompletionTest, TheTimeIsCountedFromTheStartOfTheTransferNotFromItsQueueing) {
  Qv::Ptr<MediaDrive> drive = addedDrive(kOnDrive);
  FsysFile* file = openReading(20480);
  read(file, 0, 20480);
  os_->clock().step(100000);
  passOverReads();
  os_->asyncIo().finishAll();
  EXPECT_FALSE(drive->isTooSlow());
}

// Debug lines ------------------------------------------------------------------------------------

TEST_F(IoCompletionTest, ReadBytesAreShownBeforeThisReadIsTakenOff) {
  SettingScope debug(EngineSettings::ShowReadBuffDebug, 1);
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  FsysSetCoalesceLength(file, 0);
  read(file, 0, 1024);
  read(file, 8191, 1);
  passOverReads();
  os_->asyncIo().finish(0);
  TestDiagnostics::Shown expected{32, 8, L"Rbytes in Fsys: 1.0Kbytes "};
  ASSERT_EQ(texts_.display().size(), 1u);
  EXPECT_EQ(texts_.display()[0], expected);
}

TEST_F(IoCompletionTest, WriteBytesAreShownOnTheirOwnRow) {
  SettingScope debug(EngineSettings::ShowWriteBuffDebug, 1);
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(2560));
  os_->run();
  TestDiagnostics::Shown expected{32, 6, L"Wbytes in Fsys: 2.6Kbytes "};
  ASSERT_EQ(texts_.display().size(), 1u);
  EXPECT_EQ(texts_.display()[0], expected);
}

TEST_F(IoCompletionTest, NothingIsShownByDefault) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512));
  os_->run();
  EXPECT_TRUE(texts_.display().empty());
}

// Callbacks --------------------------------------------------------------------------------------

TEST_F(IoCompletionTest, ACallbackOnACompletionThreadMayQueueMoreOnItsOwnFile) {
  FsysFile* file = readPatternFile(L"/m/a", 64 * 1024);
  FsysSetCoalesceLength(file, 0);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 10) return;
    EXPECT_EQ(read(file, (call.ticket + 1) * 6000L, 1000, call.ticket + 1), 1u);
  });
  read(file, 0, 1000, 0);
  os_->run();
  EXPECT_EQ(recorder_->count(), 11u);
  for (const Recorder::Call& call : recorder_->calls())
    EXPECT_EQ(whyNotPattern(call.bytes, static_cast<uint64_t>(call.ticket) * 6000), "");
}

TEST_F(IoCompletionTest, AWriteCallbackMayStageMoreOfItsOwnFileWithoutWaitingForItself) {
  FsysFile* file = openForWriting(L"/m/a");
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    EXPECT_EQ(write(file, TestHolder::ofPattern(140001, 512), 2), 1u);
    EXPECT_EQ(recorder_->count(), 1u) << "its own write is not over yet";
    EXPECT_EQ(file->GetWriteBytesOutstanding(), 512u + 139776u);
  });
  write(file, TestHolder::ofPattern(512), 1);
  os_->run();
  EXPECT_EQ(recorder_->count(), 2u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(140513));
}

}  // namespace
