#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "fsys/CookieMap.h"
#include "fsys/SystemCache.h"
#include "platform/CriticalSection.h"
#include "tests/StorageFixture.h"
#include "tests/support/FailingHeap.h"

// Sees the private state.
struct SystemCachePeer {
  static void setDebug(int debug) { SystemCache::debug_ = debug; }
  static int debug() { return SystemCache::debug_; }
  static void setInitialised(bool isInitialised) { SystemCache::isInitialised_.set(isInitialised); }
  static bool isInitialised() { return SystemCache::isInitialised_; }
  static void plant(const Cookie& cookie, const SystemCache::Entry& entry) {
    SharedCriticalSectionLock lock(SystemCache::lock_);
    SystemCache::files_.put(cookie, entry);
  }
  // Whether somebody holds the lock or reads under it.
  static bool isLocked() {
    if (!isOpenToReaders() || !SystemCache::lock_.tryEnter()) return true;
    SystemCache::lock_.leave();
    return false;
  }
  // False, and nothing is forgotten, when somebody holds the lock or reads under it.
  static bool tryInvalidate() {
    if (!SystemCache::lock_.tryEnter()) return false;
    SystemCache::invalidate();
    SystemCache::lock_.leave();
    return true;
  }

private:
  static bool isOpenToReaders() {
    SharedCriticalSectionRead read(SystemCache::lock_);
    return read.isBesideOthers();
  }
};

// WatchedEntry: an entry that does something as it ends.
class WatchedEntry final : public FsysDirectoryEntry {
public:
  explicit WatchedEntry(std::function<void()> atEnd) : atEnd_(std::move(atEnd)) {}
  ~WatchedEntry() override { atEnd_(); }
  WatchedEntry(const WatchedEntry&) = delete;
  WatchedEntry& operator=(const WatchedEntry&) = delete;

private:
  std::function<void()> atEnd_;
};

// SystemCacheFixture: an empty catalogue, two drives with media folders on the fake, and somebody
// who may listen.
class SystemCacheFixture : public StorageFixture {
protected:
  using Cookies = std::vector<std::string>;
  using Heard = std::function<void(const NotifyMsg&)>;

  SystemCacheFixture() {
    for (const wchar_t* root : {L"/m/", L"/n/"}) {
      addDisk(root);
      files().addFolder(Text(root) + L"Sound");
      registerDrive(root);
    }
    CatalogueWatch::clear();
    SystemCachePeer::setInitialised(false);
    SystemCachePeer::setDebug(0);
    diagnostics_.clear();
  }
  ~SystemCacheFixture() override {
    for (const auto& [type, listener] : ears_) SystemCache::instance().remove(type, listener);
    SystemCachePeer::setDebug(0);
  }

  void put(const Text& path, size_t bytes = 1000) {
    files().addFile(path, std::vector<unsigned char>(bytes, 'm'));
  }
  static MediaFileInfo info(const Text& path, unsigned long bytes = 1000,
                            DriveId id = DriveId('1')) {
    return {MaterialFilename(id, path), bytes};
  }
  static bool add(const Cookie& cookie, const Text& path, unsigned long bytes = 1000) {
    return SystemCache::addFile(cookie, info(path, bytes), false);
  }
  static Cookie cookie(const wchar_t* text) { return Cookie(text, false); }

  // The cookies that are there, in the catalogue's order.
  static Cookies catalogued() {
    Cookies all;
    SystemCache::enumerate([&all](const Cookie& found, const FsysDirectoryEntry&) {
      all.emplace_back(found.asString(true).c_str());
      return true;
    });
    return all;
  }
  static std::string text(const Text& wide) { return toUTF8(wide).c_str(); }
  static std::string pathOf(const Cookie& found) {
    return text(SystemCache::find(found).getPath());
  }
  // Of the entry, in their order.
  static Texts proxiesOf(const Cookie& found) {
    std::list<MediaFileInfo> proxies;
    Texts paths;
    SystemCache::getProxyFiles(found, proxies);
    for (const MediaFileInfo& proxy : proxies)
      paths.push_back(text(proxy.getMaterialFilename().getPath()));
    return paths;
  }

  void hear(int type, Heard heard) {
    ears_.emplace_back(type, Notifier::Listener(new Ear(std::move(heard))));
    SystemCache::instance().add(ears_.back().first, ears_.back().second);
  }
  // Writes every message of the catalogue down, as "SysCacheAdd V4K7Q2M9A00".
  void writeDown() {
    const std::pair<int, const char*> types[] = {
        {SystemCache::fileAddedMsgType_, "SysCacheAdd"},
        {SystemCache::fileRemovedMsgType_, "SysCacheDel"},
        {SystemCache::proxyAddedMsgType_, "SysCacheAddProxy"},
        {SystemCache::proxyRemovedMsgType_, "SysCacheDelProxy"}};
    for (const auto& [type, name] : types)
      hear(type, [this, name = std::string(name)](const NotifyMsg& message) {
        messages_.push_back(name + " " + message.getText().c_str());
      });
  }

  const Cookie kVision = cookie(L"V4K7Q2M9A00");
  const Cookie kSound = cookie(L"S4K7Q2M9A01");
  const Cookie kOther = cookie(L"VZZZZZZZZ00");
  Texts messages_;

private:
  struct Ear : iCallbackBase<int, NotifyMsg> {
    explicit Ear(Heard what) : heard(std::move(what)) {}
    int callback(NotifyMsg message) override {
      heard(message);
      return 0;
    }
    Heard heard;
  };

  std::vector<std::pair<int, Notifier::Listener>> ears_;
};
