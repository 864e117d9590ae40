// The catalogue's state, its one instance, and the look-ups.
#include "fsys/SystemCache.h"

#include <loki/Singleton.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "fsys/CookieMap.h"
#include "fsys/Room.h"
#include "platform/Check.h"
#include "platform/ConfigInt.h"
#include "platform/OS.h"

namespace {

Room<SharedCriticalSection> roomOfLock;
Room<CookieMap> roomOfFiles;
Room<CriticalSection> roomOfInstanceLock;
Room<CriticalSection> roomOfInitialising;

}  // namespace

SharedCriticalSection& SystemCache::lock_ = *new (&roomOfLock) SharedCriticalSection;
CookieMap& SystemCache::files_ = *new (&roomOfFiles) CookieMap;
SystemCache::End SystemCache::end_;
OsWord<bool> SystemCache::isInitialised_{false};
ScanTally SystemCache::tally_;
CriticalSection& SystemCache::initialising_ = *new (&roomOfInitialising) CriticalSection;
int SystemCache::debug_ = config_int("SystemCacheDebug", 0);
const int SystemCache::fileAddedMsgType_ = NotifyMsgTypeDictionary::intern("SysCacheAdd");
const int SystemCache::fileRemovedMsgType_ = NotifyMsgTypeDictionary::intern("SysCacheDel");
const int SystemCache::proxyAddedMsgType_ = NotifyMsgTypeDictionary::intern("SysCacheAddProxy");
const int SystemCache::proxyRemovedMsgType_ = NotifyMsgTypeDictionary::intern("SysCacheDelProxy");

namespace {

using Text = SystemCache::Text;
using Entry = SystemCache::Entry;

constexpr int kMostChannels = 255;  // that a cookie can name
constexpr unsigned kVisionChannelsOfShot = 24;
constexpr unsigned kSoundChannelsOfShot = 32;

// The holder is not made for threads; its instance may come and go as often as it is needed.
CriticalSection& instanceLock = *new (&roomOfInstanceLock) CriticalSection;

// Lifetime: whatever ends the instance does so under the lock, and its listeners go after that.
// The base class would take notes at the exit of the process, beside threads that make it again.
template <typename T>
struct Lifetime : Loki::DeletableSingleton<T> {
  static void ScheduleDestruction(T*, Loki::atexit_pfn_t destroy) {
    destroyInstance = destroy;
    Lifetime::deleter = &end;
    Lifetime::isDead = false;
    if (!isNoted) isNoted = std::atexit(&endAtExit) == 0;
  }

private:
  static void end();
  static void endAtExit();

  static inline Loki::atexit_pfn_t destroyInstance = nullptr;  // null: there is no instance
  static inline bool isNoted = false;  // for the exit, which runs each note once
};

using Holder = Loki::SingletonHolder<SystemCache, Loki::CreateUsingNew, Lifetime>;

template <typename T>
void Lifetime<T>::end() {
  Vector<Notifier::Registration> listeners;
  CriticalSectionLock lock(instanceLock);
  if (!destroyInstance) return;
  Holder::Instance().removeAll().swap(listeners);
  std::exchange(destroyInstance, nullptr)();
}

template <typename T>
void Lifetime<T>::endAtExit() {
  {
    CriticalSectionLock lock(instanceLock);
    isNoted = false;
  }
  end();
}

bool isThere(const MaterialFilename& name) {
  return name.getDrive().valid() && !name.getPath().empty();
}

// None of what is missing.
DriveId driveOf(const MaterialFilename& name) {
  return isThere(name) ? name.getDrive() : DriveId();
}

int soundChannels() {
  static const int channels = config_int("max_audio_chans_in_shot", 16);
  return std::min(channels, kMostChannels);
}

// `take` is called with the cookie of each channel, until it answers false.
template <typename Take>
void walkChannels(const Cookie& cookie, CookieType type, unsigned first, unsigned count,
                  const Take& take) {
  for (unsigned channel = first; channel < first + count; ++channel)
    if (!take(convertCookie(cookie, type, static_cast<unsigned char>(channel)))) return;
}

template <typename Take>
void walkShot(const Cookie& cookie, const Take& take) {
  walkChannels(cookie, eCookieVision, 0, kVisionChannelsOfShot, take);
  walkChannels(cookie, eCookieSound, 1, kSoundChannelsOfShot, take);
}

}  // namespace

SystemCache& SystemCache::instance() {
  CriticalSectionLock lock(instanceLock);
  return Holder::Instance();
}

// As soon as they are known the instance may go.
Vector<Notifier::Listener> SystemCache::whoHears(int type) {
  CriticalSectionLock lock(instanceLock);
  return Holder::Instance().listenersOf(static_cast<Type>(type));
}

// Only a process that exits has threads that are at work here: they are not waited for.
SystemCache::End::~End() {
  CookieMap forgotten;
  if (!lock_.tryEnter()) return;
  files_.swap(forgotten);
  lock_.leave();
}

// One entry -----------------------------------------------------------------------------------

Entry SystemCache::findEntryForCookie(const Cookie& cookie) {
  const CookieType type = cookie.getType();
  reportUnless(type == eCookieVision || type == eCookieSound,
               "c.getType() == CookieTypeVision || c.getType() == CookieTypeSound",
               "fsys/SystemCache line 214");
  SharedCriticalSectionRead lock(lock_);
  return files_.find(cookie);
}

MaterialFilename SystemCache::find(const Cookie& cookie) {
  const Entry entry = findEntryForCookie(cookie);
  return entry ? entry->primaryFilename() : MaterialFilename();
}

bool SystemCache::fileExists(const Cookie& cookie) { return isThere(find(cookie)); }

uint64_t SystemCache::fileSize(const Cookie& cookie) {
  const Entry entry = findEntryForCookie(cookie);
  return entry ? entry->fileSize() : 0;
}

bool SystemCache::findFileForCookie(const Cookie& cookie, Text& path, const DecodeFormat& format) {
  const Entry entry = findEntryForCookie(cookie);
  if (!entry) return false;
  path = entry->findFileForCookie(format);
  return !path.empty() || entry->updateStatus(eHighRes | eProxy) != MediaFileInfo::eMissing;
}

bool SystemCache::getProxyFiles(const Cookie& cookie, std::list<MediaFileInfo>& files) {
  const Entry entry = findEntryForCookie(cookie);
  if (entry) entry->copyProxyFiles(files);
  return static_cast<bool>(entry);
}

bool SystemCache::isLinked(const Cookie& cookie) {
  const Entry entry = findEntryForCookie(cookie);
  return entry && entry->isLinked();
}

unsigned SystemCache::updateStatus(const Cookie& cookie, unsigned mediaTypes) {
  const Entry entry = findEntryForCookie(cookie);
  return entry ? entry->updateStatus(mediaTypes) : unsigned{MediaFileInfo::eMissing};
}

// All channels of a shot ----------------------------------------------------------------------

DriveId SystemCache::getDriveForCookie(const Cookie& cookie, EditChanType chanType) {
  if (chanType == eEditChanVision || chanType == eEditChanMainVision)
    return driveOf(find(convertCookie(cookie, eCookieVision, 0)));
  if (chanType != eEditChanSound) return {};
  for (int channel = 1; channel <= soundChannels(); ++channel) {
    const Cookie sound = convertCookie(cookie, eCookieSound, static_cast<unsigned char>(channel));
    if (const DriveId drive = driveOf(find(sound)); drive.valid()) return drive;
  }
  return {};
}

void SystemCache::getFilesForShot(const Cookie& cookie, Vector<Text>& files) {
  walkShot(cookie, [&files](const Cookie& channel) {
    const Entry entry = findEntryForCookie(channel);
    if (entry) files.add(entry->getPhysicalFilename(false));
    return static_cast<bool>(entry);
  });
}

void SystemCache::getMediaFilesForShot(const Cookie& cookie, Vector<MaterialFilename>& files) {
  walkShot(cookie, [&files](const Cookie& channel) {
    const MaterialFilename name = find(channel);
    if (isThere(name)) files.add(name);
    return isThere(name);
  });
}

std::vector<Entry> SystemCache::getClipMediaFiles(const Cookie& cookie) {
  std::vector<Entry> entries;
  walkShot(cookie, [&entries](const Cookie& channel) {
    const Entry entry = findEntryForCookie(channel);
    if (entry) entries.push_back(entry);
    return static_cast<bool>(entry);
  });
  return entries;
}

uint64_t SystemCache::sizeOnDisk(const Text& path) {
  uint64_t bytes = 0;
  return OS()->getFileManager()->getFileSize(path, bytes) ? bytes : 0;
}

uint64_t SystemCache::getShotFileSize(const Cookie& cookie) {
  Vector<Text> files;
  getFilesForShot(cookie, files);
  uint64_t bytes = 0;
  for (const Text& file : files) bytes += sizeOnDisk(file);
  return bytes;
}

// All entries ---------------------------------------------------------------------------------

bool SystemCache::invalidate() {
  CookieMap forgotten;  // goes after the lock: a million entries take their time
  SharedCriticalSectionLock lock(lock_);
  files_.swap(forgotten);
  tally_ = ScanTally();
  return true;
}

void SystemCache::enumerate(Callback callback) {
  SharedCriticalSectionLock lock(lock_);
  files_.walk(
      [&callback](const Cookie& cookie, const Entry& entry) { return callback(cookie, *entry); });
}
