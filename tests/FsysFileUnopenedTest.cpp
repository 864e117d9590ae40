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

}  // namespace
