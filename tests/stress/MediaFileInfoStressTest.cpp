// The linked name of one file of the catalogue, which many threads ask for while it is set.
#include "fsys/MediaFileInfo.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr unsigned kTurns = 100'000;
constexpr unsigned kSoakTurns = 2'000'000;

// What is on the disk is asked for only while no name is final, and it always is.
TEST(MediaFileInfoStressTest, WhileAFinalNameIsSetAnewNobodyIsToldWhatIsOnTheDisk) {
  ScratchFolder folder;
  std::string link = "/disk";
  link.resize(MaterialLink::kBytes);
  folder.put("a.mov", link);
  const MediaFileInfo info(MaterialFilename(DriveId(), folder / "a.mov"), L"/old",
                           MaterialLink::kBytes);
  const Text kOld = L"/old";
  const Text kNew = L"/new";
  std::atomic<bool> isSetting{true};
  std::atomic<unsigned> asking{0};
  std::atomic<unsigned> wrong{0};
  auto check = [&](const Text& target) { wrong += target == kOld || target == kNew ? 0 : 1; };
  std::vector<std::thread> threads;
  for (unsigned who = 0; who < 2; ++who)
    threads.emplace_back([&] {
      ++asking;
      while (isSetting) {
        check(info.readLinkedFilename());
        const MediaFileInfo copy(info);
        if (!copy.isLinkRead() || !info.isLinkRead()) ++wrong;
        check(copy.readLinkedFilename());
      }
    });
  while (asking < threads.size()) std::this_thread::yield();
  const unsigned turns = soakTurns(kTurns, kSoakTurns);
  for (unsigned turn = 0; turn < turns; ++turn) info.setLinkedFilename(kNew);
  isSetting = false;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0u);
  EXPECT_EQ(info.readLinkedFilename(), kNew);
}

}  // namespace
