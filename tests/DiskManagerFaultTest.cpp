// The registry while the platform fails: what the user listed is never lost, and what is answered
// is true.

#include <algorithm>
#include <array>
#include <functional>
#include <new>

#include "tests/LocationsFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

class DiskManagerFaultTest : public LocationsFixture {
protected:
  static constexpr const wchar_t* kInfo = L"/new/Material/MediaSpaceInfo.txt";

  DiskManagerFaultTest() {
    addDisk(L"/disk/");
    files().setDrive(kNet, {.type = iDiskDrive::eNetwork, .uncName = L"\\\\me\\net"});
    Vector<iFileManager::Share> shares;
    shares.add({L"\\\\me\\net", L"/served"});
    files().setShares(shares);
  }

  // The machine of each trial: a disk, two locations, one that is away, one that is new, and a
  // share of this machine that is mounted on it.
  void arrange() {
    os_->faults().clear();
    VolumeRegistry::get().shares.forget();
    files().removeFolder(L"/");
    for (const wchar_t* folder :
         {kProjectFolder, L"/disk/Material", L"/media", L"/new", L"/gone", L"/only", L"/net"})
      files().addFolder(folder);
    write(kLocations, "/keep/1/\n/media/\n/keep/2/\n");
    write(kUnmounted, "/keep/1/\n/gone/\n/keep/2/\n");
    forget();
  }

  Texts lines(const Text& file) {
    Texts all;
    std::string text = content(file);
    EXPECT_TRUE(text.empty() || text.back() == '\n') << "torn: " << text;
    for (size_t from = 0; from < text.size(); from = text.find('\n', from) + 1)
      all.push_back(text.substr(from, text.find('\n', from) - from));
    return all;
  }
  bool isListed(const Text& file, const std::string& line) {
    Texts all = lines(file);
    return std::find(all.begin(), all.end(), line) != all.end();
  }
  static bool isRegistered(const Text& location) {
    return static_cast<bool>(DiskManager::getVolume(location));
  }
  bool isSaid(const char* text) {
    Texts log = diagnostics_.log();
    return std::any_of(log.begin(), log.end(),
                       [text](const std::string& line) { return line.find(text) != line.npos; });
  }
  // Whether it was said that a list is not as it should be.
  bool isListTrouble() { return isSaid("the list '"); }

  // What is not the user's to lose is in both lists, once, and nothing that nobody wrote.
  void expectNothingLost() {
    const Texts known = {"/keep/1/", "/keep/2/", "/media/", "/gone/",
                         "/new/",    "/disk/",   "/only/",  "/net/"};
    for (const wchar_t* file : {kLocations, kUnmounted}) {
      Texts all = lines(file);
      for (const char* kept : {"/keep/1/", "/keep/2/"})
        EXPECT_EQ(std::count(all.begin(), all.end(), kept), 1) << content(file);
      for (const std::string& line : all)
        EXPECT_NE(std::find(known.begin(), known.end(), line), known.end()) << line;
    }
  }

  // What the user does, with what must be true after it.
  void add() {
    EXPECT_TRUE(DiskManager::addMediaLocation(L"/new/"));
    EXPECT_TRUE(isListed(kLocations, "/new/") || isListTrouble());
  }
  void bringBack() {
    EXPECT_TRUE(DiskManager::addMediaLocation(L"/gone/"));
    EXPECT_TRUE(!isListed(kUnmounted, "/gone/") || isListTrouble());
  }
  // The only drive of the list, which goes with it.
  void bringBackTheOnlyOne() {
    const std::string others = content(kUnmounted);
    write(kUnmounted, "/only/\n");
    EXPECT_TRUE(DiskManager::addMediaLocation(L"/only/"));
    EXPECT_TRUE(!isThere(kUnmounted) || isListTrouble());
    EXPECT_TRUE(!isThere(kUnmounted) || content(kUnmounted) == "/only/\n") << content(kUnmounted);
    // It is about this list, not about the one that stands there next.
    files().runLateErrands();
    EXPECT_TRUE(!isThere(kUnmounted) || content(kUnmounted) == "/only/\n") << content(kUnmounted);
    write(kUnmounted, others);
  }
  // Which files it is of this machine is known when its shares are.
  void addShare() {
    EXPECT_TRUE(DiskManager::addMediaLocation(kNet));
    EXPECT_TRUE(isListed(kLocations, "/net/") || isListTrouble());
    Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(kNet);
    if (!drive) return;
    Text name;
    drive->getLocalName(name, false);
    EXPECT_EQ(name, L"/net");
    drive->getLocalName(name, true);
    EXPECT_TRUE(name == L"/served" || name == L"/net") << toUTF8(name).c_str();
  }
  void removeLocation() {
    bool isThere = isRegistered(L"/media/");
    EXPECT_EQ(DiskManager::removeMediaLocation(L"/media/"), isThere);
    EXPECT_FALSE(isRegistered(L"/media/"));
    EXPECT_TRUE(!isThere || !isListed(kLocations, "/media/") || isListTrouble());
    EXPECT_TRUE(isThere || isListed(kLocations, "/media/")) << "what is away keeps its line";
  }
  void removeDisk() {
    bool isThere = isRegistered(L"/disk/");
    EXPECT_EQ(DiskManager::removeMediaLocation(L"/disk/"), isThere);
    EXPECT_FALSE(isRegistered(L"/disk/"));
    EXPECT_TRUE(!isThere || isListed(kUnmounted, "/disk/") || isListTrouble());
    EXPECT_TRUE(isThere || !isListed(kUnmounted, "/disk/"));
  }
  void rename() {
    Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(L"/new/");
    bool isSaved = DiskManager::renameMediaLocation(drive ? drive->getId() : DriveId(), L"Name");
    EXPECT_TRUE(drive || !isSaved);
    bool isTrouble = isSaid("the name of drive") || !diagnostics_.logBoth().empty();
    EXPECT_TRUE(!drive || content(kInfo) == "name=Name\n" || isTrouble) << content(kInfo);
    EXPECT_TRUE(!drive || userName(drive->getId()) == "Name");
  }
  bool prepare() {
    Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(L"/new/");
    bool isPrepared = DiskManager::prepareVolumeForMedia(drive ? drive->getId() : DriveId());
    EXPECT_TRUE(drive || !isPrepared);
    EXPECT_TRUE(isPrepared || !diagnostics_.logBoth().empty());
    return isPrepared;
  }
  // Everything works again: the user does what is not done yet.
  void expectRecovery() {
    os_->faults().clear();
    start();
    EXPECT_FALSE(isListTrouble());
    for (const Text& here : {Text(L"/new/"), Text(L"/gone/")}) {
      bool isThere = isRegistered(here);
      EXPECT_NE(DiskManager::addMediaLocation(here), isThere);
    }
    for (const Text& there : {Text(L"/media/"), Text(L"/disk/")}) {
      bool isThere = isRegistered(there);
      EXPECT_EQ(DiskManager::removeMediaLocation(there), isThere);
    }
    DriveId id = DiskManager::getVolume(L"/new/")->getId();
    EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id));
    EXPECT_TRUE(DiskManager::renameMediaLocation(id, L"Name"));
    EXPECT_EQ(content(kInfo), "name=Name\n");
    expectNothingLost();
    EXPECT_TRUE(isListed(kLocations, "/new/"));
    EXPECT_FALSE(isListed(kLocations, "/media/"));
    EXPECT_TRUE(isListed(kUnmounted, "/disk/"));
    EXPECT_FALSE(isListTrouble());
    start();
    EXPECT_FALSE(isRegistered(L"/disk/"));
    EXPECT_TRUE(isRegistered(L"/new/"));
    EXPECT_EQ(userName(DiskManager::getVolume(L"/new/")->getId()), "Name");
  }

  // What a drive held when nobody waited any more is done now: before it and after it nothing is
  // lost.
  void endLateErrands() {
    expectNothingLost();
    if (files().runLateErrands() > 0) expectNothingLost();
  }

  // A day of the user. False when the fault that `arm` armed never struck.
  bool live(FaultPlan::eCall call, const std::function<void()>& arm) {
    arrange();
    unsigned before = os_->faults().fired(call);
    arm();
    start();
    endLateErrands();
    bool isPrepared = false;
    const std::array<std::function<void()>, 8> day = {[this] { add(); },
                                                      [this] { bringBack(); },
                                                      [this] { bringBackTheOnlyOne(); },
                                                      [this] { addShare(); },
                                                      [this] { removeLocation(); },
                                                      [this] { removeDisk(); },
                                                      [&] { isPrepared = prepare(); },
                                                      [this] { rename(); }};
    for (const auto& step : day) {
      forget();
      step();
      endLateErrands();
    }
    bool hasStruck = os_->faults().fired(call) > before;
    os_->faults().clear();
    if (isPrepared) {
      EXPECT_TRUE(files().folderExists(L"/new/Material"));
      EXPECT_TRUE(files().folderExists(L"/new/Sound"));
    }
    expectRecovery();
    return hasStruck;
  }
  // `arm(n)` for each n until nothing strikes any more: how often it struck.
  unsigned sweep(FaultPlan::eCall call, const std::function<void(unsigned nth)>& arm) {
    unsigned struck = 0;
    for (unsigned nth = 1; live(call, [&] { arm(nth); }); ++nth) {
      ++struck;
      if (HasFailure()) {
        ADD_FAILURE() << "call " << nth << " of kind " << call;
        break;
      }
    }
    return struck;
  }

  static constexpr const wchar_t* kProjectFolder = L"/project";
  static constexpr const wchar_t* kNet = L"/net/";
};

// Each call that fails ---------------------------------------------------------------------------

class DiskManagerFailedCallTest : public DiskManagerFaultTest,
                                  public testing::WithParamInterface<size_t> {
protected:
  // Those that are made on this day.
  bool isUsed() const {
    const std::array used = {
        FaultPlan::eOpenFile,    FaultPlan::eGetDisk,      FaultPlan::eGetDisks,
        FaultPlan::eOnDrive,     FaultPlan::eAnswerErrand, FaultPlan::eGetSpace,
        FaultPlan::eListFiles,   FaultPlan::eCreateFolder, FaultPlan::eFolderExists,
        FaultPlan::eIsWritable,  FaultPlan::eRenameFile,   FaultPlan::eSyncFolder,
        FaultPlan::eFollowLinks, FaultPlan::eCopyMode,     FaultPlan::eGetUNCName,
        FaultPlan::eGetShares,   FaultPlan::eDeleteFile,   FaultPlan::eRead,
        FaultPlan::eWrite,       FaultPlan::eFlush};
    return std::find(used.begin(), used.end(), call()) != used.end();
  }
  FaultPlan::eCall call() const { return static_cast<FaultPlan::eCall>(GetParam()); }
};

TEST_P(DiskManagerFailedCallTest, OnceLosesNothing) {
  unsigned struck =
      sweep(call(), [this](unsigned nth) { os_->faults().fail(call(), eOsIoError, nth); });
  EXPECT_EQ(struck > 0, isUsed());
}

TEST_P(DiskManagerFailedCallTest, FromThenOnLosesNothing) {
  unsigned struck = sweep(call(), [this](unsigned nth) {
    os_->faults().fail(call(), eOsNoSpace, nth, FaultPlan::eFromThenOn);
  });
  EXPECT_EQ(struck > 0, isUsed());
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, DiskManagerFailedCallTest,
                         testing::Range(size_t{0}, size_t{FaultPlan::eCallKinds}));

TEST_F(DiskManagerFaultTest, ATransferThatMovesOneByteLosesNothing) {
  for (FaultPlan::eCall call : {FaultPlan::eRead, FaultPlan::eWrite})
    EXPECT_GT(sweep(call, [&](unsigned nth) { os_->faults().shorten(call, 1, nth); }), 0u);
}

TEST_F(DiskManagerFaultTest, AWriteThatMovesNothingLosesNothing) {
  EXPECT_GT(sweep(FaultPlan::eWrite,
                  [this](unsigned nth) { os_->faults().shorten(FaultPlan::eWrite, 0, nth); }),
            0u);
}

TEST_F(DiskManagerFaultTest, AReadThatMovesNothingLosesNothing) {
  EXPECT_GT(sweep(FaultPlan::eRead,
                  [this](unsigned nth) { os_->faults().shorten(FaultPlan::eRead, 0, nth); }),
            0u);
}

// No memory --------------------------------------------------------------------------------------

class DiskManagerNoMemoryTest : public DiskManagerFaultTest {
protected:
  using Step = std::function<void()>;

  // The step with its nth allocation refused, for each n, on a machine that is made anew.
  void sweepHeap(const std::function<void()>& before, const Step& step) {
    FailingHeap heap;
    if (!heap.isAsked()) GTEST_SKIP() << "a sanitizer's own heap cannot be made to fail";
    for (bool once : {true, false}) {
      bool hasStruck = true;
      for (int nth = 0; hasStruck && !HasFailure(); ++nth) {
        arrange();
        before();
        hasStruck = isOut(heap, nth, once, step);
        expectNothingLost();
        expectRecovery();
        EXPECT_TRUE(!HasFailure()) << "allocation " << nth;
      }
    }
  }
  // Whether an allocation was refused.
  static bool isOut(FailingHeap& heap, int nth, bool once, const Step& step) {
    heap.refuse(nth, once);
    try {
      step();
    } catch (const std::bad_alloc&) {
    }
    return heap.letBe();
  }
};

TEST_F(DiskManagerNoMemoryTest, AStartLosesNothing) {
  sweepHeap([] {}, [this] { DiskManager::init(kProject); });
}

TEST_F(DiskManagerNoMemoryTest, ANewLocationLosesNothing) {
  const Text path = L"/new/";
  sweepHeap([this] { start(); }, [&] { DiskManager::addMediaLocation(path); });
}

TEST_F(DiskManagerNoMemoryTest, ADriveThatComesBackLosesNothing) {
  const Text path = L"/gone/";
  sweepHeap([this] { start(); }, [&] { DiskManager::addMediaLocation(path); });
}

TEST_F(DiskManagerNoMemoryTest, ALocationThatGoesLosesNothing) {
  const Text path = L"/media/";
  sweepHeap([this] { start(); }, [&] { DiskManager::removeMediaLocation(path); });
}

TEST_F(DiskManagerNoMemoryTest, ADiskThatGoesLosesNothing) {
  const Text path = L"/disk/";
  sweepHeap([this] { start(); }, [&] { DiskManager::removeMediaLocation(path); });
}

TEST_F(DiskManagerNoMemoryTest, ANewNameLosesNothing) {
  const Text name = L"Name";
  sweepHeap([this] { start(); },
            [&] { DiskManager::renameMediaLocation(DiskManager::get_drive(0), name); });
}

TEST_F(DiskManagerNoMemoryTest, PreparingLosesNothing) {
  sweepHeap([this] { start(); },
            [] { DiskManager::prepareVolumeForMedia(DiskManager::get_drive(1)); });
}

}  // namespace
