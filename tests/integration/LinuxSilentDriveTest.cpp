#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/DriveErrand.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestErrand.h"
#include "tests/support/ThreadCount.h"

namespace {

using Drive = Qv::Ptr<iDiskDrive>;

constexpr unsigned kShort_ms = 50;
constexpr unsigned kLong_ms = 60000;  // only a failure waits so long

bool onDrive(const LightweightString<wchar_t>& path, std::function<void()> work,
             unsigned patience_ms = kLong_ms) {
  Qv::Ptr<iTask> errand = TestErrand::of(std::move(work));
  return linuxFileManager()->onDrive(path, errand, patience_ms);
}

uint32_t lastError() { return nativeOS()->getErrors()->getLastError(); }

// Drives that answer nothing at all, under the name of a server's file system, and of one that a
// program of this machine makes of its disks.
class LinuxSilentDriveTest : public testing::TestWithParam<const char*> {
protected:
  LinuxSilentDriveTest() { mount("drive"); }

  void SetUp() override {
    if (!drives_[0]->isMounted()) GTEST_SKIP() << "no file system can be mounted here";
    real_ = std::filesystem::canonical(folder_.path()).string();
  }

  HeldFileSystem& silent() { return *drives_[0]; }
  void mount(const std::string& name) {
    drives_.push_back(std::make_unique<HeldFileSystem>(folder_.bytes(name),
                                                       HeldFileSystem::eEverything, GetParam()));
  }
  Drive driveOf(const char* name) { return linuxFileManager()->getDisk(folder_ / name); }
  // Null when there is none; the list asks all.
  Drive listedAt(const std::string& name) {
    std::string root = real_ + "/" + name + "/";
    for (const Drive& drive : linuxFileManager()->getDisks())
      if (drive->getRootPath() == fromUTF8(std::string_view(root))) return drive;
    return nullptr;
  }
  bool hasSpace(const Drive& drive) {
    free_ = total_ = 1;
    bool isTold = drive->getSpace(free_, total_);
    EXPECT_TRUE(isTold || free_ + total_ == 0);
    return isTold;
  }
  // A drive that answers may take its time on a machine that has much to do.
  bool answers(const Drive& drive) {
    for (double limit = Qv::now() + kLong_ms; Qv::now() < limit;) {
      if (hasSpace(drive)) return true;
      if (lastError() != eOsTimedOut) return false;
      std::this_thread::yield();
    }
    return false;
  }
  // Has an errand that the drive does not answer, and that is late.
  void fallSilent() {
    auto isThere = std::make_shared<std::atomic<bool>>(false);
    std::string clip = folder_.bytes("drive/held");
    while (!*isThere)
      EXPECT_FALSE(onDrive(
          folder_ / "drive",
          [=] {
            *isThere = true;
            access(clip.c_str(), F_OK);
          },
          kShort_ms));
  }

  OwnMounts mounts_;
  ScratchFolder folder_;
  std::string real_;   // its name without links
  uint64_t free_ = 0;  // what the drive told last
  uint64_t total_ = 0;
  std::vector<std::unique_ptr<HeldFileSystem>> drives_;
};

TEST_P(LinuxSilentDriveTest, ThatADriveMayFallSilentIsToldByTheList) {
  EXPECT_TRUE(linuxFileManager()->mayDriveFallSilent());
  ASSERT_EQ(symlink("drive", folder_.bytes("link").c_str()), 0);
  EXPECT_TRUE(linuxFileManager()->mayFallSilent(folder_ / "drive/clip"));
  EXPECT_TRUE(linuxFileManager()->mayFallSilent(folder_ / "link/clip"));
  EXPECT_FALSE(linuxFileManager()->mayFallSilent(folder_ / "clip"));
  EXPECT_FALSE(linuxFileManager()->mayFallSilent(L"mem:clip"));
  EXPECT_FALSE(linuxFileManager()->mayFallSilent(L""));
}

TEST_P(LinuxSilentDriveTest, ASpaceThatIsNeverToldCostsItsPatienceOnceAndThenNothing) {
  Drive drive = driveOf("drive");
  ASSERT_TRUE(drive);
  double start = Qv::now();
  EXPECT_FALSE(hasSpace(drive));
  EXPECT_EQ(lastError(), eOsTimedOut);
  EXPECT_GE(Qv::now() - start, double{kDrivePatience_ms});
  EXPECT_FALSE(drive->isAvailable());
  constexpr unsigned kPolls = 100;
  start = Qv::now();
  for (unsigned i = 0; i < kPolls; ++i) {
    EXPECT_FALSE(hasSpace(drive));
    EXPECT_EQ(lastError(), eOsTimedOut);
    EXPECT_FALSE(driveOf("drive/clip")->isAvailable());
  }
  EXPECT_LT(Qv::now() - start, kPolls * kDrivePatience_ms / 10.0);
}

TEST_P(LinuxSilentDriveTest, AThousandPollsCostOneThreadAtMost) {
  size_t before = ThreadCount::atRest();
  fallSilent();
  for (unsigned i = 0; i < 1000; ++i) {
    EXPECT_FALSE(hasSpace(driveOf("drive/clip")));
    EXPECT_FALSE(onDrive(folder_ / "drive/clip", [] {}));
    EXPECT_LE(ThreadCount::now(), before + 1);
  }
  for (unsigned i = 0; i < 100; ++i) EXPECT_FALSE(listedAt("drive")->isAvailable());
  EXPECT_LE(ThreadCount::now(), before + 1);
  silent().letGo();
  EXPECT_TRUE(ThreadCount::returnsTo(before));
}

TEST_P(LinuxSilentDriveTest, AnAnswerThatIsLateMakesItAvailableAgain) {
  EXPECT_FALSE(listedAt("drive")->isAvailable());
  Drive drive = driveOf("drive");
  silent().letGo();
  EXPECT_TRUE(answers(drive));
  EXPECT_TRUE(drive->isAvailable());
  EXPECT_TRUE(onDrive(folder_ / "drive/clip", [] {}));
  silent().order({HeldFileSystem::eAskSpace, HeldFileSystem::eHold});
  EXPECT_FALSE(listedAt("drive")->isAvailable());
}

TEST_P(LinuxSilentDriveTest, WhatHasFallenSilentMeanwhileStaysAvailableUntilItIsAskedAgain) {
  silent().letGo();
  Drive drive = driveOf("drive");
  EXPECT_TRUE(answers(drive));
  EXPECT_TRUE(drive->isAvailable());
  silent().order({HeldFileSystem::eAskSpace, HeldFileSystem::eHold});
  EXPECT_TRUE(drive->isAvailable());
  EXPECT_FALSE(hasSpace(drive));
  EXPECT_FALSE(drive->isAvailable());
}

TEST_P(LinuxSilentDriveTest, AnErrorIsAnAnswerThatMakesItUnavailableAtOnce) {
  silent().letGo();
  silent().order({HeldFileSystem::eAskSpace, HeldFileSystem::eFail, 0, UINT64_MAX, EIO, 1});
  Drive drive = driveOf("drive");
  EXPECT_FALSE(answers(drive));
  EXPECT_EQ(lastError(), eOsIoError);
  EXPECT_FALSE(drive->isAvailable());
  EXPECT_TRUE(answers(drive));
  EXPECT_TRUE(drive->isAvailable());
}

TEST_P(LinuxSilentDriveTest, SpaceIsBlocksTimesTheirSizeAndNeverMoreThan64Bits) {
  silent().letGo();
  Drive drive = driveOf("drive");
  silent().setSpace({1000, 10, 4096});
  ASSERT_TRUE(answers(drive));
  EXPECT_EQ(free_, 40960u);
  EXPECT_EQ(total_, 4096000u);
  silent().setSpace({uint64_t{1} << 52, (uint64_t{1} << 52) - 1, 4096});
  ASSERT_TRUE(answers(drive));
  EXPECT_EQ(free_, UINT64_MAX - 4095);
  EXPECT_EQ(total_, UINT64_MAX);
}

TEST_P(LinuxSilentDriveTest, SeveralAreAskedAtOnceAndTakeNoLongerThanOne) {
  constexpr size_t kDrives = 5;
  for (size_t i = 1; i < kDrives; ++i) mount("drive" + std::to_string(i));
  double start = Qv::now();
  Vector<Drive> drives = linuxFileManager()->getDisks();
  double took = Qv::now() - start;
  EXPECT_GE(took, double{kDrivePatience_ms});
  EXPECT_LT(took, double{kDrives * kDrivePatience_ms});
  size_t found = 0;
  for (const Drive& drive : drives) {
    if (drive->getFileSystem() != fromUTF8(GetParam())) continue;
    found += drive->getRootPath().find(fromUTF8(std::string_view(real_)).view()) == 0 ? 1 : 0;
    EXPECT_FALSE(drive->isAvailable());
    EXPECT_FALSE(drive->isExcluded());
  }
  EXPECT_EQ(found, kDrives);
}

TEST_P(LinuxSilentDriveTest, AnErrandRunsOnAThreadOfTheDrives) {
  std::thread::id runner;
  EXPECT_TRUE(onDrive(folder_ / "drive/clip", [&] { runner = std::this_thread::get_id(); }));
  EXPECT_NE(runner, std::this_thread::get_id());
}

TEST_P(LinuxSilentDriveTest, AnErrandThatTheDriveHoldsUpIsGivenUpAndEndsWhenTheDriveAnswers) {
  size_t before = ThreadCount::atRest();
  double start = Qv::now();
  fallSilent();
  EXPECT_EQ(lastError(), eOsTimedOut);
  EXPECT_GE(Qv::now() - start, double{kShort_ms});
  EXPECT_FALSE(hasSpace(driveOf("drive"))) << "no second question is put to it";
  EXPECT_EQ(ThreadCount::now(), before + 1);
  silent().letGo();
  EXPECT_TRUE(ThreadCount::returnsTo(before));
  EXPECT_TRUE(answers(driveOf("drive")));
}

TEST_P(LinuxSilentDriveTest, ItsLinksAreNotFollowedAndARelativeNameWillDo) {
  ASSERT_EQ(symlink("drive", folder_.bytes("link").c_str()), 0);
  std::thread::id runner;
  EXPECT_TRUE(onDrive(folder_ / "link/clip", [&] { runner = std::this_thread::get_id(); }));
  EXPECT_NE(runner, std::this_thread::get_id());
  EXPECT_EQ(driveOf("link/clip")->getRootPath(), driveOf("drive")->getRootPath());
  std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  runner = {};
  EXPECT_TRUE(onDrive(L"drive/../link/clip", [&] { runner = std::this_thread::get_id(); }));
  std::filesystem::current_path(before);
  EXPECT_NE(runner, std::this_thread::get_id());
  EXPECT_NE(runner, std::thread::id());
}

TEST_P(LinuxSilentDriveTest, WhatIsMountedBehindItMayBeSilentToo) {
  silent().letGo();
  std::string place = folder_.bytes("drive/held");
  folder_.put("file", "x");
  ASSERT_EQ(::mount(folder_.bytes("file").c_str(), place.c_str(), nullptr, MS_BIND, nullptr), 0);
  std::thread::id runner;
  EXPECT_TRUE(onDrive(folder_ / "drive/held", [&] { runner = std::this_thread::get_id(); }));
  EXPECT_NE(runner, std::this_thread::get_id());
  EXPECT_EQ(umount2(place.c_str(), MNT_DETACH), 0);
}

TEST_P(LinuxSilentDriveTest, OneThatIsTakenAwayLeavesTheListAtOnceAndItsThreadEndsWithTheAnswer) {
  size_t before = ThreadCount::atRest();
  fallSilent();
  Drive drive = listedAt("drive");
  ASSERT_TRUE(drive);
  ASSERT_EQ(umount2(folder_.bytes("drive").c_str(), MNT_DETACH), 0);
  EXPECT_FALSE(listedAt("drive"));
  EXPECT_EQ(ThreadCount::now(), before + 1) << "nobody has answered it";
  EXPECT_FALSE(hasSpace(drive));
  drive.reset();
  silent().letGo();
  EXPECT_TRUE(ThreadCount::returnsTo(before));
}

TEST_P(LinuxSilentDriveTest, ItStaysSilentWhenTheListIsReadAgain) {
  size_t before = ThreadCount::atRest();
  fallSilent();
  for (int i = 0; i < 3; ++i) {
    mount("drive" + std::to_string(drives_.size()));
    double start = Qv::now();
    Drive drive = driveOf("drive");
    EXPECT_FALSE(hasSpace(drive));
    EXPECT_LT(Qv::now() - start, 1.0 * kDrivePatience_ms) << "it was asked anew";
  }
  EXPECT_EQ(ThreadCount::now(), before + 1);
}

TEST_P(LinuxSilentDriveTest, AForkedChildAsksItAnew) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer makes no threads in a forked process";
#endif
  constexpr unsigned kChildLives_s = 30;
  fallSilent();
  std::array<int, 2> line = {-1, -1};
  ASSERT_EQ(pipe(line.data()), 0);
  pid_t child = fork();
  if (child == 0) {
    alarm(kChildLives_s);
    bool runs = onDrive(folder_ / "drive/clip", [] {});
    bool isRight = runs && !hasSpace(driveOf("drive")) && lastError() == eOsTimedOut;
    static_cast<void>(write(line[1], isRight ? "y" : "n", 1) == 1);
    _exit(0);
  }
  close(line[1]);
  char answer = '-';
  EXPECT_EQ(read(line[0], &answer, 1), 1);
  EXPECT_EQ(answer, 'y');
  close(line[0]);
  // A process does not end while one of its threads waits for such a drive.
  silent().letGo();
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

INSTANTIATE_TEST_SUITE_P(Kinds, LinuxSilentDriveTest,
                         testing::Values("fuse.sshfs", "fuse.mergerfs"),
                         [](const auto& kind) { return std::string(kind.param).substr(5); });

// Where nothing falls silent.
class LinuxAnsweringDriveTest : public testing::Test {
protected:
  // Whether an errand runs on the calling thread.
  static bool runsHere(const LightweightString<wchar_t>& path) {
    std::thread::id runner;
    EXPECT_TRUE(onDrive(path, [&] { runner = std::this_thread::get_id(); }, 0));
    return runner == std::this_thread::get_id();
  }

  ScratchFolder folder_;
};

TEST_F(LinuxAnsweringDriveTest, AnErrandRunsOnTheCallingThread) {
  EXPECT_TRUE(runsHere(folder_ / "clip"));
  EXPECT_TRUE(runsHere(folder_ / "no/such/folder/clip"));
  EXPECT_TRUE(runsHere(L"a-name-in-the-current-folder"));
  EXPECT_TRUE(runsHere(L"/proc/self"));
}

TEST_F(LinuxAnsweringDriveTest, SoDoesOneForANameOfAProvidersOrOfNoDrive) {
  EXPECT_TRUE(runsHere(L"mem:clip"));
  EXPECT_TRUE(runsHere(L""));
  EXPECT_TRUE(runsHere(LightweightString<wchar_t>(L"a\0b", 3)));
}

TEST_F(LinuxAnsweringDriveTest, AnErrandThatRunsOutOfMemoryAnswersThat) {
  EXPECT_FALSE(onDrive(folder_ / "clip", [] { throw std::bad_alloc(); }));
  EXPECT_EQ(lastError(), eOsNoMemory);
}

TEST_F(LinuxAnsweringDriveTest, NoErrandIsInvalid) {
  EXPECT_FALSE(linuxFileManager()->onDrive(folder_ / "clip", nullptr, 0));
  EXPECT_EQ(lastError(), eOsInvalid);
}

}  // namespace
