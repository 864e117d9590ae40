// Scans, changes, walks and look-ups of one catalogue at the same time.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"
#include "tests/support/TestDiagnostics.h"

namespace {

constexpr unsigned kScanned = 200;  // files of the folder
constexpr unsigned kAdded = 50;     // cookies that come and go beside it
const unsigned kTurns = soakTurns(200, 20'000);

class SystemCacheStressTest : public testing::Test {
protected:
  void SetUp() override {
    std::filesystem::create_directories(folder_.bytes("Material"));
    for (unsigned channel = 0; channel < kScanned; ++channel)
      folder_.put("Material/" + std::string(scanned(channel).asString().view()) + ".mov", "media");
    DiskManager::deInit();
    SystemCache::invalidate();
    ASSERT_TRUE(DiskManager::addMaterialVolume(folder_ / "", id_, false));
  }
  void TearDown() override {
    SystemCache::invalidate();
    DiskManager::deInit();
  }

  static Cookie scanned(unsigned channel) {
    return convertCookie(Cookie(L"VSCANNED000"), eCookieVision, static_cast<uint8_t>(channel));
  }
  static Cookie added(unsigned channel) {
    return convertCookie(Cookie(L"VADDED00000"), eCookieVision, static_cast<uint8_t>(channel));
  }
  MediaFileInfo infoOf(const Cookie& cookie) const {
    return {MaterialFilename(id_, pathOf(cookie)), 1000};
  }
  static LightweightString<wchar_t> pathOf(const Cookie& cookie) {
    return LightweightString<wchar_t>(L"/Other/") + cookie.asWString() + L".A1.proxy.360.mov";
  }

  void look(unsigned seed) {
    std::mt19937 random(seed);
    while (!isDone_.load()) {
      const Cookie cookie = added(static_cast<unsigned>(random() % kAdded));
      const SystemCache::Entry entry = SystemCache::findEntryForCookie(cookie);
      // Of an entry nothing else is ever seen than what was added to it, or nothing once it goes.
      const auto path = entry ? entry->primaryFilename().getPath() : LightweightString<wchar_t>();
      if (!path.empty() && !(path == pathOf(cookie))) wrong_.fetch_add(1);
      Vector<LightweightString<wchar_t>> files;
      SystemCache::getFilesForShot(scanned(0), files);
      if (files.size() > 24) wrong_.fetch_add(1);
      looks_.fetch_add(1);
    }
  }
  void change(unsigned seed) {
    std::mt19937 random(seed);
    for (unsigned turn = 0; turn < kTurns; ++turn) {
      const Cookie cookie = added(static_cast<unsigned>(random() % kAdded));
      if (random() % 2 == 0)
        SystemCache::addFile(cookie, infoOf(cookie), true);
      else
        SystemCache::removeFile(cookie, true, 3);  // nothing lies there on the disk
      if (random() % 16 == 0) SystemCache::addMediaLocation(id_);
      if (random() % 16 == 0) SystemCache::removeMediaLocation(id_);
      if (random() % 64 == 0) SystemCache::invalidate();
    }
  }
  void walk() {
    while (!isDone_.load()) {
      Cookie last;
      bool isFirst = true;
      SystemCache::enumerate([&](const Cookie& cookie, const FsysDirectoryEntry&) {
        if (!isFirst && !(last < cookie)) wrong_.fetch_add(1);
        isFirst = false;
        last = cookie;
        return true;
      });
    }
  }

  // Counts what it hears.
  struct Ear : iCallbackBase<int, NotifyMsg> {
    int callback(NotifyMsg message) override {
      if (!message.getPayload()) missing.fetch_add(1);
      heard.fetch_add(1);
      return 0;
    }
    std::atomic<unsigned> heard{0};
    std::atomic<unsigned> missing{0};
  };

  ScratchFolder folder_;
  TestDiagnostics diagnostics_;
  DriveId id_;
  std::atomic<bool> isDone_{false};
  std::atomic<unsigned> wrong_{0};
  std::atomic<unsigned> looks_{0};
};

TEST_F(SystemCacheStressTest, WhoeverLooksSeesWholeEntriesInTheirOrderWhileOthersScanAndChange) {
  Qv::Ptr<Ear> ear(new Ear);
  const Notifier::Listener listener(ear);
  for (int type : {SystemCache::proxyAddedMsgType_, SystemCache::fileRemovedMsgType_})
    SystemCache::instance().add(type, listener);
  std::vector<std::thread> lookers;
  for (unsigned seed = 0; seed < 2; ++seed) lookers.emplace_back([this, seed] { look(seed); });
  lookers.emplace_back([this] { walk(); });
  std::vector<std::thread> changers;
  for (unsigned seed = 0; seed < 2; ++seed) changers.emplace_back([this, seed] { change(seed); });
  for (std::thread& changer : changers) changer.join();
  isDone_.store(true);
  for (std::thread& looker : lookers) looker.join();
  for (int type : {SystemCache::proxyAddedMsgType_, SystemCache::fileRemovedMsgType_})
    SystemCache::instance().remove(type, listener);
  EXPECT_EQ(wrong_.load(), 0u);
  EXPECT_GT(looks_.load(), 0u);
  EXPECT_GT(ear->heard.load(), 0u);
  EXPECT_EQ(ear->missing.load(), 0u);
}

}  // namespace
