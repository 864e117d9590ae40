// The catalogue under everything at once: folders are scanned, files come and go, listeners are
// told and ask back, drives leave, and meanwhile everybody looks up and walks through all. Whatever
// is there from beginning to end is always found, every change is told once, and nothing stays
// behind.

#include <gtest/gtest.h>

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
#include "tests/support/ForwardingOS.h"
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
constexpr int64_t kMostLeft = 64;  // allocations: what a thread or a pool keeps for the next

// Of the file with that number of those with that letter.
std::string cookieText(char letter, unsigned number, bool isSound = false) {
  std::string digits = std::to_string(number);
  return (isSound ? "S" : "V") + std::string(1, letter) + std::string(7 - digits.size(), '0') +
         digits + (isSound ? "01" : "00");
}

Text wide(const std::string& text) { return fromUTF8(std::string_view(text)); }
Cookie cookieOf(char letter, unsigned number, bool isSound = false) {
  return Cookie(wide(cookieText(letter, number, isSound)));
}

// How many allocations there are more than at its making.
class HeapBalance final : public ForwardingOS {
public:
  iMemoryManager* getMemoryManager() override { return &memory_; }
  int64_t allocations() const { return memory_.count.load(); }

private:
  class Memory final : public iMemoryManager {
  public:
    void* allocate(size_t bytes) override {
      ++count;
      return nativeOS()->getMemoryManager()->allocate(bytes);
    }
    void* allocateAligned(size_t bytes, size_t alignment) override {
      ++count;
      return nativeOS()->getMemoryManager()->allocateAligned(bytes, alignment);
    }
    void free(void* memory) override {
      count -= memory != nullptr;
      nativeOS()->getMemoryManager()->free(memory);
    }
    void freeAligned(void* memory) override {
      count -= memory != nullptr;
      nativeOS()->getMemoryManager()->freeAligned(memory);
    }
    std::atomic<int64_t> count{0};
  };

  Memory memory_;
};

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
  }
  void TearDown() override {
    SystemCache::instance().remove(SystemCache::fileAddedMsgType_, addedFiles_);
    SystemCache::instance().remove(SystemCache::proxyAddedMsgType_, addedProxies_);
    SystemCache::instance().remove(SystemCache::fileRemovedMsgType_, removedFiles_);
    SystemCache::invalidate();
    DiskManager::deInit();
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
  void storm(double time_ms) {
    const double end_ms = Qv::now() + time_ms;
    std::vector<std::jthread> threads;
    auto goOn = [&](const std::function<void()>& turn) {
      threads.emplace_back([=] {
        while (Qv::now() < end_ms) turn();
      });
    };
    goOn([this] { SystemCache::addMediaLocation(steady_); });
    goOn([this] { comeAndGo(); });
    for (unsigned i = 0; i < kAdders; ++i) goOn([this, i] { addAndDelete('C' + char(i)); });
    goOn([this] { lookUp(); });
    goOn([this] { walk(); });
  }

  void comeAndGo() {
    SystemCache::addMediaLocation(guest_);
    SystemCache::removeMediaLocation(guest_);
    ++visits_;
  }
  // Files that are there, in high resolution and as a proxy.
  void addAndDelete(char letter) {
    for (unsigned i = 0; i < kPassing; ++i) {
      const std::string name = cookieText(letter, i);
      const Cookie cookie = cookieOf(letter, i);
      for (const std::string& file : {name + ".mov", name + ".A0.proxy.360.mov"}) {
        scratch_.put("passing/Material/" + file, "media");
        SystemCache::addFile(cookie, MaterialFilename(passing_, wide("/Material/" + file)), true);
      }
      wrong_ += !SystemCache::findEntryForCookie(cookie);
    }
    for (unsigned i = 0; i < kPassing; ++i) {
      const Cookie cookie = cookieOf(letter, i);
      SystemCache::removeFile(cookie, true, eHighRes | eProxy);
      wrong_ += bool(SystemCache::findEntryForCookie(cookie));
    }
    ++turns_;
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
    ++looks_;
  }
  void walk() {
    Cookie last;
    unsigned steady = 0;
    SystemCache::enumerate([&](const Cookie& cookie, const FsysDirectoryEntry&) {
      wrong_ += last.isValid() && !(last < cookie);
      last = cookie;
      steady += cookie.asWString().view()[1] == L'A';
      return true;
    });
    wrong_ += steady != kSteady;
    ++walks_;
  }

  // Of what came meanwhile, the catalogue and the disk have nothing any more.
  void expectOnlyTheSteady() const {
    unsigned entries = 0;
    SystemCache::enumerate(
        [&](const Cookie&, const FsysDirectoryEntry&) { return ++entries != 0; });
    EXPECT_EQ(entries, kSteady);
    EXPECT_TRUE(std::filesystem::is_empty(scratch_.bytes("passing/Material")));
  }

  ScratchFolder scratch_;
  ScratchFolder project_;
  TestDiagnostics diagnostics_;
  DriveId steady_, guest_, passing_;
  Qv::Ptr<Listener> addedFiles_{new Listener}, addedProxies_{new Listener},
      removedFiles_{new Listener};
  std::atomic<uint64_t> wrong_{0}, visits_{0}, turns_{0}, looks_{0}, walks_{0};
};

TEST_F(CatalogueStressTest, WhatStaysIsAlwaysFoundEveryChangeIsToldAndNothingIsLeftBehind) {
  storm(soakTime_ms(kBrief_ms));
  EXPECT_EQ(wrong_, 0u);
  expectOnlyTheSteady();
  for (const auto* seen : {&visits_, &turns_, &looks_, &walks_}) EXPECT_GT(*seen, 0u);
  EXPECT_EQ(addedFiles_->told, turns_ * kPassing);
  EXPECT_EQ(addedProxies_->told, turns_ * kPassing);
  EXPECT_EQ(removedFiles_->told, turns_ * kPassing);
  for (const auto& listener : {addedFiles_, addedProxies_, removedFiles_})
    EXPECT_EQ(listener->wrong, 0u);
}

TEST_F(CatalogueStressTest, MemoryIsAsItWasHoweverLongItGoesOn) {
  HeapBalance heap;
  storm(kBrief_ms / 4);
  SystemCache::initialise(true);
  diagnostics_.clear();
  const int64_t before = heap.allocations();
  storm(soakTime_ms(kBrief_ms));
  SystemCache::initialise(true);
  diagnostics_.clear();
  EXPECT_LE(heap.allocations() - before, kMostLeft);
}

}  // namespace
