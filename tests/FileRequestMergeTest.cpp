// Which requests are merged, and what the merged one then stands for.

#include <gtest/gtest.h>

#include "tests/FileRequestFixture.h"

namespace {

using Peer = FileRequestPeer;

class FileRequestMergeTest : public FileRequestTest {
protected:
  RequestHandle queuedRead(uint64_t offset, uint32_t bytes, int ticket = 0,
                           bool synchronous = false) {
    return inStatus(makeRead(offset, bytes, ticket, synchronous), FileRequest::QUEUED);
  }
  // Writes of pieces of one buffer: what abuts in the file abuts in memory.
  RequestHandle queuedWrite(uint32_t offset, uint32_t bytes, int ticket = 0) {
    return inStatus(makeWrite(offset, bytes, piece(offset, bytes), ticket), FileRequest::QUEUED);
  }
  Qv::Ptr<iMemHolder> piece(uint32_t offset, uint32_t bytes) {
    return Qv::Ptr<iMemHolder>(new MemRef(bytes_, offset, bytes));
  }

  Qv::Ptr<iMemHolder> bytes_ = TestHolder::ofPattern(65536);
};

// A way to say where a request lies.
std::string range(const FileRequest& request) {
  return std::to_string(Peer::offset(request)) + "+" + std::to_string(Peer::byteCount(request));
}

// The entries' buffer positions, in order.
std::vector<uint32_t> positions(const FileRequest& request) {
  std::vector<uint32_t> all;
  for (const CompletionInfo* entry : Peer::entries(request)) all.push_back(entry->bufferPosition_);
  return all;
}
using Positions = std::vector<uint32_t>;

// Which ranges run into which --------------------------------------------------------------------

TEST_F(FileRequestMergeTest, TheGapIs4096Bytes) { EXPECT_EQ(FileRequest::CoalesceGap_, 4096u); }

TEST_F(FileRequestMergeTest, QueuedReadsMergeAcrossAGapOf4096BytesAndNotOneMore) {
  RequestHandle first = queuedRead(0, 4096);
  RequestHandle second = makeRead(8193, 4096);
  EXPECT_FALSE(first->Coalesce(second.get()));
  EXPECT_EQ(range(*first), "0+4096");
  second = makeRead(8192, 4096);
  EXPECT_TRUE(first->Coalesce(second.get()));
  EXPECT_EQ(range(*first), "0+12288");
}

TEST_F(FileRequestMergeTest, TheGapThatIsReadThroughIsTheExportedOne) {
  FileRequest::CoalesceGap_ = 0;
  RequestHandle first = queuedRead(0, 100);
  RequestHandle second = makeRead(101, 100);
  EXPECT_FALSE(first->Coalesce(second.get()));
  FileRequest::CoalesceGap_ = 1;
  EXPECT_TRUE(first->Coalesce(second.get()));
  FileRequest::CoalesceGap_ = 4096;
}

TEST_F(FileRequestMergeTest, AReadRunsIntoOneThatBeginsWithItAndNotIntoAnEarlierOne) {
  RequestHandle early = makeRead(999, 10);
  RequestHandle late = makeRead(1000, 10);
  RequestHandle same = makeRead(1000, 5000);
  EXPECT_TRUE(FileRequest::runs_into(late.get(), same.get()));
  EXPECT_TRUE(FileRequest::runs_into(early.get(), late.get()));
  EXPECT_FALSE(FileRequest::runs_into(late.get(), early.get()));
}

TEST_F(FileRequestMergeTest, RangesNearTheLastOffsetDoNotWrapIntoTheFirst) {
  RequestHandle last = queuedRead(UINT64_MAX - 10, 5);
  RequestHandle first = makeRead(0, 5);
  EXPECT_FALSE(last->Coalesce(first.get()));
  EXPECT_FALSE(last->encompasses(first.get()));
  RequestHandle beside = makeRead(UINT64_MAX - 8, 3);
  EXPECT_TRUE(last->encompasses(beside.get()));
  RequestHandle wrapping = makeRead(UINT64_MAX - 8, 100);
  EXPECT_FALSE(last->encompasses(wrapping.get()));
}

TEST_F(FileRequestMergeTest, ARequestEncompassesWhatLiesWithinBothItsEndsAndNotOneByteMore) {
  RequestHandle outer = makeRead(1000, 100);
  struct Case {
    uint64_t offset;
    uint32_t bytes;
    bool inside;
  };
  for (const Case& c : {Case{1000, 100, true}, Case{1001, 99, true}, Case{1000, 0, true},
                        Case{1100, 0, true}, Case{999, 50, false}, Case{1001, 100, false},
                        Case{1000, 101, false}, Case{1101, 0, false}}) {
    RequestHandle inner = makeRead(c.offset, c.bytes);
    EXPECT_EQ(outer->encompasses(inner.get()), c.inside) << c.offset << "+" << c.bytes;
  }
}

TEST_F(FileRequestMergeTest, TheFurthestLengthIsThatOfWhicheverEndsLater) {
  RequestHandle first = makeRead(1000, 100);
  RequestHandle inside = makeRead(1010, 10);
  RequestHandle beyond = makeRead(1050, 100);
  EXPECT_EQ(FileRequest::FurthestLength(first.get(), inside.get()), 100u);
  EXPECT_EQ(FileRequest::FurthestLength(first.get(), beyond.get()), 150u);
}

// Whether they may merge -------------------------------------------------------------------------

TEST_F(FileRequestMergeTest, AReadAndAWriteNeverMerge) {
  RequestHandle read = queuedRead(0, 512);
  RequestHandle write = queuedWrite(0, 512);
  EXPECT_FALSE(read->Coalesce(write.get()));
  EXPECT_FALSE(write->Coalesce(read.get()));
}

TEST_F(FileRequestMergeTest, SynchronousAndAsynchronousNeverMergeAndTwoSynchronousDo) {
  RequestHandle synchronous = queuedRead(0, 512, 1, true);
  RequestHandle asynchronous = queuedRead(512, 512, 2);
  EXPECT_FALSE(synchronous->Coalesce(asynchronous.get()));
  EXPECT_FALSE(asynchronous->Coalesce(synchronous.get()));
  RequestHandle other = makeRead(512, 512, 3, true);
  EXPECT_TRUE(synchronous->Coalesce(other.get()));
  EXPECT_EQ(Peer::entries(*synchronous).size(), 4u);
}

TEST_F(FileRequestMergeTest, OnlyRequestsInStatus1And2TakeOthers) {
  for (uint32_t status : {0u, 3u, 4u, 5u, 6u}) {
    RequestHandle request = inStatus(makeRead(0, 4096), status);
    RequestHandle inside = makeRead(1024, 512);
    EXPECT_FALSE(request->Coalesce(inside.get())) << "status " << status;
  }
}

TEST_F(FileRequestMergeTest, AStartedRequestTakesOnlyWhatItEncompasses) {
  RequestHandle started = inStatus(makeRead(1024, 1024), FileRequest::STARTED);
  RequestHandle before = makeRead(1023, 10);
  RequestHandle behind = makeRead(2048, 1);
  RequestHandle inside = makeRead(1024, 1024);
  EXPECT_FALSE(started->Coalesce(before.get()));
  EXPECT_FALSE(started->Coalesce(behind.get()));
  EXPECT_TRUE(started->Coalesce(inside.get()));
  EXPECT_EQ(range(*started), "1024+1024");
}

TEST_F(FileRequestMergeTest, AStartedRequestTakesWhatItEncompassesWhateverTheCoalesceLength) {
  RecordingFile narrow(512, 1);
  FileRequest started(true, 4096, 0, false, false, nullptr, &narrow, nullptr, nullptr);
  started.setStatus(FileRequest::STARTED);
  FileRequest inside(true, 4096, 0, false, false, nullptr, &narrow, nullptr, nullptr);
  EXPECT_TRUE(started.Coalesce(&inside));
}

TEST_F(FileRequestMergeTest, ByteCountsTogetherMayReachTheCoalesceLengthAndNotExceedIt) {
  RecordingFile file(512, 1000);
  FileRequest first(true, 500, 0, false, false, nullptr, &file, nullptr, nullptr);
  first.setStatus(FileRequest::QUEUED);
  FileRequest tooLong(true, 501, 500, false, false, nullptr, &file, nullptr, nullptr);
  EXPECT_FALSE(first.Coalesce(&tooLong));
  // The gap between them is not counted.
  FileRequest fits(true, 500, 2000, false, false, nullptr, &file, nullptr, nullptr);
  EXPECT_TRUE(first.Coalesce(&fits));
  EXPECT_EQ(range(first), "0+2500");
}

TEST_F(FileRequestMergeTest, BeyondTheCoalesceLengthOnlyARangeInsideTheOldOneMerges) {
  RecordingFile file(512, 1000);
  FileRequest first(true, 800, 100, false, false, nullptr, &file, nullptr, nullptr);
  first.setStatus(FileRequest::QUEUED);
  FileRequest outside(true, 800, 101, false, false, nullptr, &file, nullptr, nullptr);
  FileRequest around(true, 900, 100, false, false, nullptr, &file, nullptr, nullptr);
  FileRequest inside(true, 800, 100, false, false, nullptr, &file, nullptr, nullptr);
  EXPECT_FALSE(first.Coalesce(&outside));
  EXPECT_FALSE(first.Coalesce(&around));
  EXPECT_TRUE(first.Coalesce(&inside));
}

TEST_F(FileRequestMergeTest, TheCoalesceLengthIsTheOneThatWasSetLast) {
  FsysFile* file = openToRead(65536, 512);
  queueRead(file, 0, 512);
  queueRead(file, 512, 512);
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 2u);
  EXPECT_EQ(FsysSetCoalesceLength(file, 1024), 1u);
  queueRead(file, 1024, 512);
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 2u);
}

TEST_F(FileRequestMergeTest, ByteCountsThatWrap32BitsTogetherDoNotSlipUnderTheCoalesceLength) {
  RequestHandle first = queuedRead(0, 0x80000000);
  RequestHandle second = makeRead(0x1000, 0x80000000);
  EXPECT_FALSE(first->Coalesce(second.get()));
  EXPECT_EQ(range(*first), "0+2147483648");
}

TEST_F(FileRequestMergeTest, AMergedReadForWhichNoBlockCanBeHadIsRefused) {
  RecordingFile file(512, UINT32_MAX);
  FileRequest first(true, 0x80000000, 0, false, false, nullptr, &file, nullptr, nullptr);
  first.setStatus(FileRequest::QUEUED);
  FileRequest second(true, 0x7FFFF001, 0x80001000, false, false, nullptr, &file, nullptr, nullptr);
  EXPECT_FALSE(first.Coalesce(&second)) << "2^32 + 1 bytes";
  FileRequest widened(true, 0x7FFFEC01, 0x80001000, false, false, nullptr, &file, nullptr, nullptr);
  EXPECT_FALSE(first.Coalesce(&widened)) << "2^32 - 512 bytes in whole sectors";
  FileRequest fits(true, 0x7FFFEC00, 0x80001000, false, false, nullptr, &file, nullptr, nullptr);
  EXPECT_TRUE(first.Coalesce(&fits)) << "2^32 - 1024 bytes";
  EXPECT_EQ(range(first), "0+4294966272");
}

// Where the entries lie --------------------------------------------------------------------------

TEST_F(FileRequestMergeTest, ALaterRangeIsAppendedAtItsDistanceAndTheOffsetStays) {
  RequestHandle first = queuedRead(1000, 100);
  RequestHandle second = makeRead(3000, 100);
  EXPECT_TRUE(first->Coalesce(second.get()));
  EXPECT_EQ(range(*first), "1000+2100");
  EXPECT_EQ(positions(*first), (Positions{0, 2000}));
}

TEST_F(FileRequestMergeTest, AnEarlierRangeMovesTheEntriesThatWereThereUp) {
  RequestHandle first = queuedRead(3000, 100);
  RequestHandle behind = makeRead(3200, 100);
  RequestHandle ahead = makeRead(1000, 100);
  EXPECT_TRUE(first->Coalesce(behind.get()));
  EXPECT_TRUE(first->Coalesce(ahead.get()));
  EXPECT_EQ(range(*first), "1000+2300");
  EXPECT_EQ(positions(*first), (Positions{2000, 2200, 0}));
}

TEST_F(FileRequestMergeTest, ARangeAroundTheOldOneTakesItsPlace) {
  RequestHandle first = queuedRead(3000, 100);
  RequestHandle around = makeRead(2000, 5000);
  EXPECT_TRUE(first->Coalesce(around.get()));
  EXPECT_EQ(range(*first), "2000+5000");
  EXPECT_EQ(positions(*first), (Positions{1000, 0}));
}

TEST_F(FileRequestMergeTest, EntriesOfAMergedRequestKeepTheirPlacesAmongThemselves) {
  RequestHandle inner = queuedRead(2000, 100);
  RequestHandle beside = makeRead(2500, 100);
  ASSERT_TRUE(inner->Coalesce(beside.get()));
  RequestHandle outer = queuedRead(1000, 100);
  EXPECT_TRUE(outer->Coalesce(inner.get()));
  EXPECT_EQ(positions(*outer), (Positions{0, 1000, 1500}));
}

TEST_F(FileRequestMergeTest, EntriesAreCopiedInOrderAndTheOtherKeepsItsOwn) {
  RequestHandle first = queuedRead(0, 100, 1);
  RequestHandle second = makeRead(50, 100, 2);
  Qv::Ptr<iObject> context = Peer::entries(*second)[0]->context_;
  EXPECT_TRUE(first->Coalesce(second.get()));
  ASSERT_EQ(Peer::entries(*first).size(), 2u);
  ASSERT_EQ(Peer::entries(*second).size(), 1u);
  const CompletionInfo& copy = *Peer::entries(*first)[1];
  EXPECT_NE(&copy, Peer::entries(*second)[0]);
  EXPECT_EQ(copy.callback_, &Recorder::told);
  EXPECT_EQ(copy.context_, context);
  EXPECT_EQ(copy.offset_, 50u);
  EXPECT_EQ(copy.length_, 100u);
  EXPECT_EQ(context->refCount(), 3) << "this, the entry, its copy";
  second.reset();
  EXPECT_EQ(context->refCount(), 2);
}

TEST_F(FileRequestMergeTest, WhatDoesNotMergeChangesNothing) {
  RequestHandle first = queuedRead(0, 100);
  RequestHandle far = makeRead(100000, 100);
  uint64_t merges = FileRequest::GetMergeCount();
  EXPECT_FALSE(first->Coalesce(far.get()));
  EXPECT_EQ(Peer::entries(*first).size(), 1u);
  EXPECT_EQ(FileRequest::GetMergeCount(), merges);
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 0u);
  EXPECT_EQ(file_.GetReadBytesOutstanding(), 0u);
}

// Counters ---------------------------------------------------------------------------------------

TEST_F(FileRequestMergeTest, AMergedReadsGrowthIsAddedToThePoolTheFileAndTheMergeCount) {
  RequestHandle first = queuedRead(1000, 100);
  RequestHandle ahead = makeRead(0, 10);
  uint64_t merges = FileRequest::GetMergeCount();
  EXPECT_TRUE(first->Coalesce(ahead.get()));
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 1000u);
  EXPECT_EQ(file_.GetReadBytesOutstanding(), 1000u);
  EXPECT_EQ(file_.GetWriteBytesOutstanding(), 0u);
  EXPECT_EQ(FileRequest::GetMergeCount(), merges + 1);
  RequestHandle inside = makeRead(500, 10);
  EXPECT_TRUE(first->Coalesce(inside.get()));
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 1000u);
  EXPECT_EQ(FileRequest::GetMergeCount(), merges + 2);
}

TEST_F(FileRequestMergeTest, AMergedWritesGrowthIsAddedToTheFilesAndTheEnginesWriteBytes) {
  RequestHandle first = queuedWrite(0, 512);
  RequestHandle second = queuedWrite(512, 1024);
  EXPECT_TRUE(first->Coalesce(second.get()));
  unsigned bytes = 0;
  EXPECT_EQ(FsysGetWriteBytesOutstanding(&bytes), 1u);
  EXPECT_EQ(bytes, 1024u);
  EXPECT_EQ(file_.GetWriteBytesOutstanding(), 1024u);
  EXPECT_EQ(file_.GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 1024u);
  FsysFilePeer::addWriteBytes(file_, -1024);
}

TEST_F(FileRequestMergeTest, RequestsMergeWithoutAPool) {
  FsysBuf* pool = std::exchange(Fsys::BufferSpace_, nullptr);
  RequestHandle first = queuedRead(0, 100);
  RequestHandle second = makeRead(100, 100);
  EXPECT_TRUE(first->Coalesce(second.get()));
  EXPECT_EQ(file_.GetReadBytesOutstanding(), 100u);
  Fsys::BufferSpace_ = pool;
}

// Writes -----------------------------------------------------------------------------------------

TEST_F(FileRequestMergeTest, WritesThatAbutInTheFileAndInMemoryMergeInEitherOrder) {
  RequestHandle first = queuedWrite(512, 512);
  RequestHandle behind = queuedWrite(1024, 512);
  RequestHandle ahead = queuedWrite(0, 512);
  EXPECT_TRUE(first->Coalesce(behind.get()));
  EXPECT_TRUE(first->Coalesce(ahead.get()));
  EXPECT_EQ(range(*first), "0+1536");
  EXPECT_EQ(positions(*first), (Positions{512, 1024, 0}));
  first->setStatus(FileRequest::STARTED);
  behind.reset();
  ahead.reset();
  EXPECT_EQ(first->StartRequest(&file_), 1u);
  ASSERT_EQ(file_.starts().size(), 1u);
  EXPECT_EQ(whyNotPattern(file_.starts()[0].data, 0), "");
}

TEST_F(FileRequestMergeTest, WritesDoNotMergeAcrossAGapOfOneByteNorWhenTheyOverlap) {
  RequestHandle first = queuedWrite(0, 512);
  // In memory both begin where the first ends.
  RequestHandle behindAGap = makeWrite(513, 512, piece(512, 512));
  RequestHandle overlapping = makeWrite(511, 512, piece(512, 512));
  EXPECT_FALSE(first->Coalesce(behindAGap.get()));
  EXPECT_FALSE(first->Coalesce(overlapping.get()));
}

TEST_F(FileRequestMergeTest, WritesThatAbutOnlyInTheFileDoNotMerge) {
  RequestHandle first = queuedWrite(0, 512);
  RequestHandle second = makeWrite(512, 512, piece(513, 512));
  EXPECT_FALSE(first->Coalesce(second.get()));
}

TEST_F(FileRequestMergeTest, WritesThatAbutOnlyInMemoryDoNotMerge) {
  RequestHandle first = queuedWrite(0, 512);
  RequestHandle second = makeWrite(1024, 512, piece(512, 512));
  EXPECT_FALSE(first->Coalesce(second.get()));
}

TEST_F(FileRequestMergeTest, AWriteWithoutAHolderOrMemoryDoesNotMerge) {
  RequestHandle first = queuedWrite(0, 512);
  RequestHandle without = makeWrite(512, 512, nullptr);
  EXPECT_FALSE(first->Coalesce(without.get()));
  without->setStatus(FileRequest::QUEUED);
  RequestHandle behind = makeWrite(1024, 512, piece(1024, 512));
  EXPECT_FALSE(without->Coalesce(behind.get()));
}

TEST_F(FileRequestMergeTest, AWriteLongerThanItsHolderDoesNotMerge) {
  RequestHandle first = queuedWrite(0, 512);
  RequestHandle second = makeWrite(512, 1024, piece(512, 512));
  EXPECT_FALSE(first->Coalesce(second.get()));
  RequestHandle tooLong = inStatus(makeWrite(0, 512, piece(0, 256)), FileRequest::QUEUED);
  RequestHandle behind = queuedWrite(512, 512);
  EXPECT_FALSE(tooLong->Coalesce(behind.get()));
}

TEST_F(FileRequestMergeTest, MergedWritesKeepEveryHolderUntilTheyAreDone) {
  Qv::Ptr<iMemHolder> second = piece(512, 512);
  RequestHandle first = queuedWrite(0, 512);
  RequestHandle merged = makeWrite(512, 512, second);
  EXPECT_TRUE(first->Coalesce(merged.get()));
  merged.reset();
  EXPECT_EQ(second->refCount(), 2);
  first.reset();
  EXPECT_EQ(second->refCount(), 1);
}

TEST_F(FileRequestMergeTest, AWriteThatWasMergedIntoBringsItsHoldersAlong) {
  Qv::Ptr<iMemHolder> last = piece(1024, 512);
  RequestHandle first = queuedWrite(0, 512, 1);
  RequestHandle second = queuedWrite(512, 512, 2);
  RequestHandle third = makeWrite(1024, 512, last, 3);
  EXPECT_TRUE(second->Coalesce(third.get()));
  EXPECT_TRUE(first->Coalesce(second.get()));
  third.reset();
  second.reset();
  EXPECT_EQ(range(*first), "0+1536");
  EXPECT_EQ(positions(*first), (Positions{0, 512, 1024}));
  EXPECT_EQ(last->refCount(), 2) << "the first one holds it now";
  first.reset();
  EXPECT_EQ(last->refCount(), 1);
}

TEST_F(FileRequestMergeTest, AWriteWithoutMemoryEndsNowhereSoThatNoneAbutsIt) {
  RequestHandle none = inStatus(makeWrite(0, 512, TestHolder::ofPattern(0)), FileRequest::QUEUED);
  RequestHandle behind = queuedWrite(512, 512);
  EXPECT_FALSE(FileRequest::runs_into(none.get(), behind.get()));
  EXPECT_FALSE(none->Coalesce(behind.get()));
}

}  // namespace
