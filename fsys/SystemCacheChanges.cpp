// What those who make, delete and link media tell the catalogue.
#include <optional>

#include "fsys/CookieMap.h"
#include "fsys/SystemCache.h"
#include "platform/Check.h"

namespace {

using Text = SystemCache::Text;
using Entry = SystemCache::Entry;

constexpr unsigned kSucceeded = 1;

// Whether it will have no file left when those of these types are gone.
bool endsWithout(const FsysDirectoryEntry& entry, unsigned mediaTypes) {
  switch (mediaTypes) {
    case eHighRes | eProxy:
      return true;
    case eProxy:
      return !entry.hasHighRes();
    case eHighRes:
      return !entry.hasProxies();
    default:
      return false;
  }
}

}  // namespace

// Telling: a message, and who will hear it. Made before what it tells of, nothing can come between.
struct SystemCache::Telling {
  Telling(int type, const Cookie& cookie, const Entry& entry)
      : message(type, cookie.asString(true), entry), listeners(whoHears(type)) {}

  void tell() const {
    for (const Listener& listener : listeners) listener->callback(message);
  }

  NotifyMsg message;
  Vector<Listener> listeners;
};

// Adding --------------------------------------------------------------------------------------

// A new entry is put there when it has the file: by then another may stand there, made by that file
// for its sound.
void SystemCache::addLocked(const Cookie& cookie, const MediaFileInfo& info, bool isProxy,
                            const Entry& found, bool notify) {
  const Entry entry = found ? found : Entry(new FsysDirectoryEntry);
  // Memory that fails does so before the file is there.
  std::optional<Telling> telling;
  if (notify) telling.emplace(isProxy ? proxyAddedMsgType_ : fileAddedMsgType_, cookie, entry);
  entry->addFile(cookie, info, isProxy);
  if (!found) files_.put(cookie, entry);
  if (telling) telling->tell();
}

// Its size is a question to the disk, and whether it is a proxy may be one: both are asked before
// the lock is taken.
bool SystemCache::addFile(const Cookie& cookie, const MediaFileInfo& info, bool notify) {
  return addAs(cookie, info, info.isProxy(), notify);
}

bool SystemCache::addFile(const Cookie& cookie, const MaterialFilename& name, bool notify) {
  const MediaFileInfo info(name, sizeOnDisk(name.getOsPath()));
  return addAs(cookie, info, info.wasProxy(), notify);
}

bool SystemCache::addAs(const Cookie& cookie, const MediaFileInfo& info, bool isProxy,
                        bool notify) {
  SharedCriticalSectionLock lock(lock_);
  addLocked(cookie, info, isProxy, findEntryForCookie(cookie), notify);
  return true;
}

void SystemCache::addProxyFile(const Cookie& cookie, const MediaFileInfo& info) {
  SharedCriticalSectionLock lock(lock_);
  if (const Entry found = findEntryForCookie(cookie)) {
    found->addProxyFile(info);
    return;
  }
  const Entry entry(new FsysDirectoryEntry);
  entry->addProxyFile(info);
  files_.put(cookie, entry);
}

// Removing ------------------------------------------------------------------------------------

bool SystemCache::removeFile(const Cookie& cookie, bool notify, unsigned mediaTypes) {
  SharedCriticalSectionLock lock(lock_);
  const Entry entry = files_.find(cookie);
  if (!entry) {
    (void)FSYS_CHECK(false, "fsys/SystemCache line 385");
    return true;
  }
  // Memory that fails does so before the entry goes.
  std::optional<Telling> telling;
  if (notify) telling.emplace(fileRemovedMsgType_, cookie, entry);
  if (endsWithout(*entry, mediaTypes)) files_.remove(cookie);
  if (telling) telling->tell();
  return entry->deleteFiles(mediaTypes) == kSucceeded;
}

void SystemCache::removeProxyFile(const Cookie& cookie, const MediaFileInfo& info) {
  if (const Entry entry = findEntryForCookie(cookie))
    entry->removeProxyFile(info.getPhysicalFilename(false));
}

// Names and links -----------------------------------------------------------------------------

MaterialFilename SystemCache::renameFile(const Text&, const Text&) {
  (void)FSYS_CHECK(false, "fsys/SystemCache line 393");
  return {};
}

bool SystemCache::renameProxyFile(const Cookie& cookie, const Text& from, const Text& to) {
  const Entry entry = findEntryForCookie(cookie);
  return entry && entry->renameProxyFile(from, to) == QvResult::OK;
}

bool SystemCache::updateLinks(const Cookie& cookie, const DriveId& drive) {
  const Entry entry = findEntryForCookie(cookie);
  return entry && entry->updateLinks(drive) == kSucceeded;
}

bool SystemCache::realiseLinks(const Cookie& cookie) {
  const Entry entry = findEntryForCookie(cookie);
  if (!entry) return false;
  entry->realiseLinks(false);
  if (!entry->getPhysicalFilename(false).empty()) Telling(fileAddedMsgType_, cookie, entry).tell();
  return true;
}
