// One drive: its names, where media lies on it, and what the system says of it.
#include "fsys/MediaDrive.h"

#include <string>

#include "tests/StorageFixture.h"

namespace {

class MediaDriveTest : public StorageFixture {
protected:
  // As the registry makes it, but not registered.
  static Qv::Ptr<MediaDrive> made(const Text& root, iDiskDrive::eType type = iDiskDrive::eFixed) {
    return Qv::Ptr<MediaDrive>(new MediaDrive(DriveId('1'), root, type));
  }
  static Text localName(const MediaDrive& drive, bool raw = false) {
    Text name = L"what was there";
    drive.getLocalName(name, raw);
    return name;
  }
  void share(const Text& uncName, const Text& localPath) {
    shares_.add({uncName, localPath});
    files().setShares(shares_);
  }

  const Cookie kVision{L"V4K7Q2M9A01"};
  const Cookie kSound{L"S4K7Q2M9A02"};
  Vector<iFileManager::Share> shares_;
};

// Making one -------------------------------------------------------------------------------------

TEST_F(MediaDriveTest, MadeWithANameItHasNoPathsAndNoSectors) {
  MediaDrive drive(DriveId('7'), L"Edit 1");
  EXPECT_EQ(drive.getId(), DriveId('7'));
  EXPECT_EQ(drive.getUserName(false), L"Edit 1");
  EXPECT_EQ(drive.getType(), 1u);
  EXPECT_EQ(drive.getSectorSize(), 0u);
  EXPECT_TRUE(localName(drive).empty());
  EXPECT_TRUE(drive.getUncName().empty());
  EXPECT_TRUE(localName(drive, true).empty());
  EXPECT_FALSE(drive.isAutoDiscovered());
  EXPECT_EQ(drive.getSpaceMB(), 0);
  EXPECT_EQ(drive.getCapacityMB(), 0);
}

TEST_F(MediaDriveTest, MadeWithANameItIsUpdatedThroughTheRegistry) {
  addBareDisk(L"/media/a/", 30);
  DriveId id = registeredId(L"/media/a/");
  MediaDrive twin(id, L"Edit 1");
  EXPECT_EQ(twin.getSpaceMB(), 30);
}

TEST_F(MediaDriveTest, TheRegistrysIsUnnamedAndHasNoSpaceUntilItIsUpdated) {
  addBareDisk(L"/media/a/", 30);
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/", iDiskDrive::eRemovable);
  EXPECT_TRUE(drive->is_unnamed());
  EXPECT_EQ(drive->getType(), iDiskDrive::eRemovable);
  EXPECT_EQ(drive->getSectorSize(), 512u);
  EXPECT_FALSE(drive->isAutoDiscovered());
  EXPECT_EQ(drive->getSpaceMB(), 0);
  EXPECT_EQ(drive->getCapacityMB(), 0);
}

TEST_F(MediaDriveTest, TheLocalNameHasNoSeparatorAtItsEndAndTheRootLocationHasOne) {
  for (const wchar_t* root : {L"/media/a", L"/media/a/", L"/media/a//"}) {
    Qv::Ptr<MediaDrive> drive = made(root);
    EXPECT_EQ(localName(*drive), L"/media/a");
    EXPECT_EQ(drive->getRootLocation(), L"/media/a/");
  }
}

TEST_F(MediaDriveTest, ARootThatIsOnlyASeparatorHasNoNameAndNoLocation) {
  for (const wchar_t* root : {L"/", L""}) {
    Qv::Ptr<MediaDrive> drive = made(root);
    EXPECT_TRUE(localName(*drive).empty());
    EXPECT_TRUE(drive->getRootLocation().empty());
  }
}

TEST_F(MediaDriveTest, APathOfAnotherSystemIsPutInThisOnesForm) {
  EXPECT_EQ(localName(*made(L"\\media\\a\\")), L"/media/a");
  files().setSeparator(L'\\');
  EXPECT_EQ(localName(*made(L"D:/media/")), L"D:\\media");
  EXPECT_EQ(localName(*made(L"D:\\")), L"D:");
}

TEST_F(MediaDriveTest, TheNetworkNameOfItsRootIsKept) {
  addBareDisk(L"/net/a/").uncName = L"\\\\server\\media";
  EXPECT_EQ(made(L"/net/a/")->getUncName(), L"\\\\server\\media");
  EXPECT_EQ(made(L"/net/a")->getUncName(), L"\\\\server\\media");
  EXPECT_EQ(made(L"\\net\\a\\b")->getUncName(), L"\\\\server\\media\\b");
  EXPECT_TRUE(made(L"/media/a/")->getUncName().empty());
}

TEST_F(MediaDriveTest, ACopyHasEverythingOfTheOriginal) {
  addBareDisk(L"/net/a/", 30).sectorSize = 4096;
  files().drive(L"/net/a/").uncName = L"\\\\STATION\\media";
  share(L"\\\\STATION\\media", L"/srv/media/");
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/net/a/", iDiskDrive::eNetwork);
  drive->setUserName(L"Edit 1");
  drive->setAutoDiscovered(true);
  drive->setTooSlow(true);
  drive->setBusy(true);
  Qv::Ptr<MediaDrive> copy(new MediaDrive(*drive));
  EXPECT_EQ(copy->getId(), drive->getId());
  EXPECT_EQ(copy->getUserName(false), L"Edit 1");
  EXPECT_FALSE(copy->is_unnamed());
  EXPECT_TRUE(copy->isCalled(L"Edit 1", MediaDrive::nameKey(L"Edit 1")));
  EXPECT_EQ(copy->getSpaceMB(), 30);
  EXPECT_EQ(copy->getCapacityMB(), drive->getCapacityMB());
  EXPECT_EQ(copy->getType(), iDiskDrive::eNetwork);
  EXPECT_EQ(copy->getSectorSize(), 4096u);
  EXPECT_EQ(localName(*copy), L"/net/a");
  EXPECT_EQ(localName(*copy, true), L"/srv/media/");
  EXPECT_EQ(copy->getUncName(), drive->getUncName());
  EXPECT_EQ(copy->getRootLocation(), L"/net/a/");
  EXPECT_TRUE(copy->isAutoDiscovered());
  EXPECT_TRUE(copy->isTooSlow());
  EXPECT_TRUE(copy->isBusy());
  EXPECT_EQ(copy->refCount(), 1) << "nobody else refers to it";
  copy->setUserName(L"Edit 2");
  EXPECT_EQ(drive->getUserName(false), L"Edit 1");
}

// The share behind it ----------------------------------------------------------------------------

TEST_F(MediaDriveTest, ANetworkPathThatIsAShareOfThisMachineHasTheFolderBehindItForARawName) {
  share(L"\\\\STATION\\media", L"/srv/media/");
  Qv::Ptr<MediaDrive> drive = made(L"\\\\station\\MEDIA\\a", iDiskDrive::eNetwork);
  EXPECT_EQ(localName(*drive, true), L"/srv/media/a");
  EXPECT_EQ(localName(*drive, false), L"//station/MEDIA/a");
}

TEST_F(MediaDriveTest, AShareOfThisMachineIsCalledAndHasItsLocationsByItsNetworkPath) {
  share(L"\\\\STATION\\media", L"/srv/media/");
  Qv::Ptr<MediaDrive> drive = registerDrive(L"\\\\STATION\\media", iDiskDrive::eNetwork);
  ASSERT_EQ(localName(*drive, true), L"/srv/media/");
  EXPECT_EQ(drive->getUserName(false), L"//STATION/media");
  EXPECT_EQ(drive->getUserName(true), L"//STATION/media");
  EXPECT_EQ(drive->getLocation(eCookieVision), L"//STATION/media/Material/");
  EXPECT_EQ(drive->getLocation(kSound, L"wav"), L"//STATION/media/Sound/S4K7Q2M9A02.wav");
}

TEST_F(MediaDriveTest, OnlyANetworkDriveIsLookedForAmongTheShares) {
  share(L"\\\\STATION\\media", L"/srv/media/");
  Qv::Ptr<MediaDrive> drive = made(L"\\\\STATION\\media\\a", iDiskDrive::eFixed);
  EXPECT_EQ(localName(*drive, true), L"//STATION/media/a");
  EXPECT_EQ(files().sharesAsked(), 0u);
}

TEST_F(MediaDriveTest, ANetworkDriveOfAnotherMachineHasItsLocalNameForARawName) {
  share(L"\\\\STATION\\media", L"/srv/media/");
  addBareDisk(L"/net/a/").uncName = L"\\\\server\\media";
  EXPECT_EQ(localName(*made(L"/net/a/", iDiskDrive::eNetwork), true), L"/net/a");
}

TEST_F(MediaDriveTest, AMountOfThisMachinesOwnShareIsKnownByItsNetworkName) {
  share(L"\\\\STATION\\media", L"/srv/media/");
  addBareDisk(L"/net/a/").uncName = L"\\\\station\\media";
  EXPECT_EQ(localName(*made(L"/net/a", iDiskDrive::eNetwork), true), L"/srv/media/");
  EXPECT_EQ(localName(*made(L"/net/a/", iDiskDrive::eNetwork), true), L"/srv/media/");
  EXPECT_EQ(localName(*made(L"/net/a/b/c", iDiskDrive::eNetwork), true), L"/srv/media/b/c")
      << "in this system's form";
}

TEST_F(MediaDriveTest, AMountedShareIsNotTakenForOneThatItsNameBeginsLike) {
  share(L"\\\\STATION\\media", L"/srv/media/");
  addBareDisk(L"/net/a/").uncName = L"\\\\STATION\\media2";
  EXPECT_EQ(localName(*made(L"/net/a/", iDiskDrive::eNetwork), true), L"/net/a");
  share(L"\\\\STATION\\media2", L"/srv/second/");
  VolumeRegistry::get().shares.forget();
  EXPECT_EQ(localName(*made(L"/net/a", iDiskDrive::eNetwork), true), L"/srv/second/");
}

TEST_F(MediaDriveTest, AMountedShareIsNotTakenForOneWithoutAName) {
  share(L"", L"/srv/");
  addBareDisk(L"/net/a/").uncName = L"\\\\server\\media";
  EXPECT_EQ(VolumeRegistry::get().shares.localFolder(L"\\\\server\\media"), L"");
  // Its path begins like every share without a name.
  EXPECT_EQ(localName(*made(L"/net/a", iDiskDrive::eNetwork), true), L"/srv/net/a");
}

// Names ------------------------------------------------------------------------------------------

TEST_F(MediaDriveTest, AnUnnamedDriveIsCalledByItsLocalNameWhateverTheFlag) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_EQ(drive->getUserName(false), L"/media/a");
  EXPECT_EQ(drive->getUserName(true), L"/media/a");
  EXPECT_TRUE(drive->is_unnamed());
}

TEST_F(MediaDriveTest, AnUnnamedDriveThatIsNotRegisteredIsCalledNothing) {
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  EXPECT_TRUE(drive->getUserName(false).empty());
  EXPECT_TRUE(drive->has_name(L""));
  EXPECT_FALSE(drive->has_name(L"/media/a"));
}

TEST_F(MediaDriveTest, ANamedDriveIsCalledThatWhateverTheFlag) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  drive->setUserName(L"Edit 1");
  EXPECT_EQ(drive->getUserName(false), L"Edit 1");
  EXPECT_EQ(drive->getUserName(true), L"Edit 1");
  EXPECT_FALSE(drive->is_unnamed());
  drive->setUserName(L"");
  EXPECT_TRUE(drive->is_unnamed());
  EXPECT_EQ(drive->getUserName(false), L"/media/a");
}

TEST_F(MediaDriveTest, ANameIsComparedExactly) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_TRUE(drive->has_name(L"/media/a"));
  EXPECT_FALSE(drive->has_name(L"/media/A"));
  EXPECT_FALSE(drive->has_name(L""));
  drive->setUserName(L"Edit 1");
  EXPECT_TRUE(drive->has_name(L"Edit 1"));
  EXPECT_FALSE(drive->has_name(L"edit 1"));
  EXPECT_FALSE(drive->has_name(L"/media/a"));
}

TEST_F(MediaDriveTest, AKeyTellsOtherNamesApartAndANameIsStillCompared) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  auto isCalled = [&](const Text& name) {
    return drive->isCalled(name, MediaDrive::nameKey(name));
  };
  EXPECT_TRUE(isCalled(L"/media/a"));
  EXPECT_FALSE(isCalled(L""));
  drive->setUserName(L"Edit 1");
  EXPECT_TRUE(isCalled(L"Edit 1"));
  EXPECT_FALSE(isCalled(L"Edit 2"));
  EXPECT_FALSE(isCalled(L"/media/a"));
  EXPECT_FALSE(drive->isCalled(L"Edit 2", MediaDrive::nameKey(L"Edit 1")))
      << "two names may share a key";
}

// Where media lies -------------------------------------------------------------------------------

TEST_F(MediaDriveTest, VisionLiesInMaterialSoundInSoundAndNothingElseAnywhere) {
  EXPECT_EQ(MediaDrive::getFolder(eCookieVision), L"Material");
  EXPECT_EQ(MediaDrive::getFolder(eCookieSound), L"Sound");
  for (char type : {'I', 'v', 's', '\0', 'M'})
    EXPECT_TRUE(MediaDrive::getFolder(static_cast<CookieType>(type)).empty()) << type;
  EXPECT_EQ(MediaDrive::getFolder(kVision), L"Material");
  EXPECT_EQ(MediaDrive::getFolder(kSound), L"Sound");
  EXPECT_TRUE(MediaDrive::getFolder(Cookie()).empty());
}

TEST_F(MediaDriveTest, ALocationIsTheFolderOfItsTypeWithASeparatorAtItsEnd) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_EQ(drive->getLocation(eCookieVision), L"/media/a/Material/");
  EXPECT_EQ(drive->getLocation(eCookieSound), L"/media/a/Sound/");
  EXPECT_EQ(drive->getLocation(eCookieInvalid), L"/media/a/");
  EXPECT_EQ(drive->getLocation(static_cast<CookieType>(0)), drive->getRootLocation());
}

TEST_F(MediaDriveTest, TheSeparatorsOfALocationAreTheSystems) {
  files().setSeparator(L'\\');
  Qv::Ptr<MediaDrive> drive = registerDrive(L"D:\\");
  EXPECT_EQ(localName(*drive), L"D:");
  EXPECT_EQ(drive->getLocation(eCookieVision), L"D:\\Material\\");
  EXPECT_EQ(drive->getFsysLocation(eCookieVision), L"\\Material\\");
}

TEST_F(MediaDriveTest, AnUnregisteredDriveHasNoLocations) {
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  EXPECT_TRUE(drive->getLocation(eCookieVision).empty());
  EXPECT_TRUE(drive->getLocation(kVision, L"mov").empty());
}

TEST_F(MediaDriveTest, TheDriveAtTheRootHasNoLocations) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/");
  EXPECT_TRUE(drive->getLocation(eCookieVision).empty());
  EXPECT_TRUE(drive->getLocation(kVision, L"mov").empty());
  EXPECT_EQ(drive->getFsysLocation(eCookieVision), L"/Material/");
}

TEST_F(MediaDriveTest, AFilesLocationIsItsCookiesTextAndTheExtensionInTheFolderOfItsType) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_EQ(drive->getLocation(kVision, L"mov"), L"/media/a/Material/V4K7Q2M9A01.mov");
  EXPECT_EQ(drive->getLocation(kSound, L""), L"/media/a/Sound/S4K7Q2M9A02.");
  EXPECT_EQ(drive->getLocation(Cookie(), L"mov"), L"/media/a/.mov");
}

TEST_F(MediaDriveTest, OnTheDriveALocationBeginsWithASeparatorAndIsEmptyForOtherTypes) {
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  EXPECT_EQ(drive->getFsysLocation(eCookieVision), L"/Material/");
  EXPECT_EQ(drive->getFsysLocation(eCookieSound), L"/Sound/");
  EXPECT_TRUE(drive->getFsysLocation(eCookieInvalid).empty());
}

TEST_F(MediaDriveTest, AFilesNameOnTheDriveHasTheDrive) {
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  MaterialFilename file = drive->getFsysLocation(kSound, L"wav");
  EXPECT_EQ(file.getDrive(), DriveId('1'));
  EXPECT_EQ(file.getPath(), L"/Sound/S4K7Q2M9A02.wav");
}

TEST_F(MediaDriveTest, OfNoMediaTheNameOnTheDriveIsTheDriveAlone) {
  MaterialFilename file = made(L"/media/a/")->getFsysLocation(Cookie(), L"wav");
  EXPECT_EQ(file.getDrive(), DriveId('1'));
  EXPECT_TRUE(file.getPath().empty());
}

// Sectors ----------------------------------------------------------------------------------------

TEST_F(MediaDriveTest, TheSectorSizeIsTheDisks) {
  addBareDisk(L"/media/a/").sectorSize = 4096;
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  EXPECT_EQ(drive->getSectorSize(), 4096u);
  files().drive(L"/media/a/").sectorSize = 1024;
  EXPECT_TRUE(drive->setSectorSize());
  EXPECT_EQ(drive->getSectorSize(), 1024u);
}

TEST_F(MediaDriveTest, ADiskThatReportsNoSectorSizeHasOneOf512) {
  addBareDisk(L"/media/a/").sectorSize = 4096;
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  files().drive(L"/media/a/").sectorSize = 0;
  EXPECT_TRUE(drive->setSectorSize());
  EXPECT_EQ(drive->getSectorSize(), 512u);
  EXPECT_EQ(made(L"/media/a/")->getSectorSize(), 512u);
}

TEST_F(MediaDriveTest, WithoutADiskTheSectorSizeStays) {
  addBareDisk(L"/media/a/").sectorSize = 4096;
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  files().drive(L"/media/a/").known = false;
  EXPECT_FALSE(drive->setSectorSize());
  EXPECT_EQ(drive->getSectorSize(), 4096u);
  EXPECT_EQ(made(L"/media/a/")->getSectorSize(), 512u);
}

TEST_F(MediaDriveTest, ADriveWithoutAPathHasNoDiskAndItsCopyHasNone) {
  addBareDisk(L"/", 30).sectorSize = 2048;
  const MediaDrive named(DriveId('7'), L"Edit 1");
  for (MediaDrive drive : {named, MediaDrive(DriveId('7'), L"", iDiskDrive::eFixed)}) {
    uint32_t before = drive.getSectorSize();
    VolumeInfo info;
    EXPECT_FALSE(drive.getInfo(&info));
    EXPECT_FALSE(drive.setSectorSize());
    EXPECT_EQ(drive.getSectorSize(), before);
  }
}

TEST_F(MediaDriveTest, ACopyOfTheDriveAtTheRootHasItsDisk) {
  addBareDisk(L"/").sectorSize = 2048;
  VolumeInfo info;
  EXPECT_TRUE(MediaDrive(*made(L"/")).getInfo(&info));
}

TEST_F(MediaDriveTest, TheDriveAtTheRootAsksForTheDiskOfTheSeparator) {
  addBareDisk(L"/", 30).sectorSize = 2048;
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/");
  EXPECT_EQ(drive->getSectorSize(), 2048u);
  EXPECT_EQ(drive->getSpaceMB(), 30);
}

// Preparation and marks --------------------------------------------------------------------------

TEST_F(MediaDriveTest, PreparedForMediaItHasBothFolders) {
  addBareDisk(L"/media/a/");
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_TRUE(drive->prepareForMedia());
  EXPECT_TRUE(files().folderExists(L"/media/a/Material"));
  EXPECT_TRUE(files().folderExists(L"/media/a/Sound"));
  EXPECT_TRUE(drive->prepareForMedia()) << "it is prepared already";
}

TEST_F(MediaDriveTest, ItIsNotPreparedWhereAFolderCannotBeMade) {
  addBareDisk(L"/media/a/").readOnly = true;
  EXPECT_FALSE(registerDrive(L"/media/a/")->prepareForMedia());
}

TEST_F(MediaDriveTest, TheMarksAreSetAndCleared) {
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  EXPECT_FALSE(drive->isTooSlow() || drive->isBusy() || drive->isAutoDiscovered());
  drive->setTooSlow(true);
  EXPECT_TRUE(drive->isTooSlow() && !drive->isBusy() && !drive->isAutoDiscovered());
  drive->setBusy(true);
  drive->setAutoDiscovered(true);
  EXPECT_TRUE(drive->isTooSlow() && drive->isBusy() && drive->isAutoDiscovered());
  drive->setTooSlow(false);
  drive->setBusy(false);
  drive->setAutoDiscovered(false);
  EXPECT_FALSE(drive->isTooSlow() || drive->isBusy() || drive->isAutoDiscovered());
}

}  // namespace
