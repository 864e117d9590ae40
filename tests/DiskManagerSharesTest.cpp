// Local names and network names.
#include <string>

#include "fsys/DiskManager.h"
#include "platform/PathHelpers.h"
#include "tests/StorageFixture.h"

namespace {

class DiskManagerSharesTest : public StorageFixture {
protected:
  void share(const Text& uncName, const Text& localPath) {
    shares_.add({uncName, localPath});
    files().setShares(shares_);
  }
  // A drive whose root has that network name.
  DriveId addNamed(const Text& root, const Text& uncName) {
    addBareDisk(root).uncName = uncName.view();
    return registeredId(withoutSeparator(root));
  }
  static Text local(const Text& unc) { return DiskManager::convertUNCtoLocalShare(unc); }

  Vector<iFileManager::Share> shares_;
};

// To network names -------------------------------------------------------------------------------

TEST_F(DiskManagerSharesTest, AFilesNetworkNameIsThatOfItsOsPath) {
  DriveId id = addNamed(L"/net/a/", L"\\\\server\\media");
  EXPECT_EQ(DiskManager::convertLocalToUNC(MaterialFilename(id, L"/Material/x.mov")),
            L"\\\\server\\media\\Material\\x.mov");
  EXPECT_EQ(DiskManager::convertLocalToUNC(MaterialFilename(DriveId(), L"/net/a/x.mov")),
            L"\\\\server\\media\\x.mov");
}

TEST_F(DiskManagerSharesTest, AFileWithoutANetworkNameHasAnEmptyOne) {
  DriveId id = registeredId(L"/media/a/");
  EXPECT_TRUE(DiskManager::convertLocalToUNC(MaterialFilename(id, L"/x.mov")).empty());
  EXPECT_TRUE(DiskManager::convertLocalToUNC(MaterialFilename()).empty());
}

// To drives --------------------------------------------------------------------------------------

TEST_F(DiskManagerSharesTest, ANetworkNameBecomesTheDriveWhoseNameItBeginsWithAndTheRest) {
  addNamed(L"/net/x/", L"\\\\host\\other");
  DriveId id = addNamed(L"/net/a/", L"\\\\host\\media");
  MaterialFilename file =
      DiskManager::convertUNCtoFsysFilename(L"\\\\HOST\\MEDIA\\Material\\x.mov");
  EXPECT_EQ(file.getDrive(), id);
  EXPECT_EQ(file.getPath(), L"\\Material\\x.mov");
}

TEST_F(DiskManagerSharesTest, OnlyTheBeginningIsComparedAndTheFirstDriveWins) {
  DriveId first = addNamed(L"/net/a/", L"\\\\host\\media");
  addNamed(L"/net/b/", L"\\\\host\\media2");
  MaterialFilename file = DiskManager::convertUNCtoFsysFilename(L"\\\\host\\media2\\y");
  EXPECT_EQ(file.getDrive(), first);
  EXPECT_EQ(file.getPath(), L"2\\y");
}

TEST_F(DiskManagerSharesTest, TheLongerNameWinsWhenItsDriveIsFirst) {
  DriveId first = addNamed(L"/net/b/", L"\\\\host\\media2");
  addNamed(L"/net/a/", L"\\\\host\\media");
  EXPECT_EQ(DiskManager::convertUNCtoFsysFilename(L"\\\\host\\media2\\y").getDrive(), first);
}

TEST_F(DiskManagerSharesTest, ADrivesOwnNetworkNameLeavesAnEmptyPath) {
  DriveId id = addNamed(L"/net/a/", L"\\\\host\\media");
  MaterialFilename file = DiskManager::convertUNCtoFsysFilename(L"\\\\host\\media");
  EXPECT_EQ(file.getDrive(), id);
  EXPECT_TRUE(file.getPath().empty());
}

TEST_F(DiskManagerSharesTest, ADriveWithoutANetworkNameTakesEveryNameThatIsNotEmpty) {
  DriveId local = registeredId(L"/media/a/");
  addNamed(L"/net/a/", L"\\\\host\\media");
  MaterialFilename file = DiskManager::convertUNCtoFsysFilename(L"\\\\host\\media\\x");
  EXPECT_EQ(file.getDrive(), local);
  EXPECT_EQ(file.getPath(), L"\\\\host\\media\\x");
  EXPECT_FALSE(DiskManager::convertUNCtoFsysFilename(L"").getDrive().valid());
}

TEST_F(DiskManagerSharesTest, ADriveWithoutANetworkNameTakesNothingFromThoseBeforeIt) {
  DriveId net = addNamed(L"/net/a/", L"\\\\host\\media");
  DriveId local = registeredId(L"/media/a/");
  EXPECT_EQ(DiskManager::convertUNCtoFsysFilename(L"\\\\host\\media\\x").getDrive(), net);
  EXPECT_EQ(DiskManager::convertUNCtoFsysFilename(L"\\\\host\\medi").getDrive(), local);
}

TEST_F(DiskManagerSharesTest, ANameThatNoDriveHasBecomesADefaultOne) {
  EXPECT_EQ(DiskManager::convertUNCtoFsysFilename(L"\\\\host\\media").getDrive(), DriveId());
  addNamed(L"/net/a/", L"\\\\host\\media");
  for (const wchar_t* unc : {L"\\\\host\\medi", L"\\\\hosts\\media", L"x", L""}) {
    MaterialFilename file = DiskManager::convertUNCtoFsysFilename(unc);
    EXPECT_EQ(file.getDrive(), DriveId('0')) << toUTF8(unc).c_str();
    EXPECT_TRUE(file.getPath().empty());
  }
}

// Shares of this machine -------------------------------------------------------------------------

TEST_F(DiskManagerSharesTest, TheSharesAreAskedForOnceWithTheNameOfTheWorkstation) {
  os_->systemInfo().setWorkstationName(L"EDIT7");
  EXPECT_TRUE(DiskManager::discoverLocalShares());
  EXPECT_EQ(files().sharesAsked(), 1u);
  EXPECT_EQ(files().workstationAsked(), L"EDIT7");
  EXPECT_TRUE(DiskManager::discoverLocalShares());
  EXPECT_TRUE(local(L"\\\\me\\share").empty());
  EXPECT_EQ(files().sharesAsked(), 1u);
}

TEST_F(DiskManagerSharesTest, AShareThatComesLaterIsNotSeen) {
  DiskManager::discoverLocalShares();
  share(L"\\\\me\\share", L"/srv/share/");
  DiskManager::reInit(true);
  EXPECT_TRUE(local(L"\\\\me\\share").empty());
}

TEST_F(DiskManagerSharesTest, AConversionAsksForTheSharesItself) {
  share(L"\\\\me\\share", L"/srv/share/");
  EXPECT_EQ(local(L"\\\\me\\share"), L"/srv/share/");
  EXPECT_EQ(files().sharesAsked(), 1u);
  local(L"");
  EXPECT_EQ(files().sharesAsked(), 1u);
}

TEST_F(DiskManagerSharesTest, AnEmptyNameAsksForTheSharesAndIsNone) {
  share(L"", L"/srv/all/");
  EXPECT_TRUE(local(L"").empty());
  EXPECT_EQ(files().sharesAsked(), 1u);
}

TEST_F(DiskManagerSharesTest, ANameUnderAShareIsItsLocalPathAndWhatFollowsOneCharacter) {
  share(L"\\\\me\\share", L"/srv/share/");
  EXPECT_EQ(local(L"\\\\me\\share\\a\\b"), L"/srv/share/a\\b");
  EXPECT_EQ(local(L"\\\\ME\\SHARE\\A"), L"/srv/share/A");
  EXPECT_EQ(local(L"\\\\me\\share\\"), L"/srv/share/");
  EXPECT_EQ(local(L"\\\\me\\share"), L"/srv/share/");
}

TEST_F(DiskManagerSharesTest, NoSeparatorIsPutBack) {
  share(L"\\\\me\\share", L"/srv/share");
  EXPECT_EQ(local(L"\\\\me\\share\\a"), L"/srv/sharea");
}

TEST_F(DiskManagerSharesTest, TheCharacterBehindTheSharesNameIsSkippedWhateverItIs) {
  share(L"\\\\me\\share", L"/srv/share/");
  EXPECT_EQ(local(L"\\\\me\\share2\\a"), L"/srv/share/\\a");
}

TEST_F(DiskManagerSharesTest, TheFirstShareInTheSystemsOrderWins) {
  share(L"\\\\me\\a", L"/srv/first/");
  share(L"\\\\me\\ab", L"/srv/second/");
  EXPECT_EQ(local(L"\\\\me\\ab\\x"), L"/srv/first/\\x");
}

TEST_F(DiskManagerSharesTest, AShareWithoutANameTakesEveryNameThatIsNotEmpty) {
  share(L"", L"/srv/all/");
  share(L"\\\\me\\share", L"/srv/share/");
  EXPECT_EQ(local(L"\\\\me\\share"), L"/srv/all/\\me\\share");
  EXPECT_EQ(local(L"x"), L"/srv/all/");
}

TEST_F(DiskManagerSharesTest, ANameUnderNoShareIsEmpty) {
  share(L"\\\\me\\share", L"/srv/share/");
  for (const wchar_t* unc : {L"\\\\me\\shar", L"\\\\you\\share\\a", L"/srv/share/a"})
    EXPECT_TRUE(local(unc).empty()) << toUTF8(unc).c_str();
}

TEST_F(DiskManagerSharesTest, SharesThatCannotBeToldAreNone) {
  share(L"\\\\me\\share", L"/srv/share/");
  os_->faults().fail(FaultPlan::eGetShares, eOsIoError);
  EXPECT_TRUE(DiskManager::discoverLocalShares());
  EXPECT_TRUE(local(L"\\\\me\\share").empty());
  EXPECT_EQ(files().sharesAsked(), 1u) << "they are not asked for again";
}

// A drive on a share of this machine -------------------------------------------------------------

// It has two names: the network's, and for raw ones the folder behind it.
class OwnShareTest : public DiskManagerSharesTest {
protected:
  OwnShareTest() { share(L"\\\\STATION\\media", L"/srv/media/"); }
  static Qv::Ptr<MediaDrive> registerShare() {
    return registerDrive(L"\\\\STATION\\media\\b", iDiskDrive::eNetwork);
  }
};

TEST_F(OwnShareTest, ItsLocationsAndItsNameAreTheNetworksNames) {
  Qv::Ptr<MediaDrive> drive = registerShare();
  const Text name = L"//STATION/media/b";
  EXPECT_EQ(drive->getLocation(eCookieVision), name + L"/Material/");
  EXPECT_EQ(drive->getRootLocation(), name + L"/");
  EXPECT_EQ(drive->getUserName(true), name);
  EXPECT_TRUE(drive->has_name(name));
  EXPECT_TRUE(drive->isCalled(name, MediaDrive::nameKey(name)));
  EXPECT_EQ(DiskManager::getDriveWithName(name), drive->getId());
  EXPECT_FALSE(DiskManager::getDriveWithName(L"/srv/media/b").valid());
  EXPECT_EQ(DiskManager::getInfoFileNameFor(drive->getId()),
            name + L"/Material/MediaSpaceInfo.txt");
}

TEST_F(OwnShareTest, TheReportOfUnmountedDrivesHasTheNetworksName) {
  for (unsigned char code = DriveId::kNone + 1; code <= 'Z'; ++code) registerDrive(L"/low");
  registerShare();
  EXPECT_TRUE(DiskManager::unmountDrives("/report"));
  EXPECT_EQ(content(L"/report"), "//STATION/media/b\n");
}

TEST_F(OwnShareTest, ItIsPreparedInTheFolderBehindIt) {
  DriveId id = registerShare()->getId();
  files().addFolder(L"//STATION/media/b/Material");
  files().addFolder(L"//STATION/media/b/Sound");
  files().addFolder(L"/srv/media/b");
  EXPECT_FALSE(DiskManager::isVolumePreparedForMedia(id));
  EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id));
  EXPECT_TRUE(files().folderExists(L"/srv/media/b/Material"));
  EXPECT_TRUE(files().folderExists(L"/srv/media/b/Sound"));
  EXPECT_TRUE(DiskManager::isVolumePreparedForMedia(id));
}

TEST_F(OwnShareTest, AFilesNetworkNameIsThatOfTheFolderBehindIt) {
  addBareDisk(L"/srv/media/").uncName = L"\\\\other\\name";
  DriveId id = registerShare()->getId();
  EXPECT_EQ(DiskManager::convertLocalToUNC(MaterialFilename(id, L"/x.mov")),
            L"\\\\other\\name\\b\\x.mov");
}

}  // namespace
