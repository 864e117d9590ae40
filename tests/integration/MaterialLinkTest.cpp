// Links of a real disk: made, replaced and followed.
#include "fsys/MaterialLink.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "fsys/MediaFileInfo.h"
#include "platform/OS.h"
#include "tests/support/AsNobody.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/StreamedFile.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;

std::string linkTo(const std::string& target) {
  return target + std::string(512 - target.size(), '\0');
}

class RealMaterialLinkTest : public testing::Test {
protected:
  Text targetOf(std::string_view name) {
    Text result;
    EXPECT_TRUE(MaterialLink::getLinkedFilename(folder_ / name, result));
    return result;
  }
  size_t files() {
    Vector<iFileManager::ListedFile> listed;
    OS()->getFileManager()->listFiles(folder_ / "*", listed);
    return listed.size();
  }

  ScratchFolder folder_;
  TestDiagnostics said_;
};

TEST_F(RealMaterialLinkTest, ALinkIsMadeReplacedAndRead) {
  EXPECT_EQ(MaterialLink::createLink(folder_ / "a", L"/far", false), 1u);
  EXPECT_EQ(folder_.content("a"), linkTo("/far"));
  EXPECT_EQ(MaterialLink::createLink(folder_ / "a", L"/b", false), 0u);
  EXPECT_EQ(targetOf("a"), L"/far");
  ASSERT_EQ(::chmod(folder_.bytes("a").c_str(), 0640), 0);
  EXPECT_EQ(MaterialLink::createLink(folder_ / "a", L"/b", true), 1u);
  EXPECT_EQ(targetOf("a"), L"/b");
  struct stat status = {};
  ASSERT_EQ(::stat(folder_.bytes("a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0640u);
  EXPECT_EQ(files(), 1u) << "nothing unfinished is left";
}

TEST_F(RealMaterialLinkTest, MediaIsNeverEmptied) {
  folder_.put("a", std::string(513, 'x'));
  EXPECT_EQ(MaterialLink::createLink(folder_ / "a", L"/far", true), 0u);
  EXPECT_EQ(said_.outText(), "assertion failed false at fsys/MaterialLink line 129\n");
  EXPECT_EQ(folder_.content("a"), std::string(513, 'x'));
  EXPECT_EQ(files(), 1u);
}

TEST_F(RealMaterialLinkTest, WhatIsNoFileIsNotReplaced) {
  ASSERT_EQ(::mkfifo(folder_.bytes("fifo").c_str(), 0600), 0);
  ASSERT_EQ(::mkdir(folder_.bytes("folder").c_str(), 0700), 0);
  for (const char* name : {"fifo", "folder"})
    for (bool replace : {false, true})
      EXPECT_EQ(MaterialLink::createLink(folder_ / name, L"/far", replace), 0u) << name;
  struct stat status = {};
  ASSERT_EQ(::stat(folder_.bytes("fifo").c_str(), &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
  EXPECT_EQ(files(), 0u);
}

TEST_F(RealMaterialLinkTest, NothingIsWrittenThroughASymbolicLink) {
  folder_.put("precious", "precious");
  ASSERT_EQ(::symlink("precious", folder_.bytes("a").c_str()), 0);
  ASSERT_EQ(::symlink("missing", folder_.bytes("b").c_str()), 0);
  for (const char* name : {"a", "b"}) {
    EXPECT_EQ(MaterialLink::createLink(folder_ / name, L"/far", false), 0u);
    EXPECT_EQ(MaterialLink::createLink(folder_ / name, L"/far", true), 1u);
    EXPECT_EQ(targetOf(name), L"/far");
  }
  EXPECT_EQ(folder_.content("precious"), "precious");
  EXPECT_NE(::access(folder_.bytes("missing").c_str(), F_OK), 0);
}

TEST_F(RealMaterialLinkTest, ALinkThatMayNotBeReadOrWrittenIsUnreadableAndStays) {
  folder_.put("a", linkTo("/far"));
  ASSERT_EQ(::chmod(folder_.bytes("a").c_str(), 0), 0);
  auto check = [this] {
    Text result(L"before");
    bool isRead = MaterialLink::getLinkedFilename(folder_ / "a", result);
    uint32_t error = OS()->getErrors()->getLastError();
    bool isReplaced = MaterialLink::createLink(folder_ / "a", L"/b", true) == 1;
    return !isRead && result.empty() && error == eOsAccessDenied && !isReplaced &&
           !MaterialLink::isLink(folder_ / "a");
  };
  eSeen seen = asNobody(folder_, check);
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
  EXPECT_EQ(folder_.content("a"), linkTo("/far"));
}

TEST_F(RealMaterialLinkTest, ALinkOfAVeryLongNameIsMadeToo) {
  const std::string name(255, 'n');
  EXPECT_EQ(MaterialLink::createLink(folder_ / name, L"/far", false), 1u);
  EXPECT_EQ(targetOf(name), L"/far");
  EXPECT_EQ(MaterialLink::createLink(folder_ / name, L"/b", true), 1u);
  EXPECT_EQ(targetOf(name), L"/b");
  EXPECT_EQ(files(), 1u);
}

TEST_F(RealMaterialLinkTest, MediaInAnotherFolderIsStreamedByALinksName) {
  ScratchFolder far;
  ASSERT_EQ(FsysInitialize(), 1u);
  const uint64_t size = (1 << 20) + 12345;
  ASSERT_EQ(MaterialLink::createLink(folder_ / "clip.mov", far / "clip.mov", false), 1u);
  EXPECT_TRUE(streamOut(folder_ / "clip.mov", 0, size, 100001));
  EXPECT_EQ(whyNotStreamedBack(folder_ / "clip.mov", size, 65536), "");
  EXPECT_EQ(whyNotStreamedBack(far / "clip.mov", size, 65536), "");
  EXPECT_EQ(folder_.content("clip.mov").size(), 512u);
  FsysUninitialize(Shutdown::eNormal);
}

// Everybody gets the target, also while it is being kept, set anew and copied.
TEST_F(RealMaterialLinkTest, AnInfoIsAskedSetAndCopiedByFourThreadsAtOnce) {
  constexpr int kRounds = 300;
  folder_.put("clip.mov", linkTo("/far"));
  const MaterialFilename name(DriveId(), folder_ / "clip.mov");
  for (int round = 0; round < kRounds; ++round) {
    const MediaFileInfo info(name, 512);
    auto ask = [&info](bool sets) {
      if (sets) info.setLinkedFilename(L"/far");
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(info.readLinkedFilename(), L"/far");
        EXPECT_EQ(MediaFileInfo(info).getPhysicalFilename(true), L"/far");
      }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(ask, i == 3 && round % 2 == 1);
    for (std::thread& thread : threads) thread.join();
  }
}

}  // namespace
