// The registry of drives on real disks, which come and go.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/OS.h"
#include "tests/integration/RegistryFixture.h"
#include "tests/support/MountedFolder.h"

namespace {

using StorageTest = RegistryFixture;

// Folders ----------------------------------------------------------------------------------------

TEST_F(StorageTest, ALocationIsThereAgainAtTheNextStartUntilItIsRemoved) {
  const std::string folder = madeFolder(
      "m\xC3\xA9"
      "dia");
  const Text location = wide(locationOf(folder));
  start();
  EXPECT_TRUE(DiskManager::addMediaLocation(location));
  EXPECT_FALSE(DiskManager::addMediaLocation(location));
  EXPECT_EQ(project_.content("DefNetDrive.txt"), locationOf(folder) + "\n");
  start();
  EXPECT_TRUE(isRegistered(folder));
  EXPECT_GT(DiskManager::getVolume(location)->getCapacityMB(), 0);
  EXPECT_TRUE(DiskManager::removeMediaLocation(location));
  EXPECT_EQ(project_.content("DefNetDrive.txt"), "");
  start();
  EXPECT_FALSE(isRegistered(folder));
}

TEST_F(StorageTest, ANameThatIsNoUtf8IsListedAndFoundAgain) {
  const std::string folder = scratch_.bytes("m\xE9\xFF");
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  start();
  EXPECT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder))));
  EXPECT_EQ(project_.content("DefNetDrive.txt"), locationOf(folder) + "\n");
  start();
  EXPECT_NE(idOf(folder), DriveId());
}

TEST_F(StorageTest, AFolderThatIsPreparedAndNamedIsKnownByItsNameAtTheNextStart) {
  const std::string folder = madeFolder("media");
  start();
  ASSERT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder))));
  DriveId id = idOf(folder);
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id));
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id));
  EXPECT_TRUE(DiskManager::isVolumePreparedForMedia(id));
  EXPECT_TRUE(isFolder(folder + "/Material"));
  EXPECT_TRUE(isFolder(folder + "/Sound"));
  EXPECT_TRUE(DiskManager::renameMediaLocation(id, L"Edit media 1"));
  EXPECT_EQ(scratch_.content("media/Material/MediaSpaceInfo.txt"), "name=Edit media 1\n");
  start();
  EXPECT_EQ(DiskManager::getVolume(idOf(folder))->getUserName(false), Text(L"Edit media 1"));
  EXPECT_TRUE(DiskManager::getDriveWithName(L"Edit media 1").valid());
}

TEST_F(StorageTest, AFolderThatIsNotPreparedKeepsItsNewNameUntilTheNextStart) {
  const std::string folder = madeFolder("media");
  start();
  ASSERT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder))));
  DriveId id = idOf(folder);
  diagnostics_.clear();
  EXPECT_TRUE(DiskManager::renameMediaLocation(id, L"Edit media 1"));
  ASSERT_EQ(diagnostics_.log().size(), 1u);
  EXPECT_EQ(diagnostics_.log()[0], "Disk Manager - the name of drive '" +
                                       std::string(id.asString().view()) + "' cannot be saved\n");
  EXPECT_EQ(DiskManager::getVolume(id)->getUserName(false), Text(L"Edit media 1"));
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  start();
  EXPECT_EQ(DiskManager::getVolume(idOf(folder))->getUserName(false), Text(L"media"));
  EXPECT_FALSE(DiskManager::getDriveWithName(L"Edit media 1").valid());
}

TEST_F(StorageTest, AListKeepsItsModeAndALinkToItStays) {
  const std::string folder = madeFolder("media");
  const std::string list = project_.bytes("elsewhere.txt");
  project_.put("elsewhere.txt", "/away/\n");
  ASSERT_EQ(chmod(list.c_str(), 0640), 0);
  ASSERT_EQ(symlink("elsewhere.txt", project_.bytes("DefNetDrive.txt").c_str()), 0);
  start();
  EXPECT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder))));
  EXPECT_EQ(project_.content("elsewhere.txt"), "/away/\n" + locationOf(folder) + "\n");
  EXPECT_TRUE(std::filesystem::is_symlink(project_.bytes("DefNetDrive.txt")));
  struct stat status = {};
  ASSERT_EQ(stat(list.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST_F(StorageTest, ALinkInTheInformationFilesPlaceLeadsNowhere) {
  const std::string folder = madeFolder("media");
  madeFolder("media/Material");
  scratch_.put("diary", "mine\n");
  ASSERT_EQ(symlink("../../diary", (folder + "/Material/MediaSpaceInfo.txt").c_str()), 0);
  start();
  ASSERT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder))));
  EXPECT_TRUE(DiskManager::renameMediaLocation(idOf(folder), L"new"));
  EXPECT_EQ(scratch_.content("diary"), "mine\n");
  EXPECT_EQ(scratch_.content("media/Material/MediaSpaceInfo.txt"), "name=new\n");
  EXPECT_FALSE(std::filesystem::is_symlink(folder + "/Material/MediaSpaceInfo.txt"));
}

TEST_F(StorageTest, WhatCannotBeAListStaysAsItIs) {
  const std::string folder = madeFolder("media");
  ASSERT_EQ(mkfifo(project_.bytes("DefNetDrive.txt").c_str(), 0600), 0);
  ASSERT_EQ(mkdir(project_.bytes("UnmountedDrives.txt").c_str(), 0700), 0);
  start();
  diagnostics_.clear();
  EXPECT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder))));
  EXPECT_EQ(diagnostics_.log().size(), 2u) << "of each list";
  EXPECT_TRUE(isRegistered(folder));
  EXPECT_TRUE(std::filesystem::is_fifo(project_.bytes("DefNetDrive.txt")));
  EXPECT_TRUE(isFolder(project_.bytes("UnmountedDrives.txt")));
}

TEST_F(StorageTest, ALocationWhoseFolderIsAwayKeepsItsLineAndNothingIsMadeThere) {
  const std::string folder = madeFolder("media");
  start();
  ASSERT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder))));
  DriveId id = idOf(folder);
  ASSERT_EQ(rmdir(folder.c_str()), 0);
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id));
  DiskManager::renameMediaLocation(id, L"new");
  EXPECT_FALSE(std::filesystem::exists(folder));
  start();
  EXPECT_FALSE(isRegistered(folder));
  ASSERT_EQ(DiskManager::getMissingMediaLocations().size(), 1u);
  EXPECT_EQ(DiskManager::getMissingMediaLocations()[0], wide(locationOf(folder)));
  EXPECT_EQ(project_.content("DefNetDrive.txt"), locationOf(folder) + "\n");
  madeFolder("media");
  start();
  EXPECT_TRUE(isRegistered(folder));
}

TEST_F(StorageTest, ThreeHundredLocationsAreListedAndAsManyRegisteredAsThereAreIdentifiers) {
  constexpr size_t kListed = 300;
  std::string list;
  for (size_t i = 0; i < kListed; ++i)
    list += locationOf(madeFolder("m/" + std::to_string(i))) + "\n";
  project_.put("DefNetDrive.txt", list);
  start();
  size_t own = 0;
  DriveId id;
  for (bool more = DiskManager::getFirstMaterialVolume(id); more;
       more = DiskManager::getNextMaterialVolume(id))
    ++own;
  EXPECT_EQ(own, size_t{DriveId::kLast - DriveId::kNone});
  EXPECT_GT(DiskManager::getMissingMediaLocations().size(), 0u);
  EXPECT_EQ(project_.content("DefNetDrive.txt"), list);
}

// Disks ------------------------------------------------------------------------------------------

// A disk that is mounted for a test, under the name by which the system lists it.
class MountedDisk {
public:
  explicit MountedDisk(MountedFolder::eKind kind) : folder_(kind, kDisk_mib) {
    if (isMounted()) path_ = std::filesystem::canonical(folder_.path());
  }
  // Also when somebody else looks at it just now.
  ~MountedDisk() { unmount(); }
  MountedDisk(const MountedDisk&) = delete;
  MountedDisk& operator=(const MountedDisk&) = delete;

  void unmount() const { umount2(path_.c_str(), MNT_DETACH); }
  bool isMounted() const { return !folder_.path().empty(); }
  const std::string& why() const { return folder_.why(); }
  const std::string& path() const { return path_; }

private:
  static constexpr unsigned kDisk_mib = 16;

  MountedFolder folder_;
  std::string path_;
};

// The same disk in another folder.
class MountedAgain {
public:
  MountedAgain(const std::string& disk, const std::string& folder)
      : path_(std::filesystem::canonical(folder)),
        isMounted_(mount(disk.c_str(), path_.c_str(), nullptr, MS_BIND, nullptr) == 0) {}
  ~MountedAgain() {
    if (isMounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  MountedAgain(const MountedAgain&) = delete;
  MountedAgain& operator=(const MountedAgain&) = delete;

  bool isMounted() const { return isMounted_; }
  const std::string& path() const { return path_; }

private:
  const std::string path_;
  const bool isMounted_;
};

class StorageDiskTest : public StorageTest {
protected:
  static constexpr uint32_t kUnknownMinutes = 4294967295;

  std::unique_ptr<MountedDisk> disk(MountedFolder::eKind kind) {
    auto mounted = std::make_unique<MountedDisk>(kind);
    if (!mounted->isMounted()) why_ = mounted->why();
    return mounted;
  }
  std::unique_ptr<MountedDisk> mediaDisk(MountedFolder::eKind kind = MountedFolder::eExt4) {
    auto mounted = disk(kind);
    if (mounted->isMounted()) mkdir((mounted->path() + "/Material").c_str(), 0700);
    return mounted;
  }

  // All that discovery is to find on this machine, as "1 /media/disk/".
  static Paths expectedOfThisMachine() {
    Paths all;
    for (const Qv::Ptr<iDiskDrive>& disk : OS()->getFileManager()->getDisks()) {
      const std::string root(toUTF8(disk->getRootPath()).view());
      const std::string media = root + "Material";
      if (disk->getType() != iDiskDrive::eFixed || disk->isExcluded() || !disk->isAvailable() ||
          !isFolder(media) || access(media.c_str(), W_OK) != 0)
        continue;
      all.push_back(std::string(1, static_cast<char>('1' + all.size())) + " " + root);
    }
    return all;
  }
  // All that is registered, in the registry's order.
  static Paths registered() {
    Paths all;
    DriveId id;
    for (bool more = DiskManager::getFirstMaterialVolume(id); more;
         more = DiskManager::getNextMaterialVolume(id)) {
      const Text name = DiskManager::getMaterialVolumeName(id, false);
      all.push_back(std::string(id.asString().view()) + " " +
                    locationOf(std::string(toUTF8(name).view())));
    }
    return all;
  }

  std::string why_;  // a disk could not be mounted; empty: all could
};

TEST_F(StorageDiskTest, DiscoveryFindsTheDisksWithAMediaFolderInTheOrderOfTheirMounting) {
  auto first = mediaDisk(), bare = disk(MountedFolder::eExt4),
       memory = mediaDisk(MountedFolder::eMemory), second = mediaDisk(MountedFolder::eXfs),
       third = mediaDisk();
  if (!why_.empty()) GTEST_SKIP() << why_;
  Paths expected;
  do {  // others may mount their disks meanwhile
    expected = expectedOfThisMachine();
    start();
  } while (expectedOfThisMachine() != expected);
  EXPECT_EQ(
      registeredOf({first->path(), bare->path(), memory->path(), second->path(), third->path()}),
      Paths({first->path(), second->path(), third->path()}));
  EXPECT_EQ(registered(), expected);
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(idOf(first->path())));
  EXPECT_GT(DiskManager::getVolume(idOf(second->path()))->getSpaceMB(), 0);
}

TEST_F(StorageDiskTest, ADiskThatCannotBeWrittenIsNotDiscovered) {
  auto mounted = mediaDisk();
  if (!why_.empty()) GTEST_SKIP() << why_;
  const char* folder = mounted->path().c_str();
  ASSERT_EQ(mount(nullptr, folder, nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  start();
  EXPECT_FALSE(isRegistered(mounted->path()));
  EXPECT_TRUE(DiskManager::addMediaLocation(wide(locationOf(mounted->path()))));
  EXPECT_FALSE(isRegistered(mounted->path())) << "nor can it be added";
  ASSERT_EQ(mount(nullptr, folder, nullptr, MS_REMOUNT, nullptr), 0);
  start();
  EXPECT_TRUE(isRegistered(mounted->path()));
}

TEST_F(StorageDiskTest, ADiskWhoseFolderHasABackslashIsNotTakenForTheFolderOfThatPath) {
  auto mounted = mediaDisk();
  if (!why_.empty()) GTEST_SKIP() << why_;
  const std::string other = madeFolder("a/b");
  madeFolder("a/b/Material");
  const MountedAgain again(mounted->path(), madeFolder("a\\b"));
  ASSERT_TRUE(again.isMounted());
  start();
  EXPECT_EQ(registeredOf({mounted->path(), other, again.path()}), Paths({mounted->path()}));
  const Paths log = diagnostics_.log();
  EXPECT_EQ(std::count(log.begin(), log.end(),
                       "Disk Manager - '" + again.path() + "/' is no path of a media drive\n"),
            1);
}

TEST_F(StorageDiskTest, ADiskThatTheUserUnmountedStaysOutUntilHeAddsIt) {
  auto mounted = mediaDisk(), other = mediaDisk();
  if (!why_.empty()) GTEST_SKIP() << why_;
  const Text location = wide(locationOf(mounted->path()));
  start();
  ASSERT_TRUE(isRegistered(mounted->path()));
  EXPECT_TRUE(DiskManager::removeMediaLocation(location));
  EXPECT_EQ(project_.content("UnmountedDrives.txt"), locationOf(mounted->path()) + "\n");
  start();
  EXPECT_EQ(registeredOf({mounted->path(), other->path()}), Paths({other->path()}));
  EXPECT_TRUE(DiskManager::addMediaLocation(location));
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(idOf(mounted->path())));
  EXPECT_FALSE(std::filesystem::exists(project_.bytes("UnmountedDrives.txt")));
  EXPECT_FALSE(std::filesystem::exists(project_.bytes("DefNetDrive.txt")));
  start();
  EXPECT_TRUE(isRegistered(mounted->path()));
}

TEST_F(StorageDiskTest, ADiskCanBeAddedWhateverItsKind) {
  auto memory = disk(MountedFolder::eMemory);
  if (!why_.empty()) GTEST_SKIP() << why_;
  start();
  EXPECT_TRUE(DiskManager::addMediaLocation(wide(locationOf(memory->path()))));
  DriveId id = idOf(memory->path());
  ASSERT_TRUE(DiskManager::isMaterialVolume(id));
  EXPECT_EQ(DiskManager::getVolume(id)->getType(), iDiskDrive::eMemory);
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id));
  EXPECT_TRUE(DiskManager::renameMediaLocation(id, L"memory"));
}

TEST_F(StorageDiskTest, NothingIsMadeWhereADiskWasThatIsUnmountedMeanwhile) {
  auto mounted = mediaDisk();
  if (!why_.empty()) GTEST_SKIP() << why_;
  start();
  DriveId id = idOf(mounted->path());
  ASSERT_TRUE(DiskManager::isMaterialVolume(id));
  EXPECT_GT(DiskManager::getSpaceForRecording(id), 0);
  EXPECT_NE(DiskManager::get_mins_of_recording_left(id, 512, 512), kUnknownMinutes);
  mounted->unmount();
  EXPECT_LT(DiskManager::getSpaceForRecording(id), 0) << "nor is that of the disk below told";
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(id, 512, 512), kUnknownMinutes);
  DiskManager::updateDrives();
  EXPECT_EQ(DiskManager::getVolume(id)->getCapacityMB(), 0);
  EXPECT_NE(DiskManager::find_best_disk(), id);
  EXPECT_NE(DiskManager::findBestDrive(0, DiskManager::eMostFree), id);
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id));
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id));
  DiskManager::renameMediaLocation(id, L"new");
  EXPECT_TRUE(std::filesystem::is_empty(mounted->path()));
  EXPECT_TRUE(DiskManager::isMaterialVolume(id)) << "until the next start";
  start();
  EXPECT_FALSE(isRegistered(mounted->path()));
}

TEST_F(StorageDiskTest, AFullDiskKeepsTheNameThatItHad) {
  auto mounted = mediaDisk();
  if (!why_.empty()) GTEST_SKIP() << why_;
  start();
  DriveId id = idOf(mounted->path());
  ASSERT_TRUE(DiskManager::renameMediaLocation(id, L"old"));
  std::string fill = "head -c 64M /dev/zero >'" + mounted->path() + "/fill' 2>/dev/null";
  EXPECT_NE(std::system(fill.c_str()), 0);
  diagnostics_.clear();
  EXPECT_FALSE(DiskManager::renameMediaLocation(id, L"new"));
  EXPECT_EQ(diagnostics_.logBoth().size(), 1u);
  EXPECT_EQ(DiskManager::getMediaLocationUserName(id), Text(L"old"));
}

}  // namespace
