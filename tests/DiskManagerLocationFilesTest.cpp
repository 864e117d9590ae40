// The two lists as they may be found on a disk, and when they cannot be read or written.

#include "platform/TextFile.h"
#include "tests/LocationsFixture.h"

namespace {

class DiskManagerLocationFilesTest : public LocationsFixture {
protected:
  static std::string about(const wchar_t* list, const char* what) {
    return std::string("Disk Manager - the list '") + toUTF8(list).c_str() + "' " + what + "\n";
  }
  static std::string unsaved(const wchar_t* list) { return about(list, "cannot be saved"); }
  void expectUnreadable(const wchar_t* list) {
    EXPECT_EQ(diagnostics_.log(), Texts({about(list, "cannot be read and stays as it is")}));
  }
  // What the user does with such a list of locations: it is said each time and stays.
  void expectLocationsStay() {
    const std::string before = content(kLocations);
    files().addFolder(L"/media");
    start();
    expectUnreadable(kLocations);
    EXPECT_EQ(events(), Texts({kChanged})) << "the listeners hear all the same";
    forget();
    EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/"));
    expectUnreadable(kLocations);
    EXPECT_EQ(drives(), Texts({"1 /media"})) << "the registry goes on";
    forget();
    EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
    expectUnreadable(kLocations);
    EXPECT_EQ(drives(), Texts());
    EXPECT_EQ(content(kLocations), before);
  }
  void expectUnmountedStay() {
    const std::string before = content(kUnmounted);
    addDisk(L"/disk/");
    start();
    expectUnreadable(kUnmounted);
    EXPECT_EQ(drives(), Texts({"1 /disk"}));
    forget();
    EXPECT_EQ(DiskManager::getUnmountedDrives().size(), 0u);
    expectUnreadable(kUnmounted);
    forget();
    EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
    expectUnreadable(kUnmounted);
    EXPECT_EQ(drives(), Texts());
    forget();
    EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
    expectUnreadable(kUnmounted);
    EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('2'))) << "nobody knows that it was";
    EXPECT_EQ(content(kUnmounted), before);
  }
};

// What cannot be read ----------------------------------------------------------------------------

TEST_F(DiskManagerLocationFilesTest, AListWithANulIsNeverWritten) {
  write(kLocations, std::string("/a/\n/b\0/\n", 9));
  expectLocationsStay();
  files().deleteFile(kLocations);
  write(kUnmounted, std::string("/a/\n/b\0/\n", 9));
  expectUnmountedStay();
}

TEST_F(DiskManagerLocationFilesTest, AListOfMoreThan16MebibytesIsNeverWritten) {
  std::string tooMuch(TextFile::kMostBytes + 1, '\n');
  write(kLocations, tooMuch);
  expectLocationsStay();
  files().deleteFile(kLocations);
  write(kUnmounted, tooMuch);
  expectUnmountedStay();
}

TEST_F(DiskManagerLocationFilesTest, AFolderInAListsPlaceStays) {
  files().addFolder(kLocations);
  expectLocationsStay();
  EXPECT_TRUE(files().folderExists(kLocations));
  files().removeFolder(kLocations);
  files().addFolder(kUnmounted);
  expectUnmountedStay();
  EXPECT_TRUE(files().folderExists(kUnmounted));
}

TEST_F(DiskManagerLocationFilesTest, AListOnADiskThatFailsIsNeverWritten) {
  write(kLocations, "/away/\n");
  os_->faults().fail(FaultPlan::eRead, eOsIoError, 1, FaultPlan::eFromThenOn);
  expectLocationsStay();
}

TEST_F(DiskManagerLocationFilesTest, AListOfUnmountedDrivesOnADiskThatFailsIsNeverWritten) {
  write(kUnmounted, "/disk/\n");
  os_->faults().fail(FaultPlan::eRead, eOsIoError, 1, FaultPlan::eFromThenOn);
  expectUnmountedStay();
}

TEST_F(DiskManagerLocationFilesTest, ADriveThatComesBackWhileItsListCannotBeReadIsListedAsNew) {
  files().addFolder(L"/disk");
  write(kUnmounted, "/disk/\n");
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  expectUnreadable(kUnmounted);
  EXPECT_EQ(content(kUnmounted), "/disk/\n");
  EXPECT_EQ(content(kLocations), "/disk/\n");
  EXPECT_EQ(drives(), Texts({"1 /disk"}));
}

// What cannot be written -------------------------------------------------------------------------

TEST_F(DiskManagerLocationFilesTest, ANewLocationIsThereUntilTheNextStartWhenItCannotBeListed) {
  files().addFolder(L"/media");
  write(kLocations, "/a/\n");
  files().setDrive(L"/project/", {.readOnly = true});
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/"));
  EXPECT_EQ(diagnostics_.log(), Texts({unsaved(kLocations)}));
  EXPECT_EQ(content(kLocations), "/a/\n");
  EXPECT_EQ(drives(), Texts({"1 /media"}));
  EXPECT_EQ(events(), Texts({"+1", kChanged}));
}

TEST_F(DiskManagerLocationFilesTest, AnAnswerIsAsTheListsWereSavedWhenADriveGoes) {
  write(kLocations, "/media/\n");
  added(L"/media/");
  added(L"/disk/", true);
  files().setDrive(L"/project/", {.readOnly = true});
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/"));
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
  EXPECT_EQ(diagnostics_.log(), Texts({unsaved(kLocations), unsaved(kUnmounted)}));
  EXPECT_EQ(content(kLocations), "/media/\n");
  EXPECT_FALSE(isThere(kUnmounted));
  EXPECT_EQ(drives(), Texts());
}

TEST_F(DiskManagerLocationFilesTest, ADriveComesBackAlsoWhenItsListCannotBeSavedOrRemoved) {
  files().addFolder(L"/a");
  files().addFolder(L"/b");
  write(kUnmounted, "/a/\n/b/\n");
  files().setDrive(L"/project/", {.readOnly = true});
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/a/"));
  files().setDrive(L"/project/", {});
  write(kUnmounted, "/b/\n");
  files().setDrive(L"/project/", {.readOnly = true});
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/b/"));
  EXPECT_EQ(diagnostics_.log(), Texts({unsaved(kUnmounted), unsaved(kUnmounted)}));
  EXPECT_EQ(content(kUnmounted), "/b/\n");
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('2')));
}

TEST_F(DiskManagerLocationFilesTest, ADriveWhoseLineCouldNotGoHasOneLineTooManyUntilItComesBack) {
  addDisk(L"/disk/");
  start();
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
  os_->faults().fail(FaultPlan::eDeleteFile, eOsIoError);
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
  EXPECT_EQ(content(kUnmounted), "/disk/\n/disk/\n");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  EXPECT_FALSE(isThere(kUnmounted));
}

TEST_F(DiskManagerLocationFilesTest, ALineThatWouldMakeAListTooLongToReadIsNotWritten) {
  std::string full(TextFile::kMostBytes - 2, 'x');
  full += "\n\n";
  write(kLocations, full);
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/"));
  EXPECT_EQ(diagnostics_.log(), Texts({unsaved(kLocations)}));
  EXPECT_TRUE(content(kLocations) == full);
}

// What reads well --------------------------------------------------------------------------------

TEST_F(DiskManagerLocationFilesTest, LinesEndAsTheyLikeAndTheLastOneNeedNot) {
  for (const wchar_t* path : {L"/a", L"/b", L"/c"}) files().addFolder(path);
  write(kLocations, "/a/\r\n/b/\n/c/");
  start();
  EXPECT_EQ(drives(), Texts({"1 /a", "2 /b", "3 /c"}));
  files().addFolder(L"/d");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/d/"));
  EXPECT_EQ(content(kLocations), "/a/\n/b/\n/c/\n/d/\n");
}

TEST_F(DiskManagerLocationFilesTest, LinesThatAreNoUtf8KeepTheirBytesWhenOthersComeAndGo) {
  write(kLocations, "/\xFF\xFE/\n/b/\n/\xC3/\n");
  write(kUnmounted, "/\xFF/\n/b/\n/\xC3/\n");
  added(L"/b/");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/b/"));
  EXPECT_EQ(content(kLocations), "/\xFF\xFE/\n/\xC3/\n");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/b/"));
  EXPECT_EQ(content(kUnmounted), "/\xFF/\n/\xC3/\n");
}

TEST_F(DiskManagerLocationFilesTest, AnEmptyLineIsALocationThatCannotBeAdded) {
  write(kLocations, "\n/away/\n");
  start();
  EXPECT_EQ(missing(), Texts({"", "/away/"}));
  EXPECT_EQ(diagnostics_.logBoth(),
            Texts({"** Can't add material drive ''\n", "** Can't add material drive '/away/'\n"}));
  EXPECT_EQ(content(kLocations), "\n/away/\n");
}

TEST_F(DiskManagerLocationFilesTest, ALineThatStandsTwiceIsOneDrive) {
  files().addFolder(L"/a");
  write(kLocations, "/a/\n/a/\n");
  start();
  EXPECT_EQ(drives(), Texts({"1 /a"}));
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/a/"));
  EXPECT_EQ(content(kLocations), "/a/\n");
}

TEST_F(DiskManagerLocationFilesTest, SeventyThousandLocationsAreReadAndStay) {
  std::string many;
  for (int i = 0; i < 70'000; ++i) many += "/away/" + std::to_string(i) + "/\n";
  write(kLocations, many);
  files().addFolder(L"/media");
  start();
  EXPECT_EQ(missing().size(), 70'000u);
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/media/"));
  EXPECT_TRUE(content(kLocations) == many + "/media/\n");
}

TEST_F(DiskManagerLocationFilesTest, LocationsBeyondTheLastIdentifierAreRefusedAndLoseNothing) {
  constexpr int kLocationsListed = 300;
  constexpr size_t kDrives = DriveId::kLast - DriveId::kNone;
  std::string many;
  for (int i = 0; i < kLocationsListed; ++i) {
    files().addFolder(fromUTF8(std::string_view("/m/" + std::to_string(i))));
    many += "/m/" + std::to_string(i) + "/\n";
  }
  write(kLocations, many);
  start();
  EXPECT_EQ(drives().size(), kDrives);
  EXPECT_EQ(drives().back(), "\xFF /m/" + std::to_string(kDrives - 1));
  EXPECT_EQ(missing().size(), kLocationsListed - kDrives);
  EXPECT_EQ(missing().front(), "/m/" + std::to_string(kDrives) + "/");
  EXPECT_EQ(diagnostics_.log().size(), kLocationsListed - kDrives);
  EXPECT_EQ(diagnostics_.log().back(),
            "Disk Manager - no identifier is left for drive '/m/299/'\n");
  EXPECT_EQ(content(kLocations), many);
  files().addFolder(L"/new");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/new/"));
  EXPECT_EQ(content(kLocations), many + "/new/\n");
}

// Links ------------------------------------------------------------------------------------------

TEST_F(DiskManagerLocationFilesTest, AListThatIsALinkLeadsToTheListThatIsWritten) {
  write(L"/shared/list", "/a/\n");
  files().addLink(kLocations, L"/shared/list");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/b/"));
  EXPECT_EQ(content(L"/shared/list"), "/a/\n/b/\n");
}

}  // namespace
