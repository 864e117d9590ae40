// The catalogue under everything at once: folders are scanned, files and links come and go, by two
// for the same cookies too, listeners are told and ask back, drives leave, and meanwhile everybody
// looks up and walks through all. Whatever is there from beginning to end is always found, every
// change is told once, and nothing stays behind.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "fsys/DecodeFormat.h"
#include "fsys/DiskManager.h"
#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MediaFileInfo.h"
#include "fsys/SystemCache.h"
#include "platform/Clocks.h"
#include "tests/support/CountingHeap.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr double kBrief_ms = 1'000;
constexpr unsigned kSteady = 500;  // files that are there from beginning to end
constexpr unsigned kGuests = 200;  // on the drive that comes and goes
constexpr unsigned kPassing = 50;  // that each of those who add files adds and deletes in a turn
constexpr unsigned kAdders = 2;
constexpr unsigned kShared = 8;  // cookies that all of them add and delete
constexpr unsigned kSoundChannels = 2;
constexpr char kSharedLetter = 'E';
constexpr char kLinkLetter = 'F';
constexpr int64_t kMostLeft = 64;  // allocations: what a thread or a pool keeps for the next

// Of the file with that number of those with that letter; of its first sound channel.
std::string cookieText(char letter, unsigned number, bool isSound = false) {
  std::string digits = std::to_string(number);
  return (isSound ? "S" : "V") + std::string(1, letter) + std::string(7 - digits.size(), '0') +
         digits + (isSound ? "01" : "00");
}
Cookie soundOf(const Cookie& cookie, unsigned channel) {
  return convertCookie(cookie, eCookieSound, static_cast<unsigned char>(channel));
}

Text wide(const std::string& text) { return fromUTF8(std::string_view(text)); }
Cookie cookieOf(char letter, unsigned number, bool isSound = false) {
  return Cookie(wide(cookieText(letter, number, isSound)));
}

// Counts what it is told, and asks the catalogue about each: it is told with the lock held.
class Listener final : public iCallbackBase<int, NotifyMsg> {
public:
  int callback(NotifyMsg message) override {
    ++told;
    const bool hasEntry = dynamic_cast<FsysDirectoryEntry*>(message.getPayload().get()) != nullptr;
    wrong += !hasEntry || !Cookie(fromUTF8(message.getText().view())).isValid();
    wrong += !SystemCache::findEntryForCookie(cookieOf('A', 0));
    return 0;
  }
  std::atomic<uint64_t> told{0}, wrong{0};
};

class CatalogueStressTest : public testing::Test {
protected:
  void SetUp() override {
    makeDrive("steady", 'A', kSteady);
    makeDrive("guest", 'B', kGuests);
    makeDrive("passing", 'C', 0);
    DiskManager::init(project_ / "", true);
    steady_ = registered("steady");
    guest_ = registered("guest");
    passing_ = registered("passing");
    SystemCache::invalidate();
    SystemCache::addMediaLocation(steady_);
    SystemCache::instance().add(SystemCache::fileAddedMsgType_, addedFiles_);
    SystemCache::instance().add(SystemCache::proxyAddedMsgType_, addedProxies_);
    SystemCache::instance().add(SystemCache::fileRemovedMsgType_, removedFiles_);
    countUnknown();
  }
  void TearDown() override {
    SystemCache::instance().remove(SystemCache::fileAddedMsgType_, addedFiles_);
    SystemCache::instance().remove(SystemCache::proxyAddedMsgType_, addedProxies_);
    SystemCache::instance().remove(SystemCache::fileRemovedMsgType_, removedFiles_);
    SystemCache::invalidate();
    DiskManager::deInit();
  }

  // What is deleted and was not in the catalogue any more is reported instead of being told.
  void countUnknown() {
    DiagnosticSinks sinks = setDiagnosticSinks({});
    sinks.out = [this, said = sinks.out](const std::string& text) {
      if (text.find("fsys/SystemCache line 385") == text.npos) return said(text);
      ++unknown_;
    };
    setDiagnosticSinks(std::move(sinks));
  }

  // Half of the files are sound.
  void makeDrive(const std::string& name, char letter, unsigned files) const {
    for (const char* folder : {"/Material", "/Sound"})
      std::filesystem::create_directories(scratch_.bytes(name + folder));
    for (unsigned i = 0; i < files; ++i) {
      const bool isSound = i % 2 == 1;
      const std::string folder = isSound ? "/Sound/" : "/Material/";
      scratch_.put(name + folder + cookieText(letter, i, isSound) + ".mov", "media");
    }
  }
  DriveId registered(const std::string& name) const {
    DriveId id;
    EXPECT_TRUE(DiskManager::addMaterialVolume(scratch_ / (name + "/"), id, false));
    return id;
  }

  // Everybody at once, for a while.
  void storm(double time_ms, const std::vector<std::function<void()>>& turns) {
    const double end_ms = Qv::now() + time_ms;
    std::vector<std::jthread> threads;
    for (const auto& turn : turns)
      threads.emplace_back([&turn, end_ms] {
        while (Qv::now() < end_ms) turn();
      });
  }
  void stormAroundTheSteady(double time_ms) {
    std::vector<std::function<void()>> turns = {[this] { SystemCache::addMediaLocation(steady_); },
                                                [this] { comeAndGo(); }, [this] { lookUp(); },
                                                [this] { walk(kSteady); }};
    for (unsigned i = 0; i < kAdders; ++i)
      turns.emplace_back([this, i] {
        addAndDelete('C' + char(i));
        changeShared();
      });
    storm(time_ms, turns);
    deleteShared();
  }

  void comeAndGo() {
    SystemCache::addMediaLocation(guest_);
    SystemCache::removeMediaLocation(guest_);
    ++visits_;
  }
  // What is told of each is counted.
  void add(const Cookie& cookie, const std::string& file) {
    SystemCache::addFile(cookie, MaterialFilename(passing_, wide("/Material/" + file)), true);
    ++(file.find(".proxy.") == file.npos ? added_ : addedAsProxies_);
  }
  void remove(const Cookie& cookie, unsigned mediaTypes) {
    SystemCache::removeFile(cookie, true, mediaTypes);
    ++removed_;
  }
  static bool isCatalogued(const Cookie& cookie) {
    return bool(SystemCache::findEntryForCookie(cookie));
  }

  // Files that are there, in high resolution and as a proxy with sound.
  void addAndDelete(char letter) {
    for (unsigned i = 0; i < kPassing; ++i) {
      const std::string name = cookieText(letter, i);
      const Cookie cookie = cookieOf(letter, i);
      for (const std::string& file : {name + ".mov", name + ".A2.proxy.360.mov"}) {
        scratch_.put("passing/Material/" + file, "media");
        add(cookie, file);
      }
      for (unsigned k = 1; k <= kSoundChannels; ++k) wrong_ += !isCatalogued(soundOf(cookie, k));
      wrong_ += !isCatalogued(cookie);
    }
    for (unsigned i = 0; i < kPassing; ++i) deleteOwn(cookieOf(letter, i), i);
    ++turns_;
  }
  // At once, or one type after the other: the entry is there until nothing is left.
  void deleteOwn(const Cookie& cookie, unsigned number) {
    if (number % 3 != 0) {
      remove(cookie, number % 3 == 1 ? eHighRes : eProxy);
      wrong_ += !isCatalogued(cookie);
    }
    remove(cookie, number % 3 == 1 ? eProxy : number % 3 == 2 ? eHighRes : eHighRes | eProxy);
    wrong_ += isCatalogued(cookie);
    for (unsigned k = 1; k <= kSoundChannels; ++k) {
      remove(soundOf(cookie, k), eProxy);
      wrong_ += isCatalogued(soundOf(cookie, k));
    }
  }

  // The same cookies for everybody: what is there is anybody's guess, and every change is told.
  void changeShared() {
    for (unsigned i = 0; i < kShared; ++i) {
      const std::string name = cookieText(kSharedLetter, i);
      const Cookie cookie = cookieOf(kSharedLetter, i);
      for (const std::string& file : {name + ".A2.proxy.360.mov", name + ".mov"}) {
        scratch_.put("passing/Material/" + file, "media");
        add(cookie, file);
      }
      addLink(i);
      remove(cookie, 1 + i % 3);
      remove(soundOf(cookie, 1), eHighRes | eProxy);
      remove(cookieOf(kLinkLetter, i), eHighRes | eProxy);
    }
  }
  // To media in a folder that goes with it.
  void addLink(unsigned number) {
    const std::string name = cookieText(kLinkLetter, number);
    const std::string folder = "passing/Material/" + name + "-media";
    std::error_code ignored;
    std::filesystem::create_directory(scratch_.bytes(folder), ignored);
    scratch_.put(folder + "/clip.mxf", "media");
    std::string target = scratch_.bytes(folder + "/clip.mxf");
    target.resize(MaterialLink::kBytes);
    scratch_.put("passing/Material/" + name + ".mov", target);
    add(cookieOf(kLinkLetter, number), name + ".mov");
  }
  void lookUpShared() {
    Text path;
    for (unsigned i = 0; i < kShared; ++i)
      for (char letter : {kSharedLetter, kLinkLetter})
        for (eProxyLevel level : {eAuto, eHighRes, eProxy}) {
          const bool isKnown =
              SystemCache::findFileForCookie(cookieOf(letter, i), path, DecodeFormat(level));
          const Text name = wide(cookieText(letter, i));
          wrong_ += isKnown && !path.empty() && path.view().find(name.view()) == path.view().npos;
        }
  }
  // Nobody else is at work any more.
  void deleteShared() {
    for (unsigned i = 0; i < kShared; ++i)
      for (const Cookie& cookie : {cookieOf(kSharedLetter, i), cookieOf(kLinkLetter, i)}) {
        remove(cookie, eHighRes | eProxy);
        for (unsigned k = 1; k <= kSoundChannels; ++k)
          remove(soundOf(cookie, k), eHighRes | eProxy);
      }
  }

  void lookUp() {
    Text path;
    for (unsigned i = 0; i < kSteady; ++i) {
      const Cookie cookie = cookieOf('A', i, i % 2 == 1);
      wrong_ += !SystemCache::findFileForCookie(cookie, path, DecodeFormat(eHighRes));
      wrong_ += path.empty() || SystemCache::find(cookie).getDrive() != steady_;
    }
    Vector<Text> files;
    SystemCache::getFilesForShot(cookieOf('A', 0), files);
    wrong_ += files.empty();
    lookUpShared();
    ++looks_;
  }
  // Past at least so many of the steady ones.
  void walk(unsigned least) {
    Cookie last;
    unsigned steady = 0;
    SystemCache::enumerate([&](const Cookie& cookie, const FsysDirectoryEntry&) {
      wrong_ += last.isValid() && !(last < cookie);
      last = cookie;
      steady += cookie.asWString().view()[1] == L'A';
      return true;
    });
    wrong_ += steady < least || steady > kSteady;
    ++walks_;
  }

  // Found whole, or not at all.
  void lookUpWhatMayBeForgotten() {
    for (unsigned i = 0; i < kSteady; ++i) {
      const MaterialFilename found = SystemCache::find(cookieOf('A', i, i % 2 == 1));
      wrong_ += found.getDrive().valid() && found.getDrive() != steady_;
    }
    lookUpShared();
    ++looks_;
  }

  void expectEntries(unsigned expected) const {
    unsigned entries = 0;
    SystemCache::enumerate(
        [&](const Cookie&, const FsysDirectoryEntry&) { return ++entries != 0; });
    EXPECT_EQ(entries, expected);
    const std::filesystem::directory_iterator left(scratch_.bytes("passing/Material"));
    // A link may have been deleted by one while another made the folder of its media anew.
    EXPECT_TRUE(std::none_of(begin(left), end(left), [](const auto& entry) {
      return entry.is_regular_file();
    })) << "media that nobody knows of";
  }
  void expectAllTold() const {
    EXPECT_EQ(addedFiles_->told, added_);
    EXPECT_EQ(addedProxies_->told, addedAsProxies_);
    EXPECT_EQ(removedFiles_->told + unknown_, removed_);
    EXPECT_GT(removedFiles_->told, 0u);
  }

  ScratchFolder scratch_;
  ScratchFolder project_;
  TestDiagnostics diagnostics_;
  DriveId steady_, guest_, passing_;
  Qv::Ptr<Listener> addedFiles_{new Listener}, addedProxies_{new Listener},
      removedFiles_{new Listener};
  std::atomic<uint64_t> wrong_{0}, visits_{0}, turns_{0}, looks_{0}, walks_{0};
  std::atomic<uint64_t> added_{0}, addedAsProxies_{0}, removed_{0}, unknown_{0};
};

TEST_F(CatalogueStressTest, WhatStaysIsAlwaysFoundEveryChangeIsToldAndNothingIsLeftBehind) {
  stormAroundTheSteady(soakTime_ms(kBrief_ms));
  EXPECT_EQ(wrong_, 0u);
  expectEntries(kSteady);
  for (const auto* seen : {&visits_, &turns_, &looks_, &walks_}) EXPECT_GT(*seen, 0u);
  expectAllTold();
  for (const auto& listener : {addedFiles_, addedProxies_, removedFiles_})
    EXPECT_EQ(listener->wrong, 0u);
}

TEST_F(CatalogueStressTest, ACatalogueThatIsForgottenAndFilledAgainMeanwhileEndsWhole) {
  storm(soakTime_ms(kBrief_ms),
        {[] { SystemCache::initialise(true); }, [] { SystemCache::invalidate(); },
         [this] { changeShared(); }, [this] { changeShared(); },
         [this] { lookUpWhatMayBeForgotten(); }, [this] { walk(0); }});
  SystemCache::initialise(true);
  deleteShared();
  EXPECT_EQ(wrong_, 0u);
  expectEntries(kSteady + kGuests);
  for (const auto* seen : {&looks_, &walks_}) EXPECT_GT(*seen, 0u);
  expectAllTold();
}

TEST_F(CatalogueStressTest, MemoryIsAsItWasHoweverLongItGoesOn) {
  CountingHeap heap;
  if (!heap.seesAllocations()) GTEST_SKIP() << "a sanitizer's own heap is in use";
  stormAroundTheSteady(kBrief_ms / 4);
  SystemCache::initialise(true);
  diagnostics_.clear();
  const int64_t before = heap.live();
  const unsigned asked = heap.allocations();
  stormAroundTheSteady(soakTime_ms(kBrief_ms));
  EXPECT_GT(heap.allocations() - asked, kSteady) << "the storm asks this heap";
  SystemCache::initialise(true);
  diagnostics_.clear();
  EXPECT_LE(heap.live() - before, kMostLeft);
}

}  // namespace
