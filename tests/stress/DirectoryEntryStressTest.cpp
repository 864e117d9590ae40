// One entry of the catalogue, which many threads ask and change at once.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fsys/DiskManager.h"
#include "fsys/FsysDirectoryEntry.h"
#include "fsys/VolumeRegistry.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr size_t kProxies = 4;
constexpr unsigned kTurns = 1500;
constexpr unsigned kSoakTurns = 200'000;

class DirectoryEntryStressTest : public testing::Test {
protected:
  DirectoryEntryStressTest() {
    const Text root = folder_ / "";
    drive_ = VolumeRegistry::get().registerDrive(root, iDiskDrive::eFixed, false)->getId();
    put("/a.mov", 700);
    put("/b.mov", 800);
    folder_.put("link.mov", linkTo(folder_.bytes("a.mov")));
    for (size_t i = 0; i < kProxies; ++i) put(proxyName(i), 100);
  }
  ~DirectoryEntryStressTest() override { DiskManager::deInit(); }

  static std::string linkTo(std::string target) {
    target.resize(MaterialLink::kBytes);
    return target;
  }
  static std::string proxyName(size_t i) {
    return "/a.A0.proxy." + std::to_string(100 + i) + ".mov";
  }
  void put(const std::string& path, size_t bytes) const {
    folder_.put(path.substr(1), std::string(bytes, 'x'));
  }
  MediaFileInfo info(const std::string& path, unsigned long bytes) const {
    return {MaterialFilename(drive_, fromUTF8(std::string_view(path))), bytes};
  }
  MediaFileInfo proxy(size_t i) const { return info(proxyName(i % kProxies), 100); }
  Text osPath(size_t i) const { return proxy(i).getLinkFileName(); }

  using Play = std::function<void(unsigned turn)>;
  // Each on a thread of its own.
  static void run(const std::vector<Play>& plays) {
    const unsigned turns = soakTurns(kTurns, kSoakTurns);
    std::vector<std::thread> threads;
    for (const Play& play : plays)
      threads.emplace_back([&play, turns] {
        for (unsigned turn = 0; turn < turns; ++turn) play(turn);
      });
    for (std::thread& thread : threads) thread.join();
  }

  ScratchFolder folder_;
  TestDiagnostics diagnostics_;
  DriveId drive_;
  const Cookie kCookie{L"V4K7Q2M9A00"};
  FsysDirectoryEntry entry_;
};

// Whatever others do, an answer is a file that the entry has had at some time, and whole.
TEST_F(DirectoryEntryStressTest, WhileOthersAddForgetAndRenameEveryAnswerIsAFileThatWas) {
  std::atomic<unsigned> wrong{0};
  const std::string here = folder_.path();
  auto check = [&wrong, &here](const Text& path) {
    const std::string bytes(toUTF8(path).view());
    if (!bytes.empty() && !std::string_view(bytes).starts_with(here + "/")) wrong.fetch_add(1);
  };
  const Text renamed = folder_ / "renamed.mov";
  std::vector<Play> plays{
      [&](unsigned turn) {
        entry_.addFile(kCookie, turn % 3 == 0 ? info("/link.mov", 512) : info("/a.mov", 700));
        entry_.addFile(kCookie, proxy(turn));
        if (turn % 5 == 0) entry_.removeFile(info(turn % 2 == 0 ? "/link.mov" : "/a.mov", 0));
      },
      [&](unsigned turn) {
        entry_.addProxyFile(proxy(turn + 1));
        (void)entry_.renameProxyFile(osPath(turn), renamed);
        entry_.removeProxyFile(turn % 2 == 0 ? renamed : osPath(turn));
      },
      [&](unsigned turn) {
        check(entry_.findFileForCookie(DecodeFormat(static_cast<eProxyLevel>(turn % 3))));
        check(entry_.findProxy(turn % 110));
        check(entry_.getPhysicalFilename(turn % 2 == 0));
        if (entry_.updateStatus(1 + turn % 3) > 2) wrong.fetch_add(1);
      },
      [&](unsigned turn) {
        std::list<MediaFileInfo> files;
        entry_.copyProxyFiles(files);
        for (const MediaFileInfo& file : files) check(file.getLinkFileName());
        check(entry_.primaryFilename().getOsPath());
        check(entry_.getLinkedFilename());
        if (turn % 7 == 0) entry_.setLinkedFilename(folder_ / "b.mov");
        if (turn % 11 == 0) entry_.updateFileSize();
        (void)entry_.isLinked();
        (void)entry_.hasHighRes();
      },
  };
  run(plays);
  EXPECT_EQ(wrong, 0u);
}

TEST_F(DirectoryEntryStressTest, AProxyThatAllAddIsThereOnce) {
  std::vector<Play> plays;
  for (unsigned who = 0; who < 4; ++who)
    plays.emplace_back([this, who](unsigned turn) { entry_.addFile(kCookie, proxy(turn + who)); });
  run(plays);
  EXPECT_EQ(entry_.getProxyFiles().size(), kProxies);
}

TEST_F(DirectoryEntryStressTest, FilesAreDeletedWhileOthersAskAndMakeThem) {
  run({[&](unsigned turn) {
         put(proxyName(turn % kProxies), 100);
         put("/b.mov", 800);
         entry_.addFile(kCookie, proxy(turn));
         entry_.addFile(kCookie, info("/b.mov", 800));
       },
       [&](unsigned turn) { (void)entry_.deleteFiles(1 + turn % 3); },
       [&](unsigned turn) {
         (void)entry_.findFileForCookie(DecodeFormat(static_cast<eProxyLevel>(turn % 3)));
         (void)entry_.updateStatus(3);
       }});
  EXPECT_EQ(entry_.deleteFiles(0), 1u);
  (void)entry_.deleteFiles(3);
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_FALSE(entry_.hasProxies());
}

}  // namespace
