// The names of drives, in memory and on their disks.

#include "tests/LocationsFixture.h"

namespace {

using DiskManagerNamesTest = LocationsFixture;

// Names in memory --------------------------------------------------------------------------------

TEST_F(DiskManagerNamesTest, ANewNameIsKeptAndSavedAndTold) {
  DriveId id = prepared(L"/media/");
  EXPECT_TRUE(DiskManager::renameMediaLocation(id, L"Edit media 1"));
  EXPECT_EQ(userName(id), "Edit media 1");
  EXPECT_EQ(content(L"/media/Material/MediaSpaceInfo.txt"), "name=Edit media 1\n");
  EXPECT_EQ(DiskManager::getMediaLocationUserName(id), Text(L"Edit media 1"));
  EXPECT_EQ(events(), Texts({kChanged}));
}

TEST_F(DiskManagerNamesTest, TheListenersHearWhenTheNameIsSaved) {
  DriveId id = prepared(L"/media/");
  std::string saved;
  whenTold() = [&](const std::string&) { saved = content(L"/media/Material/MediaSpaceInfo.txt"); };
  DiskManager::renameMediaLocation(id, L"new");
  EXPECT_EQ(saved, "name=new\n");
}

TEST_F(DiskManagerNamesTest, ADriveWithoutSpaceIsRenamedInMemoryAndTheAnswerIsFalse) {
  files().setDrive(L"/media/", {.freeBytes = 0});
  DriveId id = added(L"/media/");
  EXPECT_FALSE(DiskManager::renameMediaLocation(id, L"new"));
  EXPECT_EQ(userName(id), "new");
  EXPECT_EQ(events(), Texts({kChanged}));
}

// There is no folder that its information file could lie in.
TEST_F(DiskManagerNamesTest, ADriveThatIsNotPreparedKeepsItsNewNameUntilTheNextStart) {
  files().addFolder(L"/media");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/"));
  DriveId id = DiskManager::getVolume(L"/media/")->getId();
  forget();
  EXPECT_TRUE(DiskManager::renameMediaLocation(id, L"new"));
  EXPECT_EQ(diagnostics_.log(), Texts({"Disk Manager - the name of drive '1' cannot be saved\n"}));
  EXPECT_EQ(diagnostics_.outText(), "");
  EXPECT_EQ(userName(id), "new");
  EXPECT_EQ(events(), Texts({kChanged}));
  EXPECT_FALSE(files().folderExists(L"/media/Material"));
  start();
  EXPECT_EQ(userName(DiskManager::getVolume(L"/media/")->getId()), "media");
}

TEST_F(DiskManagerNamesTest, NoDriveIsRenamedWithoutOne) {
  EXPECT_FALSE(DiskManager::renameMediaLocation(DriveId('9'), L"new"));
  EXPECT_EQ(events(), Texts());
  EXPECT_FALSE(files().hasFile(L"/Material/MediaSpaceInfo.txt"));
}

TEST_F(DiskManagerNamesTest, ANameThatIsNoLineIsRefusedAndNothingChanges) {
  DriveId id = prepared(L"/media/");
  DiskManager::renameMediaLocation(id, L"old");
  const Text names[] = {L"two\nlines", L"end\r", Text(L"a\0b", 3), L"\xD800"};
  for (const Text& name : names) {
    events().clear();
    diagnostics_.clear();
    EXPECT_FALSE(DiskManager::renameMediaLocation(id, name));
    EXPECT_EQ(events(), Texts());
    ASSERT_EQ(diagnostics_.log().size(), 1u);
    EXPECT_NE(diagnostics_.log()[0].find("is no name of a media location"), std::string::npos);
  }
  EXPECT_EQ(userName(id), "old");
  EXPECT_EQ(content(L"/media/Material/MediaSpaceInfo.txt"), "name=old\n");
}

TEST_F(DiskManagerNamesTest, AnEmptyNameTakesTheNameAway) {
  DriveId id = prepared(L"/media/");
  DiskManager::renameMediaLocation(id, L"old");
  EXPECT_TRUE(DiskManager::renameMediaLocation(id, L""));
  EXPECT_EQ(content(L"/media/Material/MediaSpaceInfo.txt"), "name=\n");
  EXPECT_EQ(DiskManager::getMediaLocationUserName(id), Text());
  EXPECT_TRUE(DiskManager::getVolume(id)->is_unnamed());
}

TEST_F(DiskManagerNamesTest, ANameIsSetInMemoryAlone) {
  DriveId id = added(L"/media/");
  DiskManager::setMediaLocationUserName(id, L"new");
  EXPECT_EQ(userName(id), "new");
  EXPECT_FALSE(files().hasFile(L"/media/Material/MediaSpaceInfo.txt"));
  EXPECT_EQ(events(), Texts());
}

TEST_F(DiskManagerNamesTest, ANameForNoDriveIsSaid) {
  DiskManager::setMediaLocationUserName(DriveId('9'), L"new");
  expectCheck("false", "200");
}

// Names on the disk ------------------------------------------------------------------------------

class DiskManagerDiskNameTest : public LocationsFixture {
protected:
  std::string read(const std::string& content) {
    diagnostics_.clear();
    write(L"/media/Material/MediaSpaceInfo.txt", content);
    return std::string(toUTF8(DiskManager::getMediaLocationUserName(id_)).view());
  }
  void expectCorrupt(const std::string& content) {
    EXPECT_EQ(read(content), "") << content;
    expectSaidCorrupt();
  }
  void expectSaidCorrupt() {
    EXPECT_EQ(diagnostics_.log(), Texts({"Disk Manager - MediaSpaceInfo.txt contents corrupt\n"}));
    expectCheck("false", "185");
  }
  void expectSilent() {
    EXPECT_EQ(diagnostics_.log(), Texts());
    EXPECT_EQ(diagnostics_.outText(), "");
  }

  const DriveId id_ = added(L"/media/");
};

TEST_F(DiskManagerDiskNameTest, TheFirstLineCountsAndItsAttributeInAnyCase) {
  EXPECT_EQ(read("name=Edit media 1\n"), "Edit media 1");
  EXPECT_EQ(read("NAME=x"), "x");
  EXPECT_EQ(read("NaMe=x\r\nname=y\r\n"), "x");
  EXPECT_EQ(read("name=\n"), "");
  expectSilent();
}

TEST_F(DiskManagerDiskNameTest, TheValueIsAllThatFollowsTheFirstEqualsSign) {
  EXPECT_EQ(read("name= a=b \n"), " a=b ");
  EXPECT_EQ(read("name=\x01\x1B[2J/..\n"), "\x01\x1B[2J/..");
  EXPECT_EQ(read("name=\xC3\xA9\xFF\n"), "\xC3\xA9\xFF");
  EXPECT_EQ(read("name=" + std::string(100'000, 'n')), std::string(100'000, 'n'));
  expectSilent();
}

TEST_F(DiskManagerDiskNameTest, AFileThatIsMissingOrEmptyIsNothingToSpeakOf) {
  EXPECT_EQ(DiskManager::getMediaLocationUserName(id_), Text());
  EXPECT_EQ(read(""), "");
  expectSilent();
}

TEST_F(DiskManagerDiskNameTest, AnyOtherFirstLineIsCorrupt) {
  expectCorrupt("\n");
  expectCorrupt("name\n");
  expectCorrupt(" name=x\n");
  expectCorrupt("name =x\n");
  expectCorrupt("title=x\nname=y\n");
  expectCorrupt("=x\n");
}

TEST_F(DiskManagerDiskNameTest, AFileThatCannotBeReadIsCorrupt) {
  expectCorrupt(std::string("name=a\0b\n", 9));
  diagnostics_.clear();
  write(L"/media/Material/MediaSpaceInfo.txt", "name=x\n");
  os_->faults().fail(FaultPlan::eRead, eOsIoError);
  EXPECT_EQ(DiskManager::getMediaLocationUserName(id_), Text());
  expectSaidCorrupt();
}

TEST_F(DiskManagerDiskNameTest, AFileOfMoreThan16MiBIsCorrupt) {
  const std::string most = "name=x\n" + std::string((size_t{16} << 20) - 7, 'n');
  EXPECT_EQ(read(most), "x");
  expectSilent();
  EXPECT_EQ(read(most + "n"), "");
  expectSaidCorrupt();
}

TEST_F(DiskManagerDiskNameTest, AFileThatMayNotBeReadIsCorrupt) {
  write(L"/media/Material/MediaSpaceInfo.txt", "name=x\n");
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_EQ(DiskManager::getMediaLocationUserName(id_), Text());
  expectSaidCorrupt();
}

TEST_F(DiskManagerDiskNameTest, ALocationWhoseNameCannotBeReadIsCalledByItsFolder) {
  write(L"/rushes/Material/MediaSpaceInfo.txt", "name=x\n" + std::string(size_t{16} << 20, 'n'));
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/rushes/", false));
  expectSaidCorrupt();
  EXPECT_EQ(userName(DriveId('2')), "rushes");
  diagnostics_.clear();
  write(L"/dailies/Material/MediaSpaceInfo.txt", "name=x\n");
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/dailies/", false));
  expectSaidCorrupt();
  EXPECT_EQ(userName(DriveId('3')), "dailies");
}

TEST_F(DiskManagerDiskNameTest, AFolderInItsPlaceIsCorrupt) {
  files().addFolder(L"/media/Material/MediaSpaceInfo.txt");
  EXPECT_EQ(DiskManager::getMediaLocationUserName(id_), Text());
  expectSaidCorrupt();
}

TEST_F(DiskManagerDiskNameTest, NothingIsReadOfADriveThatIsNotRegistered) {
  write(L"/Material/MediaSpaceInfo.txt", "name=x\n");
  EXPECT_EQ(DiskManager::getMediaLocationUserName(DriveId('9')), Text());
  expectSilent();
}

}  // namespace
