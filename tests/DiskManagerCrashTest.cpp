// The lists after a loss of power: old or new, at whichever moment it comes.

#include <set>

#include "platform/fake/FakeCrash.h"
#include "tests/LocationsFixture.h"

namespace {

constexpr const char* kNoFile = "(no file)";

class DiskManagerCrashTest : public LocationsFixture {
protected:
  static constexpr const wchar_t* kInfo = L"/media/Material/MediaSpaceInfo.txt";
  static constexpr const wchar_t* kDiary = L"/diary";

  DiskManagerCrashTest() {
    files().addFolder(L"/media");
    files().addFolder(L"/new");
    addDisk(L"/disk/");
  }

  static void rename(const wchar_t* name) {
    DiskManager::renameMediaLocation(DiskManager::getVolume(L"/media/")->getId(), name);
  }
  std::string state(const Text& file) { return isThere(file) ? content(file) : kNoFile; }

  // In whatever state the power leaves it, the file is as it was or as the action makes it, or one
  // of those `between` that it has on the way, and the others are as they were. Once the action has
  // ended it is as that made it. And when the user does it again after the next start, all is as it
  // should be.
  template <typename Action>
  void expectOldOrNew(const Text& file, const std::string& made, const Action& action,
                      const Texts& between = {}) {
    start();
    const std::string before = state(file);
    std::set<std::string> allowed(between.begin(), between.end());
    allowed.insert({before, made});
    std::vector<Text> others;
    for (const Text& other :
         {Text(kLocations), Text(kUnmounted), Text(kInfo), Text(kDiary), Text(L"/report")})
      if (other != file) others.push_back(other);
    Texts othersBefore;
    for (const Text& other : others) othersBefore.push_back(state(other));
    FakeCrash crash(*os_);
    action();
    std::set<std::string> seen;
    crash.forEachState([&](const std::string& what) {
      const std::string left = state(file);
      seen.insert(left);
      EXPECT_TRUE(allowed.contains(left)) << left << " when lost: " << what;
      for (size_t i = 0; i < others.size(); ++i)
        EXPECT_EQ(state(others[i]), othersBefore[i]) << what;
      start();
      action();
      EXPECT_EQ(state(file), made) << "again after: " << what;
      EXPECT_EQ(diagnostics_.log(), Texts()) << what;
    });
    EXPECT_EQ(seen, allowed) << "each can be left";
    crash.forEachStateNow([&](const std::string& what) { EXPECT_EQ(state(file), made) << what; });
  }
};

TEST_F(DiskManagerCrashTest, ANewLocationIsListedOrNot) {
  write(kLocations, "/a/\n/b/\n");
  write(kUnmounted, "/other/\n");
  expectOldOrNew(kLocations, "/a/\n/b/\n/new/\n", [] { DiskManager::addMediaLocation(L"/new/"); });
}

TEST_F(DiskManagerCrashTest, TheFirstLocationIsListedOrThereIsNoList) {
  expectOldOrNew(kLocations, "/new/\n", [] { DiskManager::addMediaLocation(L"/new/"); });
}

TEST_F(DiskManagerCrashTest, ALocationThatGoesIsListedOrNot) {
  write(kLocations, "/a/\n/media/\n/b/\n");
  write(kUnmounted, "/other/\n");
  expectOldOrNew(kLocations, "/a/\n/b/\n", [] { DiskManager::removeMediaLocation(L"/media/"); });
}

TEST_F(DiskManagerCrashTest, TheLastLocationThatGoesLeavesAnEmptyList) {
  write(kLocations, "/media/\n");
  expectOldOrNew(kLocations, "", [] { DiskManager::removeMediaLocation(L"/media/"); });
}

TEST_F(DiskManagerCrashTest, ADriveThatGoesIsListedAsUnmountedOrNot) {
  write(kLocations, "/a/\n");
  write(kUnmounted, "/other/\n");
  expectOldOrNew(kUnmounted, "/other/\n/disk/\n",
                 [] { DiskManager::removeMediaLocation(L"/disk/"); });
}

TEST_F(DiskManagerCrashTest, TheFirstDriveThatGoesIsListedOrThereIsNoList) {
  expectOldOrNew(kUnmounted, "/disk/\n", [] { DiskManager::removeMediaLocation(L"/disk/"); });
}

TEST_F(DiskManagerCrashTest, ADriveThatComesBackIsListedAsUnmountedOrNot) {
  write(kLocations, "/a/\n");
  write(kUnmounted, "/disk/\n/other/\n/disk/\n");
  expectOldOrNew(kUnmounted, "/other/\n", [] { DiskManager::addMediaLocation(L"/disk/"); });
}

TEST_F(DiskManagerCrashTest, TheLastDriveThatComesBackTakesTheListWithItOrNot) {
  write(kUnmounted, "/disk/\n");
  expectOldOrNew(kUnmounted, kNoFile, [] { DiskManager::addMediaLocation(L"/disk/"); });
}

TEST_F(DiskManagerCrashTest, ANewNameIsOnTheDiskOrTheOldOneIs) {
  write(kLocations, "/media/\n");
  write(kInfo, "name=old\n");
  expectOldOrNew(kInfo, "name=new\n", [] { rename(L"new"); });
}

TEST_F(DiskManagerCrashTest, TheFirstNameIsOnTheDiskOrThereIsNoFile) {
  write(kLocations, "/media/\n");
  files().addFolder(L"/media/Material");
  expectOldOrNew(kInfo, "name=new\n", [] { rename(L"new"); });
}

TEST_F(DiskManagerCrashTest, TheFirstNameOfADriveThatWasJustPreparedIsOnItOrThereIsNoFile) {
  write(kLocations, "/media/\n");
  expectOldOrNew(kInfo, "name=new\n", [] {
    EXPECT_TRUE(DiskManager::prepareVolumeForMedia(DiskManager::getVolume(L"/media/")->getId()));
    rename(L"new");
  });
}

TEST_F(DiskManagerCrashTest, ADriveThatWasPreparedStaysPrepared) {
  write(kLocations, "/media/\n");
  start();
  DriveId id = DiskManager::getVolume(L"/media/")->getId();
  FakeCrash crash(*os_);
  ASSERT_TRUE(DiskManager::prepareVolumeForMedia(id));
  size_t states = crash.forEachStateNow([&](const std::string& what) {
    EXPECT_TRUE(DiskManager::isVolumePreparedForMedia(id)) << what;
  });
  EXPECT_GT(states, 0u);
}

TEST_F(DiskManagerCrashTest, ALinkInTheNamesPlaceIsThereOrTheNewNameIsAndItsTargetStays) {
  write(kLocations, "/media/\n");
  write(kDiary, "name=of another\n");
  files().addFolder(L"/media/Material");
  files().addLink(kInfo, kDiary);
  expectOldOrNew(kInfo, "name=new\n", [] { rename(L"new"); });
  Text target;
  ASSERT_TRUE(files().followLinks(kInfo, target));
  EXPECT_EQ(target, Text(kInfo)) << "no link any more";
}

TEST_F(DiskManagerCrashTest, TheReportOfUnmountedDrivesIsTheOldOneOrHasWholeLines) {
  std::string many;
  // With the disk two more than stay.
  for (unsigned i = 0; i < 'Z' - DriveId::kNone + 1; ++i) {
    files().addFolder(fromUTF8(std::string_view("/m/" + std::to_string(i))));
    many += "/m/" + std::to_string(i) + "/\n";
  }
  write(kLocations, many);
  write(L"/report", "old\nlines\n");
  start();
  Texts gone;
  for (const std::string& drive : drives())
    if (static_cast<unsigned char>(drive[0]) > 'Z') gone.push_back(drive.substr(2) + "\n");
  ASSERT_EQ(gone.size(), 2u);
  expectOldOrNew(L"/report", gone[0] + gone[1], [] { DiskManager::unmountDrives("/report"); },
                 {gone[0]});
}

}  // namespace
