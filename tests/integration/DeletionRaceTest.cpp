// Folders that change under a deletion: whatever somebody exchanges meanwhile, what lies beside
// them stays whole.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <thread>

#include "fsys/FsysDirectoryEntry.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsNobody.h"
#include "tests/support/FolderInMemory.h"
#include "tests/support/Soak.h"

namespace {

// What is put in a place of the tree and taken out again while the tree is deleted.
struct Lure {
  const char* place;
  const char* target;  // of a link; null: a folder
};

constexpr Lure kLures[] = {{"m/sub/deep", "../../canary"},
                           {"m/sub/deep/low", "../../../canary"},
                           {"m/sub", "../canary"},
                           {"m/sub/deep", nullptr}};

// A folder m, a canary beside it, and one thread that exchanges names while another deletes.
class DeletionRaceTest : public LinuxFileFixture {
protected:
  // After whatever is to be mounted.
  void makeTree() {
    base_ = open(folder_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    for (const char* name : {"canary", "canary/inner", "m"})
      EXPECT_EQ(mkdirat(base_, name, 0700), 0) << name;
    for (const char* name : {"canary/song", "canary/inner/song", "m/beside"})
      folder_.put(name, "alive");
  }
  ~DeletionRaceTest() override {
    if (base_ >= 0) close(base_);
  }

  bool isCanaryWhole() const {
    return folder_.content("canary/song") == "alive" &&
           folder_.content("canary/inner/song") == "alive" &&
           folder_.content("m/beside") == "alive";
  }
  bool isExchanged(const char* one, const char* other) const {
    return renameat2(base_, one, base_, other, RENAME_EXCHANGE) == 0;
  }
  // Not every file system has it, and then nothing would ever be exchanged. Empty: it does.
  std::string whyNoExchange() const {
    for (const char* name : {"one", "other"}) folder_.put(name, "x");
    const bool isDone = renameat2(AT_FDCWD, folder_.bytes("one").c_str(), AT_FDCWD,
                                  folder_.bytes("other").c_str(), RENAME_EXCHANGE) == 0;
    return isDone ? "" : std::string("names cannot be exchanged here: ") + std::strerror(errno);
  }

  // Does one thing over and over while another thread takes its turns; each says whether it
  // exchanged something. At least `turns`, and until enough was done and exchanged.
  static void race(unsigned turns, const std::function<bool(unsigned)>& turn,
                   const std::function<void()>& round) {
    constexpr unsigned kRounds = 300;
    constexpr unsigned kExchanges = 1000;
    std::atomic<unsigned> rounds{0};
    std::atomic<bool> isOver{false};
    std::thread swapping([&] {
      unsigned exchanged = 0;
      for (unsigned i = 0; i < turns || rounds < kRounds || exchanged < kExchanges; ++i)
        exchanged += turn(i);
      isOver = true;
    });
    for (; !isOver; ++rounds) round();
    swapping.join();
  }

  // One thread deletes the tree and builds it again. The other one puts a link to the canary in the
  // place of a folder of the tree or of the tree itself, and moves a folder out of it, and back.
  void raceForATree(unsigned turns) {
    unsigned round = 0;
    auto exchange = [this](unsigned turn) {
      const Lure& lure = kLures[turn / 2 % std::size(kLures)];
      if (turn % 2 == 0) makeLure(lure);
      return isExchanged("m/lure", lure.place);
    };
    race(turns, exchange, [&] {
      linuxFileManager()->deleteSubfolder(folder_ / "m", folder_ / "m/sub", {});
      rebuild();
      EXPECT_TRUE(isCanaryWhole()) << "after round " << ++round;
    });
  }

  int base_ = -1;

private:
  void makeLure(const Lure& lure) const {
    // What came out of the tree the last time.
    std::error_code ignored;
    std::filesystem::remove_all(folder_.path() + "/m/lure", ignored);
    if (lure.target) [[maybe_unused]]
      int made = symlinkat(lure.target, base_, "m/lure");
    else
      mkdirat(base_, "m/lure", 0700);
  }
  void rebuild() const {
    for (const char* name : {"m/sub", "m/sub/deep", "m/sub/deep/low"}) mkdirat(base_, name, 0700);
    for (const char* name : {"m/sub/x", "m/sub/deep/y", "m/sub/deep/low/z"}) {
      int made = openat(base_, name, O_CREAT | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, 0600);
      if (made >= 0) close(made);
    }
  }
};

TEST_F(DeletionRaceTest, AFolderThatBecomesALinkOrIsMovedMeanwhileLeadsNowhere) {
  FolderInMemory memory(folder_);
  if (std::string why = whyNoExchange(); !why.empty()) GTEST_SKIP() << why;
  makeTree();
  raceForATree(soakTurns(100'000, 2'000'000));
}

TEST_F(DeletionRaceTest, NorDoesItOnTheDiskThatTestsRunOn) {
  if (std::string why = whyNoExchange(); !why.empty()) GTEST_SKIP() << why;
  makeTree();
  raceForATree(soakTurns(5'000, 100'000));
}

// In the canary a file lies beside where the media would be, and nobody can see that: it could only
// go by the name of one that was seen elsewhere.
TEST_F(DeletionRaceTest, WhatLiesBesideAFileGoesFromTheFolderInWhichItWasSeen) {
  FolderInMemory memory(folder_);
  if (std::string why = whyNoExchange(); !why.empty()) GTEST_SKIP() << why;
  eSeen seen = asNobody(folder_, [&] {
    makeTree();
    mkdirat(base_, "m/own", 0700);
    int own = openat(base_, "m/own", O_PATH | O_DIRECTORY | O_CLOEXEC);
    folder_.put("canary/a.mov.x", "alive");
    bool isSet =
        symlinkat("../canary", base_, "m/lure") == 0 && fchmodat(base_, "canary", 0300, 0) == 0;
    unsigned deleted = 0;
    bool isWhole = isSet;
    race(
        soakTurns(100'000, 2'000'000), [this](unsigned) { return isExchanged("m/lure", "m/own"); },
        [&] {
          for (const char* name : {"a.mov", "a.mov.x"})
            close(openat(own, name, O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
          FsysDirectoryEntry entry;
          deleted += entry.deleteFile(MaterialFilename(DriveId(), folder_ / "m/own/a.mov")) == 1;
          isWhole = isWhole && folder_.content("canary/a.mov.x") == "alive";
        });
    close(own);
    return isWhole && deleted > 0 && isCanaryWhole();
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

// In the canary lies a folder with the name of the one that the link takes along; there is no link
// there that says so.
TEST_F(DeletionRaceTest, TheFolderOfALinksMediaGoesFromTheFolderInWhichTheLinkWasRead) {
  FolderInMemory memory(folder_);
  if (std::string why = whyNoExchange(); !why.empty()) GTEST_SKIP() << why;
  makeTree();
  mkdirat(base_, "m/own", 0700);
  const int own = openat(base_, "m/own", O_PATH | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(symlinkat("../canary", base_, "m/lure"), 0);
  mkdirat(base_, "canary/clip", 0700);
  folder_.put("canary/clip/x.mov", "alive");
  const std::string ownFolder = "/proc/self/fd/" + std::to_string(own);
  unsigned gone = 0;
  race(
      soakTurns(100'000, 2'000'000), [this](unsigned) { return isExchanged("m/lure", "m/own"); },
      [&] {
        mkdirat(own, "clip", 0700);
        close(openat(own, "clip/x.mov", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
        MaterialLink::createLink(fromUTF8((ownFolder + "/a.mov").c_str()),
                                 folder_ / "m/own/clip/x.mov", true);
        FsysDirectoryEntry entry;
        entry.deleteFile(MaterialFilename(DriveId(), folder_ / "m/own/a.mov"));
        gone += faccessat(own, "clip", F_OK, 0) != 0;
        EXPECT_EQ(folder_.content("canary/clip/x.mov"), "alive");
      });
  close(own);
  EXPECT_GT(gone, 0u);
  EXPECT_TRUE(isCanaryWhole());
}

}  // namespace
