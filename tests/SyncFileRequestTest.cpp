// A caller that waits for its own request.

#include "fsys/SyncFileRequest.h"

#include <gtest/gtest.h>

#include "tests/FileRequestFixture.h"

namespace {

using Peer = FileRequestPeer;

// An event that writes down how it was waited for.
class WrittenEvent final : public iThreadEvent {
public:
  void signal() override { ++signals; }
  void reset() override { ++resets; }
  bool wait(uint32_t timeout_ms) override {
    waits.push_back(timeout_ms);
    return true;
  }

  int signals = 0;
  int resets = 0;
  std::vector<uint32_t> waits;
};

class SyncFileRequestTest : public FileRequestTest {
protected:
  static void tell(Qv::Ptr<iObject> context, RequestStatus status = eRequestSucceeded) {
    Qv::Ptr<iMemHolder> nothing;
    SyncFileRequest::SynchWaiter(context, nothing, status);
  }
  FileRequest* makeSynchronousRead(FsysFile* file, uint64_t offset, uint32_t bytes,
                                   int ticket = 0) {
    return new FileRequest(true, bytes, offset, false, true, nullptr, file, &Recorder::told,
                           recorder_->ticket(ticket));
  }

  Qv::Ptr<WrittenEvent> event_{new WrittenEvent};
};

TEST_F(SyncFileRequestTest, TheWaiterIsSignalledWhateverTheOutcome) {
  Qv::Ptr<iObject> context(new SyncFileRequest(nullptr, event_));
  tell(context);
  tell(context, eRequestFailed);
  EXPECT_EQ(event_->signals, 2);
  EXPECT_EQ(event_->resets, 0);
}

TEST_F(SyncFileRequestTest, AContextOfAnotherKindSignalsNobody) {
  tell(recorder_->ticket(1));
  tell(nullptr);
  tell(event_);
  EXPECT_EQ(event_->signals, 0);
}

TEST_F(SyncFileRequestTest, WithoutAnEventNobodyIsSignalled) {
  tell(Qv::Ptr<iObject>(new SyncFileRequest(nullptr, nullptr)));
  EXPECT_EQ(event_->signals, 0);
}

TEST_F(SyncFileRequestTest, ARequestIsWaitedForWithoutATimeLimit) {
  RequestHandle request = makeRead(0, 512, 0, true);
  Peer::waiter(*request) = event_;
  request->WaitForSynchCompletion();
  EXPECT_EQ(event_->waits, std::vector<uint32_t>{iThreadEvent::kForever});
}

TEST_F(SyncFileRequestTest, AnAsynchronousRequestIsNotWaitedFor) {
  RequestHandle request = makeRead(0, 512);
  request->WaitForSynchCompletion();
  EXPECT_TRUE(event_->waits.empty());
}

TEST_F(SyncFileRequestTest, DeliverySignalsTheRequestsOwnWaiterAfterTheCallersCallback) {
  RequestHandle request = makeRead(0, 512, 1, true);
  Peer::setBuffer(*request, TestHolder::ofPattern(512));
  Peer::setBytesDone(*request, 512);
  bool signalledBefore = true;
  Qv::Ptr<iThreadEvent> waiter = Peer::waiter(*request);
  recorder_->onCall([&](const Recorder::Call&) { signalledBefore = waiter->wait(0); });
  request->setStatus(FileRequest::SUCCEEDED);
  EXPECT_EQ(request->doCallbacks(), 1u);
  EXPECT_FALSE(signalledBefore);
  EXPECT_TRUE(waiter->wait(0));
}

TEST_F(SyncFileRequestTest, AFailureSignalsTheWaiterToo) {
  RequestHandle request = makeRead(0, 512, 1, true);
  request->NotifyError(10, 0);
  EXPECT_TRUE(Peer::waiter(*request)->wait(0));
}

TEST_F(SyncFileRequestTest, QueuingASynchronousReadReturnsAfterItsCallbackRan) {
  FsysFile* file = openToRead(4096);
  EXPECT_EQ(file->QueueReadRequest(makeSynchronousRead(file, 100, 200, 1)), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 100), "");
}

TEST_F(SyncFileRequestTest, QueuingASynchronousReadThatFailsReturnsToo) {
  FsysFile* file = openToRead(4096);
  os_->faults().fail(FaultPlan::eFinishRead, eOsIoError);
  EXPECT_EQ(file->QueueReadRequest(makeSynchronousRead(file, 100, 200, 1)), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
}

// The merged request is gone by then; its waiter is not.
TEST_F(SyncFileRequestTest, AWaiterOutlivesItsRequestThatWasMergedIntoAnother) {
  RequestHandle first = inStatus(makeRead(0, 512, 1, true), FileRequest::QUEUED);
  RequestHandle second = makeRead(512, 512, 2, true);
  Qv::Ptr<iThreadEvent> waiter = Peer::waiter(*second);
  ASSERT_TRUE(first->Coalesce(second.get()));
  second.reset();
  Peer::setBuffer(*first, TestHolder::ofPattern(1024));
  Peer::setBytesDone(*first, 1024);
  first->setStatus(FileRequest::SUCCEEDED);
  EXPECT_EQ(first->doCallbacks(), 1u);
  EXPECT_TRUE(waiter->wait(0));
  EXPECT_TRUE(Peer::waiter(*first)->wait(0));
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
}

TEST_F(SyncFileRequestTest, ARequestAndItsWaiterDoNotKeepEachOther) {
  RequestHandle request = makeRead(0, 512, 1, true);
  Qv::Ptr<iObject> waiting = Peer::entries(*request)[1]->context_;
  Qv::Ptr<iThreadEvent> waiter = Peer::waiter(*request);
  request.reset();
  EXPECT_EQ(waiting->refCount(), 1);
  EXPECT_EQ(waiter->refCount(), 2) << "this, and the entry's context";
  waiting.reset();
  EXPECT_EQ(waiter->refCount(), 1);
}

}  // namespace
