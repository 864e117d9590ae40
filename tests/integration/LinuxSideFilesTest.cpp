// What deleting the files that lie beside one leaves alone on a real system.

#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/SystemCallFilter.h"

namespace {

// A folder m with files of a pattern, and beside it another that nothing may touch.
class LinuxSideFilesTest : public LinuxFileFixture {
protected:
  LinuxSideFilesTest() {
    for (const char* name : {"m", "canary"})
      EXPECT_EQ(mkdir(folder_.bytes(name).c_str(), 0700), 0) << name;
    for (const char* name : {"m/a.1", "m/a.2", "m/b.1", "canary/a.1", "canary/song"})
      folder_.put(name, "alive");
  }
  ~LinuxSideFilesTest() override {
    EXPECT_EQ(folder_.content("canary/a.1"), "alive");
    EXPECT_EQ(folder_.content("canary/song"), "alive");
  }

  // The file m/a with what lies beside it.
  void expectAllGoes() const {
    MediaLeft left{0, 0};
    folder_.put("m/a", "media");
    EXPECT_TRUE(linuxFileManager()->deleteMedia({folder_ / "m/a", L"a.*", {}, {}}, left));
    EXPECT_EQ(left.sideFiles, 1u);
  }
  // Whether it is so in a process of its own, which may be broken.
  template <typename Play>
  static bool holdsApart(Play play) {
    pid_t child = fork();
    if (child == 0) _exit(play() ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  }
  void rename(std::string_view from, std::string_view to) const {
    ASSERT_EQ(::rename(folder_.bytes(from).c_str(), folder_.bytes(to).c_str()), 0);
  }

private:
  OwnMounts own_;
};

}  // namespace

TEST_F(LinuxSideFilesTest, ALinkGoesItselfAndOneThatLeadsNowhereStays) {
  link("../canary/song", "m/a.link");
  link("nowhere", "m/a.none");
  link("../canary", "m/a.folder");
  expectAllGoes();
  for (const char* gone : {"m/a.1", "m/a.2", "m/a.link"}) EXPECT_FALSE(isThere(gone)) << gone;
  for (const char* kept : {"m/b.1", "m/a.none", "m/a.folder"}) EXPECT_TRUE(isThere(kept)) << kept;
}

// The listing waits for what a link in the folder leads to, and meanwhile another takes its name.
TEST_F(LinuxSideFilesTest, WhatTakesTheFoldersPlaceMeanwhileKeepsItsOwn) {
  HeldFileSystem server(folder_.bytes("server"), HeldFileSystem::eEverything);
  if (!server.isMounted()) GTEST_SKIP() << "nothing can be mounted here";
  link(folder_.bytes("server"), "m/a.slow");
  std::thread deleting([this] { expectAllGoes(); });
  server.waitUntilHeld(1);
  rename("m", "moved");
  link("canary", "m");
  server.letGo();
  deleting.join();
  EXPECT_FALSE(isThere("moved/a.1"));
  EXPECT_FALSE(isThere("moved/a.2"));
  EXPECT_TRUE(isThere("moved/b.1"));
}

TEST_F(LinuxSideFilesTest, WhatIsGoneWhenItIsToGoIsToldOfTheFileAlone) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << "system calls cannot be filtered here";
  EXPECT_TRUE(holdsApart([this] {
    MediaLeft left{0, 0};
    return SystemCallFilter::refuse(SYS_unlinkat, ENOENT) &&
           !linuxFileManager()->deleteMedia({folder_ / "m/b.1", L"a.*", {}, {}}, left) &&
           lastError() == eOsNotFound && left.sideFiles == 1;
  }));
  EXPECT_TRUE(isThere("m/a.1"));
}

TEST_F(LinuxSideFilesTest, ANameWithoutAFolderIsOneInTheWorkingFolder) {
  EXPECT_TRUE(holdsApart([this] {
    MediaLeft left{0, 0};
    return chdir(folder_.bytes("m").c_str()) == 0 &&
           linuxFileManager()->deleteMedia({L"b.1", L"a.*", {}, {}}, left) && left.sideFiles == 1;
  }));
  for (const char* gone : {"m/a.1", "m/a.2", "m/b.1"}) EXPECT_FALSE(isThere(gone)) << gone;
}
