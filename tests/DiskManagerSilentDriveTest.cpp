// A drive that does not answer is waited for, but not for long.

#include "tests/LocationsFixture.h"
#include "tests/support/ForwardingOS.h"

namespace {

// The clock is the fake's: what the registry waits is all that passes.
class DiskManagerSilentDriveTest : public LocationsFixture {
protected:
  static constexpr double kQuestion_ms = 500;
  static constexpr double kFile_ms = 1500;
  static constexpr const wchar_t* kShare = L"/net/";

  DiskManagerSilentDriveTest() {
    files().setDrive(kShare, {.type = iDiskDrive::eNetwork});
    files().addFolder(L"/net/media");
    files().addFolder(L"/media");
  }
  // From now on, until it is to answer again.
  void hang(const wchar_t* drive = kShare) { files().drive(drive).silent = true; }
  void answer(const wchar_t* drive = kShare) { files().drive(drive).silent = false; }
  void hangProject() {
    files().setDrive(kProject, {.type = iDiskDrive::eNetwork});
    hang(L"/project/");
  }
  template <typename Action>
  double timeOf_ms(const Action& action) {
    double begin = os_->clock().now_ms();
    action();
    return os_->clock().now_ms() - begin;
  }
};

TEST_F(DiskManagerSilentDriveTest, TheStartWaitsOnceForAShareHoweverManyLocationsAreThere) {
  write(kLocations, "/net/media/\n/net/more/\n/media/\n/net/others/\n");
  hang();
  EXPECT_EQ(timeOf_ms([this] { start(); }), kQuestion_ms);
  EXPECT_EQ(drives(), Texts({"1 /media"}));
  EXPECT_EQ(missing(), Texts({"/net/media/", "/net/more/", "/net/others/"}));
  EXPECT_EQ(content(kLocations), "/net/media/\n/net/more/\n/media/\n/net/others/\n");
}

TEST_F(DiskManagerSilentDriveTest, AShareThatAnswersAgainIsRegisteredAtTheNextStart) {
  write(kLocations, "/net/media/\n");
  hang();
  start();
  EXPECT_EQ(events(), Texts({"+0", kChanged}));
  answer();
  start();
  EXPECT_EQ(drives(), Texts({"1 /net/media"}));
  EXPECT_EQ(missing(), Texts());
}

TEST_F(DiskManagerSilentDriveTest, AStartFindsTheDisksThatAnswer) {
  addDisk(L"/a/");
  addDisk(L"/b/");
  addDisk(L"/c/");
  hang(L"/b/");
  EXPECT_EQ(timeOf_ms([this] { start(); }), kQuestion_ms);
  EXPECT_EQ(drives(), Texts({"1 /a", "2 /c"}));
}

TEST_F(DiskManagerSilentDriveTest, AStartWaitsOnceForAProjectSpaceThatHangsAndItsListsStay) {
  write(kLocations, "/media/\n");
  write(kUnmounted, "/a/\n");
  addDisk(L"/a/");
  hangProject();
  EXPECT_EQ(timeOf_ms([this] { start(); }), kFile_ms);
  EXPECT_EQ(drives(), Texts({"1 /a"}));
  EXPECT_EQ(diagnostics_.log().size(), 2u) << "each list is said to be unreadable";
  forget();
  EXPECT_EQ(timeOf_ms([] {
              EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/"));
              EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
              EXPECT_TRUE(DiskManager::removeMediaLocation(L"/a/"));
            }),
            0)
      << "nobody waits for it again";
  answer(L"/project/");
  files().runLateErrands();
  EXPECT_EQ(content(kLocations), "/media/\n");
  EXPECT_EQ(content(kUnmounted), "/a/\n");
}

TEST_F(DiskManagerSilentDriveTest, ANewLocationOnAShareThatHangsIsListed) {
  hang();
  EXPECT_EQ(timeOf_ms([] { EXPECT_TRUE(DiskManager::addMediaLocation(L"/net/media/")); }),
            kQuestion_ms);
  EXPECT_EQ(content(kLocations), "/net/media/\n");
  EXPECT_EQ(drives(), Texts());
  EXPECT_EQ(events(), Texts({"+0", kChanged}));
}

TEST_F(DiskManagerSilentDriveTest, AShareThatHangsIsRemovedWithoutAQuestion) {
  write(kLocations, "/net/media/\n");
  start();
  hang();
  EXPECT_EQ(timeOf_ms([] { EXPECT_TRUE(DiskManager::removeMediaLocation(L"/net/media/")); }), 0);
  EXPECT_EQ(drives(), Texts());
  EXPECT_EQ(content(kLocations), "");
}

TEST_F(DiskManagerSilentDriveTest, ARefreshFindsNoSpaceOnAShareThatHangsAndNoChooserTakesIt) {
  files().drive(kShare).freeBytes = 7 * kMebibyte;
  DriveId id = added(L"/net/media/");
  DriveId other = added(L"/media/");
  hang();
  EXPECT_EQ(timeOf_ms([] { DiskManager::update_drives_and_groups(); }), kQuestion_ms);
  EXPECT_EQ(DiskManager::getVolume(id)->getSpaceMB(), 0);
  EXPECT_EQ(DiskManager::getVolume(id)->getCapacityMB(), 0);
  DiskManager::getVolume(other)->bookSpace(1e9);
  EXPECT_FALSE(DiskManager::find_best_disk().valid());
  EXPECT_FALSE(DiskManager::findBestDrive(1, DiskManager::eMostFree).valid());
}

TEST_F(DiskManagerSilentDriveTest, ARefreshWaitsOnceForAllSharesThatHang) {
  const wchar_t* shares[] = {L"/net/1/", L"/net/2/", L"/net/3/"};
  for (const wchar_t* share : shares) {
    files().setDrive(share, {.type = iDiskDrive::eNetwork, .listed = true});
    added(share);
  }
  for (const wchar_t* share : shares) hang(share);
  EXPECT_EQ(timeOf_ms([] { DiskManager::updateDrives(); }), kQuestion_ms);
  EXPECT_FALSE(DiskManager::find_best_disk().valid());
}

TEST_F(DiskManagerSilentDriveTest, ARefreshOfOneShareOrOfDisksAsksForNoOthers) {
  added(L"/net/media/");
  added(L"/media/");
  added(L"/media");
  DiskManager::updateDrives();
  EXPECT_EQ(os_->faults().calls(FaultPlan::eGetDisks), 0u);
}

TEST_F(DiskManagerSilentDriveTest, EachQuestionForTheSpaceOfAShareThatHangsIsAnsweredInTime) {
  DriveId id = added(L"/net/media/");
  VolumeInfo info;
  const std::vector<std::function<void()>> questions = {
      [id] { DiskManager::getSpaceForRecording(id); },
      [id] { DiskManager::getSpaceForRecording(DiskManager::getDriveWithUniqueId(id)); },
      [id] { DiskManager::get_mins_of_recording_left(id, 512, 512); },
      [&] { EXPECT_NE(DiskManager::getVolInfo(id, &info), QvResult::OK); },
      [&] { EXPECT_FALSE(DiskManager::getVolume(id)->getInfo(&info)); },
      [] { DiskManager::updateDrives(); }};
  for (const auto& question : questions) {
    answer();
    EXPECT_EQ(DiskManager::getVolInfo(id, &info), QvResult::OK);
    hang();
    EXPECT_EQ(timeOf_ms(question), kQuestion_ms);
    EXPECT_EQ(timeOf_ms(question), 0) << "nobody waits for it again";
  }
}

TEST_F(DiskManagerSilentDriveTest, ListingAShareThatHangsAsksItNothing) {
  added(L"/net/media/");
  added(L"/media/");
  hang();
  EXPECT_EQ(timeOf_ms([] { EXPECT_EQ(drives(), Texts({"1 /net/media", "2 /media"})); }), 0);
}

TEST_F(DiskManagerSilentDriveTest, ARenameOnAShareThatHangsAnswersFalseAndWritesNothing) {
  DriveId id = added(L"/net/media/");
  hang();
  EXPECT_EQ(timeOf_ms([id] { EXPECT_FALSE(DiskManager::renameMediaLocation(id, L"new")); }),
            kQuestion_ms);
  EXPECT_EQ(userName(id), "new");
  EXPECT_EQ(
      diagnostics_.logBoth(),
      Texts({"Disk Manager : Insufficient space for MediaSpaceInfo.txt file on drive '1'.\n"}));
  answer();
  files().runLateErrands();
  EXPECT_FALSE(isThere(L"/net/media/Material/MediaSpaceInfo.txt"));
}

TEST_F(DiskManagerSilentDriveTest, TheNameOnAShareThatHangsIsEmptyAfterItsPatience) {
  DriveId id = added(L"/net/media/");
  write(L"/net/media/Material/MediaSpaceInfo.txt", "name=x\n");
  hang();
  EXPECT_EQ(timeOf_ms([id] { EXPECT_EQ(DiskManager::getMediaLocationUserName(id), Text()); }),
            kFile_ms);
  expectCheck("false", "185");
}

TEST_F(DiskManagerSilentDriveTest, AShareThatHangsIsNotPreparedAndNothingIsMadeThereLater) {
  DriveId id = added(L"/net/media/");
  hang();
  EXPECT_EQ(timeOf_ms([id] { EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id)); }),
            kQuestion_ms);
  EXPECT_EQ(diagnostics_.logBoth(),
            Texts({"DiskManager::prepareVolumeForMedia : Failed to create /net/media/Material\n"}));
  expectCheck("success", "873");
  answer();
  files().runLateErrands();
  EXPECT_FALSE(files().folderExists(L"/net/media/Material"));
}

// A drive falls silent once that many folders were asked for.
class SilencingOS final : public ForwardingOS {
public:
  SilencingOS(FakeOS& fake, FakeDrive& drive, unsigned folders)
      : fake_(fake),
        drive_(drive),
        folders_(fake.faults().calls(FaultPlan::eFolderExists) + folders) {}
  iFileManager* getFileManager() override {
    if (fake_.faults().calls(FaultPlan::eFolderExists) == folders_) drive_.silent = true;
    return ForwardingOS::getFileManager();
  }

private:
  FakeOS& fake_;
  FakeDrive& drive_;
  const unsigned folders_;
};

TEST_F(DiskManagerSilentDriveTest, AShareThatFallsSilentAsAFolderIsMadeIsWaitedForLikeAFile) {
  DriveId id = added(L"/net/media/");
  // Material, the root, and Material again.
  SilencingOS os(*os_, files().drive(kShare), 3);
  EXPECT_EQ(timeOf_ms([id] { EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id)); }), kFile_ms);
  EXPECT_EQ(diagnostics_.logBoth(),
            Texts({"DiskManager::prepareVolumeForMedia : Failed to create /net/media/Material\n"}));
  expectCheck("success", "873");
}

TEST_F(DiskManagerSilentDriveTest, AShareThatHangsCannotBeWritten) {
  hang();
  EXPECT_EQ(timeOf_ms([] { EXPECT_FALSE(DiskManager::writableVolume(L"/net/media")); }),
            kQuestion_ms);
}

TEST_F(DiskManagerSilentDriveTest, UnmountingWaitsOnceForAShareThatHangs) {
  for (unsigned char code = DriveId::kNone + 1; code <= 'Z'; ++code) registerDrive(L"/low");
  registerDrive(L"/net/a");
  registerDrive(L"/net/b");
  hang();
  EXPECT_EQ(timeOf_ms([] { EXPECT_TRUE(DiskManager::unmountDrives("/report")); }), kQuestion_ms);
  EXPECT_EQ(content(L"/report"), "/net/a\n/net/b\n");
  EXPECT_EQ(codes().back(), 'Z');
}

}  // namespace
