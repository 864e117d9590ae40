// Drives that the user took out.

#include <algorithm>
#include <cstdint>

#include "tests/LocationsFixture.h"

namespace {

class DiskManagerUnmountedTest : public LocationsFixture {
protected:
  static Texts unmounted() { return textsOf(DiskManager::getUnmountedDrives()); }
  // Up to and with 'Z'; then '[' is the next one.
  void registerUpToZ() {
    for (unsigned char code = DriveId::kNone + 1; code <= 'Z'; ++code)
      registerDrive(L"/low/" + Text() + static_cast<wchar_t>(code));
  }
};

// The list ---------------------------------------------------------------------------------------

TEST_F(DiskManagerUnmountedTest, WithoutAFileNothingIsUnmounted) {
  EXPECT_EQ(unmounted(), Texts());
  EXPECT_EQ(diagnostics_.log(), Texts());
}

TEST_F(DiskManagerUnmountedTest, AnEmptyFileIsAnEmptyList) {
  addDisk(L"/disk/");
  write(kUnmounted, "");
  start();
  EXPECT_EQ(unmounted(), Texts());
  EXPECT_EQ(drives(), Texts({"1 /disk"}));
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/new/"));
  EXPECT_EQ(content(kLocations), "/new/\n") << "it was not unmounted";
  EXPECT_TRUE(isThere(kUnmounted));
  EXPECT_EQ(content(kUnmounted), "");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
  EXPECT_EQ(content(kUnmounted), "/disk/\n");
  EXPECT_EQ(diagnostics_.log(), Texts());
}

TEST_F(DiskManagerUnmountedTest, ADiskIsAppendedBehindALastLineWithoutAnEnd) {
  addDisk(L"/disk/");
  start();
  write(kUnmounted, "/a/\n/b/");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
  EXPECT_EQ(content(kUnmounted), "/a/\n/b/\n/disk/\n");
}

TEST_F(DiskManagerUnmountedTest, ADiskIsAppendedToLinesThatEndInCrLfWhichThenEndInLf) {
  addDisk(L"/disk/");
  start();
  write(kUnmounted, "/a/\r\n/b/\r\n");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/disk/"));
  EXPECT_EQ(content(kUnmounted), "/a/\n/b/\n/disk/\n");
  EXPECT_EQ(unmounted(), Texts({"/a/", "/b/", "/disk/"}));
}

TEST_F(DiskManagerUnmountedTest, TheLinesAreGivenDecodedAndInTheirOrder) {
  write(kUnmounted, "/b\xC3\xA9/\r\nD:\\\\a\\\\\n\n/a/");
  Vector<Text> paths = DiskManager::getUnmountedDrives();
  ASSERT_EQ(paths.size(), 4u);
  EXPECT_EQ(paths[0], Text(L"/b\u00e9/"));
  EXPECT_EQ(paths[1], Text(L"D:\\\\a\\\\")) << "backslashes stay as they are";
  EXPECT_EQ(paths[2], Text());
  EXPECT_EQ(paths[3], Text(L"/a/"));
}

TEST_F(DiskManagerUnmountedTest, OfMoreThan65535LinesTheRestIsNotSeenButStays) {
  std::string many;
  for (int i = 0; i < 65'535; ++i) many += "/" + std::to_string(i) + "\n";
  write(kUnmounted, many);
  EXPECT_EQ(DiskManager::getUnmountedDrives().size(), 65'535u);
  write(kUnmounted, many + "/65535\n/65536\n/65537\n/1\n");
  Vector<Text> seen = DiskManager::getUnmountedDrives();
  ASSERT_EQ(seen.size(), 65'535u);
  EXPECT_EQ(seen[65'534], Text(L"/65534"));
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/65536"));
  EXPECT_EQ(content(kLocations), "/65536\n") << "as one that was never unmounted";
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/65534"));
  std::string left = content(kUnmounted);
  EXPECT_EQ(std::count(left.begin(), left.end(), '\n'), 65'538);
  EXPECT_TRUE(left.ends_with("/65535\n/65536\n/65537\n/1\n"));
}

TEST_F(DiskManagerUnmountedTest, AListOf70000LinesEnds) {
  std::string many;
  for (int i = 0; i < 70'000; ++i) many += "/disk/\n";
  addDisk(L"/disk/");
  write(kUnmounted, many);
  start();
  EXPECT_EQ(drives(), Texts());
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/disk/"));
  EXPECT_FALSE(isThere(kUnmounted));
}

// What is discarded ------------------------------------------------------------------------------

TEST_F(DiskManagerUnmountedTest, ADiskThatIsListedStaysOutOfTheRegistryAtTheStart) {
  addDisk(L"/a/");
  addDisk(L"/b/");
  addDisk(L"/c/");
  write(kUnmounted, "/b/\n/other/\n");
  start();
  EXPECT_EQ(drives(), Texts({"1 /a", "3 /c"}));
  EXPECT_EQ(content(kUnmounted), "/b/\n/other/\n");
}

TEST_F(DiskManagerUnmountedTest, OnlyTheVeryNameWithASeparatorIsDiscarded) {
  registerDrive(L"/a/");
  registerDrive(L"/b/");
  write(kUnmounted, "/A/\n/b\n//a/\n");
  DiskManager::discardUnmountedDrives();
  EXPECT_EQ(drives(), Texts({"1 /a", "2 /b"}));
}

TEST_F(DiskManagerUnmountedTest, ALineTakesOutTheFirstSuchDriveAlone) {
  registerDrive(L"/a");
  registerDrive(L"/a");
  registerDrive(L"/a");
  write(kUnmounted, "/a/\n");
  DiskManager::discardUnmountedDrives();
  EXPECT_EQ(drives(), Texts({"2 /a", "3 /a"}));
  write(kUnmounted, "/a/\n/a/\n");
  DiskManager::discardUnmountedDrives();
  EXPECT_EQ(drives(), Texts());
}

TEST_F(DiskManagerUnmountedTest, TheRootOfAllIsListedAsASeparator) {
  registerDrive(L"/");
  write(kUnmounted, "\n");
  DiskManager::discardUnmountedDrives();
  EXPECT_EQ(codes(), "1") << "an empty line means no drive";
  write(kUnmounted, "/\n");
  DiskManager::discardUnmountedDrives();
  EXPECT_EQ(codes(), "");
}

TEST_F(DiskManagerUnmountedTest, NobodyIsToldOfWhatIsDiscarded) {
  registerDrive(L"/a");
  write(kUnmounted, "/a/\n");
  DiskManager::discardUnmountedDrives();
  EXPECT_EQ(events(), Texts());
}

// What is unmounted ------------------------------------------------------------------------------

TEST_F(DiskManagerUnmountedTest, DrivesUpToZAreNotUnmounted) {
  registerUpToZ();
  write(L"/report", "old");
  EXPECT_FALSE(DiskManager::unmountDrives("/report"));
  EXPECT_EQ(codes().back(), 'Z');
  EXPECT_EQ(content(L"/report"), "old") << "nothing is written without a drive";
  EXPECT_EQ(events(), Texts());
}

TEST_F(DiskManagerUnmountedTest, DrivesAboveZAreWrittenToldAndDeleted) {
  registerUpToZ();
  registerDrive(L"/high/a/");
  registerDrive(L"/high/\u00e9");
  std::string before = codes();
  write(L"/report", "old\nlines\nof\nit\n");
  Texts registered;
  whenTold() = [&](const std::string&) { registered.push_back(codes().substr(before.size() - 2)); };
  EXPECT_TRUE(DiskManager::unmountDrives("/report"));
  EXPECT_EQ(content(L"/report"), "/high/a\n/high/\xC3\xA9\n");
  EXPECT_EQ(events(), Texts({kChanged, kChanged}));
  EXPECT_EQ(registered, Texts({"[\\", "\\"})) << "each goes when the walk has moved past it";
  EXPECT_EQ(codes(), before.substr(0, before.size() - 2));
  EXPECT_FALSE(isThere(kUnmounted));
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(DiskManagerUnmountedTest, WhoIsToldFindsTheDriveInTheReport) {
  registerUpToZ();
  for (const wchar_t* root : {L"/high/a", L"/high/b", L"/high/c"}) registerDrive(root);
  write(L"/report", "old\n");
  Texts reports;
  whenTold() = [&](const std::string&) { reports.push_back(content(L"/report")); };
  EXPECT_TRUE(DiskManager::unmountDrives("/report"));
  EXPECT_EQ(reports, Texts({"/high/a\n", "/high/a\n/high/b\n", "/high/a\n/high/b\n/high/c\n"}));
}

TEST_F(DiskManagerUnmountedTest, WithoutAFileNothingIsWritten) {
  registerUpToZ();
  registerDrive(L"/high");
  files().clearRecords();
  EXPECT_TRUE(DiskManager::unmountDrives(nullptr));
  EXPECT_TRUE(files().opens().empty());
  EXPECT_EQ(diagnostics_.log(), Texts());
  EXPECT_EQ(codes().back(), 'Z');
}

TEST_F(DiskManagerUnmountedTest, AShareOfThisMachineIsReportedByItsNetworkPath) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/srv/media/"});
  files().setShares(shares);
  registerUpToZ();
  registerDrive(L"\\\\STATION\\media", iDiskDrive::eNetwork);
  EXPECT_TRUE(DiskManager::unmountDrives("/report"));
  EXPECT_EQ(content(L"/report"), "//STATION/media\n");
}

TEST_F(DiskManagerUnmountedTest, TheFilesNameIsUtf8) {
  registerUpToZ();
  registerDrive(L"/high");
  EXPECT_TRUE(DiskManager::unmountDrives("/r\xC3\xA9port"));
  EXPECT_EQ(content(L"/r\u00e9port"), "/high\n");
}

TEST_F(DiskManagerUnmountedTest, ADriveThatTellsNoSpaceIsSaidAndStillUnmounted) {
  registerUpToZ();
  files().setDrive(L"/high/", {.known = false});
  registerDrive(L"/high/");
  EXPECT_TRUE(DiskManager::unmountDrives("/report"));
  expectCheck("ok == QvResult::OK", "347");
  EXPECT_EQ(content(L"/report"), "/high\n");
}

TEST_F(DiskManagerUnmountedTest, EveryDriveIsAskedForItsSpaceAlsoOneThatStays) {
  files().setDrive(L"/low/", {.known = false});
  registerDrive(L"/low/");
  EXPECT_FALSE(DiskManager::unmountDrives(nullptr));
  expectCheck("ok == QvResult::OK", "347");
}

TEST_F(DiskManagerUnmountedTest, AReportThatCannotBeWrittenIsSaidAndStaysAsItIs) {
  registerUpToZ();
  registerDrive(L"/high");
  write(L"/report/list", "old\n");
  files().setDrive(L"/report/", {.readOnly = true});
  EXPECT_TRUE(DiskManager::unmountDrives("/report/list"));
  EXPECT_EQ(diagnostics_.log(),
            Texts({"Disk Manager - the list '/report/list' cannot be saved\n"}));
  EXPECT_EQ(content(L"/report/list"), "old\n");
  EXPECT_EQ(codes().back(), 'Z');
}

TEST_F(DiskManagerUnmountedTest, AMountWhoseNameHasALineEndIsNotInTheReport) {
  registerUpToZ();
  registerDrive(L"/hi\ngh");
  registerDrive(L"/high");
  EXPECT_TRUE(DiskManager::unmountDrives("/report"));
  EXPECT_EQ(content(L"/report"), "/high\n");
  EXPECT_EQ(diagnostics_.log(),
            Texts({"Disk Manager - '/hi\ngh' cannot stand in the list '/report'\n"}));
}

TEST_F(DiskManagerUnmountedTest, AListenerWhoTakesTheDriveAwayEndsTheWalk) {
  registerUpToZ();
  registerDrive(L"/high/a");
  registerDrive(L"/high/b");
  whenTold() = [](const std::string&) { DiskManager::deleteMaterialVolume(DriveId('[')); };
  EXPECT_TRUE(DiskManager::unmountDrives("/report"));
  EXPECT_EQ(content(L"/report"), "/high/a\n");
  EXPECT_EQ(codes().back(), '\\');
}

}  // namespace
