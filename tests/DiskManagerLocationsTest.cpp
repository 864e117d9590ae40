// The locations that come and go.

#include "tests/LocationsFixture.h"
#include "tests/SystemCacheFixture.h"

namespace {

class DiskManagerLocationsTest : public LocationsFixture {
protected:
  // As if found at the start.
  DriveId discovered(const Text& path) { return added(path, true); }
  static constexpr unsigned kMostDrives = DriveId::kLast - DriveId::kNone;
  void useUpIdentifiers() {
    files().addFolder(L"/many");
    for (unsigned i = 0; i < kMostDrives; ++i) added(L"/many");
  }
};

// A drive ----------------------------------------------------------------------------------------

TEST_F(DiskManagerLocationsTest, APathThatCannotBeWrittenIsNoDriveAndTheIdentifierStays) {
  files().addFolder(L"/media");
  files().setWritable(L"/media", false);
  DriveId id('x');
  EXPECT_FALSE(DiskManager::addMaterialVolume(L"/media", id, false));
  EXPECT_FALSE(DiskManager::addMaterialVolume(L"/nowhere", id, false));
  EXPECT_EQ(id, DriveId('x'));
  EXPECT_EQ(drives(), Texts());
}

TEST_F(DiskManagerLocationsTest, AFileIsRefusedAsALocationThatIsNotThere) {
  write(L"/media/clip", "a file");
  DriveId id('x');
  EXPECT_FALSE(DiskManager::addMaterialVolume(L"/media/clip", id, false));
  EXPECT_EQ(id, DriveId('x'));
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/clip"));
  EXPECT_EQ(events(), Texts({"+0", kChanged}));
  EXPECT_EQ(content(kLocations), "/media/clip\n") << "as of any location that is away";
  start();
  EXPECT_EQ(drives(), Texts());
  EXPECT_EQ(missing(), Texts({"/media/clip"}));
  EXPECT_EQ(content(L"/media/clip"), "a file");
}

TEST_F(DiskManagerLocationsTest, ADriveIsOfTheKindOfItsDiskAndWithoutADiskFixed) {
  files().setDrive(L"/net/", {.type = iDiskDrive::eNetwork});
  files().setDrive(L"/odd/", {.type = iDiskDrive::eMemory, .known = false});
  DriveId net = added(L"/net");
  DriveId odd = added(L"/odd");
  EXPECT_EQ(DiskManager::getVolume(net)->getType(), iDiskDrive::eNetwork);
  EXPECT_EQ(DiskManager::getVolume(odd)->getType(), iDiskDrive::eFixed);
}

TEST_F(DiskManagerLocationsTest, TheDiskIsThatOfThePathWithASeparatorAtItsEnd) {
  // To the fake a path without its separator lies on a drive whose prefix has one more.
  files().setDrive(L"/net//", {.type = iDiskDrive::eNetwork});
  EXPECT_EQ(DiskManager::getVolume(added(L"/net"))->getType(), iDiskDrive::eNetwork);
  EXPECT_EQ(DiskManager::getVolume(added(L"/net/"))->getType(), iDiskDrive::eNetwork);
}

TEST_F(DiskManagerLocationsTest, DrivesGetTheNextIdentifierAndKeepTheirOrderMarkAndSpace) {
  files().setDrive(L"/a/", {.freeBytes = 5u << 20, .totalBytes = 9u << 20});
  EXPECT_EQ(added(L"/a/", true), DriveId('1'));
  EXPECT_EQ(added(L"/b/", false), DriveId('2'));
  EXPECT_EQ(drives(), Texts({"1 /a", "2 /b"}));
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('2')));
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getSpaceMB(), 5);
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getCapacityMB(), 9);
  EXPECT_EQ(events(), Texts()) << "nobody is told of a drive that is only registered";
}

TEST_F(DiskManagerLocationsTest, APathThatIsRegisteredIsSaidAndGivesThatDriveWithTheNewMark) {
  DriveId first = added(L"/media/", true);
  DriveId again('x');
  EXPECT_TRUE(DiskManager::addMaterialVolume(L"/media/", again, false));
  expectCheck("false", "904");
  EXPECT_EQ(again, first);
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(first));
  EXPECT_EQ(drives(), Texts({"1 /media"}));
}

TEST_F(DiskManagerLocationsTest, ADriveThatIsFoundRegisteredIsReadAnewAndKeepsItsKind) {
  DriveId id = added(L"/media/");
  files().setDrive(L"/media/", {.type = iDiskDrive::eNetwork, .freeBytes = 5u << 20});
  EXPECT_EQ(added(L"/media/"), id);
  EXPECT_EQ(DiskManager::getVolume(id)->getSpaceMB(), 5);
  EXPECT_EQ(DiskManager::getVolume(id)->getType(), iDiskDrive::eFixed);
}

TEST_F(DiskManagerLocationsTest, APathWithoutItsTrailingSeparatorIsRegisteredAgain) {
  added(L"/media");
  added(L"/media");
  EXPECT_EQ(drives(), Texts({"1 /media", "2 /media"}));
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(DiskManagerLocationsTest, WithoutAnIdentifierLeftADriveIsRefusedOnce) {
  useUpIdentifiers();
  files().addFolder(L"/media");
  DriveId id('x');
  EXPECT_FALSE(DiskManager::addMaterialVolume(L"/media", id, false));
  EXPECT_EQ(id, DriveId('x'));
  EXPECT_EQ(diagnostics_.log(),
            Texts({"Disk Manager - no identifier is left for drive '/media'\n"}));
}

// A location's drive -----------------------------------------------------------------------------

TEST_F(DiskManagerLocationsTest, AnEmptyPathIsNoLocationAndTheCatalogueHearsNothing) {
  EXPECT_FALSE(DiskManager::addDriveForMediaLocation(L"", false));
  EXPECT_EQ(events(), Texts());
}

TEST_F(DiskManagerLocationsTest, OfALocationThatFailsTheCatalogueHearsAsDrive0) {
  EXPECT_FALSE(DiskManager::addDriveForMediaLocation(L"/nowhere/", false));
  EXPECT_EQ(events(), Texts({"+0"}));
}

TEST_F(DiskManagerLocationsTest, ALocationIsCalledLikeItsFolder) {
  files().addFolder(L"/media/days");
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/media/days/", false));
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/media", true));
  EXPECT_EQ(userName(DriveId('1')), "days");
  EXPECT_EQ(userName(DriveId('2')), "media");
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('2')));
  EXPECT_EQ(events(), Texts({"+1", "+2"}));
}

TEST_F(DiskManagerLocationsTest, ALocationThatIsOnlyASeparatorHasNoName) {
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/", false));
  EXPECT_TRUE(DiskManager::getVolume(DriveId('1'))->is_unnamed());
}

TEST_F(DiskManagerLocationsTest, ALocationIsCalledWhatItsDiskSays) {
  files().addFolder(L"/media");
  write(L"/media/Material/MediaSpaceInfo.txt", "name=Rushes\n");
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/media/", false));
  EXPECT_EQ(userName(DriveId('1')), "Rushes");
}

TEST_F(DiskManagerLocationsTest, ALocationThatIsRegisteredAndNamedIsNamedAnew) {
  DriveId id = added(L"/media/");
  DiskManager::setMediaLocationUserName(id, L"Rushes");
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/media/", true));
  expectCheck("false", "904");
  EXPECT_EQ(userName(id), "media");
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(id));
  EXPECT_EQ(events(), Texts({"+1"}));
}

TEST_F(DiskManagerLocationsTest, TheCatalogueHearsOfALocationThatHasItsNameAlready) {
  files().addFolder(L"/media");
  std::string name;
  whenTold() = [&name](const std::string&) { name = userName(DriveId('1')); };
  DiskManager::addDriveForMediaLocation(L"/media/", false);
  EXPECT_EQ(name, "media");
}

// The list at the start --------------------------------------------------------------------------

TEST_F(DiskManagerLocationsTest, TheListsLocationsAreRegisteredInItsOrder) {
  files().addFolder(L"/b");
  files().addFolder(L"/a");
  write(kLocations, "/b/\n/a/\n");
  start();
  EXPECT_EQ(drives(), Texts({"1 /b", "2 /a"}));
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_EQ(events(), Texts({"+1", "+2", kChanged})) << "the listeners hear once";
  EXPECT_EQ(missing(), Texts());
}

TEST_F(DiskManagerLocationsTest, AnyFileCanBeTheList) {
  files().addFolder(L"/a");
  write(L"/elsewhere/list", "/a/\n");
  EXPECT_TRUE(DiskManager::addDrivesFromFile(L"/elsewhere/list"));
  EXPECT_EQ(drives(), Texts({"1 /a"}));
}

TEST_F(DiskManagerLocationsTest, WhatIsRegisteredAlreadyIsPassedOver) {
  added(L"/a/", true);
  write(kLocations, "/a/\n");
  EXPECT_TRUE(DiskManager::addDrivesFromFile(kLocations));
  EXPECT_EQ(drives(), Texts({"1 /a"}));
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_EQ(events(), Texts({kChanged}));
  EXPECT_EQ(missing(), Texts());
}

TEST_F(DiskManagerLocationsTest, OnlyTheVeryLocationIsPassedOver) {
  added(L"/a/");
  files().addFolder(L"/A");
  write(kLocations, "/A/\n/a\n");
  EXPECT_TRUE(DiskManager::addDrivesFromFile(kLocations));
  EXPECT_EQ(drives(), Texts({"1 /a", "2 /A", "3 /a"}));
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(DiskManagerLocationsTest, ALocationThatIsAwayIsSaidAndMissingAndItsLineStays) {
  files().addFolder(L"/a");
  write(kLocations, "/away/\n/a/\n");
  EXPECT_TRUE(DiskManager::addDrivesFromFile(kLocations));
  EXPECT_EQ(diagnostics_.logBoth(), Texts({"** Can't add material drive '/away/'\n"}));
  EXPECT_EQ(missing(), Texts({"/away/"}));
  EXPECT_EQ(drives(), Texts({"1 /a"}));
  EXPECT_EQ(content(kLocations), "/away/\n/a/\n");
  EXPECT_EQ(events(), Texts({"+0", "+1", kChanged}));
}

TEST_F(DiskManagerLocationsTest, WhatIsMissingIsOfTheLastReadAlone) {
  write(kLocations, "/away/\n");
  DiskManager::addDrivesFromFile(kLocations);
  EXPECT_EQ(missing(), Texts({"/away/"}));
  EXPECT_TRUE(DiskManager::addDrivesFromFile(L"/no/such/list"));
  EXPECT_EQ(missing(), Texts());
  EXPECT_EQ(diagnostics_.log(), Texts()) << "a list that is missing is nothing to speak of";
}

TEST_F(DiskManagerLocationsTest, AnEmptyListStillTellsTheListenersOnce) {
  write(kLocations, "");
  EXPECT_TRUE(DiskManager::addDrivesFromFile(kLocations));
  EXPECT_EQ(events(), Texts({kChanged}));
}

// A new location ---------------------------------------------------------------------------------

TEST_F(DiskManagerLocationsTest, ANewLocationIsListedAndRegisteredAndTold) {
  files().addFolder(L"/media");
  whenTold() = [this](const std::string&) { EXPECT_EQ(content(kLocations), "/media/\n"); };
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/"));
  EXPECT_EQ(content(kLocations), "/media/\n");
  EXPECT_EQ(drives(), Texts({"1 /media"}));
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_EQ(events(), Texts({"+1", kChanged}));
}

TEST_F(DiskManagerLocationsTest, ANewLocationIsAppendedAsItWasGiven) {
  files().addFolder(L"/b\u00e9");
  write(kLocations, "/a/\n");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/b\u00e9"));
  EXPECT_EQ(content(kLocations), "/a/\n/b\xC3\xA9\n");
  EXPECT_EQ(drives(), Texts({"1 /b\xC3\xA9"}));
}

TEST_F(DiskManagerLocationsTest, ANameThatIsNoUtf8IsListedByItsBytesAndReadBack) {
  Text path = fromUTF8("/b\xE9/");
  files().addFolder(path);
  EXPECT_TRUE(DiskManager::addMediaLocation(path));
  EXPECT_EQ(content(kLocations), "/b\xE9/\n");
  start();
  EXPECT_TRUE(DiskManager::getVolume(path));
}

TEST_F(DiskManagerLocationsTest, ALocationThatIsRegisteredIsRefusedInAnyCaseAndNothingIsWritten) {
  added(L"/media/");
  EXPECT_FALSE(DiskManager::addMediaLocation(L"/media/"));
  EXPECT_FALSE(DiskManager::addMediaLocation(L"/MEDIA/"));
  EXPECT_FALSE(isThere(kLocations));
  EXPECT_EQ(events(), Texts());
  files().clearRecords();
  EXPECT_FALSE(DiskManager::addMediaLocation(L"/media/"));
  EXPECT_TRUE(files().opens().empty()) << "no list is read for it";
}

TEST_F(DiskManagerLocationsTest, WithoutItsTrailingSeparatorALocationIsAnotherOne) {
  added(L"/media/");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/media"));
  EXPECT_EQ(content(kLocations), "/media\n");
  EXPECT_EQ(drives(), Texts({"1 /media", "2 /media"}));
}

TEST_F(DiskManagerLocationsTest, ALocationThatIsAwayIsListedAndToldAndTheAnswerIsTrue) {
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/away/"));
  EXPECT_EQ(content(kLocations), "/away/\n");
  EXPECT_EQ(drives(), Texts());
  EXPECT_EQ(events(), Texts({"+0", kChanged}));
  files().addFolder(L"/away");
  start();
  EXPECT_EQ(drives(), Texts({"1 /away"}));
}

TEST_F(DiskManagerLocationsTest, ALocationThatWasAwayAndIsAddedAgainIsListedAgain) {
  write(kLocations, "/away/\n/other/\n");
  files().addFolder(L"/away");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/away/"));
  EXPECT_EQ(content(kLocations), "/away/\n/other/\n/away/\n");
  EXPECT_EQ(drives(), Texts({"1 /away"}));
  start();
  EXPECT_EQ(drives(), Texts({"1 /away"})) << "it is one drive";
}

TEST_F(DiskManagerLocationsTest, WhatIsListedWithDoubledBackslashesOrInAnotherCaseIsListedAgain) {
  write(kLocations, "D:\\\\away\\\\\n/AWAY/\n");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"D:\\away\\"));
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/away/"));
  EXPECT_EQ(content(kLocations), "D:\\\\away\\\\\n/AWAY/\nD:\\away\\\n/away/\n");
}

TEST_F(DiskManagerLocationsTest, APathThatIsNoneIsRefusedAndNothingIsWrittenOrTold) {
  const std::wstring forged{L'/', wchar_t{0xDCC3}, wchar_t{0xDCA9}};
  const Text paths[] = {
      L"", L"/a\nb/", L"/a\r", Text(L"/a\0b/", 5), L"/\xD800/", Text(std::wstring_view(forged))};
  for (const Text& path : paths) {
    diagnostics_.clear();
    EXPECT_FALSE(DiskManager::addMediaLocation(path));
    EXPECT_EQ(diagnostics_.log().size(), 1u);
  }
  EXPECT_NE(diagnostics_.log()[0].find("is no path of a media location"), std::string::npos);
  EXPECT_FALSE(isThere(kLocations));
  EXPECT_EQ(events(), Texts());
  EXPECT_EQ(drives(), Texts());
}

// A location goes --------------------------------------------------------------------------------

TEST_F(DiskManagerLocationsTest, WhatIsNoLocationCannotBeRemoved) {
  added(L"/media/");
  write(kLocations, "/other/\n");
  EXPECT_FALSE(DiskManager::removeMediaLocation(L"/other/"));
  EXPECT_FALSE(DiskManager::removeMediaLocation(L"/media")) << "without its trailing separator";
  EXPECT_EQ(content(kLocations), "/other/\n");
  EXPECT_FALSE(isThere(kUnmounted));
  EXPECT_EQ(events(), Texts());
}

TEST_F(DiskManagerLocationsTest, ALocationThatGoesIsOffTheListsWhenTheListenersHearOfIt) {
  DriveId id = added(L"/media/");
  write(kLocations, "/a/\n/MEDIA/\n/media/\n");
  whenTold() = [this, id](const std::string& event) {
    EXPECT_EQ(content(kLocations), "/a/\n/media/\n") << event;
    EXPECT_FALSE(DiskManager::isMaterialVolume(id)) << event;
  };
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/Media/"));
  EXPECT_EQ(events(), Texts({"-1", kChanged}));
  EXPECT_EQ(content(kLocations), "/a/\n/media/\n") << "the first such line goes, in any case";
  EXPECT_FALSE(isThere(kUnmounted));
}

TEST_F(DiskManagerLocationsTest, ItsMediaGoAfterTheListIsWrittenAndBeforeItsDrive) {
  DriveId id = added(L"/media/");
  write(kLocations, "/media/\n/a/\n");
  unsigned gone = 0;
  const Cookie cookie(L"V4K7Q2M9A00", false);
  SystemCache::Entry entry(new WatchedEntry([&] {
    ++gone;
    EXPECT_EQ(content(kLocations), "/a/\n");
    EXPECT_TRUE(DiskManager::isMaterialVolume(id));
    EXPECT_EQ(events(), Texts{"-1"}) << "no listener has heard of it yet";
  }));
  entry->addFile(cookie, {MaterialFilename(id, L"/Material/a.mov"), 1000});
  SystemCachePeer::plant(cookie, entry);
  entry = nullptr;
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
  EXPECT_EQ(gone, 1u);
}

TEST_F(DiskManagerLocationsTest, OfTwoLocationsThatDifferInCaseAloneTheFirstGoes) {
  added(L"/MEDIA/");
  added(L"/media/");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
  EXPECT_EQ(drives(), Texts({"2 /media"}));
}

TEST_F(DiskManagerLocationsTest, AListWithoutTheLocationIsNotWritten) {
  added(L"/media/");
  write(kLocations, "/a/\r\n/b/");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
  EXPECT_EQ(content(kLocations), "/a/\r\n/b/");
  EXPECT_EQ(drives(), Texts());
}

TEST_F(DiskManagerLocationsTest, WithoutAListALocationGoesAllTheSame) {
  added(L"/media/");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
  EXPECT_FALSE(isThere(kLocations));
  EXPECT_EQ(events(), Texts({"-1", kChanged}));
}

TEST_F(DiskManagerLocationsTest, ADiscoveredDriveThatGoesIsListedAsUnmounted) {
  DriveId id = discovered(L"/disk/");
  write(kLocations, "/disk/\n");
  write(kUnmounted, "/other/\n");
  whenTold() = [this, id](const std::string& event) {
    EXPECT_EQ(content(kUnmounted), "/other/\n/DISK/\n") << event;
    EXPECT_FALSE(DiskManager::isMaterialVolume(id)) << event;
  };
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/DISK/"));
  EXPECT_EQ(content(kUnmounted), "/other/\n/DISK/\n") << "as it was given";
  EXPECT_EQ(content(kLocations), "/disk/\n") << "the other list is not touched";
  EXPECT_EQ(events(), Texts({"-1", kChanged}));
}

TEST_F(DiskManagerLocationsTest, AMountWhoseNameHasALineEndGoesWithoutALine) {
  discovered(L"/a\nb/");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/a\nb/"));
  EXPECT_EQ(drives(), Texts());
  EXPECT_EQ(
      diagnostics_.log(),
      Texts({"Disk Manager - '/a\nb/' cannot stand in the list '/project/UnmountedDrives.txt'\n"}));
  EXPECT_FALSE(isThere(kUnmounted));
}

TEST_F(DiskManagerLocationsTest, ADriveStaysGoodForWhoHoldsItWhenItGoes) {
  Qv::Ptr<MediaDrive> held = DiskManager::getVolume(added(L"/media/"));
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
  EXPECT_EQ(held->getRootLocation(), Text(L"/media/"));
}

// It comes back ----------------------------------------------------------------------------------

TEST_F(DiskManagerLocationsTest, ADriveThatComesBackLeavesTheListAndCountsAsDiscovered) {
  files().addFolder(L"/disk");
  write(kUnmounted, "/other/\n/disk/\n/last/\n/disk/\n");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  EXPECT_EQ(content(kUnmounted), "/other/\n/last/\n") << "all its lines";
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_FALSE(isThere(kLocations));
  EXPECT_EQ(events(), Texts({"+1", kChanged}));
}

TEST_F(DiskManagerLocationsTest, TheFileGoesWithItsLastLine) {
  files().addFolder(L"/disk");
  write(kUnmounted, "/disk/\n");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  EXPECT_FALSE(isThere(kUnmounted));
}

TEST_F(DiskManagerLocationsTest, OnlyTheVeryPathComesBackFromTheUnmounted) {
  files().addFolder(L"/disk");
  write(kUnmounted, "/DISK/\n");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  EXPECT_EQ(content(kUnmounted), "/DISK/\n");
  EXPECT_EQ(content(kLocations), "/disk/\n");
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
}

TEST_F(DiskManagerLocationsTest, AUserWhoTakesADiskOutAndBackFindsItAsItWas) {
  addDisk(L"/disk/");
  start();
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
  start();
  EXPECT_EQ(drives(), Texts()) << "it stays out";
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('2')));
  start();
  EXPECT_EQ(drives(), Texts({"1 /disk"}));
}

// The root of all ---------------------------------------------------------------------------------

TEST_F(DiskManagerLocationsTest, TheRootOfAllIsAddedOnceAndTakenOutAsASeparator) {
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/"));
  EXPECT_EQ(content(kLocations), "/\n");
  EXPECT_EQ(codes(), "1");
  forget();
  EXPECT_FALSE(DiskManager::addMediaLocation(L"/"));
  EXPECT_EQ(content(kLocations), "/\n");
  EXPECT_EQ(events(), Texts());
  start();
  EXPECT_EQ(codes(), "1");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/"));
  EXPECT_EQ(content(kLocations), "");
  EXPECT_EQ(codes(), "");
  EXPECT_FALSE(DiskManager::removeMediaLocation(L"/"));
}

TEST_F(DiskManagerLocationsTest, TheDiscoveredRootOfAllThatIsTakenOutStaysOutUntilItIsAdded) {
  addDisk(L"/");
  const Text ways[] = {L"/", L""};  // the second is the drive's own location
  for (const Text& way : ways) {
    start();
    ASSERT_EQ(codes(), "1");
    EXPECT_TRUE(DiskManager::removeMediaLocation(way));
    EXPECT_EQ(content(kUnmounted), "/\n");
    EXPECT_EQ(events(), Texts({"+1", kChanged, "-1", kChanged}));
    start();
    EXPECT_EQ(codes(), "");
    EXPECT_TRUE(DiskManager::addMediaLocation(L"/"));
    EXPECT_FALSE(isThere(kUnmounted));
    EXPECT_FALSE(isThere(kLocations));
  }
}

TEST_F(DiskManagerLocationsTest, TheRootOfAllThatIsListedAndDiscoveredIsOneDrive) {
  addDisk(L"/");
  write(kLocations, "/\n");
  start();
  EXPECT_EQ(codes(), "1");
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
}

}  // namespace
