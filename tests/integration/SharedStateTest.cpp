#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "fsys/DiskManager.h"
#include "platform/LightweightString.h"
#include "platform/Log.h"
#include "platform/OS.h"
#include "platform/Shutdown.h"
#include "platform/common/MemFiles.h"
#include "platform/common/ProviderTable.h"

namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kBoth = iFileManager::eFlagRead | iFileManager::eFlagWrite;

template <typename Work>
void onAllThreads(Work work) {
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

std::atomic<int> shutdownCalls{0};
void countShutdown(Shutdown::eExitType) { ++shutdownCalls; }

}  // namespace

TEST(SharedStateTest, ThreadsWriteAndReadTheirOwnPartsOfOneMemoryFile) {
  Qv::Ptr<iFileProvider> provider = makeMemFileProvider();
  std::atomic<int> broken{0};
  constexpr uint32_t kPart = 100'000;
  onAllThreads([&](unsigned who) {
    Qv::Ptr<iFile> file = provider->open(L"mem:shared", kBoth, true);
    std::string out(kPart, static_cast<char>('a' + who));
    std::string in(kPart, ' ');
    for (int round = 0; round < 20; ++round) {
      uint32_t done = 0;
      file->writeAt(uint64_t{who} * kPart, out.data(), kPart, &done);
      file->readAt(uint64_t{who} * kPart, in.data(), kPart, &done);
      if (in != out || done != kPart) ++broken;
    }
  });
  EXPECT_EQ(broken, 0);
  EXPECT_EQ(provider->open(L"mem:shared", kBoth, false)->getSize(), uint64_t{kThreads} * kPart);
}

TEST(SharedStateTest, AMemoryFileMayBeRemovedWhileOthersOpenAndUseIt) {
  Qv::Ptr<iFileProvider> provider = makeMemFileProvider();
  std::atomic<int> broken{0};
  onAllThreads([&](unsigned) {
    for (int round = 0; round < 2000; ++round) {
      Qv::Ptr<iFile> file = provider->open(L"mem:fleeting", kBoth, true);
      uint32_t done = 0;
      if (!file || file->writeAt(0, "x", 1, &done) != 1) ++broken;
      provider->remove(L"mem:fleeting");
      if (file && file->getSize() != 1) ++broken;
    }
  });
  EXPECT_EQ(broken, 0);
}

TEST(SharedStateTest, ProvidersAreReplacedWhileOthersLookThemUp) {
  ProviderTable table;
  std::atomic<int> unserved{0};
  onAllThreads([&](unsigned who) {
    for (int round = 0; round < 2000; ++round) {
      if (who % 2 == 0) table.set(L"mem:", makeMemFileProvider());
      if (!table.open(L"mem:x", kBoth, true)) ++unserved;
    }
  });
  EXPECT_EQ(unserved, 0);
}

TEST(SharedStateTest, CopiesOfOneTextLiveAndChangeOnManyThreads) {
  const LightweightString<char> text("shared");
  std::atomic<int> broken{0};
  onAllThreads([&](unsigned) {
    for (int round = 0; round < 5000; ++round) {
      LightweightString<char> copy(text);
      LightweightString<char> second(copy);
      second += "!";
      if (copy != text || second.length() != 7) ++broken;
    }
  });
  EXPECT_EQ(broken, 0);
}

TEST(SharedStateTest, EveryTextReachesASinkWholeWhileSinksAreReplaced) {
  std::atomic<int> whole{0};
  std::atomic<int> broken{0};
  auto sinks = [&] {
    DiagnosticSinks made;
    made.log = [&](const std::string& text) { ++(text == "one whole line\n" ? whole : broken); };
    return made;
  };
  DiagnosticSinks before = setDiagnosticSinks(sinks());
  onAllThreads([&](unsigned who) {
    for (int round = 0; round < 2000; ++round) {
      Log("one %s line\n", "whole");
      if (who == 0) setDiagnosticSinks(sinks());
    }
  });
  setDiagnosticSinks(before);
  EXPECT_EQ(whole, static_cast<int>(kThreads) * 2000);
  EXPECT_EQ(broken, 0);
}

TEST(SharedStateTest, ShutdownCallbacksAreAddedByManyThreadsAndRunOnceEach) {
  Shutdown::run(Shutdown::eNormal);
  shutdownCalls = 0;
  onAllThreads([](unsigned who) {
    for (int round = 0; round < 100; ++round)
      Shutdown::addCallback(countShutdown, static_cast<int>(who));
  });
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(shutdownCalls, static_cast<int>(kThreads) * 100);
}

TEST(SharedStateTest, DrivesAreLookedUpWhileTheRegistryChanges) {
  using Text = LightweightString<wchar_t>;
  const Text kept(L"/kept/");
  const Text other(L"/other/");
  std::atomic<int> wrong{0};
  std::atomic<unsigned> found{0};
  std::atomic<unsigned> looking{kThreads - 1};
  onAllThreads([&](unsigned who) {
    if (who == 0) {
      // Changes come one at a time, for as long as others look.
      for (unsigned round = 0; looking.load() > 0; ++round) {
        if (round % 8 == 0) DiskManager::deInit();
        DiskManager::addVolume(Qv::Ptr<MediaDrive>(new MediaDrive(round % 2 ? kept : other)));
      }
      return;
    }
    while (found.load() < 20000) {
      Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(kept);
      if (!drive) continue;
      if (drive->getRootLocation() != kept) ++wrong;
      drive->setBusy(!drive->isBusy());
      drive->setTooSlow(!drive->isTooSlow());
      ++found;
    }
    --looking;
  });
  DiskManager::deInit();
  EXPECT_FALSE(DiskManager::getVolume(kept));
  EXPECT_EQ(wrong, 0);
}
