#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/OS.h"
#include "platform/linux/LinuxFileManager.h"
#include "platform/linux/MountTable.h"
#include "tests/support/AutomountedFolder.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestErrand.h"
#include "tests/support/ThreadCount.h"

namespace {

using namespace std::chrono_literals;
using Drive = Qv::Ptr<iDiskDrive>;

constexpr char kRefused[] = "the system mounts nothing by itself here";

// LinuxAutomountTest: where nobody else comes upon the place, who would wait there for ever.
class LinuxAutomountTest : public testing::Test {
protected:
  bool onDrive(const char* name, std::function<void()> work, unsigned patience_ms) {
    Qv::Ptr<iTask> errand = TestErrand::of(std::move(work));
    return linuxFileManager()->onDrive(folder_ / name, errand, patience_ms);
  }
  LightweightString<wchar_t> root() const {
    return fromUTF8(
        std::string_view(std::filesystem::canonical(folder_.path()).string() + "/disk/"));
  }

  OwnMounts own_;
  ScratchFolder folder_;
};

TEST_F(LinuxAutomountTest, ListingTheDrivesMountsNothing) {
  AutomountedFolder disk(folder_.bytes("disk"), AutomountedFolder::eWhenLetGo);
  if (!disk.isMounted()) GTEST_SKIP() << kRefused;
  size_t found = 0;
  for (const Drive& drive : linuxFileManager()->getDisks()) {
    if (drive->getRootPath() != root()) continue;
    ++found;
    EXPECT_TRUE(drive->isExcluded());
    EXPECT_FALSE(drive->isAvailable());
    uint64_t freeBytes = 0, totalBytes = 0;
    EXPECT_FALSE(drive->getSpace(freeBytes, totalBytes));
  }
  EXPECT_EQ(found, 1u);
  EXPECT_FALSE(disk.isAsked());
}

TEST_F(LinuxAutomountTest, WhetherADriveMayFallSilentIsToldWithoutMounting) {
  AutomountedFolder disk(folder_.bytes("disk"), AutomountedFolder::eWhenLetGo);
  if (!disk.isMounted()) GTEST_SKIP() << kRefused;
  EXPECT_TRUE(linuxFileManager()->mayDriveFallSilent());
  EXPECT_TRUE(linuxFileManager()->mayFallSilent(folder_ / "disk/clip"));
  EXPECT_FALSE(disk.isAsked());
}

TEST_F(LinuxAutomountTest, TellingWhereAPathLiesMountsNothing) {
  AutomountedFolder disk(folder_.bytes("disk"), AutomountedFolder::eWhenLetGo);
  if (!disk.isMounted()) GTEST_SKIP() << kRefused;
  MountTable table;
  MountedAt at;
  int error = 0;
  EXPECT_TRUE(table.describe(folder_.bytes("disk/clip"), at, error));
  EXPECT_EQ(at.mount.fileSystem, "autofs");
  EXPECT_EQ(at.rest, "clip");
  EXPECT_FALSE(disk.isAsked());
}

TEST_F(LinuxAutomountTest, TheDriveOfAPathIsTheOneThatIsMountedForIt) {
  for (const char* name : {"disk/clip", "disk/no/such/clip", "disk/", "disk"}) {
    SCOPED_TRACE(name);
    ScratchFolder folder;
    AutomountedFolder disk(folder.bytes("disk"), AutomountedFolder::eAtOnce);
    if (!disk.isMounted()) GTEST_SKIP() << kRefused;
    Drive drive = linuxFileManager()->getDisk(folder / name);
    EXPECT_TRUE(disk.isAsked());
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->getFileSystem(), L"tmpfs");
    EXPECT_FALSE(drive->isExcluded());
    EXPECT_TRUE(drive->isAvailable());
  }
}

TEST_F(LinuxAutomountTest, AnErrandThatGoesThereIsGivenUpWhileTheSystemMounts) {
  size_t before = ThreadCount::atRest();
  AutomountedFolder disk(folder_.bytes("disk"), AutomountedFolder::eWhenLetGo);
  if (!disk.isMounted()) GTEST_SKIP() << kRefused;
  auto isThere = std::make_shared<std::atomic<bool>>(false);
  auto goThere = [isThere, place = folder_.bytes("disk/")] {
    *isThere = true;
    struct stat ignored;
    stat(place.c_str(), &ignored);
  };
  while (!*isThere) EXPECT_FALSE(onDrive("disk/clip", goThere, 100));
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsTimedOut);
  disk.waitUntilAsked();
  EXPECT_FALSE(onDrive("disk/clip", goThere, 60000));
  disk.letGo();
  EXPECT_TRUE(ThreadCount::returnsTo(before));
  EXPECT_TRUE(onDrive("disk/clip", goThere, 0)) << "what was mounted answers by itself";
}

TEST_F(LinuxAutomountTest, TheDriveOfAPathIsGivenUpWhileTheSystemMounts) {
  constexpr int kMany = 100;
  for (const char* name : {"disk/clip", "disk"}) {
    SCOPED_TRACE(name);
    size_t before = ThreadCount::atRest();
    ScratchFolder folder;
    AutomountedFolder disk(folder.bytes("disk"), AutomountedFolder::eWhenLetGo);
    if (!disk.isMounted()) GTEST_SKIP() << kRefused;
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kMany; ++i) {
      EXPECT_FALSE(linuxFileManager()->getDisk(folder / name));
      EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsTimedOut);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s) << "each waited";
    EXPECT_LE(ThreadCount::now(), before + 1);
    disk.waitUntilAsked();
    disk.letGo();
    EXPECT_TRUE(ThreadCount::returnsTo(before));
    Drive drive = linuxFileManager()->getDisk(folder / name);
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->getFileSystem(), L"tmpfs");
  }
}

TEST_F(LinuxAutomountTest, ManyWhoAskAtOnceAreAllGivenUpAndCostOneThread) {
  constexpr unsigned kAskers = 8;
  constexpr unsigned kEach = 20;
  size_t before = ThreadCount::atRest();
  AutomountedFolder disk(folder_.bytes("disk"), AutomountedFolder::eWhenLetGo);
  if (!disk.isMounted()) GTEST_SKIP() << kRefused;
  std::vector<std::thread> askers;
  askers.reserve(kAskers);
  for (unsigned i = 0; i < kAskers; ++i)
    askers.emplace_back([this] {
      for (unsigned turn = 0; turn < kEach; ++turn) {
        EXPECT_FALSE(linuxFileManager()->getDisk(folder_ / "disk/clip"));
        EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsTimedOut);
      }
    });
  for (std::thread& asker : askers) asker.join();
  disk.waitUntilAsked();
  disk.letGo();
  EXPECT_TRUE(ThreadCount::returnsTo(before));
  Drive drive = linuxFileManager()->getDisk(folder_ / "disk/clip");
  ASSERT_TRUE(drive);
  EXPECT_EQ(drive->getFileSystem(), L"tmpfs");
}

}  // namespace
