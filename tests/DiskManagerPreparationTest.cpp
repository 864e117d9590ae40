// The media folders of a drive, its information file, and whether it can be written.

#include "tests/LocationsFixture.h"

namespace {

class DiskManagerPreparationTest : public LocationsFixture {
protected:
  static constexpr const wchar_t* kInfo = L"/media/Material/MediaSpaceInfo.txt";

  // A drive with an empty root.
  DiskManagerPreparationTest() : id_(added(L"/media/")) { forget(); }

  bool isFolder(const Text& path) { return files().folderExists(path); }
  void prepare() { ASSERT_TRUE(DiskManager::prepareVolumeForMedia(id_)); }
  void rename(const Text& name) { DiskManager::setMediaLocationUserName(id_, name); }
  // Nothing but what is said of a folder that cannot be made.
  void expectRefused(const std::string& folder) {
    EXPECT_EQ(diagnostics_.logBoth(),
              Texts({"DiskManager::prepareVolumeForMedia : Failed to create " + folder + "\n"}));
    expectCheck("success", "873");
    EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateFolder), 0u);
  }
  bool save() { return DiskManager::saveDriveInfo(*DiskManager::getVolume(id_)); }

  const DriveId id_;
};

// Folders ----------------------------------------------------------------------------------------

TEST_F(DiskManagerPreparationTest, ADriveWithBothFoldersIsPrepared) {
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id_));
  files().addFolder(L"/media/Material");
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id_));
  files().addFolder(L"/media/Sound");
  EXPECT_TRUE(DiskManager::isVolumePreparedForMedia(id_));
}

TEST_F(DiskManagerPreparationTest, WithoutMaterialNobodyAsksForSound) {
  files().addFolder(L"/media/Sound");
  unsigned before = os_->faults().calls(FaultPlan::eFolderExists);
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id_));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eFolderExists), before + 1);
}

TEST_F(DiskManagerPreparationTest, AFileInAFoldersPlaceIsNoFolder) {
  write(L"/media/Material", "");
  files().addFolder(L"/media/Sound");
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id_));
}

TEST_F(DiskManagerPreparationTest, PreparingMakesBothFolders) {
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id_));
  EXPECT_TRUE(DiskManager::isVolumePreparedForMedia(id_));
  EXPECT_EQ(diagnostics_.log(), Texts());
  EXPECT_EQ(events(), Texts());
}

TEST_F(DiskManagerPreparationTest, OnlyTheMissingFolderIsMade) {
  files().addFolder(L"/media/Material");
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id_));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateFolder), 1u);
  EXPECT_TRUE(isFolder(L"/media/Sound"));
}

TEST_F(DiskManagerPreparationTest, APreparedDriveIsLeftAlone) {
  files().addFolder(L"/media/Material");
  files().addFolder(L"/media/Sound");
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id_));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateFolder), 0u);
}

TEST_F(DiskManagerPreparationTest, WhenMaterialCannotBeMadeSoundIsNotTried) {
  os_->faults().fail(FaultPlan::eCreateFolder, eOsAccessDenied);
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id_));
  EXPECT_EQ(diagnostics_.logBoth(),
            Texts({"DiskManager::prepareVolumeForMedia : Failed to create /media/Material\n"}));
  expectCheck("success", "873");
  EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateFolder), 1u);
  EXPECT_FALSE(isFolder(L"/media/Sound"));
}

TEST_F(DiskManagerPreparationTest, WhenSoundCannotBeMadeMaterialStays) {
  os_->faults().fail(FaultPlan::eCreateFolder, eOsAccessDenied, 2);
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id_));
  EXPECT_EQ(diagnostics_.logBoth(),
            Texts({"DiskManager::prepareVolumeForMedia : Failed to create /media/Sound\n"}));
  expectCheck("success", "873");
  EXPECT_TRUE(isFolder(L"/media/Material"));
}

TEST_F(DiskManagerPreparationTest, NothingIsMadeForADriveThatIsNotRegistered) {
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(DriveId('9')));
  expectRefused("/Material");
  EXPECT_FALSE(isFolder(L"/Material"));
  EXPECT_FALSE(isFolder(L"/Sound"));
}

TEST_F(DiskManagerPreparationTest, OfADriveThatIsNotRegisteredTheBareFoldersAreAsked) {
  files().addFolder(L"/Material");
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(DriveId('9')));
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(DriveId('9')));
  expectRefused("/Material");
  files().addFolder(L"/Sound");
  EXPECT_TRUE(DiskManager::isVolumePreparedForMedia(DriveId('9')));
  forget();
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(DriveId('9')));
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(DiskManagerPreparationTest, NothingIsMadeWhereTheDrivesRootIsAway) {
  files().removeFolder(L"/media");
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id_));
  expectRefused("/media/Material");
  EXPECT_FALSE(isFolder(L"/media"));
}

TEST_F(DiskManagerPreparationTest, NothingIsMadeInTheFolderOfADiscoveredDiskThatIsUnmounted) {
  addDisk(L"/disk/");
  start();
  DriveId id = DiskManager::getVolume(L"/disk/")->getId();
  files().removeFolder(L"/disk/Material");
  files().addFolder(L"/disk");
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id)) << "while it is mounted";
  files().removeFolder(L"/disk/Sound");
  files().setDrive(L"/", {});
  files().drive(L"/disk/").known = false;
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id)) << "when its disk is not known";
  EXPECT_FALSE(isFolder(L"/disk/Sound"));
}

TEST_F(DiskManagerPreparationTest, NothingIsMadeWhereAnotherDiskHoldsADiscoveredDrivesFolder) {
  DriveId id = added(L"/disk/", true);
  files().setDrive(L"/", {});
  EXPECT_FALSE(DiskManager::prepareVolumeForMedia(id));
  expectRefused("/disk/Material");
  EXPECT_FALSE(isFolder(L"/disk/Material"));
}

TEST_F(DiskManagerPreparationTest, ADrivePreparesItself) {
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id_);
  EXPECT_TRUE(drive->prepareForMedia());
  EXPECT_TRUE(DiskManager::isVolumePreparedForMedia(id_));
  os_->faults().fail(FaultPlan::eCreateFolder, eOsAccessDenied, 1, FaultPlan::eFromThenOn);
  EXPECT_TRUE(drive->prepareForMedia()) << "no folder is missing any more";
}

TEST_F(DiskManagerPreparationTest, TheRootOfAllCanBePrepared) {
  DriveId root = registeredId(L"/");
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(root));
  EXPECT_TRUE(isFolder(L"/Material"));
  EXPECT_TRUE(isFolder(L"/Sound"));
}

// The information file ---------------------------------------------------------------------------

TEST_F(DiskManagerPreparationTest, TheInformationFileLiesInTheVideoFolder) {
  EXPECT_EQ(DiskManager::getInfoFileNameFor(id_), Text(kInfo));
  EXPECT_EQ(DiskManager::getInfoFileNameFor(DriveId('9')), Text(L"/Material/MediaSpaceInfo.txt"));
}

TEST_F(DiskManagerPreparationTest, TheInformationFileOfAShareOfThisMachineHasItsNetworkPath) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/srv/media/"});
  files().setShares(shares);
  DriveId id = registerDrive(L"\\\\STATION\\media", iDiskDrive::eNetwork)->getId();
  ASSERT_EQ(DiskManager::getMaterialVolumeName(id, true), Text(L"/srv/media/"));
  EXPECT_EQ(DiskManager::getInfoFileNameFor(id),
            Text(L"//STATION/media/Material/MediaSpaceInfo.txt"));
}

TEST_F(DiskManagerPreparationTest, ItsOneLineIsTheUsersName) {
  write(kInfo, "name=old\nother\nlines\n");
  rename(L"Edit m\u00e9dia 1");
  EXPECT_TRUE(save());
  EXPECT_EQ(content(kInfo),
            "name=Edit m\xC3\xA9"
            "dia 1\n");
  EXPECT_EQ(diagnostics_.logBoth(), Texts());
  EXPECT_EQ(events(), Texts());
}

TEST_F(DiskManagerPreparationTest, AnUnnamedDriveHasAnEmptyName) {
  prepare();
  EXPECT_TRUE(save());
  EXPECT_EQ(content(kInfo), "name=\n");
}

TEST_F(DiskManagerPreparationTest, TheNameIsThatOfTheDriveThatIsGiven) {
  prepare();
  rename(L"registered");
  EXPECT_TRUE(DiskManager::saveDriveInfo(MediaDrive(id_, L"given")));
  EXPECT_EQ(content(kInfo), "name=given\n");
  EXPECT_EQ(userName(id_), "registered");
}

TEST_F(DiskManagerPreparationTest, WithoutSpaceADriveIsSaidByItsCharacterWhicheverItIs) {
  for (unsigned char code : {'9', '\x80', '\xFF'}) {
    forget();
    EXPECT_FALSE(DiskManager::saveDriveInfo(MediaDrive(DriveId(code), L"name")));
    EXPECT_EQ(diagnostics_.logBoth(),
              Texts({std::string("Disk Manager : Insufficient space for MediaSpaceInfo.txt file "
                                 "on drive '") +
                     static_cast<char>(code) + "'.\n"}));
  }
}

TEST_F(DiskManagerPreparationTest, OnAFullDriveNothingIsWritten) {
  write(kInfo, "name=old\n");
  files().setDrive(L"/media/", {.freeBytes = 0});
  EXPECT_FALSE(save());
  EXPECT_EQ(
      diagnostics_.logBoth(),
      Texts({"Disk Manager : Insufficient space for MediaSpaceInfo.txt file on drive '1'.\n"}));
  EXPECT_EQ(content(kInfo), "name=old\n");
}

TEST_F(DiskManagerPreparationTest, OneFreeByteIsSpaceEnough) {
  prepare();
  files().setDrive(L"/media/", {.freeBytes = 1});
  EXPECT_TRUE(save());
  EXPECT_EQ(content(kInfo), "name=\n");
}

TEST_F(DiskManagerPreparationTest, OnADriveThatTellsNoSpaceNothingIsWritten) {
  files().setDrive(L"/media/", {.known = false});
  EXPECT_FALSE(save());
  EXPECT_EQ(diagnostics_.logBoth().size(), 1u);
  EXPECT_FALSE(isThere(kInfo));
}

TEST_F(DiskManagerPreparationTest, OfADriveThatIsNotRegisteredNothingIsWritten) {
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id_);
  DiskManager::deleteMaterialVolume(id_);
  EXPECT_FALSE(DiskManager::saveDriveInfo(*drive));
  EXPECT_FALSE(DiskManager::saveDriveInfo(MediaDrive(DriveId('9'), L"name")));
  EXPECT_FALSE(isThere(L"/Material/MediaSpaceInfo.txt"));
  EXPECT_FALSE(isThere(kInfo));
}

TEST_F(DiskManagerPreparationTest, ASaveThatFailsIsSaidAndTheAnswerIsStillTrue) {
  write(kInfo, "name=old\n");
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace);
  EXPECT_TRUE(save());
  EXPECT_EQ(diagnostics_.log(), Texts({"Disk Manager - the name of drive '1' cannot be saved\n"}));
  EXPECT_EQ(content(kInfo), "name=old\n");
}

TEST_F(DiskManagerPreparationTest, ANameThatIsNoLineIsNotSaved) {
  write(kInfo, "name=old\n");
  rename(L"two\nlines");
  EXPECT_TRUE(save());
  EXPECT_EQ(diagnostics_.log(), Texts({"Disk Manager - the name of drive '1' cannot be saved\n"}));
  EXPECT_EQ(content(kInfo), "name=old\n");
}

TEST_F(DiskManagerPreparationTest, ALinkInItsPlaceIsReplacedAndNotFollowed) {
  write(L"/home/diary", "mine\n");
  files().addLink(kInfo, L"/home/diary");
  rename(L"new");
  EXPECT_TRUE(save());
  EXPECT_EQ(content(L"/home/diary"), "mine\n");
  EXPECT_EQ(content(kInfo), "name=new\n");
}

TEST_F(DiskManagerPreparationTest, WhatIsSavedIsReadBack) {
  prepare();
  const Text names[] = {L"Edit media 1", L" a=b ", L"\u00e9\U0001F3AC", fromUTF8("\xFF"),
                        L"\x1B[2J"};
  for (const Text& name : names) {
    rename(name);
    EXPECT_TRUE(save());
    EXPECT_EQ(DiskManager::getMediaLocationUserName(id_), name);
  }
}

// Whether it can be written ----------------------------------------------------------------------

TEST_F(DiskManagerPreparationTest, WhatTheSystemLetsBeWrittenIsWritable) {
  EXPECT_TRUE(DiskManager::writableVolume(L"/media"));
  EXPECT_TRUE(DiskManager::writableVolume(L"/media/"));
  files().setWritable(L"/media", false);
  EXPECT_FALSE(DiskManager::writableVolume(L"/media"));
  EXPECT_FALSE(DiskManager::writableVolume(L"/nowhere"));
  files().setDrive(L"/project/", {.readOnly = true});
  EXPECT_FALSE(DiskManager::writableVolume(kProject));
}

TEST_F(DiskManagerPreparationTest, AnIdentifierIsTakenForADriveLetter) {
  EXPECT_FALSE(DiskManager::isVolumeWritable(id_)) << "though its drive can be written";
  files().addFolder(L"1:\\");
  EXPECT_TRUE(DiskManager::isVolumeWritable(id_));
  files().addFolder(L"Q:\\");
  EXPECT_TRUE(DiskManager::isVolumeWritable(DriveId('Q'))) << "though there is no such drive";
  files().addFolder(L"\u00FF:\\");
  EXPECT_TRUE(DiskManager::isVolumeWritable(DriveId(0xFF)));
}

TEST_F(DiskManagerPreparationTest, ANameThatADriveBearsIsItsSaveName) {
  rename(L"Edit");
  EXPECT_EQ(DiskManager::getSaveName(L"Edit"), Text(L"Edit"));
  EXPECT_EQ(DiskManager::getSaveName(L"edit"), Text());
  EXPECT_EQ(DiskManager::getSaveName(L"Other"), Text());
  rename(L"");
  EXPECT_EQ(DiskManager::getSaveName(L"/media"), Text(L"/media")) << "of an unnamed one its path";
}

}  // namespace
