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
  // Also a folder in m, and a link to the canary that takes its place.
  void makeOwn() {
    makeTree();
    mkdirat(base_, "m/own", 0700);
    own_ = openat(base_, "m/own", O_PATH | O_DIRECTORY | O_CLOEXEC);
    canary_ = openat(base_, "canary", O_PATH | O_DIRECTORY | O_CLOEXEC);
    EXPECT_EQ(symlinkat("../canary", base_, "m/lure"), 0);
  }
  ~DeletionRaceTest() override {
    for (int folder : {base_, own_, canary_})
      if (folder >= 0) close(folder);
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
      MediaLeft left;
      linuxFileManager()->deleteMedia({folder_ / "m/a.mov", {}, folder_ / "m/sub", {}}, left);
      rebuild();
      EXPECT_TRUE(isCanaryWhole()) << "after round " << ++round;
    });
  }

  // One thread exchanges m/own and the link.
  void raceForAFile(const std::function<void()>& round) {
    race(
        soakTurns(100'000, 2'000'000), [this](unsigned) { return isExchanged("m/lure", "m/own"); },
        round);
  }
  uint32_t deleted() const {
    FsysDirectoryEntry entry;
    return entry.deleteFile(MaterialFilename(DriveId(), folder_ / "m/own/a.mov"));
  }
  static void put(int folder, const char* name) {
    close(openat(folder, name, O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  }
  static bool holds(int folder, const char* name) { return faccessat(folder, name, F_OK, 0) == 0; }

  int base_ = -1;
  int own_ = -1;
  int canary_ = -1;

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
    for (const char* name : {"m/a.mov", "m/sub/x", "m/sub/deep/y", "m/sub/deep/low/z"}) {
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

// Both folders have the same files: those of one go, and none of the other.
TEST_F(DeletionRaceTest, WhatLiesBesideAFileGoesFromTheFolderInWhichItWasSeen) {
  FolderInMemory memory(folder_);
  if (std::string why = whyNoExchange(); !why.empty()) GTEST_SKIP() << why;
  makeOwn();
  unsigned goneThere = 0;
  raceForAFile([&] {
    for (int folder : {own_, canary_})
      for (const char* name : {"a.mov", "a.mov.x"}) put(folder, name);
    EXPECT_EQ(deleted(), 1u);
    const int gone = holds(own_, "a.mov") ? canary_ : own_;
    const int kept = gone == own_ ? canary_ : own_;
    EXPECT_FALSE(holds(gone, "a.mov") || holds(gone, "a.mov.x"));
    EXPECT_TRUE(holds(kept, "a.mov") && holds(kept, "a.mov.x"));
    goneThere += gone == own_;
  });
  EXPECT_GT(goneThere, 0u);
  EXPECT_TRUE(isCanaryWhole());
}

// In the canary lies a folder with the name of the one that the link takes along; there is no link
// there that says so, but media of the link's name.
TEST_F(DeletionRaceTest, TheFolderOfALinksMediaGoesFromTheFolderInWhichTheLinkWasRead) {
  FolderInMemory memory(folder_);
  if (std::string why = whyNoExchange(); !why.empty()) GTEST_SKIP() << why;
  makeOwn();
  mkdirat(base_, "canary/clip", 0700);
  folder_.put("canary/clip/x.mov", "alive");
  const std::string ownFolder = "/proc/self/fd/" + std::to_string(own_);
  unsigned gone = 0;
  raceForAFile([&] {
    mkdirat(own_, "clip", 0700);
    for (const char* name : {"clip/x.mov", "a.mov.x"}) put(own_, name);
    for (const char* name : {"a.mov", "a.mov.x"}) put(canary_, name);
    MaterialLink::createLink(fromUTF8((ownFolder + "/a.mov").c_str()), folder_ / "m/own/clip/x.mov",
                             true);
    deleted();
    const bool isOwnWhole =
        holds(own_, "clip/x.mov") && holds(own_, "a.mov") && holds(own_, "a.mov.x");
    EXPECT_TRUE(isOwnWhole || (holds(canary_, "a.mov") && holds(canary_, "a.mov.x")));
    EXPECT_EQ(folder_.content("canary/clip/x.mov"), "alive");
    gone += !holds(own_, "clip");
  });
  EXPECT_GT(gone, 0u);
  EXPECT_TRUE(isCanaryWhole());
}

}  // namespace
