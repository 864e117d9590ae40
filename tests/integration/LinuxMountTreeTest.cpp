#include "platform/linux/MountTree.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <future>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/OS.h"
#include "platform/linux/MountTable.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/NoDescriptors.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestErrand.h"

namespace {

using Tree = Qv::Ptr<MountTree>;

MountEntry entry(uint64_t id, uint64_t parent, const char* folder,
                 const char* fileSystem = "tmpfs") {
  MountEntry mount;
  mount.id = id;
  mount.parent = parent;
  mount.folder = folder;
  mount.root = "/";
  mount.source = "source";
  mount.fileSystem = fileSystem;
  return mount;
}

Tree makeTree(const std::vector<MountEntry>& entries, const Tree& before = nullptr) {
  return Tree(new MountTree(entries, before.get()));
}

// By what each mount of a tree is told from the others: its number.
std::map<uint64_t, const MountTree::Mount*> byNumber(const Tree& tree) {
  std::map<uint64_t, const MountTree::Mount*> all;
  for (const MountTree::Mount& mount : tree->mounts()) all[mount.entry.id] = &mount;
  return all;
}

TEST(LinuxMountTreeTest, OfMountsOnOneFolderAllButTheLastAreHidden) {
  Tree tree = makeTree({entry(1, 0, "/"), entry(2, 1, "/a"), entry(3, 2, "/a"), entry(4, 1, "/b")});
  auto mounts = byNumber(tree);
  EXPECT_TRUE(mounts[2]->drive->isExcluded());
  EXPECT_TRUE(mounts[2]->drive->isHidden());
  for (uint64_t id : {1, 3, 4}) {
    EXPECT_FALSE(mounts[id]->drive->isExcluded()) << id;
    EXPECT_FALSE(mounts[id]->drive->isHidden()) << id;
  }
}

TEST(LinuxMountTreeTest, WhatIsExcludedForAnotherReasonIsNotHidden) {
  Tree tree = makeTree({entry(1, 0, "/"), entry(2, 1, "/proc"), entry(3, 1, "/net", "autofs")});
  auto mounts = byNumber(tree);
  for (uint64_t id : {2, 3}) {
    EXPECT_TRUE(mounts[id]->drive->isExcluded()) << id;
    EXPECT_FALSE(mounts[id]->drive->isHidden()) << id;
  }
}

TEST(LinuxMountTreeTest, AMountOnAFolderHidesWhatLiesBelowAndNotWhatIsMountedInIt) {
  Tree tree = makeTree({entry(1, 0, "/"), entry(2, 1, "/a/b"), entry(3, 1, "/a"),
                        entry(4, 3, "/a/b"), entry(5, 3, "/a/c"), entry(6, 1, "/ab")});
  auto mounts = byNumber(tree);
  EXPECT_TRUE(mounts[2]->drive->isHidden());
  for (uint64_t id : {3, 4, 5, 6}) EXPECT_FALSE(mounts[id]->drive->isHidden()) << id;
}

TEST(LinuxMountTreeTest, ARootUnderTheRootIsHidden) {
  Tree tree = makeTree({entry(1, 1, "/"), entry(2, 1, "/")});
  auto mounts = byNumber(tree);
  EXPECT_TRUE(mounts[1]->drive->isHidden());
  EXPECT_FALSE(mounts[2]->drive->isHidden());
}

TEST(LinuxMountTreeTest, WhatLiesBehindADriveThatMayFallSilentMayToo) {
  Tree tree = makeTree({entry(1, 0, "/"), entry(2, 1, "/share", "nfs"), entry(3, 2, "/share/a"),
                        entry(4, 3, "/share/a/b"), entry(5, 1, "/near")});
  auto mounts = byNumber(tree);
  for (uint64_t id : {2, 3, 4}) {
    EXPECT_TRUE(mounts[id]->isAway) << id;
    EXPECT_TRUE(mounts[id]->mayFallSilent()) << id;
  }
  for (uint64_t id : {1, 5}) {
    EXPECT_FALSE(mounts[id]->isAway) << id;
    EXPECT_FALSE(mounts[id]->mayFallSilent()) << id;
  }
}

TEST(LinuxMountTreeTest, AnAutomountIsNotAskedAndWhatTheSystemMountedThereMayAnswerByItself) {
  Tree tree = makeTree({entry(1, 0, "/"), entry(2, 1, "/disk", "autofs"), entry(3, 2, "/disk"),
                        entry(4, 1, "/net", "autofs")});
  auto mounts = byNumber(tree);
  EXPECT_FALSE(mounts[3]->mayFallSilent());
  EXPECT_TRUE(mounts[3]->drive->isAsked());
  EXPECT_FALSE(mounts[4]->isAway);
  EXPECT_TRUE(mounts[4]->isAutomount);
  EXPECT_TRUE(mounts[4]->mayFallSilent()) << "errands that go in wait for the system";
  EXPECT_FALSE(mounts[4]->drive->isAsked());
  EXPECT_FALSE(mounts[4]->drive->isAvailable());
}

// A disk of this machine on which the kernel waits, since it is breaking.
TEST(LinuxMountTreeTest, TheSpaceOfAnyDriveIsAskedByItsProbeAndGivenUpWhenItDoesNotAnswer) {
  Tree tree = makeTree({entry(1, 0, "/")});
  const MountTree::Mount& mount = tree->mounts()[0];
  std::promise<void> begun;
  std::promise<void> over;
  Qv::Ptr<DriveProbe::Turn> held = mount.probe->hand(TestErrand::of([&] {
    begun.set_value();
    over.get_future().wait();
  }));
  begun.get_future().wait();
  uint64_t freeBytes = 1, totalBytes = 1;
  EXPECT_FALSE(mount.drive->getSpace(freeBytes, totalBytes));
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsTimedOut);
  EXPECT_EQ(freeBytes + totalBytes, 0u);
  EXPECT_FALSE(mount.drive->isAvailable());
  over.set_value();
  EXPECT_EQ(mount.probe->wait(held, std::chrono::steady_clock::now() + std::chrono::minutes(1)),
            1u);
}

TEST(LinuxMountTreeTest, EveryMountHasAProbeOfItsOwn) {
  Tree tree = makeTree({entry(1, 0, "/"), entry(2, 1, "/a", "nfs"), entry(3, 1, "/b", "autofs")});
  std::set<DriveProbe*> probes;
  for (const MountTree::Mount& mount : tree->mounts()) probes.insert(mount.probe.get());
  EXPECT_EQ(probes.size(), 3u);
  EXPECT_EQ(probes.count(nullptr), 0u);
}

TEST(LinuxMountTreeTest, AMountKeepsItsProbeWhileItsNumberFolderAndSourceStay) {
  Tree before = makeTree({entry(1, 0, "/"), entry(2, 1, "/share", "nfs")});
  const Qv::Ptr<DriveProbe> probe = byNumber(before)[2]->probe;
  const Qv::Ptr<DriveProbe> ofDisk = byNumber(before)[1]->probe;
  Tree same = makeTree(
      {entry(1, 0, "/"), entry(3, 1, "/other", "nfs"), entry(2, 1, "/share", "nfs")}, before);
  EXPECT_EQ(byNumber(same)[2]->probe, probe);
  EXPECT_EQ(byNumber(same)[1]->probe, ofDisk);
  EXPECT_FALSE(byNumber(same)[3]->probe == probe);
  MountEntry elsewhere = entry(2, 1, "/moved", "nfs");
  MountEntry another = entry(2, 1, "/share", "nfs");
  another.source = "another";
  MountEntry renumbered = entry(4, 1, "/share", "nfs");
  for (const MountEntry& other : {elsewhere, another, renumbered}) {
    Tree after = makeTree({entry(1, 0, "/"), other}, before);
    EXPECT_FALSE(byNumber(after)[other.id]->probe == probe);
    EXPECT_TRUE(byNumber(after)[other.id]->probe);
  }
}

TEST(LinuxMountTreeTest, AListThatChangedWhileItWasReadEndsAllTheSame) {
  Tree tree = makeTree({entry(1, 2, "/"), entry(2, 1, "/"), entry(3, 4, "/a"), entry(4, 3, "/a"),
                        entry(5, 5, "/b"), entry(1, 2, "/")});
  EXPECT_EQ(tree->mounts().size(), 6u);
  int error = 0;
  static_cast<void>(tree->find("/a/b", MountTree::eGoIn, error));
}

TEST(LinuxMountTreeTest, WithoutMountsNothingIsKnown) {
  Tree tree = makeTree({});
  int error = 0;
  EXPECT_FALSE(tree->find("/", MountTree::eGoIn, error).mount);
  EXPECT_EQ(error, ENOENT);
}

class LinuxMountTableTest : public testing::Test {
protected:
  void SetUp() override { real_ = std::filesystem::canonical(folder_.path()).string(); }

  MountedAt describe(const std::string& path) {
    MountedAt at;
    int error = 0;
    EXPECT_TRUE(table_.describe(path, at, error)) << path;
    return at;
  }

  static bool isListed(MountTable& table, const std::string& folder) {
    Tree tree = table.latest();
    return std::any_of(tree->mounts().begin(), tree->mounts().end(),
                       [&](const MountTree::Mount& mount) { return mount.entry.folder == folder; });
  }

  // As the list names it.
  static std::string real(const MountedFolder& folder) {
    return std::filesystem::canonical(folder.path()).string();
  }

  static constexpr unsigned kChildLives_s = 30;

  ScratchFolder folder_;
  std::string real_;  // its name without links
  MountTable table_;
};

TEST_F(LinuxMountTableTest, WhereAPathLiesIsToldByTheListWithoutWaiting) {
  HeldFileSystem share(folder_.bytes("share"), HeldFileSystem::eEverything, "fuse.sshfs");
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  ASSERT_EQ(symlink("share", folder_.bytes("link").c_str()), 0);
  const std::vector<std::pair<const char*, const char*>> paths = {{"share", ""},
                                                                  {"share/", ""},
                                                                  {"share/a b/c", "a b/c"},
                                                                  {"link/./a//b/", "a/b"},
                                                                  {"share/a/../b", "b"}};
  for (auto [path, rest] : paths) {
    SCOPED_TRACE(path);
    MountedAt at = describe(folder_.bytes(path));
    EXPECT_EQ(at.mount.source, "held");
    EXPECT_EQ(at.mount.folder, real_ + "/share");
    EXPECT_EQ(at.mount.root, "/");
    EXPECT_EQ(at.mount.fileSystem, "fuse.sshfs");
    EXPECT_EQ(at.rest, rest);
  }
}

TEST_F(LinuxMountTableTest, WhatDoesNotExistIsToldBelowWhatDoes) {
  folder_.put("file", "x");
  MountedAt at = describe(folder_.bytes("no/such/../name/./clip"));
  std::string below = at.mount.folder == "/" ? at.mount.folder : at.mount.folder + "/";
  EXPECT_EQ(below + at.rest, real_ + "/no/name/clip");
  EXPECT_EQ(below + describe(folder_.bytes("no/../../../x")).rest, real_ + "/x");
  EXPECT_EQ(below + describe(folder_.bytes("file/x")).rest, real_ + "/file/x");
  EXPECT_EQ(describe("/").rest, "");
  EXPECT_EQ(describe("/").mount.folder, "/");
  EXPECT_EQ(describe("/no-such-folder/x").rest, "no-such-folder/x");
  EXPECT_EQ(describe("no-such-name").rest,
            describe((std::filesystem::current_path() / "no-such-name").string()).rest);
}

TEST_F(LinuxMountTableTest, APartOfADriveTellsWhichPartItIs) {
  std::string whole = folder_.bytes("whole"), part = folder_.bytes("part");
  ASSERT_EQ(mkdir(whole.c_str(), 0700) + mkdir(part.c_str(), 0700), 0);
  if (mount("it's a source", whole.c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "mounting is not allowed here";
  EXPECT_EQ(mkdir((whole + "/a b").c_str(), 0700), 0);
  EXPECT_EQ(mount((whole + "/a b").c_str(), part.c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_EQ(mount("none", part.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  MountedAt at = describe(part + "/clip");
  EXPECT_EQ(umount2(part.c_str(), MNT_DETACH), 0);
  EXPECT_EQ(umount2(whole.c_str(), MNT_DETACH), 0);
  EXPECT_EQ(at.mount.source, "it's a source");
  EXPECT_EQ(at.mount.root, "/a b");
  EXPECT_EQ(at.rest, "clip");
  EXPECT_EQ(at.mount.options.substr(0, 2), "ro");
  EXPECT_EQ(at.mount.superOptions.substr(0, 2), "rw");
}

TEST_F(LinuxMountTableTest, APathThatCannotBeFollowedIsNotKnown) {
  MountedAt at;
  int error = 0;
  EXPECT_FALSE(table_.describe("", at, error));
  EXPECT_EQ(error, ENOENT);
  ASSERT_EQ(symlink("loop", folder_.bytes("loop").c_str()), 0);
  EXPECT_FALSE(table_.describe(folder_.bytes("loop/clip"), at, error));
  EXPECT_EQ(error, ELOOP);
}

TEST_F(LinuxMountTableTest, TheListIsReadAgainWhenItHasChangedAndNotBefore) {
  // Others may mount something meanwhile.
  bool isKept = false;
  for (int i = 0; i < 100 && !isKept; ++i) {
    Tree first = table_.latest();
    isKept = table_.latest() == first;
  }
  EXPECT_TRUE(isKept);
}

TEST_F(LinuxMountTableTest, AListThatCannotBeReadStaysAsItWasUntilItCan) {
  Tree before = table_.latest();
  ASSERT_FALSE(before->mounts().empty());
  MountedFolder memory(MountedFolder::eMemory, 1);
  if (memory.path().empty()) GTEST_SKIP() << memory.why();
  for (int i = 0; i < 3; ++i) {
    NoDescriptors none;
    EXPECT_EQ(table_.latest(), before);
  }
  EXPECT_TRUE(isListed(table_, real(memory)));
}

TEST_F(LinuxMountTableTest, AFirstListThatCannotBeReadIsReadByTheNextCall) {
  // A sanitizer that checks what objects are needs descriptors for its first look at such a list.
  EXPECT_TRUE(isListed(table_, "/"));
  // Without a descriptor every call takes the list for a changed one. With one it asks the system
  // for changes, which tells of none: what was not read must be remembered.
  for (NoDescriptors::eLeft left : {NoDescriptors::eNone, NoDescriptors::eOne}) {
    MountTable table;
    {
      NoDescriptors none(left);
      EXPECT_TRUE(table.latest()->mounts().empty());
      EXPECT_TRUE(table.latest()->mounts().empty());
    }
    EXPECT_TRUE(isListed(table, "/")) << left;
  }
}

// A change is told to one process of those that share a descriptor.
TEST_F(LinuxMountTableTest, AForkedChildAndItsParentBothSeeWhatIsMountedLater) {
  static_cast<void>(table_.latest());
  std::array<int, 2> line = {-1, -1};
  ASSERT_EQ(pipe(line.data()), 0);
  pid_t child = fork();
  if (child == 0) {
    alarm(kChildLives_s);
    close(line[1]);
    std::array<char, PATH_MAX> folder = {};
    static_cast<void>(table_.latest());
    ssize_t told = read(line[0], folder.data(), folder.size() - 1);
    _exit(told > 0 && isListed(table_, folder.data()) ? 7 : 8);
  }
  close(line[0]);
  MountedFolder memory(MountedFolder::eMemory, 1);
  std::string folder = memory.path().empty() ? "" : real(memory);
  bool isSeen = isListed(table_, folder);
  bool isTold = write(line[1], folder.data(), folder.size()) >= 0;
  close(line[1]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (memory.path().empty()) GTEST_SKIP() << memory.why();
  EXPECT_TRUE(isTold);
  EXPECT_TRUE(isSeen);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << "status " << status;
}

TEST(LinuxBlockDeviceTest, ALookWithoutDescriptorsIsNoAnswer) {
  const char* all = "/sys/dev/block";
  std::error_code failed;
  std::filesystem::directory_iterator first(all, failed);
  if (failed || first == end(first)) GTEST_SKIP() << "no disks are listed here";
  std::string name = first->path().filename().string();
  unsigned major = 0;
  unsigned minor = 0;
  ASSERT_EQ(sscanf(name.c_str(), "%u:%u", &major, &minor), 2);
  BlockDevice device;
  {
    NoDescriptors none;
    EXPECT_FALSE(describeBlockDevice(makedev(major, minor), device));
    EXPECT_EQ(device.sectorSize, 0u);
    EXPECT_TRUE(describeBlockDevice(makedev(0, 1), device)) << "it is no disk, whoever looks";
    EXPECT_FALSE(device.known);
  }
  EXPECT_TRUE(describeBlockDevice(makedev(major, minor), device));
  EXPECT_TRUE(device.known);
  EXPECT_GE(device.sectorSize, 512u);
}

}  // namespace
