#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <latch>
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
#include "tests/support/AddedDrive.h"
#include "tests/support/ForwardingSystemInfo.h"

namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kBoth = iFileManager::eFlagRead | iFileManager::eFlagWrite;

template <typename Work>
void onAllThreads(Work work) {
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

using Text = LightweightString<wchar_t>;

const std::array<Text, 3>& kRoots() {
  static const std::array<Text, 3>& roots =
      *new std::array<Text, 3>{Text(L"/one"), Text(L"/two"), Text(L"/three")};
  return roots;
}

// One change; what number it is says which.
void changeRegistry(unsigned number) {
  if (number % 64 == 0) DiskManager::reInit(true);
  DriveId added = addedDrive(kRoots()[number % kRoots().size()])->getId();
  DiskManager::setMediaLocationUserName(added, number % 2 ? Text(L"odd") : Text(L"even"));
  DiskManager::updateDrives();
  if (number % 3 != 0) DiskManager::deleteMaterialVolume(DiskManager::get_drive(0));
}

bool isRoot(const Text& name) {
  return std::find(kRoots().begin(), kRoots().end(), name) != kRoots().end();
}

// How many answers were not those of any moment.
int lookUpEverything() {
  int wrong = 0;
  for (const Text& root : kRoots()) {
    Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(root + L"/");
    wrong += drive && drive->getRootLocation() != root + L"/";
    Text name = DiskManager::getMaterialVolumeName(DiskManager::getDriveWithPath(root), true);
    wrong += !name.empty() && !isRoot(name);
  }
  for (const wchar_t* name : {L"odd", L"even"}) {
    Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(DiskManager::getDriveWithName(name));
    Text told = drive ? drive->getUserName(false) : Text(name);
    wrong += told != L"odd" && told != L"even" && !isRoot(told) && !told.empty();
  }
  DriveId id;
  unsigned walked = 0;
  for (bool more = DiskManager::getFirstMaterialVolume(id); more && walked < 300; ++walked) {
    Text path = MaterialFilename(id, L"/x").getOsPath();
    wrong += path != L"/x" && !isRoot(path.substr(0, path.length() - 2));
    uint32_t index = DiskManager::find_index_for_drive(id);
    wrong += index != DiskManager::kNoIndex && index > 300;
    more = DiskManager::getNextMaterialVolume(id);
  }
  MaterialFilename file = DiskManager::convertUNCtoFsysFilename(L"\\\\host\\x");
  return wrong + (file.getDrive().valid() != !file.getPath().empty());
}

// CountedWorkstation: counts how often the workstation's name is asked for, for a scope.
class CountedWorkstation final : public ForwardingSystemInfo {
public:
  int asked() const { return asked_; }

private:
  Text getWorkstationName() const override {
    ++asked_;
    return ForwardingSystemInfo::getWorkstationName();
  }

  mutable std::atomic<int> asked_{0};
};

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
  const Text kept(L"/kept/");
  const Text other(L"/other/");
  std::atomic<int> wrong{0};
  std::atomic<unsigned> found{0};
  std::atomic<unsigned> looking{kThreads - 1};
  onAllThreads([&](unsigned who) {
    if (who == 0) {
      // Changes come one at a time, for as long as others look.
      for (unsigned round = 0; looking.load() > 0; ++round) {
        if (round % 8 == 0) DiskManager::reInit(true);
        addedDrive(round % 2 ? kept : other);
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
  DiskManager::reInit(true);
  EXPECT_FALSE(DiskManager::getVolume(kept));
  EXPECT_EQ(wrong, 0);
}

TEST(SharedStateTest, EveryLookUpSeesWholeDrivesWhileTheyComeGoAndChangeTheirNames) {
  constexpr unsigned kRounds = 500;
  std::atomic<int> wrong{0};
  std::atomic<unsigned> looking{kThreads - 1};
  onAllThreads([&](unsigned who) {
    if (who == 0) {
      for (unsigned round = 0; looking.load() > 0; ++round) changeRegistry(round);
      return;
    }
    for (unsigned round = 0; round < kRounds; ++round) wrong += lookUpEverything();
    --looking;
  });
  DiskManager::reInit(true);
  EXPECT_EQ(wrong, 0);
}

TEST(SharedStateTest, ThreadsThatNeedTheSharesAtOnceAskTheSystemOnce) {
  for (int round = 0; round < 200; ++round) {
    VolumeRegistry::get().shares.forget();
    CountedWorkstation system;
    std::atomic<int> wrong{0};
    std::latch start(kThreads);
    onAllThreads([&](unsigned) {
      start.arrive_and_wait();
      if (!DiskManager::discoverLocalShares()) ++wrong;
      if (!DiskManager::convertUNCtoLocalShare(L"\\\\nobody\\has this").empty()) ++wrong;
    });
    EXPECT_EQ(system.asked(), 1);
    EXPECT_EQ(wrong, 0);
  }
  VolumeRegistry::get().shares.forget();
}
