// The engine frame: its life, opening and closing, the flat functions.

#include "tests/EngineFixture.h"

namespace {

class FsysTest : public EngineFixture {};

// Without an engine.
class NoEngineTest : public testing::Test {
protected:
  FakeOSScope os_;
};

TEST_F(NoEngineTest, EveryFunctionThatNeedsTheEngineReturns0AndTouchesNothing) {
  ASSERT_EQ(theFsys, nullptr);
  FsysFile* untouched = reinterpret_cast<FsysFile*>(0x10);
  FsysFile* file = untouched;
  EXPECT_EQ(FsysOpen(&file, Text(L"/m/a"), 0, 1, nullptr), 0u);
  EXPECT_EQ(file, untouched);
  EXPECT_EQ(FsysClose(untouched, nullptr), 0u);
  EXPECT_EQ(FsysSetCoalesceLength(untouched, 1), 0u);
  unsigned int bytes = 7;
  EXPECT_EQ(FsysGetWriteBytesOutstanding(&bytes), 0u);
  EXPECT_EQ(bytes, 7u);
}

TEST_F(NoEngineTest, TheSettersStoreWhatTheyAreGiven) {
  FsysSetReadMaxCoalesceSize(11);
  FsysSetWriteMaxCoalesceSize(12);
  FsysSetWriteSpeedWarning(false);
  FsysSetNetworkWriteCaching(true);
  FsysSetImmediateRequestHandling(false);
  EXPECT_EQ(MaxReadCoalesceSize, 11u);
  EXPECT_EQ(MaxWriteCoalesceSize, 12u);
  EXPECT_FALSE(GlobalWriteSpeedWarningFlag);
  EXPECT_TRUE(EngineSettings::networkWriteCaching);
  EXPECT_TRUE(EngineSettings::deferRequests);
  FsysSetReadMaxCoalesceSize(33177600);
  FsysSetWriteMaxCoalesceSize(4194304);
  FsysSetWriteSpeedWarning(true);
  FsysSetNetworkWriteCaching(false);
  FsysSetImmediateRequestHandling(true);
  EXPECT_FALSE(EngineSettings::deferRequests);
}

TEST_F(NoEngineTest, AnEngineWithoutAThreadForPollingIsNotMade) {
  for (unsigned nth : {1u, 2u}) {
    os_->faults().fail(FaultPlan::eCreateThread, eOsNoMemory, nth);
    TestDiagnostics texts;
    EXPECT_EQ(FsysInitialize(), 0u);
    EXPECT_EQ(theFsys, nullptr);
    EXPECT_EQ(texts.log().size(), 1u);
    EXPECT_EQ(os_->threads().count(), 0u) << "what was made before is gone";
    os_->faults().clear();
  }
  Fsys::BufferSpace_ = nullptr;
}

TEST_F(NoEngineTest, AnEngineWhosePollerHasNoEventToWaitOnIsNotMade) {
  for (unsigned nth : {1u, 2u}) {
    os_->faults().fail(FaultPlan::eCreateEvent, eOsNoMemory, nth);
    TestDiagnostics texts;
    EXPECT_EQ(FsysInitialize(), 0u);
    EXPECT_EQ(theFsys, nullptr);
    EXPECT_EQ(texts.log().size(), 1u);
    EXPECT_EQ(os_->faults().fired(FaultPlan::eCreateEvent), nth);
    EXPECT_EQ(os_->threads().count(), 0u) << "what was made before is gone";
  }
  Fsys::BufferSpace_ = nullptr;
}

TEST_F(FsysTest, ASecondInitialisationIsHarmless) {
  Fsys* engine = theFsys;
  EXPECT_EQ(FsysInitialize(), 1u);
  EXPECT_EQ(theFsys, engine);
  EXPECT_EQ(os_->threads().findAll("fsys poll").size(), 2u);
}

TEST_F(FsysTest, TheEngineRegistersItsEndAtPriority499) {
  static std::vector<int> order;
  static bool engineThere[2];
  order.clear();
  Shutdown::addCallback(
      [](Shutdown::eExitType) {
        engineThere[0] = theFsys != nullptr;
        order.push_back(500);
      },
      500);
  Shutdown::addCallback(
      [](Shutdown::eExitType) {
        engineThere[1] = theFsys != nullptr;
        order.push_back(498);
      },
      498);
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(order, (std::vector<int>{500, 498}));
  EXPECT_TRUE(engineThere[0]) << "priority 500 runs before the engine ends";
  EXPECT_FALSE(engineThere[1]) << "priority 498 runs after it";
}

TEST_F(FsysTest, ThePollersGetTheirDelaysTheirSpareAndTheirDirection) {
  FsysPoll* reads = FsysPeer::readPoll(*theFsys);
  FsysPoll* writes = FsysPeer::writePoll(*theFsys);
  EXPECT_EQ(FsysPollPeer::delay_ms(*reads), 50u);
  EXPECT_EQ(FsysPollPeer::delay_ms(*writes), 50u);
  EXPECT_EQ(FsysPollPeer::spare(*reads), 50u);
  EXPECT_TRUE(FsysPollPeer::reads(*reads));
  EXPECT_FALSE(FsysPollPeer::reads(*writes));
  EXPECT_LT(FsysPollPeer::threadId(*reads), FsysPollPeer::threadId(*writes))
      << "the read poller is made first";
}

TEST_F(FsysTest, TheBufferPoolIsThereWithTheEngineAndItsPointerStaysAfterIt) {
  FsysBuf* pool = Fsys::BufferSpace_;
  ASSERT_NE(pool, nullptr);
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(Fsys::BufferSpace_, pool);
  EXPECT_EQ(theFsys, nullptr);
}

// Opening ----------------------------------------------------------------------------------------

TEST_F(FsysTest, ANullOrEmptyPathIsRefusedAndNothingElseChanges) {
  OsAtomics::store(FsysError, 77u);
  FsysFile* untouched = reinterpret_cast<FsysFile*>(0x10);
  FsysFile* file = untouched;
  EXPECT_EQ(FsysOpen(&file, Text(), 0, 1, nullptr), 0u);
  EXPECT_EQ(FsysOpen(&file, Text(L""), 0, 1, nullptr), 0u);
  EXPECT_EQ(file, untouched);
  EXPECT_EQ(FsysGetLastError(), 77u);
  EXPECT_TRUE(texts_.out().empty());
  EXPECT_TRUE(os_->files().opens().empty());
}

TEST_F(FsysTest, ANullOutPlaceIsRefused) {
  os_->files().addFile(L"/m/a");
  EXPECT_EQ(FsysOpen(nullptr, Text(L"/m/a"), 0, 1, nullptr), 0u);
}

TEST_F(FsysTest, AFailedOpenSetsTheErrorPrintsItAndNullsTheOutPlace) {
  FsysFile* file = reinterpret_cast<FsysFile*>(0x10);
  EXPECT_EQ(FsysOpen(&file, Text(L"/m/missing"), 0, 1, nullptr), 0u);
  EXPECT_EQ(file, nullptr);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNotFound});
  EXPECT_EQ(texts_.outText(), "LowLevelOpen error 0x1002\n");
  EXPECT_TRUE(FsysPeer::readFiles(*theFsys).empty());
  EXPECT_EQ(os_->files().liveFiles(), 0u);
}

TEST_F(FsysTest, ADriveThatIsNotKnownCountsAsANetworkDriveWithSectorsOf512) {
  os_->files().setDrive(L"/x/", {.sectorSize = 4096, .known = false});
  os_->files().addFile(L"/x/a");
  FsysFile* file = openForReading(L"/x/a");
  EXPECT_EQ(file->GetSectorSize(), 512u);
  ASSERT_EQ(os_->files().opens().size(), 2u);
  EXPECT_EQ(os_->files().opens()[1].mode, 2u) << "a network read goes through the page cache";
}

TEST_F(FsysTest, AKnownDriveGivesItsSectorSizeAndItsKind) {
  os_->files().setDrive(L"/d/", {.type = iDiskDrive::eFixed, .sectorSize = 4096});
  os_->files().addFile(L"/d/a");
  FsysFile* file = openForReading(L"/d/a");
  EXPECT_EQ(file->GetSectorSize(), 4096u);
  EXPECT_EQ(os_->files().opens()[1].mode, 3u);
}

TEST_F(FsysTest, OpeningProbesFirstAndThenOpensTheFile) {
  os_->files().addFile(L"/m/a");
  openForReading(L"/m/a");
  const auto& opens = os_->files().opens();
  ASSERT_EQ(opens.size(), 2u);
  EXPECT_EQ(opens[0].mode, 0u);
  for (const FakeOpen& open : opens) {
    EXPECT_EQ(open.door, FakeOpen::eMedia);
    EXPECT_EQ(open.flags, 1u);
    EXPECT_FALSE(open.write);
    EXPECT_EQ(open.disposition, 4u);
  }
}

struct ModeCase {
  const char* name;
  iDiskDrive::eType drive;
  uint32_t flags;
  int dontBuffNetReads;
  int disableSetOwner;
  unsigned mode;
};

class OpenModeTest : public FsysTest, public testing::WithParamInterface<ModeCase> {};

TEST_P(OpenModeTest, TheModeFollowsTheDirectionTheDriveAndTheSettings) {
  SettingScope buff(EngineSettings::DontBuffNetReads, GetParam().dontBuffNetReads);
  SettingScope owner(EngineSettings::DisableSetOwner, GetParam().disableSetOwner);
  os_->files().setDrive(L"/n/", {.type = GetParam().drive});
  os_->files().addFile(L"/n/a");
  FsysFile* file = nullptr;
  ASSERT_EQ(FsysOpen(&file, Text(L"/n/a"), 0, GetParam().flags, nullptr), 1u);
  EXPECT_EQ(os_->files().opens()[1].mode, GetParam().mode);
  EXPECT_EQ(os_->files().opens()[1].write, (GetParam().flags & 2) != 0);
}

INSTANTIATE_TEST_SUITE_P(
    All, OpenModeTest,
    testing::Values(ModeCase{"ReadLocal", iDiskDrive::eFixed, 1, 0, 0, 3},
                    ModeCase{"ReadNetwork", iDiskDrive::eNetwork, 1, 0, 0, 2},
                    ModeCase{"ReadNetworkUnbuffered", iDiskDrive::eNetwork, 1, 1, 0, 3},
                    ModeCase{"ReadLocalUnbuffered", iDiskDrive::eFixed, 1, 1, 0, 3},
                    ModeCase{"WriteLocal", iDiskDrive::eFixed, 2, 0, 0, 3},
                    ModeCase{"WriteNetwork", iDiskDrive::eNetwork, 2, 0, 0, 7},
                    ModeCase{"WriteNetworkWithoutOwner", iDiskDrive::eNetwork, 2, 0, 1, 3},
                    ModeCase{"ReadAndWriteNetwork", iDiskDrive::eNetwork, 3, 0, 0, 2}),
    [](const auto& test) { return test.param.name; });

TEST_F(FsysTest, AFileIsListedByItsWriteFlag) {
  os_->files().addFile(L"/m/a");
  FsysFile* reading = openForReading(L"/m/a");
  FsysFile* writing = openForWriting(L"/m/b");
  EXPECT_EQ(FsysPeer::readFiles(*theFsys).locate(reading), 0u);
  EXPECT_EQ(FsysPeer::readFiles(*theFsys).size(), 1u);
  EXPECT_EQ(FsysPeer::writeFiles(*theFsys).locate(writing), 0u);
  EXPECT_EQ(FsysPeer::writeFiles(*theFsys).size(), 1u);
}

TEST_F(FsysTest, AWriteOpenContinuesAtTheEndOfTheFile) {
  os_->files().addFile(L"/m/a", patternBytes(700));
  EXPECT_EQ(openForWriting(L"/m/a")->GetPosition(), 700u);
}

TEST_F(FsysTest, TheReceiverIsMadeByTheFirstFileWithAsynchronousTransfers) {
  os_->files().setDrive(L"/s/", {.asyncTransfers = false});
  os_->files().addFile(L"/s/a");
  os_->files().addFile(L"/m/a");
  openForReading(L"/s/a");
  EXPECT_FALSE(FsysPeer::hasReceiver(*theFsys));
  openForReading(L"/m/a");
  IOCompletionReceiver* first = FsysPeer::receiver(*theFsys);
  EXPECT_NE(first, nullptr);
  openForWriting(L"/m/b");
  EXPECT_EQ(FsysPeer::receiver(*theFsys), first);
  EXPECT_EQ(os_->asyncIo().ports().size(), 2u);
}

TEST_F(FsysTest, ReadsAndWritesAreReportedToTheirOwnHandlers) {
  FsysFile* reading = readPatternFile(L"/m/a", 4096);
  FsysFile* writing = openForWriting(L"/m/b");
  ASSERT_EQ(os_->asyncIo().ports().size(), 2u);
  const auto& reads = os_->asyncIo().ports()[0];
  const auto& writes = os_->asyncIo().ports()[1];
  EXPECT_EQ(reads->name, "FsysReads");
  EXPECT_EQ(writes->name, "FsysWrites");
  EXPECT_EQ(read(reading, 0, 512), 1u);
  EXPECT_EQ(write(writing, TestHolder::ofPattern(512)), 1u);
  os_->run();
  EXPECT_EQ(reads->executed, 1u);
  EXPECT_EQ(writes->executed, 1u);
}

TEST_F(FsysTest, WithoutACompletionHandlerTransfersAreServedAllTheSame) {
  os_->faults().fail(FaultPlan::eCreatePort, eOsNoMemory, 1, FaultPlan::eFromThenOn);
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  EXPECT_EQ(read(file, 100, 200), 1u);
  ASSERT_TRUE(recorder_->waitFor(1));
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 100), "");
}

TEST_F(FsysTest, AServedFileIsOpenedThroughItsProviderAndNothingElse) {
  FsysFile* file = openForWriting(L"mem:engine-frame-served");
  ASSERT_EQ(os_->files().opens().size(), 1u);
  EXPECT_EQ(os_->files().opens()[0].door, FakeOpen::eServed);
  EXPECT_TRUE(os_->files().opens()[0].write);
  EXPECT_EQ(file->GetName(), Text(L"mem:engine-frame-served"));
  EXPECT_FALSE(file->isASyncIOSupported());
  EXPECT_FALSE(FsysPeer::hasReceiver(*theFsys));
}

TEST_F(FsysTest, AServedFileThatIsRefusedGives0AndLeavesErrorAndOutPlaceAlone) {
  OsAtomics::store(FsysError, 77u);
  FsysFile* untouched = reinterpret_cast<FsysFile*>(0x10);
  FsysFile* file = untouched;
  EXPECT_EQ(FsysOpen(&file, Text(L"mem:is-not-there"), 0, 1, nullptr), 0u);
  EXPECT_EQ(file, untouched);
  EXPECT_EQ(FsysGetLastError(), 77u);
  EXPECT_TRUE(texts_.out().empty());
}

TEST_F(FsysTest, AServedFileAnswersQueuedReadsFromAPlatformThreadNotUnderThePollersLocks) {
  FsysFile* writing = openForWriting(L"mem:served-reads");
  EXPECT_EQ(write(writing, TestHolder::ofPattern(5000)), 1u);
  EXPECT_EQ(FsysClose(writing, nullptr), 1u);
  recorder_->clear();

  FsysFile* reading = openForReading(L"mem:served-reads");
  EXPECT_EQ(read(reading, 1000, 3000), 1u);
  passOverReads();
  EXPECT_EQ(recorder_->count(), 0u) << "the pass itself transfers nothing";
  EXPECT_EQ(os_->threads().tasks(), 1u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 1000), "");
}

TEST_F(FsysTest, TheInitialCoalesceLengthIsTheOpensValueAndCanBeChanged) {
  os_->files().addFile(L"/m/a", patternBytes(100000));
  FsysFile* file = openForReading(L"/m/a", 8192);
  uint64_t merges = FileRequest::GetMergeCount();
  read(file, 0, 8192);
  read(file, 8192, 1);
  EXPECT_EQ(FileRequest::GetMergeCount(), merges) << "together they are longer than 8192";
  EXPECT_EQ(FsysSetCoalesceLength(file, 8194), 1u);
  read(file, 8193, 1);
  EXPECT_EQ(FileRequest::GetMergeCount(), merges + 1);
}

TEST_F(FsysTest, AFileThatIsNotOpenIsRefused) {
  FsysFile* file = readPatternFile(L"/m/a", 1024);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 0u) << "closed already";
  EXPECT_EQ(FsysSetCoalesceLength(file, 1), 0u);
  EXPECT_EQ(FsysClose(nullptr, nullptr), 0u);
  EXPECT_EQ(FsysSetCoalesceLength(nullptr, 1), 0u);
}

TEST_F(FsysTest, WriteBytesOutstandingCountQueuedAndStartedWrites) {
  FsysFile* file = openForWriting(L"/m/a");
  unsigned int bytes = 1;
  EXPECT_EQ(FsysGetWriteBytesOutstanding(&bytes), 1u);
  EXPECT_EQ(bytes, 0u);
  write(file, TestHolder::ofPattern(1024));
  write(file, TestHolder::ofPattern(512, 1024));
  FsysGetWriteBytesOutstanding(&bytes);
  EXPECT_EQ(bytes, 1536u);
  os_->run();
  FsysGetWriteBytesOutstanding(&bytes);
  EXPECT_EQ(bytes, 0u);
  EXPECT_EQ(FsysGetWriteBytesOutstanding(nullptr), 0u);
}

}  // namespace
