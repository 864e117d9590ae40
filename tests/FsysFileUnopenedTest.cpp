// A file whose system file could not be opened, or has gone: every transfer is refused.

#include "tests/FileRequestPeer.h"
#include "tests/FsysFileFixture.h"

namespace {

class FsysFileUnopenedTest : public FsysFileFixture {
protected:
  FsysFile file_{LightweightString<wchar_t>(L"/never"), nullptr, 512, iDiskDrive::eFixed, 3, 0};
  unsigned char bytes_[512] = {};
};

TEST_F(FsysFileUnopenedTest, TransfersAtThePositionAreInvalid) {
  FsysError = 1;
  EXPECT_EQ(file_.Read(bytes_, 512), uint32_t{eOsInvalid});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsInvalid});
  FsysError = 1;
  EXPECT_EQ(file_.Write(bytes_, 512), uint32_t{eOsInvalid});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsInvalid});
  EXPECT_EQ(file_.GetPosition(), 0u);
}

TEST_F(FsysFileUnopenedTest, ATransferOfNothingAsksForNoFile) {
  EXPECT_EQ(file_.Read(bytes_, 0), 1u);
  EXPECT_EQ(file_.Write(bytes_, 0), 1u);
}

TEST_F(FsysFileUnopenedTest, NoTransferStarts) {
  RequestHandle reading(readRequest(&file_, 0, 512));
  RequestHandle writing(writeRequest(&file_, 0, 512));
  EXPECT_EQ(file_.LowLevelAsyncRead(reading.get()), uint32_t{eOsInvalid});
  EXPECT_EQ(file_.LowLevelAsyncWrite(writing.get()), uint32_t{eOsInvalid});
  EXPECT_EQ(file_.GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(file_.GetWriteBytesOutstanding(), 0u);
}

TEST_F(FsysFileUnopenedTest, NothingIsKnownOfItAndNobodyHearsOfItsTransfers) {
  FILE_INFO info = {};
  EXPECT_EQ(file_.LowLevelGetInfo(&info), uint32_t{eOsInvalid});
  EXPECT_EQ(file_.SetUpIoCompletionNotify(nullptr), uint32_t{eOsInvalid});
  EXPECT_FALSE(file_.isASyncIOSupported());
}

TEST_F(FsysFileUnopenedTest, AnOpenFileRefusesATransferWithoutMemoryAndAHandlerThatIsNone) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(file->Write(nullptr, 512), uint32_t{eOsInvalid});
  EXPECT_EQ(file->SetUpIoCompletionNotify(nullptr), uint32_t{eOsInvalid});
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

// A holder that says how long it is, and has no memory.
class HollowHolder final : public iMemHolder {
public:
  explicit HollowHolder(unsigned size, unsigned char* bytes = nullptr)
      : size_(size), bytes_(bytes) {}
  unsigned char* getBuffer() const override { return bytes_; }
  unsigned getSize() const override { return size_; }
  unsigned getUsed() const override { return 0; }
  bool setUsed(unsigned) override { return false; }

private:
  const unsigned size_;
  unsigned char* const bytes_;
};

TEST_F(FsysFileUnopenedTest, ATransferWithoutRoomForItsBytesIsInvalid) {
  const Qv::Ptr<iMemHolder> none, hollow(new HollowHolder(512)), small(new TestHolder(511));
  FsysFile* reading = readPatternFile(L"/m/r", 4096);
  FsysFile* writing = openForWriting(L"/m/w");
  for (const Qv::Ptr<iMemHolder>& holder : {none, hollow, small}) {
    RequestHandle read(readRequest(reading, 0, 512));
    FileRequestPeer::setBuffer(*read, holder);
    EXPECT_EQ(reading->LowLevelAsyncRead(read.get()), uint32_t{eOsInvalid});
    RequestHandle write(writeRequest(writing, 0, 512));
    FileRequestPeer::setBuffer(*write, holder);
    EXPECT_EQ(writing->LowLevelAsyncWrite(write.get()), uint32_t{eOsInvalid});
  }
  EXPECT_EQ(FsysPeer::readBytes(*theFsys) + FsysPeer::writeBytes(*theFsys), 0u);
  EXPECT_EQ(reading->Read(nullptr, 512), uint32_t{eOsInvalid});
  EXPECT_EQ(reading->GetPosition(), 0u);
}

TEST_F(FsysFileUnopenedTest, MoreBytesThanAnyCacheTakesAreRefusedUntouched) {
  FsysFile* file = openForWriting(L"/m/a");
  ASSERT_EQ(write(file, TestHolder::ofPattern(100)), 1u);
  EXPECT_EQ(write(file, Qv::Ptr<iMemHolder>(new HollowHolder(0xFFFFFFFF, bytes_))),
            uint32_t{eResultNoBufferSpace});
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 100u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(100));
}

TEST_F(FsysFileUnopenedTest, AFileWithoutASegmentSendsNone) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(file->SendWriteSegBuffer(), 0u);
  FsysFilePeer::giveSegment(*file, Qv::Ptr<iMemHolder>(new HollowHolder(512)), 100);
  EXPECT_EQ(file->SendWriteSegBuffer(), 0u);
  FsysFilePeer::giveSegment(*file, TestHolder::ofPattern(512), 513);
  EXPECT_EQ(file->SendWriteSegBuffer(), 0u) << "more is pending than there is";
  FsysFilePeer::giveSegment(*file, nullptr, 0);
  EXPECT_TRUE(os_->files().transfers().empty());
}

TEST_F(FsysFileUnopenedTest, AFileThatHasGoneHasNothingToSettle) {
  FsysFilePeer::setWroteBehind(file_);
  FsysFilePeer::settleWrites(file_);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eSettle), 0u);
  EXPECT_EQ(texts_.log().size(), 0u);
}

TEST_F(FsysFileUnopenedTest, WithoutAnEngineATransferThatItWouldServeIsNotSupported) {
  os_->files().setDrive(L"/s/", {.asyncTransfers = false});
  FsysFile* file = readPatternFile(L"/s/a", 4096);
  RequestHandle request(readRequest(file, 0, 512));
  FileRequestPeer::setBuffer(*request, TestHolder::ofPattern(512));
  Fsys* engine = std::exchange(theFsys, nullptr);
  uint32_t result = file->LowLevelAsyncRead(request.get());
  theFsys = engine;
  EXPECT_EQ(result, uint32_t{eOsNotSupported});
}

}  // namespace
