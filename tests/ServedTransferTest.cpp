// Transfers of files that have no asynchronous ones of their own.

#include "fsys/ServedTransfer.h"

#include "tests/FsysFileDirectFixture.h"

namespace {

// A provider's file whose transfers answer an error and leave the thread's last error alone.
class BrokenFile final : public iFile {
public:
  bool isOpen() const override { return true; }
  void close() override {}
  unsigned getCapabilities() const override { return 0; }
  uint64_t getSize() const override { return 4096; }
  uint32_t getInfo(FILE_INFO*) const override { return eOsIoError; }
  uint32_t readAt(uint64_t, void*, uint32_t, uint32_t*) override { return eOsIoError; }
  uint32_t writeAt(uint64_t, const void*, uint32_t, uint32_t*) override { return eOsIoError; }
  uint32_t writeBehind(uint64_t, const void*, uint32_t, uint32_t*) override { return eOsIoError; }
  uint32_t settle() override { return eOsIoError; }
  uint32_t flush() override { return eOsIoError; }
  uint32_t read(void*, uint32_t, uint32_t*) override { return eOsIoError; }
  uint32_t write(const void*, uint32_t, uint32_t*) override { return eOsIoError; }
  void seek(uint64_t) override {}
  uint32_t attach(CompletionPortHandler*) override { return eOsNotSupported; }
  uint32_t startRead(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) override {
    return eOsNotSupported;
  }
  uint32_t startWrite(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) override {
    return eOsNotSupported;
  }
};

class BrokenProvider final : public iFileProvider {
public:
  Qv::Ptr<iFile> open(const Text&, unsigned, bool) override {
    return Qv::Ptr<iFile>(new BrokenFile);
  }
  bool remove(const Text&) override { return false; }
};

class ServedTransferTest : public FsysFileDirectFixture {
protected:
  void SetUp() override {
    FsysFileDirectFixture::SetUp();
    os_->files().setDrive(L"/s/", {.asyncTransfers = false});
  }
  // Closes the file: then nothing of it is left, unless a transfer still holds it.
  void expectNothingHeld(FsysFile* file) {
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    EXPECT_EQ(os_->files().liveFiles(), 0u);
    EXPECT_EQ(os_->memory().regions(), 0u);
    EXPECT_TRUE(os_->threads().sleeps().empty()) << "nothing was waited for";
  }
  void expectToldOnce(uint32_t error) {
    ASSERT_EQ(recorder_->count(), 1u);
    EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
    EXPECT_FALSE(recorder_->at(0).hadData);
    EXPECT_EQ(FsysGetLastError(), error);
  }
};

TEST_F(ServedTransferTest, AQueuedReadIsDoneByATaskAndTold) {
  FsysFile* file = readPatternFile(L"/s/a", 4096);
  read(file, 100, 1000);
  passOverReads();
  EXPECT_EQ(recorder_->count(), 0u) << "not under the poller's locks";
  EXPECT_EQ(os_->threads().tasks(), 1u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 100), "");
  expectNothingHeld(file);
}

TEST_F(ServedTransferTest, WithoutThreadsToServeItAReadFailsAndHoldsNothing) {
  FsysFile* file = readPatternFile(L"/s/a", 4096);
  os_->faults().fail(FaultPlan::eCreateTaskQueue, eOsNoMemory);
  read(file, 0, 512);
  os_->run();
  expectToldOnce(eOsNotSupported);
  EXPECT_EQ(read(file, 0, 512), 1u);
  os_->run();
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded) << "the next one finds threads";
  expectNothingHeld(file);
}

TEST_F(ServedTransferTest, AReadWhoseTaskIsRefusedFailsAndHoldsNothing) {
  FsysFile* file = readPatternFile(L"/s/a", 4096);
  os_->faults().fail(FaultPlan::ePostTask, eOsNoMemory);
  read(file, 0, 512);
  os_->run();
  expectToldOnce(eOsNoMemory);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(read(file, 0, 512), 1u);
  os_->run();
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded);
  expectNothingHeld(file);
}

TEST_F(ServedTransferTest, AReadThatFailsIsToldTheSystemsError) {
  FsysFile* file = readPatternFile(L"/s/a", 4096);
  os_->faults().fail(FaultPlan::eRead, eOsIoError);
  read(file, 0, 512);
  os_->run();
  expectToldOnce(eOsIoError);
  expectNothingHeld(file);
}

TEST_F(ServedTransferTest, AFailureIsToldWithTheFilesAnswerWhateverTheLastErrorSays) {
  os_->files().registerProvider(L"broken:", Qv::Ptr<iFileProvider>(new BrokenProvider));
  FsysFile* file = openForReading(L"broken:a");
  read(file, 0, 512);
  os_->run();
  expectToldOnce(eOsIoError);
  expectNothingHeld(file);
}

TEST_F(ServedTransferTest, AWriteThatFailsIsToldTheSystemsErrorAndHoldsUpNoDrain) {
  FsysFile* file = openForWriting(L"/s/a");
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace);
  ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, 512, 0, false, false,
                                                    TestHolder::ofPattern(512), file,
                                                    &Recorder::told, recorder_->context())),
            1u);
  os_->run();
  expectToldOnce(eOsNoSpace);
  double before_ms = Qv::now();
  expectNothingHeld(file);
  EXPECT_LT(Qv::now() - before_ms, 200);
}

TEST_F(ServedTransferTest, AReadThatWasGivenUpBeforeItsTaskRanIsToldOnce) {
  FsysFile* file = readPatternFile(L"/s/a", 4096);
  os_->threads().holdTasks(true);
  read(file, 0, 512);
  passOverReads();
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  expectToldOnce(eOsCancelled);
  EXPECT_TRUE(os_->threads().runTask());
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_EQ(os_->memory().regions(), 0u) << "the block lived as long as its task";
}

TEST_F(ServedTransferTest, AWriteThatWasGivenUpBeforeItsTaskRanMovesNoByte) {
  FsysFile* file = openForWriting(L"/s/a");
  os_->threads().holdTasks(true);
  ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, 512, 0, false, false,
                                                    TestHolder::ofPattern(512), file,
                                                    &Recorder::told, recorder_->context())),
            1u);
  passOverWrites();
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  expectToldOnce(eOsCancelled);
  EXPECT_TRUE(os_->threads().runTask());
  EXPECT_TRUE(os_->files().bytesOf(L"/s/a").empty()) << "another may be writing there by now";
  EXPECT_EQ(os_->files().liveFiles(), 0u);
}

TEST_F(ServedTransferTest, ATransferWhoseTaskNeverRanLetsItsRequestAndItsFileGoWithTheEngine) {
  FsysFile* file = openForWriting(L"/s/a");
  Qv::Ptr<iMemHolder> segment = TestHolder::ofPattern(512);
  FsysFilePeer::giveSegment(*file, segment, 100);
  FsysFilePeer::setPosition(*file, 100);
  os_->threads().holdTasks(true);
  EXPECT_EQ(file->SendWriteSegBuffer(), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->threads().tasks(), 1u);
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 512u) << "closed, and held by its transfer";
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(os_->threads().tasks(), 0u);
  EXPECT_EQ(segment->refCount(), 1) << "neither the file nor the request is left";
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_TRUE(os_->files().transfers().empty());
}

TEST_F(ServedTransferTest, ReadsOfALeftOpenFileWhoseTasksNeverRanAreNotTold) {
  FsysFile* closed = readPatternFile(L"/s/a", 4096);
  FsysFile* left = readPatternFile(L"/s/b", 4096);
  os_->threads().holdTasks(true);
  read(closed, 0, 512, 1);
  read(left, 0, 512, 2);
  passOverReads();
  EXPECT_EQ(os_->threads().tasks(), 2u);
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1}) << "given up by its close";
  EXPECT_EQ(os_->threads().tasks(), 0u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_EQ(os_->memory().regions(), 0u);
}

}  // namespace
