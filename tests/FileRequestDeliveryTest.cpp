// Who is told what when a request has finished, was too slow, failed, or went first.

#include <gtest/gtest.h>

#include "fsys/MemBlock.h"
#include "tests/FileRequestFixture.h"

namespace {

using Peer = FileRequestPeer;
using Tickets = std::vector<int>;

class FileRequestDeliveryTest : public FileRequestTest {
protected:
  // A queued read of [0, 1000) with the ranges of tickets 1, 2 and 3 at 0, 400 and 800.
  RequestHandle mergedRead() {
    RequestHandle request = inStatus(makeRead(0, 200, 1), FileRequest::QUEUED);
    for (int i = 1; i < 3; ++i) {
      RequestHandle other = makeRead(400u * i, 200, i + 1);
      EXPECT_TRUE(request->Coalesce(other.get()));
    }
    return request;
  }
  // The same with its block filled, as if `bytes` had been transferred.
  RequestHandle finishedRead(uint32_t bytes, uint32_t status = FileRequest::SUCCEEDED) {
    RequestHandle request = mergedRead();
    Peer::setBuffer(*request, TestHolder::ofPattern(1024));
    Peer::setBytesDone(*request, bytes);
    request->setStatus(status);
    return request;
  }
  std::vector<RequestStatus> statuses() const {
    std::vector<RequestStatus> all;
    for (const Recorder::Call& call : recorder_->calls()) all.push_back(call.status);
    return all;
  }
};
using Statuses = std::vector<RequestStatus>;

// Seeking the last entry that was reached --------------------------------------------------------

TEST_F(FileRequestDeliveryTest, TheLastEntryBeforeAPositionIsTheOneJustBeforeTheFirstAtOrPastIt) {
  RequestHandle request = mergedRead();
  EXPECT_EQ(request->SeekCompletionFunction(0), -1);
  EXPECT_EQ(request->SeekCompletionFunction(1), 0);
  EXPECT_EQ(request->SeekCompletionFunction(400), 0);
  EXPECT_EQ(request->SeekCompletionFunction(401), 1);
  EXPECT_EQ(request->SeekCompletionFunction(800), 1);
  EXPECT_EQ(request->SeekCompletionFunction(801), 2);
  EXPECT_EQ(request->SeekCompletionFunction(UINT64_MAX), 2);
}

TEST_F(FileRequestDeliveryTest, AnEmptyListHasNoLastEntry) {
  FileRequest request(true, 1, 0, false, false, nullptr, &file_, nullptr, nullptr);
  EXPECT_EQ(request.SeekCompletionFunction(1000), -1);
}

TEST_F(FileRequestDeliveryTest, SeekingGoesInListOrderAndStopsAtTheFirstEntryThatIsPastIt) {
  RequestHandle request = inStatus(makeRead(500, 100, 1), FileRequest::QUEUED);
  RequestHandle ahead = makeRead(0, 100, 2);
  ASSERT_TRUE(request->Coalesce(ahead.get()));
  EXPECT_EQ(request->SeekCompletionFunction(200), -1) << "the entry at 0 stands behind one at 500";
  EXPECT_EQ(request->SeekCompletionFunction(501), 1);
}

// Delivery ---------------------------------------------------------------------------------------

TEST_F(FileRequestDeliveryTest,
       ARequestThatHasNotFinishedPrintsItsAssertionOfLine515AndTellsNobody) {
  for (uint32_t status : {0u, 1u, 2u, 3u, 5u}) {
    texts_.clear();
    RequestHandle request = finishedRead(1024, status);
    EXPECT_EQ(request->doCallbacks(), 0u);
    EXPECT_EQ(texts_.out(), assertion("false", 515)) << "status " << status;
    EXPECT_EQ(Peer::entries(*request).size(), 3u);
  }
  EXPECT_EQ(recorder_->count(), 0u);
}

TEST_F(FileRequestDeliveryTest, ARequestWithoutEntriesPrintsItsAssertionOfLine521AndAnswers1) {
  for (uint32_t status : {4u, 6u}) {
    texts_.clear();
    FileRequest request(true, 1, 0, false, false, nullptr, &file_, nullptr, nullptr);
    request.setStatus(status);
    EXPECT_EQ(request.doCallbacks(), 1u);
    EXPECT_EQ(texts_.out(), assertion("false", 521));
  }
}

TEST_F(FileRequestDeliveryTest, EveryCallerOfAReadGetsItsOwnBytesInTheOrderOfMerging) {
  RequestHandle request = finishedRead(1000);
  EXPECT_EQ(request->doCallbacks(), 1u);
  ASSERT_EQ(recorder_->tickets(), (Tickets{1, 2, 3}));
  for (unsigned i = 0; i < 3; ++i) {
    Recorder::Call call = recorder_->at(i);
    EXPECT_EQ(call.status, eRequestSucceeded);
    EXPECT_EQ(call.size, 200u);
    EXPECT_EQ(whyNotPattern(call.bytes, 400u * i), "");
  }
  EXPECT_TRUE(texts_.out().empty());
}

TEST_F(FileRequestDeliveryTest, TheSliceOfAReadOf100BytesAt1000Begins488BytesIntoItsBlock) {
  FsysFile* file = openToRead(8192);
  queueRead(file, 1000, 100, 1);
  startReads(file);
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u);
  EXPECT_EQ(os_->asyncIo().pending()[0].offset, 512u);
  EXPECT_EQ(os_->asyncIo().pending()[0].bytes, 1024u);
  auto* block = static_cast<unsigned char*>(os_->asyncIo().pending()[0].buffer);
  os_->asyncIo().finish();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).address, block + 488);
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 1000), "");
}

TEST_F(FileRequestDeliveryTest, AMergedReadAcrossSectorsGivesEveryCallerItsBytes) {
  FsysFile* file = openToRead(65536);
  queueRead(file, 9001, 333, 1);
  queueRead(file, 13000, 100, 2);
  queueRead(file, 5003, 7, 3);
  startReads(file);
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u);
  os_->asyncIo().finish();
  ASSERT_EQ(recorder_->tickets(), (Tickets{1, 2, 3}));
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 9001), "");
  EXPECT_EQ(whyNotPattern(recorder_->at(1).bytes, 13000), "");
  EXPECT_EQ(whyNotPattern(recorder_->at(2).bytes, 5003), "");
  EXPECT_EQ(recorder_->at(1).size, 100u);
}

TEST_F(FileRequestDeliveryTest, AWritesCallersGetTheRequestsOwnHolder) {
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(512);
  RequestHandle request = inStatus(makeWrite(0, 512, data, 1), FileRequest::SUCCEEDED);
  Peer::setBytesDone(*request, 512);
  recorder_->keepHolders();
  EXPECT_EQ(request->doCallbacks(), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).holder, data);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
}

TEST_F(FileRequestDeliveryTest, DeliveryLetsGoOfEveryContextAndClearsTheList) {
  Qv::Ptr<iObject> context = recorder_->ticket(1);
  FileRequest request(true, 100, 0, false, false, TestHolder::ofPattern(100), &file_,
                      &Recorder::told, context);
  request.setStatus(FileRequest::SUCCEEDED);
  request.doCallbacks();
  EXPECT_EQ(context->refCount(), 1);
  EXPECT_TRUE(Peer::entries(request).empty());
}

TEST_F(FileRequestDeliveryTest, DeliveredDataStaysGoodAfterItsRequestAndItsEngineWent) {
  recorder_->keepHolders();
  FsysFile* file = openToRead(4096);
  queueRead(file, 100, 1000);
  startReads(file);
  os_->asyncIo().finish();
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  FsysUninitialize(Shutdown::eNormal);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(whyNotPattern(recorder_->at(0).holder->getBuffer(), 1000, 100), "");
  recorder_->clear();
  EXPECT_EQ(os_->memory().regions(), 0u);
}

// Part of it -------------------------------------------------------------------------------------

TEST_F(FileRequestDeliveryTest, AShortTransferSucceedsForRangesThatBeginInItAndFailsTheRest) {
  RequestHandle request = finishedRead(401);
  EXPECT_EQ(request->doCallbacks(), 1u);
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2, 3}));
  EXPECT_EQ(statuses(), (Statuses{eRequestSucceeded, eRequestSucceeded, eRequestFailed}));
  EXPECT_FALSE(recorder_->at(2).hadData);
  EXPECT_EQ(FsysGetLastError(), 0u);
}

TEST_F(FileRequestDeliveryTest, ARangeThatBeginsWhereTheTransferEndedHasFailed) {
  RequestHandle request = finishedRead(400);
  EXPECT_EQ(request->doCallbacks(), 1u);
  EXPECT_EQ(statuses(), (Statuses{eRequestSucceeded, eRequestFailed, eRequestFailed}));
}

TEST_F(FileRequestDeliveryTest, ATransferOfNothingFailsEverybodyWithError0) {
  RequestHandle request = finishedRead(0);
  EXPECT_EQ(request->doCallbacks(), 1u);
  EXPECT_EQ(statuses(), (Statuses{eRequestFailed, eRequestFailed, eRequestFailed}));
  EXPECT_EQ(FsysGetLastError(), 0u);
}

// The bytes done are counted from the offset that was asked for, also where the transfer began at
// the sector before it.
TEST_F(FileRequestDeliveryTest, WhatWasReachedIsCountedFromTheOffsetNotFromTheTransfersStart) {
  RequestHandle request = inStatus(makeRead(1000, 100, 1), FileRequest::QUEUED);
  for (int i = 0; i < 2; ++i) {
    RequestHandle other = makeRead(1500 + 200u * i, 100, 2 + i);
    ASSERT_TRUE(request->Coalesce(other.get()));
  }
  request->ReadSectorAdjust(512);
  ASSERT_EQ(Peer::startAdjust(*request), -488);
  Peer::setBuffer(*request, TestHolder::ofPattern(2048, 512));
  Peer::setBytesDone(*request, 600);
  request->setStatus(FileRequest::SUCCEEDED);
  EXPECT_EQ(request->doCallbacks(), 1u);
  EXPECT_EQ(statuses(), (Statuses{eRequestSucceeded, eRequestSucceeded, eRequestFailed}))
      << "1500 lies before 1600, though not before 1112";
  EXPECT_EQ(whyNotPattern(recorder_->at(1).bytes, 1500), "");
}

TEST_F(FileRequestDeliveryTest, AMergedReadAcrossTheEndOfAFileFailsTheCallerBeyondItWithError0) {
  FsysFile* file = openToRead(4096);
  queueRead(file, 1000, 1000, 1);
  queueRead(file, 4608, 100, 2);
  startReads(file);
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u) << "they were merged";
  OsAtomics::store(FsysError, 77u);
  os_->asyncIo().finish();
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2}));
  EXPECT_EQ(statuses(), (Statuses{eRequestSucceeded, eRequestFailed}));
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 1000), "");
  EXPECT_FALSE(recorder_->at(1).hadData);
  EXPECT_EQ(FsysGetLastError(), 0u);
}

TEST_F(FileRequestDeliveryTest, AMergedReadThatEndsShortFailsTheCallerItDidNotReach) {
  FsysFile* file = openToRead(8192);
  queueRead(file, 0, 1000, 1);
  queueRead(file, 3000, 100, 2);
  startReads(file);
  ASSERT_TRUE(os_->asyncIo().finishShort(0, 3000));
  EXPECT_EQ(statuses(), (Statuses{eRequestSucceeded, eRequestFailed}));
  EXPECT_EQ(FsysGetLastError(), 0u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
}

TEST_F(FileRequestDeliveryTest, ASuccessLeavesTheLastErrorAlone) {
  OsAtomics::store(FsysError, 77u);
  finishedRead(1000)->doCallbacks();
  EXPECT_EQ(FsysGetLastError(), 77u);
}

// Too slow ---------------------------------------------------------------------------------------

TEST_F(FileRequestTest, ATooSlowWriteIsToldAsSuccessWithoutData) {
  RequestHandle request =
      inStatus(makeWrite(0, 512, TestHolder::ofPattern(512), 1), FileRequest::TOO_SLOW);
  Peer::setBytesDone(*request, 512);
  OsAtomics::store(FsysError, 9u);
  EXPECT_EQ(request->doCallbacks(), 1u);
  EXPECT_EQ(texts_.out(), assertion("false", 537));
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_FALSE(recorder_->at(0).hadData);
  EXPECT_EQ(FsysGetLastError(), 9u);
}

TEST_F(FileRequestDeliveryTest, TheAssertionOfLine537IsPrintedForEveryCallerThatWasReached) {
  RequestHandle request = finishedRead(401, FileRequest::TOO_SLOW);
  EXPECT_EQ(request->doCallbacks(), 1u);
  EXPECT_EQ(texts_.out().size(), 2u);
  EXPECT_EQ(statuses(), (Statuses{eRequestSucceeded, eRequestSucceeded, eRequestFailed}));
  EXPECT_EQ(FsysGetLastError(), 0u);
}

// Failures ---------------------------------------------------------------------------------------

TEST_F(FileRequestDeliveryTest, AnErrorTellsEveryEntryFromTheFirstInOrderWithoutData) {
  RequestHandle request = mergedRead();
  Tickets errors;
  recorder_->onCall([&](const Recorder::Call&) {
    errors.push_back(static_cast<int>(FsysGetLastError()));
    OsAtomics::store(FsysError, 1u);
  });
  request->NotifyError(42, 0);
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2, 3}));
  EXPECT_EQ(statuses(), (Statuses{eRequestFailed, eRequestFailed, eRequestFailed}));
  EXPECT_FALSE(recorder_->at(0).hadData);
  EXPECT_EQ(errors, (Tickets{42, 42, 42})) << "set anew for each";
  EXPECT_EQ(FsysGetLastError(), 1u);
}

TEST_F(FileRequestDeliveryTest, AnErrorFromTheSecondEntryOnLeavesTheFirstToItsRequest) {
  RequestHandle request = mergedRead();
  request->NotifyError(10, 1);
  EXPECT_EQ(recorder_->tickets(), (Tickets{2, 3}));
  EXPECT_EQ(Peer::entries(*request).size(), 1u);
  EXPECT_EQ(FsysGetLastError(), 10u);
}

TEST_F(FileRequestDeliveryTest, AnErrorPastTheLastEntryTellsNobodyAndSetsNoError) {
  RequestHandle request = mergedRead();
  request->NotifyError(10, 3);
  EXPECT_EQ(recorder_->count(), 0u);
  EXPECT_EQ(FsysGetLastError(), 1u);
}

TEST_F(FileRequestDeliveryTest, AFailedTransferTellsItsCallersTheSystemsError) {
  FsysFile* file = openToRead(4096);
  queueRead(file, 0, 512, 1);
  queueRead(file, 512, 512, 2);
  startReads(file);
  ASSERT_TRUE(os_->asyncIo().fail(0, eOsIoError));
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2}));
  EXPECT_EQ(statuses(), (Statuses{eRequestFailed, eRequestFailed}));
  EXPECT_EQ(FsysGetLastError(), eOsIoError);
}

// The list's check -------------------------------------------------------------------------------

// A finished request of a buffer of 1000 bytes with entries at these positions.
bool checkWith(FsysFile* file, const std::vector<uint32_t>& positions) {
  FileRequest request(true, 1, 0, false, false, TestHolder::ofPattern(1000), file, nullptr,
                      nullptr);
  for (uint32_t position : positions) {
    CompletionInfo entry(&Recorder::told, nullptr, 0, 1);
    entry.bufferPosition_ = position;
    Peer::addEntry(request, entry);
  }
  return request.CheckCompletionList();
}

TEST_F(FileRequestDeliveryTest, AListIsGoodWhenAnEntryAt0ComesBeforeAnyThatExceedsTheBuffer) {
  EXPECT_TRUE(checkWith(&file_, {0}));
  EXPECT_TRUE(checkWith(&file_, {500, 0}));
  EXPECT_TRUE(checkWith(&file_, {1000, 0})) << "1000 does not exceed it";
  EXPECT_TRUE(checkWith(&file_, {0, 1001}));
  EXPECT_FALSE(checkWith(&file_, {1001, 0}));
  EXPECT_FALSE(checkWith(&file_, {500, 1000}));
  EXPECT_FALSE(checkWith(&file_, {}));
}

TEST_F(FileRequestDeliveryTest, AListWithoutABufferIsGoodWhenItsFirstEntryIsAt0) {
  FileRequest request(true, 1, 0, false, false, nullptr, &file_, &Recorder::told,
                      recorder_->context());
  EXPECT_TRUE(request.CheckCompletionList());
  Peer::entries(request)[0]->bufferPosition_ = 1;
  EXPECT_FALSE(request.CheckCompletionList());
}

TEST_F(FileRequestDeliveryTest, ARequestOfNoFileTellsItsCallersToo) {
  FileRequest request(true, 1, 0, false, false, nullptr, nullptr, &Recorder::told,
                      recorder_->ticket(7));
  request.NotifyError(eOsIoError, 0);
  ASSERT_EQ(recorder_->tickets(), Tickets{7});
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
}

// Merging into a started request while it completes ----------------------------------------------

TEST_F(FileRequestDeliveryTest, AReadMergedIntoATransferInFlightIsToldWhenItEnds) {
  FsysFile* file = openToRead(65536);
  queueRead(file, 4096, 8192, 1);
  startReads(file);
  queueRead(file, 5000, 100, 2);
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 1u);
  os_->asyncIo().finish();
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2}));
  EXPECT_EQ(whyNotPattern(recorder_->at(1).bytes, 5000), "");
  EXPECT_EQ(recorder_->at(1).size, 100u);
}

// Whatever a callback queues while its request is being told is neither lost nor told twice.
TEST_F(FileRequestDeliveryTest, AReadQueuedByACallbackInsideItsOwnRangeIsToldOnceOfItsOwn) {
  FsysFile* file = openToRead(65536);
  queueRead(file, 4096, 8192, 1);
  queueRead(file, 4096, 100, 2);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 1) queueRead(file, 5000, 100, 3);
  });
  startReads(file);
  os_->asyncIo().finish();
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2}));
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 2u) << "it is a request of its own";
  startReads(file);
  os_->asyncIo().finishAll();
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2, 3}));
  EXPECT_EQ(whyNotPattern(recorder_->at(2).bytes, 5000), "");
}

TEST_F(FileRequestDeliveryTest, AReadQueuedByTheCallbackOfAFailureIsNotLostInTheFailedRequest) {
  FsysFile* file = openToRead(65536);
  queueRead(file, 4096, 8192, 1);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 1) queueRead(file, 5000, 100, 2);
  });
  startReads(file);
  ASSERT_TRUE(os_->asyncIo().fail(0, eOsIoError));
  startReads(file);
  os_->asyncIo().finishAll();
  ASSERT_EQ(recorder_->tickets(), (Tickets{1, 2}));
  EXPECT_EQ(statuses(), (Statuses{eRequestFailed, eRequestSucceeded}));
  EXPECT_EQ(whyNotPattern(recorder_->at(1).bytes, 5000), "");
}

TEST_F(FileRequestDeliveryTest, AReadQueuedByTheCallbackOfAFailedStartIsNotLost) {
  FsysFile* file = openToRead(65536);
  queueRead(file, 4096, 8192, 1);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 1) queueRead(file, 5000, 100, 2);
  });
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  EXPECT_EQ(startReads(file), 0u);
  EXPECT_EQ(startReads(file), 1u);
  os_->asyncIo().finishAll();
  EXPECT_EQ(recorder_->tickets(), (Tickets{1, 2}));
  EXPECT_EQ(statuses(), (Statuses{eRequestFailed, eRequestSucceeded}));
}

TEST_F(FileRequestDeliveryTest, OnceDeliveredARequestTakesNobodyWhateverItsStatusSays) {
  RequestHandle request = finishedRead(1000);
  request->doCallbacks();
  request->setStatus(FileRequest::STARTED);
  RequestHandle inside = makeRead(100, 10, 4);
  EXPECT_FALSE(request->Coalesce(inside.get()));
  EXPECT_TRUE(Peer::entries(*request).empty());
}

// Requests that go before their completion -------------------------------------------------------

TEST_F(FileRequestDeliveryTest, AfterItsEndAFinishedReadIsKeptInStatus3) {
  FsysFile* file = openToRead(4096);
  queueRead(file, 0, 512);
  startReads(file);
  uint32_t whileTold = 0;
  recorder_->onCall(
      [&](const Recorder::Call&) { whileTold = FsysFilePeer::readRequests(*file)[0]->status(); });
  EXPECT_EQ(FsysFilePeer::readRequests(*file)[0]->status(), 2u);
  os_->asyncIo().finish();
  EXPECT_EQ(whileTold, 4u);
  ASSERT_EQ(FsysFilePeer::readRequests(*file).size(), 1u);
  EXPECT_EQ(FsysFilePeer::readRequests(*file)[0]->status(), 3u);
}

TEST_F(FileRequestDeliveryTest, ARequestDestroyedUnderItsTransferIsNeverToldOfAndItsBlockLivesOn) {
  FsysFile* file = openToRead(4096);
  queueRead(file, 0, 4096, 1);
  startReads(file);
  FsysFile::RequestList& requests = FsysFilePeer::readRequests(*file);
  FileRequest* request = requests[0];
  requests.removeIdx(0);
  request->abandon();
  EXPECT_EQ(os_->memory().regions(), 1u) << "the system may still write there";
  os_->asyncIo().finish();
  EXPECT_EQ(os_->asyncIo().lateDropped(), 1u);
  EXPECT_EQ(os_->memory().regions(), 0u);
  EXPECT_EQ(recorder_->count(), 0u);
}

TEST_F(FileRequestDeliveryTest, AnAbandonedWritesDataLivesUntilTheSystemLetsGo) {
  FsysFile* file = openToWrite();
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(512);
  file->QueueWriteRequest(new FileRequest(false, 512, 0, false, false, data, file, &Recorder::told,
                                          recorder_->context()));
  startWrites(file);
  FsysFile::RequestList& requests = FsysFilePeer::writeRequests(*file);
  FileRequest* request = requests[0];
  requests.removeIdx(0);
  FsysFilePeer::addWriteBytes(*file, -512);
  request->abandon();
  EXPECT_EQ(data->refCount(), 2);
  os_->asyncIo().finish();
  EXPECT_EQ(data->refCount(), 1);
  EXPECT_EQ(os_->asyncIo().lateDropped(), 1u);
  EXPECT_EQ(whyNotPattern(os_->files().bytesOf(L"/media/w")), "");
}

TEST_F(FileRequestDeliveryTest, ACallbackMayDropItsOwnRequestFromTheList) {
  FsysFile* file = openToRead(4096);
  queueRead(file, 0, 512, 1);
  startReads(file);
  recorder_->onCall([&](const Recorder::Call&) {
    FsysFile::RequestList& requests = FsysFilePeer::readRequests(*file);
    FileRequest* request = requests[0];
    requests.removeIdx(0);
    request->abandon();
  });
  os_->asyncIo().finish();
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(os_->memory().regions(), 0u);
}

}  // namespace
