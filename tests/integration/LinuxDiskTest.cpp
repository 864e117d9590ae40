#include "platform/linux/LinuxDisk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/OS.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/ScratchFolder.h"

namespace {

using Drive = Qv::Ptr<iDiskDrive>;

constexpr char kRefused[] = "mounting is not allowed here";

// A text of the system's list as it is: "\\040" stands for a space there.
std::string unescaped(const std::string& text) {
  constexpr size_t kDigits = 3;
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      plain += text[i];
      continue;
    }
    plain += static_cast<char>(std::stoi(text.substr(i + 1, kDigits), nullptr, 8));
    i += kDigits;
  }
  return plain;
}

// The folders of the system's own list.
std::vector<std::string> mountedFolders() {
  constexpr int kFolder = 5;
  std::vector<std::string> folders;
  std::ifstream list("/proc/self/mountinfo");
  for (std::string line; std::getline(list, line);) {
    std::istringstream words(line);
    std::string word;
    for (int i = 0; i < kFolder; ++i) words >> word;
    folders.push_back(unescaped(word));
  }
  return folders;
}

// Of what is mounted there.
uint64_t mountNumber(const std::string& folder) {
  struct statx status = {};
  EXPECT_EQ(statx(AT_FDCWD, folder.c_str(), 0, STATX_MNT_ID, &status), 0);
  return status.stx_mnt_id;
}

// Drives that a test mounts in its folder; unmounted at its end.
class LinuxDiskTest : public ::testing::Test {
protected:
  static constexpr uint64_t kMiB = 1 << 20;

  ~LinuxDiskTest() override {
    for (auto place = mounted_.rbegin(); place != mounted_.rend(); ++place)
      umount2(place->c_str(), MNT_DETACH);
  }
  void SetUp() override { real_ = std::filesystem::canonical(folder_.path()).string(); }

  // False where mounting is refused.
  bool mountAt(const std::string& name, const char* kind, unsigned long flags = 0,
               const std::string& source = "none", const char* options = nullptr) {
    std::string place = folder_.bytes(name);
    mkdir(place.c_str(), 0700);
    if (mount(source.c_str(), place.c_str(), kind, flags, options) != 0) return false;
    mounted_.push_back(place);
    return true;
  }
  bool mountMemory(const std::string& name, const char* options = "size=1m") {
    return mountAt(name, "tmpfs", 0, "none", options);
  }
  void unmountLast() {
    EXPECT_EQ(umount2(mounted_.back().c_str(), 0), 0);
    mounted_.pop_back();
  }
  LightweightString<wchar_t> root(const std::string& name) const {
    return fromUTF8(std::string_view(real_ + "/" + name + "/"));
  }
  // The listed drives that are mounted there.
  std::vector<Drive> listedAt(const std::string& name) const {
    std::vector<Drive> found;
    for (const Drive& drive : linuxFileManager()->getDisks())
      if (drive->getRootPath() == root(name)) found.push_back(drive);
    return found;
  }
  Drive driveOf(const std::string& name) const {
    return linuxFileManager()->getDisk(folder_ / name);
  }
  // Somebody else's mount may have made the table anew in between.
  static bool isLike(const Drive& drive, const Drive& other) {
    return drive && other && drive->getType() == other->getType() &&
           drive->getSectorSize() == other->getSectorSize();
  }

  ScratchFolder folder_;
  std::string real_;  // its name without links

private:
  std::vector<std::string> mounted_;
};

TEST_F(LinuxDiskTest, AnUnknownSectorSizeIs512) {
  MountEntry mount;
  EXPECT_EQ(LinuxDisk(mount, false, nullptr).getSectorSize(), 512u);
  mount.device.sectorSize = 4096;
  EXPECT_EQ(LinuxDisk(mount, false, nullptr).getSectorSize(), 4096u);
}

TEST_F(LinuxDiskTest, ARootPathHasOneSeparatorAtItsEnd) {
  MountEntry mount;
  mount.folder = "/";
  EXPECT_EQ(LinuxDisk(mount, false, nullptr).getRootPath(), L"/");
  mount.folder = "/media";
  EXPECT_EQ(LinuxDisk(mount, false, nullptr).getRootPath(), L"/media/");
}

TEST_F(LinuxDiskTest, WhereTheSystemMountsNobodyIsAskedAlsoIfTheMountLibraryCountsItAsADrive) {
  const Qv::Ptr<DriveProbe> probe(new DriveProbe);
  MountEntry mount;
  mount.id = mountNumber("/");
  mount.folder = "/";
  mount.fileSystem = "ext4";
  EXPECT_TRUE(LinuxDisk(mount, false, probe).isAvailable());
  mount.fileSystem = "autofs";
  EXPECT_FALSE(LinuxDisk(mount, false, probe).isAvailable());
}

TEST_F(LinuxDiskTest, TheScratchFoldersDriveHasASectorSizeThatDividesAPage) {
  Qv::Ptr<iDiskDrive> drive = linuxFileManager()->getDisk(folder_ / "");
  ASSERT_TRUE(drive);
  EXPECT_GE(drive->getSectorSize(), 512u);
  EXPECT_EQ(4096 % drive->getSectorSize(), 0u);
}

TEST_F(LinuxDiskTest, AMissingFileIsOnTheDriveOfTheNearestFolderThatExists) {
  Qv::Ptr<iDiskDrive> here = linuxFileManager()->getDisk(folder_ / "");
  ASSERT_TRUE(here);
  EXPECT_TRUE(isLike(linuxFileManager()->getDisk(folder_ / "no/such/folder/file"), here));
  folder_.put("file", "x");
  EXPECT_TRUE(isLike(linuxFileManager()->getDisk(folder_ / "file/below"), here));
  EXPECT_TRUE(linuxFileManager()->getDisk(L"file-in-the-current-folder"));
  EXPECT_TRUE(linuxFileManager()->getDisk(L"/"));
  EXPECT_TRUE(linuxFileManager()->getDisk(L"/no-such-folder/file"));
}

TEST_F(LinuxDiskTest, AnEmptyPathIsOnNoDrive) {
  EXPECT_FALSE(linuxFileManager()->getDisk(L""));
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsNotFound);
}

TEST_F(LinuxDiskTest, AMountThatComesAndGoesIsSeenAtOnce) {
  Drive before = driveOf("");
  if (!mountMemory("memory")) GTEST_SKIP() << kRefused;
  Drive during = driveOf("memory/clip");
  EXPECT_EQ(listedAt("memory").size(), 1u);
  unmountLast();
  Drive after = driveOf("memory/clip");
  ASSERT_TRUE(during);
  EXPECT_EQ(during->getType(), iDiskDrive::eMemory);
  EXPECT_EQ(during->getSectorSize(), 512u);
  EXPECT_EQ(during->getRootPath(), root("memory"));
  EXPECT_TRUE(isLike(after, before));
  EXPECT_EQ(after->getRootPath(), before->getRootPath());
  EXPECT_TRUE(listedAt("memory").empty());
}

TEST_F(LinuxDiskTest, EveryMountIsListedInTheSystemsOrder) {
  // Others may mount something meanwhile.
  std::vector<std::string> listed;
  std::vector<std::string> folders = mountedFolders();
  for (int i = 0; i < 100 && (i == 0 || listed != folders); ++i) {
    folders = mountedFolders();
    listed.clear();
    for (const Drive& drive : linuxFileManager()->getDisks()) {
      std::string bytes;
      ASSERT_TRUE(toPathBytes(drive->getRootPath(), bytes));
      listed.push_back(bytes.size() > 1 ? bytes.substr(0, bytes.size() - 1) : bytes);
    }
  }
  EXPECT_FALSE(listed.empty());
  EXPECT_EQ(listed, folders);
}

TEST_F(LinuxDiskTest, TheMachinesOwnDiskIsAPlaceForMedia) {
  struct statvfs answer = {};
  ASSERT_EQ(statvfs("/", &answer), 0);
  if ((answer.f_flag & ST_RDONLY) != 0) GTEST_SKIP() << "it cannot be written here";
  Drive drive = linuxFileManager()->getDisk(L"/");
  ASSERT_TRUE(drive);
  EXPECT_EQ(drive->getRootPath(), L"/");
  EXPECT_FALSE(drive->isExcluded());
  EXPECT_FALSE(drive->getFileSystem().empty());
}

TEST_F(LinuxDiskTest, PseudoFileSystemsAreListedAsExcludedAndNeverAsked) {
  size_t found = 0;
  for (const Drive& drive : linuxFileManager()->getDisks()) {
    if (drive->getRootPath() != LightweightString<wchar_t>(L"/proc/")) continue;
    ++found;
    EXPECT_EQ(drive->getType(), iDiskDrive::eUnknown);
    EXPECT_EQ(drive->getFileSystem(), L"proc");
    EXPECT_TRUE(drive->isExcluded());
    EXPECT_FALSE(drive->isAvailable());
    uint64_t freeBytes = 1, totalBytes = 1;
    EXPECT_FALSE(drive->getSpace(freeBytes, totalBytes));
    EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsNotSupported);
    EXPECT_EQ(freeBytes + totalBytes, 0u);
  }
  EXPECT_GE(found, 1u);
}

TEST_F(LinuxDiskTest, TheSpaceIsThatWhichMayBeWrittenAndAll) {
  if (!mountMemory("memory", "size=3m")) GTEST_SKIP() << kRefused;
  Drive drive = driveOf("memory");
  ASSERT_TRUE(drive);
  uint64_t freeBytes = 0, totalBytes = 0;
  ASSERT_TRUE(drive->getSpace(freeBytes, totalBytes));
  EXPECT_EQ(totalBytes, 3 * kMiB);
  EXPECT_EQ(freeBytes, 3 * kMiB);
  EXPECT_TRUE(drive->isAvailable());
  folder_.put("memory/clip", std::string(kMiB, 'x'));
  ASSERT_TRUE(drive->getSpace(freeBytes, totalBytes));
  EXPECT_EQ(totalBytes, 3 * kMiB);
  EXPECT_EQ(freeBytes, 2 * kMiB);
}

TEST_F(LinuxDiskTest, WhatTheSystemKeepsOfADiskForItselfIsNotFree) {
  MountedFolder mounted(MountedFolder::eExt4);
  if (mounted.path().empty()) GTEST_SKIP() << mounted.why();
  Drive drive = linuxFileManager()->getDisk(mounted / "clip");
  ASSERT_TRUE(drive);
  uint64_t freeBytes = 0, totalBytes = 0;
  ASSERT_TRUE(drive->getSpace(freeBytes, totalBytes));
  struct statvfs answer = {};
  ASSERT_EQ(statvfs(mounted.path().c_str(), &answer), 0);
  EXPECT_GT(answer.f_bfree, answer.f_bavail);
  EXPECT_EQ(freeBytes, answer.f_bavail * answer.f_frsize);
  EXPECT_EQ(totalBytes, answer.f_blocks * answer.f_frsize);
}

TEST_F(LinuxDiskTest, ADriveThatCannotBeWrittenIsExcludedUntilItCan) {
  if (!mountMemory("memory")) GTEST_SKIP() << kRefused;
  const std::string place = folder_.bytes("memory");
  EXPECT_FALSE(driveOf("memory")->isExcluded());
  for (unsigned long one : {0UL, static_cast<unsigned long>(MS_BIND)}) {
    SCOPED_TRACE(one == 0 ? "the file system" : "this mount of it");
    ASSERT_EQ(mount("none", place.c_str(), nullptr, MS_REMOUNT | MS_RDONLY | one, nullptr), 0);
    EXPECT_TRUE(driveOf("memory")->isExcluded());
    EXPECT_TRUE(driveOf("memory")->isAvailable());
    ASSERT_EQ(mount("none", place.c_str(), nullptr, MS_REMOUNT | one, nullptr), 0);
    EXPECT_FALSE(driveOf("memory")->isExcluded());
  }
}

TEST_F(LinuxDiskTest, ItsRootHasTheVeryNameOfItsFolder) {
  for (const char* name : {"a name", "two\nlines", "back\\slash", "a\ttab", "\xFF\xC3", "\\040",
                           "#1", "sep,ar=ator", "\xC3\xA9t\xC3\xA9"}) {
    SCOPED_TRACE(name);
    if (!mountMemory(name)) GTEST_SKIP() << kRefused;
    std::vector<Drive> listed = listedAt(name);
    ASSERT_EQ(listed.size(), 1u);
    std::string bytes;
    ASSERT_TRUE(toPathBytes(listed[0]->getRootPath(), bytes));
    EXPECT_EQ(bytes, real_ + "/" + name + "/");
    EXPECT_TRUE(listed[0]->isAvailable());
    uint64_t freeBytes = 0, totalBytes = 0;
    EXPECT_TRUE(listed[0]->getSpace(freeBytes, totalBytes));
    EXPECT_EQ(totalBytes, kMiB);
    EXPECT_EQ(driveOf(name)->getRootPath(), listed[0]->getRootPath());
  }
}

TEST_F(LinuxDiskTest, ADriveUnderAnotherIsExcludedAndNotAskedUntilThatOneGoes) {
  if (!mountMemory("outer", "size=1m")) GTEST_SKIP() << kRefused;
  ASSERT_TRUE(mountMemory("outer/inner", "size=2m"));
  ASSERT_TRUE(mountMemory("outer/inner", "size=3m"));
  std::vector<Drive> same = listedAt("outer/inner");
  ASSERT_EQ(same.size(), 2u);
  EXPECT_TRUE(same[0]->isExcluded());
  EXPECT_FALSE(same[0]->isAvailable());
  EXPECT_FALSE(same[1]->isExcluded());
  EXPECT_TRUE(same[1]->isAvailable());
  uint64_t freeBytes = 0, totalBytes = 0;
  EXPECT_FALSE(same[0]->getSpace(freeBytes, totalBytes));
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsNotSupported);
  EXPECT_TRUE(same[1]->getSpace(freeBytes, totalBytes));
  EXPECT_EQ(totalBytes, 3 * kMiB);
  ASSERT_TRUE(mountMemory("outer", "size=4m"));
  for (const Drive& drive : listedAt("outer/inner")) EXPECT_TRUE(drive->isExcluded());
  unmountLast();
  unmountLast();
  same = listedAt("outer/inner");
  ASSERT_EQ(same.size(), 1u);
  EXPECT_FALSE(same[0]->isExcluded());
  EXPECT_TRUE(same[0]->getSpace(freeBytes, totalBytes));
  EXPECT_EQ(totalBytes, 2 * kMiB);
}

TEST_F(LinuxDiskTest, EachMountOfOneDriveIsADriveOfItsOwn) {
  if (!mountMemory("memory")) GTEST_SKIP() << kRefused;
  ASSERT_EQ(mkdir(folder_.bytes("memory/part").c_str(), 0700), 0);
  ASSERT_TRUE(mountAt("again", nullptr, MS_BIND, folder_.bytes("memory")));
  ASSERT_TRUE(mountAt("some", nullptr, MS_BIND, folder_.bytes("memory/part")));
  for (const char* name : {"memory", "again", "some"}) {
    SCOPED_TRACE(name);
    std::vector<Drive> listed = listedAt(name);
    ASSERT_EQ(listed.size(), 1u);
    EXPECT_FALSE(listed[0]->isExcluded());
    EXPECT_TRUE(listed[0]->isAvailable());
    EXPECT_EQ(listed[0]->getFileSystem(), L"tmpfs");
    EXPECT_EQ(driveOf(std::string(name) + "/clip")->getRootPath(), root(name));
  }
}

TEST_F(LinuxDiskTest, ADriveThatIsGoneTellsNoFiguresOfWhatLiesThereNow) {
  if (!mountMemory("memory")) GTEST_SKIP() << kRefused;
  Drive gone = driveOf("memory");
  const uint64_t number = mountNumber(folder_.bytes("memory"));
  unmountLast();
  uint64_t freeBytes = 1, totalBytes = 1;
  EXPECT_FALSE(gone->getSpace(freeBytes, totalBytes));
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsNotFound);
  EXPECT_EQ(freeBytes + totalBytes, 0u);
  EXPECT_FALSE(gone->isAvailable());
  EXPECT_EQ(gone->getRootPath(), root("memory")) << "what it was is still known";
  ASSERT_TRUE(mountMemory("other"));
  ASSERT_TRUE(mountMemory("memory", "size=2m"));
  // The system gives a free number again, and others mount beside this test: then once more.
  if (mountNumber(folder_.bytes("memory")) == number) mountMemory("memory", "size=2m");
  ASSERT_NE(mountNumber(folder_.bytes("memory")), number);
  EXPECT_FALSE(gone->getSpace(freeBytes, totalBytes));
}

TEST_F(LinuxDiskTest, IsAvailableTellsWhatWasHeardLast) {
  if (!mountMemory("memory")) GTEST_SKIP() << kRefused;
  Drive drive = driveOf("memory");
  EXPECT_TRUE(drive->isAvailable());
  unmountLast();
  EXPECT_TRUE(drive->isAvailable()) << "it is not asked again";
  uint64_t freeBytes = 0, totalBytes = 0;
  EXPECT_FALSE(drive->getSpace(freeBytes, totalBytes));
  EXPECT_FALSE(drive->isAvailable());
}

TEST_F(LinuxDiskTest, ADiskInAFileIsAFixedDriveOfItsFileSystem) {
  const std::vector<std::pair<MountedFolder::eKind, const wchar_t*>> kinds = {
      {MountedFolder::eExt4, L"ext4"},
      {MountedFolder::eXfs, L"xfs"},
      {MountedFolder::eLargeSectors, L"ext4"}};
  for (auto [kind, name] : kinds) {
    MountedFolder mounted(kind);
    if (mounted.path().empty()) GTEST_SKIP() << mounted.why();
    Drive drive = linuxFileManager()->getDisk(mounted / "clip");
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->getType(), iDiskDrive::eFixed);
    EXPECT_EQ(drive->getFileSystem(), name);
    EXPECT_EQ(drive->getSectorSize(), kind == MountedFolder::eLargeSectors ? 4096u : 512u);
    std::string real = std::filesystem::canonical(mounted.path()).string() + "/";
    EXPECT_EQ(drive->getRootPath(), fromUTF8(std::string_view(real)));
    EXPECT_FALSE(drive->isExcluded());
    EXPECT_TRUE(drive->isAvailable());
  }
}

}  // namespace
