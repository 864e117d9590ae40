// What deleting by a pattern leaves alone on a real system.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/OwnMounts.h"

namespace {

// A folder m with files of a pattern, and beside it another that nothing may touch.
class LinuxDeleteMatchingTest : public LinuxFileFixture {
protected:
  LinuxDeleteMatchingTest() {
    for (const char* name : {"m", "canary"})
      EXPECT_EQ(mkdir(folder_.bytes(name).c_str(), 0700), 0) << name;
    for (const char* name : {"m/a.1", "m/a.2", "m/b.1", "canary/a.1", "canary/song"})
      folder_.put(name, "alive");
  }
  ~LinuxDeleteMatchingTest() override {
    EXPECT_EQ(folder_.content("canary/a.1"), "alive");
    EXPECT_EQ(folder_.content("canary/song"), "alive");
  }

  void rename(std::string_view from, std::string_view to) const {
    ASSERT_EQ(::rename(folder_.bytes(from).c_str(), folder_.bytes(to).c_str()), 0);
  }

private:
  OwnMounts own_;
};

}  // namespace

TEST_F(LinuxDeleteMatchingTest, ALinkGoesItselfAndOneThatLeadsNowhereStays) {
  link("../canary/song", "m/a.link");
  link("nowhere", "m/a.none");
  link("../canary", "m/a.folder");
  EXPECT_TRUE(linuxFileManager()->deleteMatching(folder_ / "m/a.*"));
  for (const char* gone : {"m/a.1", "m/a.2", "m/a.link"}) EXPECT_FALSE(isThere(gone)) << gone;
  for (const char* kept : {"m/b.1", "m/a.none", "m/a.folder"}) EXPECT_TRUE(isThere(kept)) << kept;
}

// The listing waits for what a link in the folder leads to, and meanwhile another takes its name.
TEST_F(LinuxDeleteMatchingTest, WhatTakesTheFoldersPlaceMeanwhileKeepsItsOwn) {
  HeldFileSystem server(folder_.bytes("server"), HeldFileSystem::eEverything);
  if (!server.isMounted()) GTEST_SKIP() << "nothing can be mounted here";
  link(folder_.bytes("server"), "m/a.slow");
  std::thread deleting(
      [this] { EXPECT_TRUE(linuxFileManager()->deleteMatching(folder_ / "m/a.*")); });
  server.waitUntilHeld(1);
  rename("m", "moved");
  link("canary", "m");
  server.letGo();
  deleting.join();
  EXPECT_FALSE(isThere("moved/a.1"));
  EXPECT_FALSE(isThere("moved/a.2"));
  EXPECT_TRUE(isThere("moved/b.1"));
}
