// What a request is made of, how it is widened to sectors, started, waited for and let go.

#include <gtest/gtest.h>

#include <new>

#include "fsys/MemBlock.h"
#include "fsys/ResultCodes.h"
#include "fsys/WriteMemRef.h"
#include "tests/FileRequestFixture.h"
#include "tests/support/ForwardingOS.h"
#include "tests/support/WideBuffer.h"

namespace {

using Peer = FileRequestPeer;

// Construction -----------------------------------------------------------------------------------

TEST_F(FileRequestTest, AnEntryKeepsItsArgumentsSharesItsContextAndBeginsAtBufferPosition0) {
  Qv::Ptr<iObject> context = recorder_->ticket(3);
  CompletionInfo entry(&Recorder::told, context, 1ull << 40, 77);
  EXPECT_EQ(entry.callback_, &Recorder::told);
  EXPECT_EQ(entry.context_, context);
  EXPECT_EQ(context->refCount(), 2);
  EXPECT_EQ(entry.offset_, 1ull << 40);
  EXPECT_EQ(entry.length_, 77u);
  EXPECT_EQ(entry.bufferPosition_, 0u);
}

TEST_F(FileRequestTest, ANewRequestIsInStatus0WithEveryAdjustAndCountZero) {
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(100);
  FileRequest request(false, 100, 5000000000, true, false, data, &file_, nullptr, nullptr);
  EXPECT_EQ(request.status(), 0u);
  EXPECT_FALSE(Peer::isRead(request));
  EXPECT_FALSE(Peer::isSynchronous(request));
  EXPECT_TRUE(Peer::isDeferrable(request));
  EXPECT_EQ(Peer::offset(request), 5000000000u);
  EXPECT_EQ(Peer::byteCount(request), 100u);
  EXPECT_EQ(Peer::buffer(request), data);
  EXPECT_EQ(Peer::file(request), &file_);
  EXPECT_EQ(Peer::startAdjust(request), 0);
  EXPECT_EQ(Peer::lengthAdjust(request), 0);
  EXPECT_EQ(Peer::bytesDone(request), 0u);
  EXPECT_EQ(Peer::startRetries(request), 0u);
  EXPECT_EQ(Peer::lastUse(request), 0u);
  EXPECT_FALSE(Peer::asyncContext(request));
  EXPECT_TRUE(texts_.out().empty());
}

TEST_F(FileRequestTest, AByteCountOf0PrintsItsAssertionOfLine59AndTheRequestIsMadeAllTheSame) {
  RequestHandle request = makeRead(10, 0);
  EXPECT_EQ(texts_.out(), assertion("ByteCount_ != 0", 59));
  ASSERT_EQ(Peer::entries(*request).size(), 1u);
  EXPECT_EQ(Peer::entries(*request)[0]->length_, 0u);
}

TEST_F(FileRequestTest, WithoutACallbackThereIsNoEntry) {
  FileRequest request(true, 1, 0, false, false, nullptr, &file_, nullptr, recorder_->ticket(1));
  EXPECT_TRUE(Peer::entries(request).empty());
}

TEST_F(FileRequestTest, AnAsynchronousRequestHasItsCallersEntryAndMakesNoEvent) {
  unsigned before = os_->faults().calls(FaultPlan::eCreateEvent);
  RequestHandle request = makeRead(4096, 200, 1);
  ASSERT_EQ(Peer::entries(*request).size(), 1u);
  EXPECT_EQ(Peer::entries(*request)[0]->callback_, &Recorder::told);
  EXPECT_EQ(Peer::entries(*request)[0]->offset_, 4096u);
  EXPECT_EQ(Peer::entries(*request)[0]->length_, 200u);
  EXPECT_FALSE(Peer::waiter(*request));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateEvent), before);
}

TEST_F(FileRequestTest, ASynchronousRequestAppendsItsWaitersEntryAfterItsCallers) {
  unsigned before = os_->faults().calls(FaultPlan::eCreateEvent);
  RequestHandle request = makeRead(4096, 200, 1, true);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateEvent), before + 1);
  EXPECT_TRUE(Peer::waiter(*request));
  ASSERT_EQ(Peer::entries(*request).size(), 2u);
  EXPECT_EQ(Peer::entries(*request)[0]->callback_, &Recorder::told);
  const CompletionInfo& waiting = *Peer::entries(*request)[1];
  EXPECT_EQ(waiting.callback_, &SyncFileRequest::SynchWaiter);
  EXPECT_TRUE(Qv::dynamicCast<SyncFileRequest>(waiting.context_));
  EXPECT_EQ(waiting.offset_, 4096u);
  EXPECT_EQ(waiting.length_, 200u);
}

TEST_F(FileRequestTest, ASynchronousRequestWithoutACallbackHasItsWaitersEntryAlone) {
  FileRequest request(true, 1, 0, false, true, nullptr, &file_, nullptr, nullptr);
  ASSERT_EQ(Peer::entries(request).size(), 1u);
  EXPECT_EQ(Peer::entries(request)[0]->callback_, &SyncFileRequest::SynchWaiter);
}

TEST_F(FileRequestTest, ASynchronousRequestWithoutAnEventIsNotMadeAndKeepsNothing) {
  Qv::Ptr<iObject> context = recorder_->ticket(1);
  os_->faults().fail(FaultPlan::eCreateEvent, eOsNoMemory);
  EXPECT_THROW(FileRequest(true, 1, 0, false, true, nullptr, &file_, &Recorder::told, context),
               std::bad_alloc);
  EXPECT_EQ(context->refCount(), 1);
}

TEST_F(FileRequestTest, EveryUseStampsTheRequestWithTheClockAndAdvancesItByOne) {
  RequestHandle first = makeRead(0, 1);
  RequestHandle second = makeRead(0, 1);
  uint64_t clock = FileRequest::usageClock_.get();
  first->Use();
  second->Use();
  EXPECT_EQ(Peer::lastUse(*first), clock);
  EXPECT_EQ(Peer::lastUse(*second), clock + 1);
  EXPECT_EQ(FileRequest::usageClock_.get(), clock + 2);
}

TEST_F(FileRequestTest, ADestroyedRequestLetsGoOfItsContextsItsDataItsEventAndItsAsyncContext) {
  Qv::Ptr<iObject> context = recorder_->ticket(1);
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(512);
  auto* request =
      new FileRequest(false, 512, 0, false, true, data, &file_, &Recorder::told, context);
  request->setStatus(FileRequest::STARTED);
  ASSERT_EQ(request->StartRequest(&file_), 1u);
  Qv::Ptr<iThreadEvent> waiter = Peer::waiter(*request);
  Qv::Ptr<iAsyncContext> async = Peer::asyncContext(*request);
  request->release();
  EXPECT_EQ(context->refCount(), 1);
  EXPECT_EQ(data->refCount(), 1);
  EXPECT_EQ(waiter->refCount(), 1);
  EXPECT_EQ(async->refCount(), 1);
  EXPECT_EQ(recorder_->count(), 0u);
}

// Reads on sectors -------------------------------------------------------------------------------

TEST_F(FileRequestTest, AReadOf100BytesAt1000Transfers1024BytesFrom512) {
  RequestHandle request = makeRead(1000, 100);
  request->ReadSectorAdjust(512);
  EXPECT_EQ(Peer::startAdjust(*request), -488);
  EXPECT_EQ(request->transferOffset(), 512u);
  EXPECT_EQ(request->transferBytes(), 1024u);
}

TEST_F(FileRequestTest, AReadOfWholeSectorsIsNotWidened) {
  RequestHandle request = makeRead(1024, 512);
  request->ReadSectorAdjust(512);
  EXPECT_EQ(Peer::startAdjust(*request), 0);
  EXPECT_EQ(Peer::lengthAdjust(*request), 0);
}

TEST_F(FileRequestTest, ASectorSizeOf0WidensNoRead) {
  RequestHandle request = makeRead(1000, 100);
  request->ReadSectorAdjust(0);
  EXPECT_EQ(request->transferOffset(), 1000u);
  EXPECT_EQ(request->transferBytes(), 100u);
}

TEST_F(FileRequestTest, AReadGrowsToTheNearestBoundariesAndNotFurther) {
  for (uint32_t sector : {1u, 512u, 4096u})
    for (uint64_t offset : {0ull, 1ull, 511ull, 512ull, 4095ull, 6000000001ull})
      for (uint32_t bytes : {1u, 511u, 512u, 513u, 8192u}) {
        RequestHandle request = makeRead(offset, bytes);
        request->ReadSectorAdjust(sector);
        uint64_t end = request->transferOffset() + request->transferBytes();
        EXPECT_EQ(request->transferOffset(), offset / sector * sector);
        EXPECT_EQ(end, (offset + bytes + sector - 1) / sector * sector)
            << offset << " + " << bytes << " on " << sector;
      }
}

// Starting ---------------------------------------------------------------------------------------

TEST_F(FileRequestTest, ARequestThatIsNotInStatus2PrintsItsAssertionOfLine231AndStarts) {
  RequestHandle request = inStatus(makeRead(0, 512), FileRequest::QUEUED);
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  EXPECT_EQ(texts_.out(), assertion("Status_ == STARTED", 231));
  EXPECT_EQ(file_.starts().size(), 1u);
}

TEST_F(FileRequestTest, TheAsyncContextIsObtainedAtTheFirstStartAndKeptForTheNext) {
  RequestHandle request = inStatus(makeRead(0, 512), FileRequest::STARTED);
  request->StartRequest(&file_);
  Qv::Ptr<iAsyncContext> context = Peer::asyncContext(*request);
  EXPECT_TRUE(context);
  request->StartRequest(&file_);
  EXPECT_EQ(Peer::asyncContext(*request), context);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateContext), 1u);
}

TEST_F(FileRequestTest, WithoutAnAsyncContextNothingIsStarted) {
  os_->faults().fail(FaultPlan::eCreateContext, eOsNoMemory);
  RequestHandle request = inStatus(makeRead(0, 512), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), eOsNoMemory);
  EXPECT_TRUE(file_.starts().empty());
}

TEST_F(FileRequestTest, AStartedReadTakesABlockOfItsWidenedLengthAndStampsItself) {
  RequestHandle request = inStatus(makeRead(1000, 100), FileRequest::STARTED);
  uint64_t clock = FileRequest::usageClock_.get();
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  ASSERT_EQ(file_.starts().size(), 1u);
  EXPECT_FALSE(file_.starts()[0].write);
  EXPECT_EQ(file_.starts()[0].offset, 512u);
  EXPECT_EQ(file_.starts()[0].bytes, 1024u);
  EXPECT_EQ(Peer::buffer(*request)->getSize(), 1024u + 512u);
  EXPECT_EQ(Peer::lastUse(*request), clock);
  EXPECT_EQ(FileRequest::usageClock_.get(), clock + 1);
}

TEST_F(FileRequestTest, AStartedReadTakesItsByteCountOffThePoolsAndAddsToTheReadFigures) {
  Fsys::BufferSpace_->AddPendingBytes(100000);
  uint64_t reads = FileRequest::GetReadCount();
  double bytes = FileRequest::GetReadBytes();
  RequestHandle aligned = inStatus(makeRead(512, 4096), FileRequest::STARTED);
  RequestHandle within = inStatus(makeRead(1000, 100), FileRequest::STARTED);
  aligned->StartRequest(&file_);
  EXPECT_EQ(FileRequest::GetReadCount(), reads + 1);
  EXPECT_EQ(FileRequest::GetReadBytes(), bytes + 4096);
  within->StartRequest(&file_);
  EXPECT_EQ(FileRequest::GetReadCount(), reads + 2);
  EXPECT_EQ(FileRequest::GetReadBytes(), bytes + 4096 + 1024) << "what is transferred";
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 100000u - 4096u - 100u);
}

TEST_F(FileRequestTest, AReadWithoutAPoolAnswers10) {
  FsysBuf* pool = std::exchange(Fsys::BufferSpace_, nullptr);
  RequestHandle request = inStatus(makeRead(0, 512), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), 10u);
  Fsys::BufferSpace_ = pool;
  EXPECT_TRUE(file_.starts().empty());
  EXPECT_TRUE(os_->memory().allocations().empty());
}

TEST_F(FileRequestTest, AReadWithoutABlockAnswers10AndCountsNothing) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  RequestHandle request = inStatus(makeRead(0, 512), FileRequest::STARTED);
  uint64_t reads = FileRequest::GetReadCount();
  uint64_t clock = FileRequest::usageClock_.get();
  EXPECT_EQ(request->StartRequest(&file_), 10u);
  EXPECT_TRUE(file_.starts().empty());
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 0u);
  EXPECT_EQ(FileRequest::GetReadCount(), reads);
  EXPECT_EQ(FileRequest::usageClock_.get(), clock);
}

TEST_F(FileRequestTest, AReadOf0BytesOnASectorAnswers1WithoutABlockOrATransfer) {
  RequestHandle request = inStatus(makeRead(1024, 0), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  EXPECT_TRUE(file_.starts().empty());
  EXPECT_TRUE(os_->memory().allocations().empty());
  EXPECT_FALSE(Peer::hasTransfer(*request));
}

TEST_F(FileRequestTest, AReadOf0BytesOnASectorNeedsNoPoolEither) {
  FsysBuf* pool = std::exchange(Fsys::BufferSpace_, nullptr);
  RequestHandle request = inStatus(makeRead(1024, 0), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  Fsys::BufferSpace_ = pool;
}

TEST_F(FileRequestTest, AStartAnswersWhatTheFileAnswered) {
  file_.answerWith(eOsIoError);
  RequestHandle read = inStatus(makeRead(0, 512), FileRequest::STARTED);
  EXPECT_EQ(read->StartRequest(&file_), eOsIoError);
  RequestHandle write =
      inStatus(makeWrite(0, 512, TestHolder::ofPattern(512)), FileRequest::STARTED);
  EXPECT_EQ(write->StartRequest(&file_), eOsIoError);
  EXPECT_EQ(file_.starts().size(), 2u);
}

TEST_F(FileRequestTest, AStartedWriteTransfersItsCallersBytesAndTakesNoBlock) {
  RequestHandle request =
      inStatus(makeWrite(1024, 1024, TestHolder::ofPattern(1024, 1024)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  ASSERT_EQ(file_.starts().size(), 1u);
  EXPECT_TRUE(file_.starts()[0].write);
  EXPECT_EQ(file_.starts()[0].offset, 1024u);
  EXPECT_EQ(whyNotPattern(file_.starts()[0].data, 1024), "");
  EXPECT_TRUE(os_->memory().allocations().empty());
  EXPECT_TRUE(texts_.out().empty());
}

// Lengths that do not fit 32 bits ----------------------------------------------------------------

TEST_F(FileRequestTest, AReadThatWidensTo4GibIsRefusedBeforeMemoryOrSystemIsAsked) {
  RequestHandle request = inStatus(makeRead(1, 0xFFFFFFFF), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), eOsInvalid);
  EXPECT_EQ(request->transferBytes(), 1ull << 32);
  EXPECT_TRUE(file_.starts().empty());
  EXPECT_TRUE(os_->memory().allocations().empty());
}

TEST_F(FileRequestTest, TheLongestReadIsTheOneWhoseBlockFits32Bits) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory, 1, FaultPlan::eFromThenOn);
  RequestHandle longest = inStatus(makeRead(0, 0xFFFFFC00), FileRequest::STARTED);
  EXPECT_EQ(longest->StartRequest(&file_), 10u);
  ASSERT_EQ(os_->memory().allocations().size(), 1u);
  EXPECT_EQ(os_->memory().allocations()[0].bytes, 0xFFFFFE00u);
  RequestHandle longer = inStatus(makeRead(0, 0xFFFFFC01), FileRequest::STARTED);
  EXPECT_EQ(longer->StartRequest(&file_), eOsInvalid);
  EXPECT_EQ(os_->memory().allocations().size(), 1u);
}

// Memory of which a block of more than 2 GiB can be had.
class SystemWithWideMemory final : public ForwardingOS {
public:
  iVirtualMemory* getVirtualMemory() override { return &memory_; }

private:
  class Memory final : public iVirtualMemory {
  public:
    void* allocate(void*, size_t, unsigned, unsigned) override { return addresses_.data(); }
    bool free(void*, size_t, unsigned) override { return true; }
    Figures figures() const override { return {}; }

  private:
    WideBuffer addresses_;
  };
  Memory memory_;
};

TEST_F(FileRequestTest, AReadOf2GibIsPendingAndOutstandingInFullAndTakenOffInFull) {
  SystemWithWideMemory system;
  ASSERT_NE(system.getVirtualMemory()->allocate(nullptr, 1, eVmReserveAndCommit, eVmReadWrite),
            nullptr);
  constexpr uint32_t k2Gib = 0x80000000;
  double figure = FileRequest::GetReadBytes();
  queueRead(&file_, 0, k2Gib);
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), k2Gib);
  EXPECT_EQ(file_.GetReadBytesOutstanding(), k2Gib);
  file_.answerWith(eOsIoError);
  EXPECT_EQ(startReads(&file_), 0u);
  ASSERT_EQ(file_.starts().size(), 1u);
  EXPECT_EQ(file_.starts()[0].bytes, k2Gib);
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 0u);
  EXPECT_EQ(file_.GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(FileRequest::GetReadBytes(), figure + k2Gib);
}

TEST_F(FileRequestTest, AReadThatWraps32BitsFailsItsCallerOnceAndTheSystemSeesNothing) {
  FsysFile* file = openToRead(4096);
  queueRead(file, 1, 0xFFFFFFFF, 7);
  size_t regions = os_->memory().allocations().size();
  EXPECT_EQ(startReads(file), 0u);
  ASSERT_EQ(recorder_->tickets(), std::vector<int>{7});
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_FALSE(recorder_->at(0).hadData);
  EXPECT_EQ(FsysGetLastError(), eOsInvalid);
  EXPECT_TRUE(os_->files().transfers().empty());
  EXPECT_EQ(os_->memory().allocations().size(), regions);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
}

TEST_F(FileRequestTest, AReadPastTheLastOffsetIsRefusedAndTheSystemSeesNothing) {
  FsysFile* file = openToRead(4096);
  for (uint64_t offset : {uint64_t{INT64_MAX} - 511, UINT64_MAX - 511}) {
    queueRead(file, offset, 512);
    EXPECT_EQ(startReads(file), 0u);
  }
  EXPECT_EQ(recorder_->count(), 2u);
  EXPECT_EQ(recorder_->at(1).status, eRequestFailed);
  EXPECT_TRUE(os_->files().transfers().empty());
}

TEST_F(FileRequestTest, AWriteLongerThanItsHolderIsRefusedAndTheSystemSeesNothing) {
  FsysFile* file = openToWrite();
  for (uint32_t bytes : {1024u, 0xFFFFFE00u}) {
    ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, bytes, 0, false, false,
                                                      TestHolder::ofPattern(1023), file,
                                                      &Recorder::told, recorder_->context())),
              1u);
    EXPECT_EQ(startWrites(file), 0u);
    EXPECT_EQ(FsysGetLastError(), eOsInvalid);
  }
  EXPECT_EQ(recorder_->count(), 2u);
  EXPECT_TRUE(os_->files().transfers().empty());
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
}

TEST_F(FileRequestTest, FromAWriteCachesHolder524288BytesAreWrittenAndNotOneMore) {
  FsysFile* file = openToWrite();
  Qv::Ptr<iMemHolder> cache(new WriteMemRef);
  auto queue = [&](uint32_t bytes) {
    ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, bytes, 0, false, false, cache, file,
                                                      &Recorder::told, recorder_->context())),
              1u);
  };
  queue(524289);
  EXPECT_EQ(startWrites(file), 0u);
  EXPECT_EQ(FsysGetLastError(), eOsInvalid);
  EXPECT_TRUE(os_->files().transfers().empty());
  queue(524288);
  EXPECT_EQ(startWrites(file), 1u);
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, 524288u);
  os_->asyncIo().finishAll();
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded);
}

}  // namespace
