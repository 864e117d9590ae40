// The registry of drives on a network share, which may hang.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>

#include "platform/OS.h"
#include "tests/integration/RegistryFixture.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/MountedShare.h"
#include "tests/support/ThreadCount.h"

namespace {

class StorageShareTest : public RegistryFixture {
protected:
  void SetUp() override {
    if (!share_.whyNot().empty()) GTEST_SKIP() << share_.whyNot();
  }
  std::string onShare(std::string_view name) const { return folder_ + "/" + std::string(name); }
  DriveId added() const {
    EXPECT_TRUE(DiskManager::addMediaLocation(wide(locationOf(folder_))));
    return idOf(folder_);
  }

  const std::string folder_ = scratch_.bytes("share");
  MountedShare share_{folder_, "media@server:/share"};
};

TEST_F(StorageShareTest, AShareWithAMediaFolderIsNotDiscoveredButCanBeAdded) {
  std::filesystem::create_directory(onShare("Material"));
  ASSERT_TRUE(DiskManager::writableVolume(wide(onShare("Material"))));
  start();
  EXPECT_FALSE(isRegistered(folder_));
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(added());
  ASSERT_TRUE(drive);
  EXPECT_EQ(drive->getType(), iDiskDrive::eNetwork);
  EXPECT_FALSE(drive->isAutoDiscovered());
  EXPECT_EQ(drive->getSpaceMB(), 512);
  EXPECT_EQ(drive->getCapacityMB(), 1024);
  EXPECT_EQ(project_.content("DefNetDrive.txt"), locationOf(folder_) + "\n");
  start();
  EXPECT_TRUE(isRegistered(folder_));
}

TEST_F(StorageShareTest, AShareIsPreparedAndNamedAndKnownByItsNameAtTheNextStart) {
  start();
  DriveId id = added();
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id));
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id));
  EXPECT_TRUE(isFolder(onShare("Material")));
  EXPECT_TRUE(isFolder(onShare("Sound")));
  for (const wchar_t* name : {L"first", L"Edit media 1"})
    EXPECT_TRUE(DiskManager::renameMediaLocation(id, name));
  EXPECT_EQ(scratch_.content("share/Material/MediaSpaceInfo.txt"), "name=Edit media 1\n");
  std::filesystem::directory_iterator all(onShare("Material"));
  EXPECT_EQ(std::distance(begin(all), end(all)), 1) << "and nothing else is left there";
  start();
  EXPECT_EQ(DiskManager::getMediaLocationUserName(idOf(folder_)), Text(L"Edit media 1"));
  EXPECT_EQ(DiskManager::getDriveWithName(L"Edit media 1"), idOf(folder_));
}

TEST_F(StorageShareTest, AShareThatIsRemovedStaysAwayAndKeepsWhatLiesOnIt) {
  start();
  DriveId id = added();
  ASSERT_TRUE(DiskManager::prepareVolumeForMedia(id));
  EXPECT_TRUE(DiskManager::renameMediaLocation(id, L"mine"));
  EXPECT_TRUE(DiskManager::removeMediaLocation(wide(locationOf(folder_))));
  EXPECT_EQ(project_.content("DefNetDrive.txt"), "");
  EXPECT_FALSE(std::filesystem::exists(project_.bytes("UnmountedDrives.txt")));
  EXPECT_EQ(scratch_.content("share/Material/MediaSpaceInfo.txt"), "name=mine\n");
  start();
  EXPECT_FALSE(isRegistered(folder_));
}

TEST_F(StorageShareTest, AFileThereIsKnownToOthersByItsServersName) {
  start();
  DriveId id = added();
  Text unc = DiskManager::convertLocalToUNC(MaterialFilename(id, L"/Material/x.mov"));
  EXPECT_EQ(unc, Text(L"\\\\server\\share\\Material\\x.mov"));
  MaterialFilename back = DiskManager::convertUNCtoFsysFilename(unc);
  EXPECT_EQ(back.getDrive(), id);
  EXPECT_EQ(back.getPath(), Text(L"\\Material\\x.mov"));
}

// A share that hangs -----------------------------------------------------------------------------

// One whose two files are all there is, and one that takes whatever is made there.
enum eShare { eOfTwoFiles, eOfFolders };

class StorageDeadShareTest : public RegistryFixture, public testing::WithParamInterface<eShare> {
protected:
  using Clock = std::chrono::steady_clock;
  using Action = std::function<void()>;
  static constexpr std::chrono::seconds kMost{2};
  static constexpr std::chrono::seconds kLong{60};  // only a failure waits so long

  StorageDeadShareTest() {
    if (GetParam() == eOfFolders) {
      folders_ = std::make_unique<MountedShare>(folder_);
    } else {
      files_ = std::make_unique<HeldFileSystem>(folder_, HeldFileSystem::eNothing, "fuse.sshfs");
      files_->setSpace({1 << 20, 1 << 19, 4096});
    }
  }
  void SetUp() override {
    if (folders_ && !folders_->whyNot().empty()) GTEST_SKIP() << folders_->whyNot();
    if (files_ && !files_->isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  }

  void fallSilent() {
    if (folders_)
      folders_->fallSilent();
    else
      files_->order({HeldFileSystem::eAnything, HeldFileSystem::eHold});
  }
  // Returns when the share is known to answer.
  void answer() {
    if (folders_)
      folders_->answer();
    else
      files_->letGo();
    Qv::Ptr<iDiskDrive> drive = OS()->getFileManager()->getDisk(wide(folder_));
    uint64_t freeBytes = 0;
    uint64_t totalBytes = 0;
    const auto end = Clock::now() + kLong;
    while (!drive->getSpace(freeBytes, totalBytes) && Clock::now() < end) std::this_thread::yield();
    EXPECT_GT(totalBytes, 0u);
  }
  // Without the machine's own drives.
  void startWithout() { DiskManager::init(project_ / "", true); }
  Text location() const { return wide(locationOf(folder_)); }
  DriveId registered() const {
    DiskManager::addMediaLocation(location());
    EXPECT_TRUE(isRegistered(folder_));
    return idOf(folder_);
  }
  // Each silence is a new one. A machine that has much to do may be late with one of three.
  void expectInTime(const Action& before, const Action& action) {
    unsigned inTime = 0;
    for (unsigned late = 0; late < 2 && inTime < 2;) {
      answer();
      before();
      fallSilent();
      auto begin = Clock::now();
      action();
      ++(Clock::now() - begin < kMost ? inTime : late);
    }
    EXPECT_EQ(inTime, 2u);
    answer();
  }
  // Of the share that is registered.
  void expectInTime(const std::function<void(DriveId)>& action) {
    expectInTime([this] { registered(); }, [&] { action(idOf(folder_)); });
  }

  const std::string folder_ = scratch_.bytes("share");
  std::unique_ptr<HeldFileSystem> files_;
  std::unique_ptr<MountedShare> folders_;
};

TEST_P(StorageDeadShareTest, TheStartGoesOnWithoutItAndItsLineStays) {
  const std::string media = madeFolder("media");
  const std::string list = locationOf(folder_) + "\n" + locationOf(media) + "\n";
  project_.put("DefNetDrive.txt", list);
  fallSilent();
  start();
  EXPECT_EQ(registeredOf({folder_, media}), Paths({media}));
  EXPECT_EQ(project_.content("DefNetDrive.txt"), list);
  EXPECT_EQ(DiskManager::getMissingMediaLocations().size(), 1u);
  expectInTime([] {}, [this] { start(); });
}

TEST_P(StorageDeadShareTest, ALocationThereIsListedInTime) {
  startWithout();
  fallSilent();
  EXPECT_TRUE(DiskManager::addMediaLocation(location()));
  EXPECT_FALSE(isRegistered(folder_));
  EXPECT_EQ(project_.content("DefNetDrive.txt"), locationOf(folder_) + "\n");
  expectInTime([this] { DiskManager::removeMediaLocation(location()); },
               [this] { EXPECT_TRUE(DiskManager::addMediaLocation(location())); });
}

TEST_P(StorageDeadShareTest, TheDrivesAreListedInTime) {
  startWithout();
  expectInTime([this](DriveId id) {
    EXPECT_EQ(registeredOf({folder_}), Paths({folder_}));
    EXPECT_EQ(DiskManager::getDriveWithUniqueId(id).getUserName(false), Text(L"share"));
  });
  expectInTime([](DriveId) { EXPECT_GT(OS()->getFileManager()->getDisks().size(), 0u); });
}

TEST_P(StorageDeadShareTest, EachQuestionForItsSpaceIsAnsweredInTime) {
  startWithout();
  VolumeInfo info;
  expectInTime([](DriveId id) { DiskManager::getSpaceForRecording(id); });
  expectInTime(
      [](DriveId id) { DiskManager::getSpaceForRecording(DiskManager::getDriveWithUniqueId(id)); });
  expectInTime([](DriveId id) { DiskManager::get_mins_of_recording_left(id, 512, 512); });
  expectInTime([&](DriveId id) { EXPECT_NE(DiskManager::getVolInfo(id, &info), QvResult::OK); });
  expectInTime([&](DriveId id) { EXPECT_FALSE(DiskManager::getVolume(id)->getInfo(&info)); });
}

TEST_P(StorageDeadShareTest, ItIsRefreshedRenamedPreparedAndRemovedInTime) {
  startWithout();
  expectInTime([](DriveId) { DiskManager::update_drives_and_groups(); });
  expectInTime([](DriveId) { DiskManager::updateDrives(); });
  expectInTime([](DriveId id) { EXPECT_FALSE(DiskManager::renameMediaLocation(id, L"new")); });
  expectInTime([](DriveId id) { EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id)); });
  expectInTime([this](DriveId) { EXPECT_TRUE(DiskManager::removeMediaLocation(location())); });
  EXPECT_EQ(project_.content("DefNetDrive.txt"), "");
}

TEST_P(StorageDeadShareTest, AThousandPollsCostOneThreadAtMost) {
  constexpr unsigned kPolls = 1000;
  const size_t before = ThreadCount::atRest();
  startWithout();
  DriveId id = registered();
  fallSilent();
  VolumeInfo info;
  for (unsigned i = 0; i < kPolls; ++i) {
    DiskManager::update_drives_and_groups();
    DiskManager::getSpaceForRecording(id);
    DiskManager::get_mins_of_recording_left(id, 512, 512);
    EXPECT_NE(DiskManager::getVolInfo(id, &info), QvResult::OK);
    EXPECT_TRUE(isRegistered(folder_));
    ASSERT_LE(ThreadCount::now(), before + 1);
  }
  answer();
  EXPECT_TRUE(ThreadCount::returnsTo(before));
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, StorageDeadShareTest, testing::Values(eOfTwoFiles, eOfFolders),
                         [](const testing::TestParamInfo<eShare>& share) {
                           return share.param == eOfFolders ? "OfFolders" : "OfTwoFiles";
                         });

}  // namespace
