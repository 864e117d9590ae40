// What may be opened, made and deleted, by which name.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "tests/integration/LinuxFileFixture.h"

namespace {

class LinuxFileManagerTest : public LinuxFileFixture {};

TEST_F(LinuxFileManagerTest, AFolderIsRefusedAsAFolder) {
  for (unsigned mode : {0u, 3u}) {
    EXPECT_FALSE(openToRead(fromUTF8(std::string_view(folder_.path())), mode));
    EXPECT_EQ(lastError(), eOsIsAFolder);
    linuxErrors()->setLastError(0);
    EXPECT_FALSE(openToWrite(fromUTF8(std::string_view(folder_.path())), mode));
    EXPECT_EQ(lastError(), eOsIsAFolder);
  }
}

TEST_F(LinuxFileManagerTest, AFifoIsRefusedAndNeverWaitedFor) {
  ASSERT_EQ(mkfifo(folder_.bytes("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(openToRead(folder_ / "fifo"));
  EXPECT_EQ(lastError(), eOsNotSupported);
  linuxErrors()->setLastError(0);
  EXPECT_FALSE(openToWrite(folder_ / "fifo", 3, Manager::eFlagWrite));
  EXPECT_EQ(lastError(), eOsNotSupported);
  EXPECT_FALSE(openGeneral(folder_ / "fifo", 3, Manager::eOpenOrCreate));
}

TEST_F(LinuxFileManagerTest, DevicesAndSocketsAreRefused) {
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

TEST_F(LinuxFileManagerTest, EmptyNullNulAndOverlongNamesEachSayWhatIsWrong) {
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

TEST_F(LinuxFileManagerTest, ANameThatIsNotUtf8IsOpenedByItsExactBytes) {
  folder_.put("bad\xFF\xC3name", "bytes");
  Path path = folder_ / std::string_view("bad\xFF\xC3name");
  Qv::Ptr<iFile> file = openToRead(path);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->getSize(), 5u);
  EXPECT_TRUE(linuxFileManager()->exists(path));
  EXPECT_TRUE(linuxFileManager()->deleteFile(path));
  EXPECT_EQ(access(folder_.bytes("bad\xFF\xC3name").c_str(), F_OK), -1);
}

TEST_F(LinuxFileManagerTest, AReadOnlyFileIsNotOpenedForWriting) {
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

TEST_F(LinuxFileManagerTest, TheCreationValuesOfTheGeneralDoorDoWhatTheySay) {
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

TEST_F(LinuxFileManagerTest, UnknownArgumentsAreRefusedAndTouchNothing) {
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

TEST_F(LinuxFileManagerTest, AHeldLockShowsToOthersUntilTheLastHolderIsGone) {
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

TEST_F(LinuxFileManagerTest, AFileThatSomebodyLocksForHimselfIsNotReplacedByALockingOpen) {
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

TEST_F(LinuxFileManagerTest, WhatIsToBeLockedIsNeverBehindALink) {
  folder_.put("file", "content");
  std::filesystem::create_directory(folder_.bytes("inner"));
  folder_.put("inner/file", "content");
  link("file", "to-file");
  link("none", "to-none");
  link("inner", "to-inner");
  auto isLocked = [&](std::string_view name, unsigned access, unsigned creation) {
    return bool(openGeneral(folder_ / name, access, creation, Manager::eAttributeHoldLock));
  };
  for (const char* name : {"to-file", "to-none"}) {
    for (unsigned access : {1u, 2u, 3u})
      for (unsigned creation : {Manager::eOpenExisting, Manager::eOpenOrCreate}) {
        linuxErrors()->setLastError(0);
        EXPECT_FALSE(isLocked(name, access, creation)) << name;
        EXPECT_EQ(lastError(), eOsErrorBase + ELOOP) << name;
      }
    EXPECT_FALSE(isLocked(name, 2, Manager::eCreateOrReplace)) << name;
    EXPECT_FALSE(isLocked(name, 3, Manager::eCreateNew)) << name;
    EXPECT_EQ(lastError(), eOsExists) << name;
  }
  EXPECT_FALSE(isThere("none"));
  EXPECT_EQ(folder_.content("file"), "content");
  EXPECT_TRUE(isLocked("to-inner/file", 3, Manager::eOpenOrCreate)) << "its folder may be one";
  EXPECT_TRUE(openGeneral(folder_ / "to-file", 3, Manager::eOpenOrCreate)) << "without a lock";
}

TEST_F(LinuxFileManagerTest, FoldersAreMadeWithTheirParentsAndAreThereAlreadyTheSecondTime) {
  EXPECT_TRUE(linuxFileManager()->createFolder(folder_ / "a/b//c/"));
  EXPECT_TRUE(linuxFileManager()->exists(folder_ / "a/b/c"));
  EXPECT_TRUE(linuxFileManager()->createFolder(folder_ / "a/b/c"));
  folder_.put("file", "x");
  EXPECT_FALSE(linuxFileManager()->createFolder(folder_ / "file"));
  EXPECT_EQ(lastError(), eOsExists);
  EXPECT_FALSE(linuxFileManager()->createFolder(folder_ / "file/sub"));
  EXPECT_FALSE(linuxFileManager()->createFolder(L""));
}

TEST_F(LinuxFileManagerTest, SizesAreOfRegularFilesOnly) {
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

TEST_F(LinuxFileManagerTest, DeletingTakesFilesAndLinksButNoFolder) {
  folder_.put("file", "x");
  ASSERT_EQ(symlink("file", folder_.bytes("link").c_str()), 0);
  EXPECT_TRUE(linuxFileManager()->deleteFile(folder_ / "link"));
  EXPECT_TRUE(linuxFileManager()->exists(folder_ / "file"));
  EXPECT_TRUE(linuxFileManager()->deleteFile(folder_ / "file"));
  EXPECT_FALSE(linuxFileManager()->deleteFile(folder_ / "file"));
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_FALSE(linuxFileManager()->deleteFile(folder_ / "."));
}

TEST_F(LinuxFileManagerTest, NamesInMemoryAreServedByTheirProvider) {
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

TEST_F(LinuxFileManagerTest, TheSeparatorIsASlash) {
  EXPECT_EQ(linuxFileManager()->getSeparator(), L'/');
}

}  // namespace
