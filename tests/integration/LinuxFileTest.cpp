#include "platform/linux/LinuxFile.h"

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

#include "platform/OS.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/AlignedBuffer.h"
#include "tests/support/Pattern.h"
#include "tests/support/ScratchFolder.h"

namespace {

using Manager = iFileManager;
using Path = LightweightString<wchar_t>;

constexpr uint64_t kLastOffset = 0x7FFFFFFFFFFFFFFF;

std::string pattern(size_t bytes, uint64_t from = 0) {
  std::string text(bytes, '\0');
  fillPattern(text.data(), bytes, from);
  return text;
}

class LinuxFileTest : public ::testing::Test {
protected:
  LinuxFileTest() { linuxErrors()->setLastError(0); }

  static iOsErrors* linuxErrors() { return nativeOS()->getErrors(); }
  static uint32_t lastError() { return linuxErrors()->getLastError(); }

  static Qv::Ptr<iFile> openToRead(const Path& path, unsigned mode = Manager::eModeDirect) {
    return linuxFileManager()->openMedia(path, Manager::eFlagRead, false,
                                         Manager::eOpenOrCreateNeverTruncate, mode);
  }
  static Qv::Ptr<iFile> openToWrite(const Path& path, unsigned mode = Manager::eModeDirect,
                                    unsigned flags = Manager::eFlagRead | Manager::eFlagWrite) {
    return linuxFileManager()->openMedia(path, flags, true, Manager::eOpenOrCreateNeverTruncate,
                                         mode);
  }
  static Qv::Ptr<iFile> openGeneral(const Path& path, unsigned access, unsigned creation,
                                    unsigned attributes = 0) {
    return linuxFileManager()->openFile(path, access, creation, 0, attributes);
  }
  static bool isDirect(const Qv::Ptr<iFile>& file) {
    auto* linuxFile = dynamic_cast<LinuxFile*>(file.get());
    return linuxFile && linuxFile->usesDirect();
  }
  static int countDescriptors() {
    int count = 0;
    for (int i = 0; i < 256; ++i) count += fcntl(i, F_GETFD) >= 0;
    return count;
  }

  ScratchFolder folder_;
};

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

TEST_F(LinuxFileTest, AFolderIsRefusedAsAFolder) {
  for (unsigned mode : {0u, 3u}) {
    EXPECT_FALSE(openToRead(fromUTF8(std::string_view(folder_.path())), mode));
    EXPECT_EQ(lastError(), eOsIsAFolder);
    linuxErrors()->setLastError(0);
    EXPECT_FALSE(openToWrite(fromUTF8(std::string_view(folder_.path())), mode));
    EXPECT_EQ(lastError(), eOsIsAFolder);
  }
}

TEST_F(LinuxFileTest, AFifoIsRefusedAndNeverWaitedFor) {
  ASSERT_EQ(mkfifo(folder_.bytes("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(openToRead(folder_ / "fifo"));
  EXPECT_EQ(lastError(), eOsNotSupported);
  linuxErrors()->setLastError(0);
  EXPECT_FALSE(openToWrite(folder_ / "fifo", 3, Manager::eFlagWrite));
  EXPECT_EQ(lastError(), eOsNotSupported);
  EXPECT_FALSE(openGeneral(folder_ / "fifo", 3, Manager::eOpenOrCreate));
}

TEST_F(LinuxFileTest, DevicesAndSocketsAreRefused) {
  for (const wchar_t* device : {L"/dev/null", L"/dev/full", L"/dev/zero"}) {
    linuxErrors()->setLastError(0);
    EXPECT_FALSE(openToRead(device));
    EXPECT_EQ(lastError(), eOsNotSupported);
    EXPECT_FALSE(openToWrite(device, 0));
  }
  int socketDescriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::string name = folder_.bytes("socket");
  if (name.size() >= sizeof(address.sun_path)) GTEST_SKIP() << "the folder's name is too long";
  std::memcpy(address.sun_path, name.c_str(), name.size() + 1);
  ASSERT_EQ(bind(socketDescriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  linuxErrors()->setLastError(0);
  EXPECT_FALSE(openToRead(folder_ / "socket"));
  EXPECT_EQ(lastError(), eOsNotSupported);
  close(socketDescriptor);
}

TEST_F(LinuxFileTest, EmptyNullNulAndOverlongNamesEachSayWhatIsWrong) {
  EXPECT_FALSE(openToRead(Path()));
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_FALSE(openToWrite(L"", 0));
  EXPECT_EQ(lastError(), eOsNotFound);
  Path nul(L"/tmp/a\0b", 8);
  EXPECT_FALSE(openToRead(nul));
  EXPECT_EQ(lastError(), eOsInvalid);
  EXPECT_FALSE(linuxFileManager()->createFolder(nul));
  EXPECT_FALSE(linuxFileManager()->deleteFile(nul));
  EXPECT_FALSE(linuxFileManager()->exists(nul));
  EXPECT_FALSE(linuxFileManager()->getDisk(nul));
  EXPECT_FALSE(openToRead(folder_ / std::string(300, 'n')));
  EXPECT_EQ(lastError(), eOsNameTooLong);
}

TEST_F(LinuxFileTest, ANameThatIsNotUtf8IsOpenedByItsExactBytes) {
  folder_.put("bad\xFF\xC3name", "bytes");
  Path path = folder_ / std::string_view("bad\xFF\xC3name");
  Qv::Ptr<iFile> file = openToRead(path);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->getSize(), 5u);
  EXPECT_TRUE(linuxFileManager()->exists(path));
  EXPECT_TRUE(linuxFileManager()->deleteFile(path));
  EXPECT_EQ(access(folder_.bytes("bad\xFF\xC3name").c_str(), F_OK), -1);
}

TEST_F(LinuxFileTest, AReadOnlyFileIsNotOpenedForWriting) {
  if (geteuid() == 0) {
    std::string place = folder_.bytes("fixed");
    ASSERT_EQ(mkdir(place.c_str(), 0700), 0);
    if (mount("none", place.c_str(), "tmpfs", 0, "size=1m") != 0)
      GTEST_SKIP() << "root may write everywhere, and mounting is not allowed here";
    folder_.put("fixed/clip", "x");
    ASSERT_EQ(mount("none", place.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
    EXPECT_FALSE(openToWrite(folder_ / "fixed/clip", 0));
    EXPECT_EQ(lastError(), eOsReadOnly);
    EXPECT_TRUE(openToRead(folder_ / "fixed/clip"));
    EXPECT_EQ(umount(place.c_str()), 0);
    return;
  }
  folder_.put("clip", "x");
  ASSERT_EQ(chmod(folder_.bytes("clip").c_str(), 0444), 0);
  EXPECT_FALSE(openToWrite(folder_ / "clip", 0));
  EXPECT_EQ(lastError(), eOsAccessDenied);
}

TEST_F(LinuxFileTest, TheCreationValuesOfTheGeneralDoorDoWhatTheySay) {
  Path path = folder_ / "file";
  EXPECT_FALSE(openGeneral(path, 3, Manager::eOpenExisting));
  EXPECT_EQ(lastError(), eOsNotFound);
  ASSERT_TRUE(openGeneral(path, 3, Manager::eCreateNew));
  EXPECT_FALSE(openGeneral(path, 3, Manager::eCreateNew));
  EXPECT_EQ(lastError(), eOsExists);
  folder_.put("file", "content");
  Qv::Ptr<iFile> kept = openGeneral(path, 3, Manager::eOpenOrCreate);
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->getSize(), 7u);
  Qv::Ptr<iFile> replaced = openGeneral(path, 2, Manager::eCreateOrReplace);
  ASSERT_TRUE(replaced);
  EXPECT_EQ(replaced->getSize(), 0u);
  EXPECT_EQ(replaced->getCapabilities(), 0u);
}

TEST_F(LinuxFileTest, UnknownArgumentsAreRefusedAndTouchNothing) {
  folder_.put("file", "content");
  Path path = folder_ / "file";
  EXPECT_FALSE(openGeneral(path, 0, Manager::eOpenExisting));
  EXPECT_EQ(lastError(), eOsInvalid);
  EXPECT_FALSE(openGeneral(path, 4, Manager::eOpenExisting));
  EXPECT_FALSE(openGeneral(path, 3, 4));
  EXPECT_FALSE(openGeneral(path, 1, Manager::eCreateOrReplace));
  EXPECT_FALSE(linuxFileManager()->openMedia(path, 1, false, 3, 0));
  EXPECT_EQ(folder_.content("file"), "content");
}

TEST_F(LinuxFileTest, AHeldLockShowsToOthersUntilTheLastHolderIsGone) {
  Path path = folder_ / "lock";
  auto isHeld = [&] {
    int descriptor = open(folder_.bytes("lock").c_str(), O_RDWR | O_CLOEXEC);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    bool held = fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    close(descriptor);
    return held;
  };
  Qv::Ptr<iFile> first = openGeneral(path, 3, Manager::eOpenOrCreate, Manager::eAttributeHoldLock);
  ASSERT_TRUE(first);
  EXPECT_TRUE(isHeld());
  Qv::Ptr<iFile> second = openGeneral(path, 3, Manager::eOpenOrCreate, Manager::eAttributeHoldLock);
  ASSERT_TRUE(second);
  first.reset();
  EXPECT_TRUE(isHeld());
  second.reset();
  EXPECT_FALSE(isHeld());
}

TEST_F(LinuxFileTest, AFileThatSomebodyLocksForHimselfIsNotReplacedByALockingOpen) {
  folder_.put("lock", "content");
  int other = open(folder_.bytes("lock").c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(fcntl(other, F_OFD_SETLK, &lock), 0);
  EXPECT_FALSE(
      openGeneral(folder_ / "lock", 3, Manager::eCreateOrReplace, Manager::eAttributeHoldLock));
  EXPECT_EQ(lastError(), eOsAccessDenied);
  EXPECT_EQ(folder_.content("lock"), "content");
  close(other);
}

TEST_F(LinuxFileTest, FoldersAreMadeWithTheirParentsAndAreThereAlreadyTheSecondTime) {
  EXPECT_TRUE(linuxFileManager()->createFolder(folder_ / "a/b//c/"));
  EXPECT_TRUE(linuxFileManager()->exists(folder_ / "a/b/c"));
  EXPECT_TRUE(linuxFileManager()->createFolder(folder_ / "a/b/c"));
  folder_.put("file", "x");
  EXPECT_FALSE(linuxFileManager()->createFolder(folder_ / "file"));
  EXPECT_EQ(lastError(), eOsExists);
  EXPECT_FALSE(linuxFileManager()->createFolder(folder_ / "file/sub"));
  EXPECT_FALSE(linuxFileManager()->createFolder(L""));
}

TEST_F(LinuxFileTest, SizesAreOfRegularFilesOnly) {
  folder_.put("file", "12345");
  uint64_t bytes = 7;
  EXPECT_TRUE(linuxFileManager()->getFileSize(folder_ / "file", bytes));
  EXPECT_EQ(bytes, 5u);
  EXPECT_FALSE(linuxFileManager()->getFileSize(folder_ / "none", bytes));
  EXPECT_EQ(bytes, 0u);
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_FALSE(linuxFileManager()->getFileSize(folder_ / ".", bytes));
  EXPECT_EQ(lastError(), eOsIsAFolder);
}

TEST_F(LinuxFileTest, DeletingTakesFilesAndLinksButNoFolder) {
  folder_.put("file", "x");
  ASSERT_EQ(symlink("file", folder_.bytes("link").c_str()), 0);
  EXPECT_TRUE(linuxFileManager()->deleteFile(folder_ / "link"));
  EXPECT_TRUE(linuxFileManager()->exists(folder_ / "file"));
  EXPECT_TRUE(linuxFileManager()->deleteFile(folder_ / "file"));
  EXPECT_FALSE(linuxFileManager()->deleteFile(folder_ / "file"));
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_FALSE(linuxFileManager()->deleteFile(folder_ / "."));
}

TEST_F(LinuxFileTest, NamesInMemoryAreServedByTheirProvider) {
  Path path(L"mem:LinuxFileTest");
  EXPECT_TRUE(linuxFileManager()->isServed(path));
  EXPECT_FALSE(linuxFileManager()->isServed(folder_ / "file"));
  Qv::Ptr<iFile> file = linuxFileManager()->openServed(path, Manager::eFlagWrite, true);
  ASSERT_TRUE(file);
  uint32_t done = 0;
  EXPECT_EQ(file->writeAt(0, "abc", 3, &done), 1u);
  uint64_t bytes = 0;
  EXPECT_TRUE(linuxFileManager()->exists(path));
  EXPECT_TRUE(linuxFileManager()->getFileSize(path, bytes));
  EXPECT_EQ(bytes, 3u);
  EXPECT_TRUE(linuxFileManager()->deleteFile(path));
  EXPECT_FALSE(linuxFileManager()->exists(path));
}

TEST_F(LinuxFileTest, TheSeparatorIsASlash) { EXPECT_EQ(linuxFileManager()->getSeparator(), L'/'); }

}  // namespace
