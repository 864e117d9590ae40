// How a write that does not lie on sectors goes through its file's segment.

#include <gtest/gtest.h>

#include "fsys/MemBlock.h"
#include "tests/FileRequestFixture.h"

namespace {

using Peer = FileRequestPeer;

// What the segment holds before anything is put there.
constexpr unsigned char kOld = 0x5A;

// A segment of one sector.
Qv::Ptr<iMemHolder> makeSegment(uint32_t bytes = 512) {
  return Qv::Ptr<iMemHolder>(new TestHolder(std::vector<unsigned char>(bytes, kOld)));
}

std::string whyNotOld(const unsigned char* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i)
    if (bytes[i] != kOld) return "byte " + std::to_string(i) + " was changed";
  return "";
}

TEST_F(FileRequestTest, AnUnalignedWritePrintsItsDiagnostic) {
  RequestHandle request = makeWrite(1000, 100, TestHolder::ofPattern(100));
  request->WriteSectorAdjust(512, makeSegment());
  EXPECT_EQ(texts_.out(), assertion("false", 154));
}

TEST_F(FileRequestTest, AWriteIsNotAdjustedForASectorSizeOf0OrWithoutBytes) {
  RequestHandle write = makeWrite(1000, 100, TestHolder::ofPattern(100));
  EXPECT_EQ(write->WriteSectorAdjust(0, makeSegment()), 0u);
  EXPECT_EQ(Peer::lengthAdjust(*write), 0);
  RequestHandle empty = makeWrite(1000, 0, TestHolder::ofPattern(100));
  texts_.clear();
  EXPECT_EQ(empty->WriteSectorAdjust(512, makeSegment()), 0u);
  EXPECT_EQ(Peer::lengthAdjust(*empty), 0);
  EXPECT_TRUE(texts_.out().empty());
}

TEST_F(FileRequestTest, AWriteOfOneSectorOrMoreFromABoundaryIsNotAdjustedWhateverItsTail) {
  for (uint32_t bytes : {512u, 513u, 1100u}) {
    RequestHandle request = makeWrite(1024, bytes, TestHolder::ofPattern(bytes));
    EXPECT_EQ(request->WriteSectorAdjust(512, makeSegment()), 0u);
    EXPECT_EQ(Peer::startAdjust(*request), 0);
    EXPECT_EQ(Peer::lengthAdjust(*request), 0);
  }
  EXPECT_TRUE(texts_.out().empty());
}

TEST_F(FileRequestTest, AnUnalignedWriteWithoutASegmentPrintsAndGoesOutWhole) {
  RequestHandle request = makeWrite(1000, 100, TestHolder::ofPattern(100));
  EXPECT_EQ(request->WriteSectorAdjust(512, nullptr), 0u);
  Qv::Ptr<iMemHolder> withoutMemory(new TestHolder(0u));
  EXPECT_EQ(request->WriteSectorAdjust(512, withoutMemory), 0u);
  EXPECT_EQ(texts_.out().size(), 2u);
  EXPECT_EQ(request->transferOffset(), 1000u);
  EXPECT_EQ(request->transferBytes(), 100u);
}

TEST_F(FileRequestTest, AnUnalignedWriteWithoutBytesPrintsAndLeavesTheSegmentAlone) {
  Qv::Ptr<iMemHolder> segment = makeSegment();
  for (const Qv::Ptr<iMemHolder>& none : {Qv::Ptr<iMemHolder>(), TestHolder::ofPattern(0)}) {
    RequestHandle request = makeWrite(1000, 100, none);
    EXPECT_EQ(request->WriteSectorAdjust(512, segment), 0u);
    EXPECT_EQ(request->transferBytes(), 100u);
  }
  EXPECT_EQ(whyNotOld(segment->getBuffer(), 512), "");
  EXPECT_EQ(texts_.out().size(), 2u);
}

TEST_F(FileRequestTest, BytesThatLeaveTheSectorOpenArePendingUpToTheirEnd) {
  Qv::Ptr<iMemHolder> segment = makeSegment();
  RequestHandle request = makeWrite(1124, 200, TestHolder::ofPattern(200, 1124));
  EXPECT_EQ(request->WriteSectorAdjust(512, segment), 300u);
  EXPECT_EQ(whyNotOld(segment->getBuffer(), 100), "");
  EXPECT_EQ(whyNotPattern(segment->getBuffer() + 100, 200, 1124), "");
  EXPECT_EQ(whyNotOld(segment->getBuffer() + 300, 212), "");
  EXPECT_EQ(request->transferBytes(), 0u);
  EXPECT_EQ(Peer::startAdjust(*request), 200);
  EXPECT_TRUE(file_.starts().empty());
}

TEST_F(FileRequestTest, AWriteShorterThanASectorFromABoundaryIsPendingWhole) {
  Qv::Ptr<iMemHolder> segment = makeSegment();
  RequestHandle request = makeWrite(1024, 511, TestHolder::ofPattern(511, 1024));
  EXPECT_EQ(request->WriteSectorAdjust(512, segment), 511u);
  EXPECT_EQ(whyNotPattern(segment->getBuffer(), 511, 1024), "");
  EXPECT_EQ(whyNotOld(segment->getBuffer() + 511, 1), "");
  EXPECT_EQ(request->transferBytes(), 0u);
}

TEST_F(FileRequestTest, ACompletedSectorIsWrittenAtOnceAsARequestOfItsOwn) {
  Qv::Ptr<iMemHolder> segment = makeSegment();
  Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(412, 1124);
  RequestHandle request(
      new FileRequest(false, 412, 1124, true, true, data, &file_, nullptr, nullptr));
  EXPECT_EQ(request->WriteSectorAdjust(512, segment), 0u);
  ASSERT_EQ(file_.starts().size(), 1u);
  const RecordingFile::Start& sector = file_.starts()[0];
  EXPECT_TRUE(sector.write);
  EXPECT_EQ(sector.offset, 1024u);
  EXPECT_EQ(sector.bytes, 512u);
  EXPECT_TRUE(sector.deferrable);
  EXPECT_FALSE(sector.synchronous);
  EXPECT_EQ(sector.entries, 0u);
  EXPECT_EQ(sector.file, &file_);
  EXPECT_EQ(whyNotOld(sector.data.data(), 100), "");
  EXPECT_EQ(whyNotPattern(sector.data.data() + 100, 412, 1124), "");
  EXPECT_EQ(request->transferBytes(), 0u);
}

TEST_F(FileRequestTest, TheSectorThatIsSplitOffIsDeferrableOnlyIfItsWriteWas) {
  RequestHandle request = makeWrite(1124, 412, TestHolder::ofPattern(412));
  request->WriteSectorAdjust(512, makeSegment());
  ASSERT_EQ(file_.starts().size(), 1u);
  EXPECT_FALSE(file_.starts()[0].deferrable);
}

TEST_F(FileRequestTest, OneByteLessThanTheRestOfTheSectorLeavesItPending) {
  RequestHandle request = makeWrite(1124, 411, TestHolder::ofPattern(411));
  EXPECT_EQ(request->WriteSectorAdjust(512, makeSegment()), 511u);
  EXPECT_TRUE(file_.starts().empty());
}

TEST_F(FileRequestTest, HeadAndTailGoThroughTheSegmentAndWholeSectorsGoOutBetweenThem) {
  Qv::Ptr<iMemHolder> segment = makeSegment();
  RequestHandle request = makeWrite(100, 1024, TestHolder::ofPattern(1024, 100));
  EXPECT_EQ(request->WriteSectorAdjust(512, segment), 100u);
  EXPECT_EQ(Peer::startAdjust(*request), 412);
  EXPECT_EQ(Peer::lengthAdjust(*request), -512);
  EXPECT_EQ(request->transferOffset(), 512u);
  EXPECT_EQ(request->transferBytes(), 512u);
  EXPECT_EQ(whyNotPattern(segment->getBuffer(), 100, 1024), "");
  ASSERT_EQ(file_.starts().size(), 1u);
  EXPECT_EQ(whyNotPattern(file_.starts()[0].data.data() + 100, 412, 100), "");
}

TEST_F(FileRequestTest, ATailThatEndsOnABoundaryLeavesNothingPending) {
  RequestHandle request = makeWrite(100, 924, TestHolder::ofPattern(924));
  EXPECT_EQ(request->WriteSectorAdjust(512, makeSegment()), 0u);
  EXPECT_EQ(request->transferOffset(), 512u);
  EXPECT_EQ(request->transferBytes(), 512u);
}

TEST_F(FileRequestTest, AStartedWriteTellsItsFileWhatIsPendingAndTransfersTheSectorsBetween) {
  FsysFilePeer::giveSegment(file_, makeSegment(), 7);
  RequestHandle request =
      inStatus(makeWrite(100, 1024, TestHolder::ofPattern(1024, 100)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(file_), 100u);
  ASSERT_EQ(file_.starts().size(), 2u);
  EXPECT_EQ(file_.starts()[0].offset, 0u);
  EXPECT_EQ(file_.starts()[1].offset, 512u);
  EXPECT_EQ(file_.starts()[1].bytes, 512u);
  EXPECT_EQ(whyNotPattern(file_.starts()[1].data, 512), "");
}

TEST_F(FileRequestTest, AWriteThatAllWentToTheSegmentAnswers1WithoutATransfer) {
  FsysFilePeer::giveSegment(file_, makeSegment(), 0);
  RequestHandle request =
      inStatus(makeWrite(1124, 200, TestHolder::ofPattern(200)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  EXPECT_TRUE(file_.starts().empty());
  EXPECT_FALSE(Peer::hasTransfer(*request));
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(file_), 300u);
}

TEST_F(FileRequestTest, AnAlignedWriteSetsThePendingBytesBackTo0) {
  FsysFilePeer::giveSegment(file_, makeSegment(), 7);
  RequestHandle request =
      inStatus(makeWrite(1024, 512, TestHolder::ofPattern(512)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), 1u);
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(file_), 0u);
}

TEST_F(FileRequestTest, ARefusedSectorFailsItsWriteAndTheRestIsNotTransferred) {
  FsysFilePeer::giveSegment(file_, makeSegment(), 0);
  file_.answerWith(eOsIoError);
  RequestHandle request =
      inStatus(makeWrite(100, 1024, TestHolder::ofPattern(1024)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), eOsIoError);
  EXPECT_EQ(file_.starts().size(), 1u);
}

TEST_F(FileRequestTest, ACompletedSectorForWhichThereIsNoMemoryFailsItsWrite) {
  FsysFilePeer::giveSegment(file_, makeSegment(), 0);
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  RequestHandle request =
      inStatus(makeWrite(100, 1024, TestHolder::ofPattern(1024)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), eOsNoMemory);
  EXPECT_TRUE(file_.starts().empty());
}

TEST_F(FileRequestTest, AWriteLongerThanItsHolderIsRefusedBeforeAnythingIsCopiedToTheSegment) {
  Qv::Ptr<iMemHolder> segment = makeSegment();
  FsysFilePeer::giveSegment(file_, segment, 7);
  RequestHandle request =
      inStatus(makeWrite(100, 1024, TestHolder::ofPattern(1023)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), eOsInvalid);
  EXPECT_EQ(whyNotOld(segment->getBuffer(), 512), "");
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(file_), 7u);
  EXPECT_TRUE(file_.starts().empty());
}

TEST_F(FileRequestTest, ASegmentShorterThanASectorIsRefusedBeforeAnythingIsCopiedToIt) {
  Qv::Ptr<iMemHolder> segment = makeSegment(511);
  FsysFilePeer::giveSegment(file_, segment, 7);
  RequestHandle request =
      inStatus(makeWrite(100, 100, TestHolder::ofPattern(100)), FileRequest::STARTED);
  EXPECT_EQ(request->StartRequest(&file_), eOsInvalid);
  EXPECT_EQ(whyNotOld(segment->getBuffer(), 511), "");
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(file_), 7u);
  EXPECT_TRUE(file_.starts().empty());
}

// An opened file has no segment.
TEST_F(FileRequestTest, AnUnalignedWriteThatIsQueuedOnAnOpenedFileGoesOutWhole) {
  FsysFile* file = openToWrite();
  EXPECT_FALSE(FsysFilePeer::hasSegment(*file));
  ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, 100, 1000, false, false,
                                                    TestHolder::ofPattern(100, 1000), file,
                                                    &Recorder::told, recorder_->context())),
            1u);
  EXPECT_EQ(startWrites(file), 1u);
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u);
  EXPECT_EQ(os_->asyncIo().pending()[0].offset, 1000u);
  EXPECT_EQ(os_->asyncIo().pending()[0].bytes, 100u);
  os_->asyncIo().finish();
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  std::vector<unsigned char> written = os_->files().bytesOf(L"/media/w");
  ASSERT_EQ(written.size(), 1100u);
  EXPECT_EQ(whyNotZeros(written.data(), 1000), "");
  EXPECT_EQ(whyNotPattern(written.data() + 1000, 100, 1000), "");
}

// Through the file, bytes and all: the segment is filled again while its sector is in flight.
TEST_F(FileRequestTest, ASectorInFlightKeepsItsBytesWhenItsSegmentIsFilledAgain) {
  FsysFile* file = openToWrite();
  FsysFilePeer::giveSegment(*file, Qv::Ptr<iMemHolder>(new TestHolder(512u)), 0);
  ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, 1224, 100, false, false,
                                                    TestHolder::ofPattern(1224, 100), file,
                                                    &Recorder::told, recorder_->context())),
            1u);
  EXPECT_EQ(startWrites(file), 1u);
  ASSERT_EQ(os_->asyncIo().pending().size(), 2u);
  os_->asyncIo().finishAll();
  std::vector<unsigned char> written = os_->files().bytesOf(L"/media/w");
  ASSERT_EQ(written.size(), 1024u);
  EXPECT_EQ(whyNotPattern(written.data() + 100, 924, 100), "");
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
}

}  // namespace
