// Opening media and transferring it, aligned or not.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AlignedBuffer.h"

namespace {

class LinuxFileTest : public LinuxFileFixture {};

TEST_F(LinuxFileTest, AProbeForReadingFindsTheFileAndItsSizeAndKeepsNoDescriptor) {
  folder_.put("clip", pattern(1000));
  int before = countDescriptors();
  Qv::Ptr<iFile> probe = openToRead(folder_ / "clip", 0);
  ASSERT_TRUE(probe);
  EXPECT_TRUE(probe->isOpen());
  EXPECT_EQ(probe->getCapabilities(), iFile::eAsyncTransfers);
  EXPECT_EQ(probe->getSize(), 1000u);
  FILE_INFO info;
  EXPECT_EQ(probe->getInfo(&info), 1u);
  EXPECT_EQ(info.writePosition, 1000u);
  EXPECT_EQ(countDescriptors(), before);
  probe->close();
  EXPECT_FALSE(probe->isOpen());
  EXPECT_EQ(probe->getSize(), 0u);
}

TEST_F(LinuxFileTest, AProbeTransfersNothing) {
  folder_.put("clip", pattern(1000));
  Qv::Ptr<iFile> probe = openToRead(folder_ / "clip", 0);
  ASSERT_TRUE(probe);
  std::array<char, 16> buffer;
  uint32_t done = 7;
  EXPECT_EQ(probe->readAt(0, buffer.data(), 16, &done), eOsNotSupported);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(probe->startRead(nullptr, AsyncTransfer()), eOsNotSupported);
  EXPECT_EQ(lastError(), eOsNotSupported);
}

TEST_F(LinuxFileTest, AProbeForReadingOfAMissingFileFailsAndMakesNone) {
  EXPECT_FALSE(openToRead(folder_ / "none", 0));
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_FALSE(linuxFileManager()->exists(folder_ / "none"));
}

TEST_F(LinuxFileTest, AProbeForWritingMakesAnEmptyFileAndKeepsWhatAnOldOneHolds) {
  ASSERT_TRUE(openToWrite(folder_ / "new", 0));
  EXPECT_TRUE(linuxFileManager()->exists(folder_ / "new"));
  folder_.put("old", "kept");
  Qv::Ptr<iFile> probe = openToWrite(folder_ / "old", 0);
  ASSERT_TRUE(probe);
  EXPECT_EQ(probe->getSize(), 4u);
  EXPECT_EQ(folder_.content("old"), "kept");
}

TEST_F(LinuxFileTest, OpeningForWritingNeverTruncatesAndInfoSaysWhereWritingContinues) {
  folder_.put("clip", pattern(777));
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip");
  ASSERT_TRUE(file);
  FILE_INFO info;
  ASSERT_EQ(file->getInfo(&info), 1u);
  ASSERT_EQ(info.writePosition, 777u);
  std::string more = pattern(100, 777);
  uint32_t done = 0;
  EXPECT_EQ(file->writeAt(777, more.data(), 100, &done), 1u);
  EXPECT_EQ(done, 100u);
  EXPECT_EQ(folder_.content("clip"), pattern(877));
}

TEST_F(LinuxFileTest, ANewFileHasTheModeThatTheMaskLeaves) {
  mode_t before = umask(027);
  ASSERT_TRUE(openToWrite(folder_ / "clip"));
  umask(before);
  struct stat status;
  ASSERT_EQ(stat(folder_.bytes("clip").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST_F(LinuxFileTest, ANewFileWithTheOwnerModeTakesItsFoldersGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder a group of its choice";
  ASSERT_EQ(chown(folder_.path().c_str(), 0, 4242), 0);
  ASSERT_TRUE(openToWrite(folder_ / "owned", 0));
  ASSERT_TRUE(openToWrite(folder_ / "owned",
                          Manager::eModeDirect | Manager::eModeAsync | Manager::eModeSetOwner));
  ASSERT_TRUE(openToWrite(folder_ / "plain"));
  struct stat status;
  ASSERT_EQ(stat(folder_.bytes("owned").c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, 4242u);
  ASSERT_EQ(stat(folder_.bytes("plain").c_str(), &status), 0);
  EXPECT_NE(status.st_gid, 4242u);
}

TEST_F(LinuxFileTest, TheOwnerModeLeavesAFileWithContentAsItIs) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder a group of its choice";
  ASSERT_EQ(chown(folder_.path().c_str(), 0, 4242), 0);
  folder_.put("clip", "content");
  ASSERT_TRUE(openToWrite(folder_ / "clip", Manager::eModeSetOwner));
  struct stat status;
  ASSERT_EQ(stat(folder_.bytes("clip").c_str(), &status), 0);
  EXPECT_NE(status.st_gid, 4242u);
}

TEST_F(LinuxFileTest, DescriptorsAreCloseOnExec) {
  folder_.put("clip", pattern(4096));
  int before = countDescriptors();
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip");
  ASSERT_TRUE(file);
  EXPECT_GT(countDescriptors(), before);
  std::string mine = folder_.bytes("clip");
  for (int i = 0; i < 256; ++i) {
    std::array<char, 4096> target;
    std::string link = "/proc/self/fd/" + std::to_string(i);
    ssize_t length = readlink(link.c_str(), target.data(), target.size());
    if (length < 0 || std::string(target.data(), static_cast<size_t>(length)) != mine) continue;
    EXPECT_TRUE(fcntl(i, F_GETFD) & FD_CLOEXEC);
    EXPECT_FALSE(fcntl(i, F_GETFL) & O_NONBLOCK);
  }
}

TEST_F(LinuxFileTest, ClosingGivesTheDescriptorsBackAndLaterTransfersFail) {
  folder_.put("clip", pattern(4096));
  int before = countDescriptors();
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip");
  ASSERT_TRUE(file);
  file->close();
  EXPECT_EQ(countDescriptors(), before);
  EXPECT_FALSE(file->isOpen());
  EXPECT_EQ(file->getSize(), 0u);
  std::array<char, 8> buffer;
  uint32_t done = 3;
  EXPECT_EQ(file->readAt(0, buffer.data(), 8, &done), eOsInvalid);
  EXPECT_EQ(done, 0u);
  FILE_INFO info;
  EXPECT_EQ(file->getInfo(&info), eOsInvalid);
}

TEST_F(LinuxFileTest, UnalignedAddressesOffsetsAndLengthsAreReadRight) {
  const std::string all = pattern(3 * 4096 + 17);
  folder_.put("clip", all);
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip");
  ASSERT_TRUE(file);
  AlignedBuffer buffer(4 * 4096);
  for (uint32_t shift : {0u, 1u, 3u, 511u, 512u}) {
    for (uint64_t offset : {0u, 1u, 511u, 512u, 4095u, 4096u, 8192u}) {
      for (uint32_t bytes : {0u, 1u, 511u, 512u, 4096u, 4097u}) {
        std::memset(buffer.data(), 0xEE, buffer.size());
        uint32_t done = 99;
        ASSERT_EQ(file->readAt(offset, buffer.data() + shift, bytes, &done), 1u);
        size_t there = std::min<size_t>(bytes, all.size() - offset);
        ASSERT_EQ(done, there);
        ASSERT_EQ(std::memcmp(buffer.data() + shift, all.data() + offset, there), 0);
        ASSERT_EQ(buffer[shift + bytes], 0xEE);
      }
    }
  }
}

TEST_F(LinuxFileTest, UnalignedWritesLandRightAmongAlignedOnes) {
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip");
  ASSERT_TRUE(file);
  const size_t total = 6 * 4096;
  std::string all = pattern(total);
  AlignedBuffer buffer(total + 8);
  uint64_t at = 0;
  uint32_t done = 0;
  for (uint32_t bytes : {4096u, 1u, 4095u, 8192u, 513u, 7679u}) {
    unsigned char* from = buffer.data() + (bytes % 2 ? 5 : 0);
    std::memcpy(from, all.data() + at, bytes);
    ASSERT_EQ(file->writeAt(at, from, bytes, &done), 1u);
    ASSERT_EQ(done, bytes);
    at += bytes;
  }
  ASSERT_EQ(at, total);
  EXPECT_EQ(folder_.content("clip"), all);
}

TEST_F(LinuxFileTest, AFileOnADiskIsReadPastThePageCache) {
  folder_.put("clip", pattern(8192));
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip");
  ASSERT_TRUE(file);
  if (!isDirect(file)) GTEST_SKIP() << "this file system takes no direct transfers";
  AlignedBuffer buffer(8192);
  uint32_t done = 0;
  EXPECT_EQ(file->readAt(0, buffer.data(), 8192, &done), 1u);
  EXPECT_TRUE(isDirect(file));
  EXPECT_FALSE(isDirect(openToRead(folder_ / "clip", Manager::eModeAsync)));
}

TEST_F(LinuxFileTest, TheFirstRefusedDirectTransferTurnsTheFileToThePageCacheForGood) {
  folder_.put("clip", pattern(8192));
  int cached = open(folder_.bytes("clip").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(cached, 0);
  Qv::Ptr<OpenDescriptors> descriptors(new OpenDescriptors(cached, true, false));
  descriptors->openDirect();
  if (!descriptors->usesDirect()) GTEST_SKIP() << "this file system takes no direct transfers";
  AlignedBuffer buffer(8192);
  FileTransfer transfer(FileTransfer::eRead, descriptors.get(), 0, buffer.data(), 8192);
  EXPECT_TRUE(transfer.nextPart().direct);
  EXPECT_FALSE(transfer.take(-EINVAL));
  EXPECT_FALSE(transfer.nextPart().direct);
  EXPECT_EQ(transfer.nextPart().descriptor, cached);
  EXPECT_TRUE(transfer.take(8192));
  EXPECT_EQ(transfer.error(), 0);
  EXPECT_EQ(transfer.done(), 8192u);
  FileTransfer later(FileTransfer::eRead, descriptors.get(), 0, buffer.data(), 4096);
  EXPECT_FALSE(later.nextPart().direct);
}

TEST_F(LinuxFileTest, InterruptedAndShortPartsAreContinuedWhereTheyStopped) {
  OpenDescriptors descriptors(-1, true, true);
  AlignedBuffer buffer(100);
  FileTransfer transfer(FileTransfer::eRead, &descriptors, 1000, buffer.data(), 100);
  transfer.nextPart();
  EXPECT_FALSE(transfer.take(-EINTR));
  EXPECT_EQ(transfer.nextPart().offset, 1000u);
  EXPECT_FALSE(transfer.take(30));
  EXPECT_EQ(transfer.nextPart().offset, 1030u);
  EXPECT_EQ(transfer.nextPart().address, buffer.data() + 30);
  EXPECT_EQ(transfer.nextPart().bytes, 70u);
  EXPECT_FALSE(transfer.take(-EAGAIN));
  EXPECT_TRUE(transfer.mustWait());
  transfer.nextPart();
  EXPECT_TRUE(transfer.take(70));
  EXPECT_EQ(transfer.done(), 100u);
  EXPECT_EQ(transfer.error(), 0);
}

TEST_F(LinuxFileTest, AnErrorInTheMiddleKeepsWhatWasDoneAndZeroFillsTheRestOfARead) {
  OpenDescriptors descriptors(-1, true, true);
  AlignedBuffer buffer(100);
  FileTransfer transfer(FileTransfer::eRead, &descriptors, 0, buffer.data(), 100);
  transfer.nextPart();
  EXPECT_FALSE(transfer.take(40));
  transfer.nextPart();
  EXPECT_TRUE(transfer.take(-EIO));
  EXPECT_EQ(transfer.done(), 40u);
  EXPECT_EQ(transfer.error(), EIO);
  EXPECT_EQ(buffer[39], 0xEE);
  for (size_t i = 40; i < 100; ++i) ASSERT_EQ(buffer[i], 0);
  EXPECT_EQ(buffer[100], 0xEE);
}

TEST_F(LinuxFileTest, AWriteThatMovesNothingEndsInsteadOfBeingTriedForEver) {
  OpenDescriptors descriptors(-1, true, true);
  char byte = 'x';
  FileTransfer transfer(FileTransfer::eWrite, &descriptors, 0, &byte, 1);
  transfer.nextPart();
  EXPECT_TRUE(transfer.take(0));
  EXPECT_EQ(transfer.error(), EIO);
  EXPECT_EQ(byte, 'x');
}

TEST_F(LinuxFileTest, AHugeTransferGoesInPartsOfAGibibyte) {
  OpenDescriptors descriptors(-1, true, true);
  unsigned char byte = 0;
  FileTransfer transfer(FileTransfer::eWrite, &descriptors, 0, &byte, 0xFFFFFFFF);
  uint64_t at = 0;
  for (int part = 0; part < 3; ++part) {
    EXPECT_EQ(transfer.nextPart().offset, at);
    EXPECT_EQ(transfer.nextPart().bytes, 1u << 30);
    EXPECT_FALSE(transfer.take(1 << 30));
    at += 1u << 30;
  }
  EXPECT_EQ(transfer.nextPart().bytes, (1u << 30) - 1);
  EXPECT_TRUE(transfer.take((1 << 30) - 1));
  EXPECT_EQ(transfer.done(), 0xFFFFFFFFu);
}

TEST_F(LinuxFileTest, ADirectReadPastTheEndGivesWhatIsThereAndZeroFillsTheRest) {
  folder_.put("clip", pattern(5000));
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip");
  ASSERT_TRUE(file);
  AlignedBuffer buffer(16384);
  uint32_t done = 0;
  EXPECT_EQ(file->readAt(0, buffer.data(), 16384, &done), 1u);
  EXPECT_EQ(done, 5000u);
  EXPECT_EQ(std::memcmp(buffer.data(), pattern(5000).data(), 5000), 0);
  for (size_t i = 5000; i < 16384; ++i) ASSERT_EQ(buffer[i], 0) << i;
  EXPECT_EQ(buffer[16384], 0xEE);
}

TEST_F(LinuxFileTest, AReadAtOrPastTheEndTransfersNothingAndIsNoError) {
  folder_.put("clip", pattern(4096));
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip");
  ASSERT_TRUE(file);
  AlignedBuffer buffer(4096);
  for (uint64_t offset : {uint64_t{4096}, uint64_t{8192}, uint64_t{1} << 40}) {
    uint32_t done = 9;
    buffer[0] = 0xEE;
    EXPECT_EQ(file->readAt(offset, buffer.data(), 4096, &done), 1u);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(buffer[0], 0);
  }
}

TEST_F(LinuxFileTest, OffsetsAtTheEndOfTheNumbersAreRefusedAndNotWrapped) {
  folder_.put("clip", pattern(100));
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip");
  ASSERT_TRUE(file);
  std::array<char, 16> buffer = {};
  uint32_t done = 9;
  EXPECT_EQ(file->readAt(kLastOffset, buffer.data(), 1, &done), eOsInvalid);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file->readAt(kLastOffset - 15, buffer.data(), 16, &done), eOsInvalid);
  EXPECT_EQ(file->readAt(~uint64_t{0}, buffer.data(), 16, &done), eOsInvalid);
  EXPECT_EQ(file->writeAt(~uint64_t{0} - 3, buffer.data(), 16, &done), eOsInvalid);
  EXPECT_EQ(lastError(), eOsInvalid);
  EXPECT_EQ(folder_.content("clip"), pattern(100));
}

TEST_F(LinuxFileTest, ANullBufferIsRefusedUnlessNothingIsToBeTransferred) {
  folder_.put("clip", pattern(100));
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip");
  ASSERT_TRUE(file);
  uint32_t done = 9;
  EXPECT_EQ(file->readAt(0, nullptr, 1, &done), eOsInvalid);
  EXPECT_EQ(file->readAt(0, nullptr, 0, &done), 1u);
  EXPECT_EQ(file->readAt(0, nullptr, 0, nullptr), 1u);
}

TEST_F(LinuxFileTest, ReadingWhatWasOpenedForWritingOnlyIsDeniedAndTheOtherWayRound) {
  folder_.put("clip", pattern(100));
  std::array<char, 16> buffer = {};
  uint32_t done = 0;
  Qv::Ptr<iFile> writer = openToWrite(folder_ / "clip", Manager::eModeDirect, Manager::eFlagWrite);
  ASSERT_TRUE(writer);
  EXPECT_EQ(writer->readAt(0, buffer.data(), 16, &done), eOsAccessDenied);
  Qv::Ptr<iFile> reader = openToRead(folder_ / "clip");
  ASSERT_TRUE(reader);
  EXPECT_EQ(reader->writeAt(0, buffer.data(), 16, &done), eOsAccessDenied);
  EXPECT_EQ(folder_.content("clip"), pattern(100));
}

TEST_F(LinuxFileTest, ThePositionMovesByWhatWasDone) {
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip");
  ASSERT_TRUE(file);
  uint32_t done = 0;
  EXPECT_EQ(file->write("abcde", 5, &done), 1u);
  EXPECT_EQ(file->write("fgh", 3, &done), 1u);
  file->seek(3);
  std::array<char, 16> buffer;
  EXPECT_EQ(file->read(buffer.data(), 3, &done), 1u);
  EXPECT_EQ(std::string(buffer.data(), 3), "def");
  EXPECT_EQ(file->read(buffer.data(), 16, &done), 1u);
  EXPECT_EQ(done, 2u);
  EXPECT_EQ(std::string(buffer.data(), 2), "gh");
  EXPECT_EQ(file->read(buffer.data(), 16, &done), 1u);
  EXPECT_EQ(done, 0u);
}

TEST_F(LinuxFileTest, AFullDiskSaysSoAndHowMuchWasWritten) {
  std::string place = folder_.bytes("small");
  ASSERT_EQ(mkdir(place.c_str(), 0700), 0);
  if (mount("none", place.c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "mounting is not allowed here";
  {
    Qv::Ptr<iFile> file = openToWrite(folder_ / "small/clip");
    ASSERT_TRUE(file);
    AlignedBuffer buffer(2u << 20);
    uint32_t done = 0;
    EXPECT_EQ(file->writeAt(0, buffer.data(), 2u << 20, &done), eOsNoSpace);
    EXPECT_EQ(done, 1u << 20);
    EXPECT_EQ(lastError(), eOsNoSpace);
  }
  EXPECT_EQ(umount(place.c_str()), 0);
}

TEST_F(LinuxFileTest, AFileSizeLimitIsAnErrorAndNoSignalKillsTheProcess) {
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip");
  ASSERT_TRUE(file);
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  auto handler = signal(SIGXFSZ, SIG_IGN);
  rlimit small = {8192, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  AlignedBuffer buffer(16384);
  uint32_t done = 0;
  uint32_t result = file->writeAt(0, buffer.data(), 16384, &done);
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(result, eOsTooLarge);
  EXPECT_EQ(done, 8192u);
}

}  // namespace
