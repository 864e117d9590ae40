#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <vector>

#include "fsys/DecodeFormat.h"
#include "fsys/DriveId.h"
#include "fsys/Export.h"
#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MaterialFilename.h"
#include "fsys/MediaFileInfo.h"
#include "fsys/ScanTally.h"
#include "platform/Cookie.h"
#include "platform/CriticalSection.h"
#include "platform/EditChanType.h"
#include "platform/LightweightString.h"
#include "platform/Notifier.h"
#include "platform/OsAtomics.h"
#include "platform/QvPtr.h"
#include "platform/SharedCriticalSection.h"
#include "platform/Vector.h"

class CookieMap;
class FolderScan;

// SystemCache: the catalogue of the media files on the registered drives, by their cookies.
// Story      The registry adds each drive that comes: its "Material" and "Sound" folders are
//            listed, and every file whose name is a cookie's text gets into the entry of that
//            cookie. From then on whoever makes, deletes or links media says so here, and whoever
//            plays it asks here for the file. The one instance exists for the listeners: it tells
//            them of files that come and go.
// Threads    any, several at once. One re-entrant lock guards the map of the entries. It is held
//            while a folder that has been listed is merged, and by addFile, removeFile and
//            enumerate for as long as they run: across the listeners, the deletion on the disk, and
//            the callback. A listener, on the thread that made the change, may do anything to the
//            catalogue, and must not wait for another thread that needs it; no more must the
//            callback. One of these waits is a call of initialise while another thread is in it: a
//            re-entrant lock of its own, which comes before the other, lets one thread in at a
//            time. The entries guard themselves, their getProxyFiles excepted.
// Ownership  shares the entries: one that was removed is whole for as long as somebody holds it.
//            The instance is made when first needed and goes at the exit of the process, also while
//            others tell of something; needed after that it is made again. Everything else works
//            until the process has ended: the entries are let go of at its exit, or when the
//            library is unloaded, unless somebody is at work in the catalogue just then.
// Units      bytes. `mediaTypes`: 1 the high-resolution file, 2 the proxies, 3 both.
// Waits      what asks the disk about a file waits for it as long as it takes, without the lock but
//            in removeFile. A scan waits as addDirectory says.
// Errors     an unknown cookie is null, false, a name that is missing (no drive or no path) or 0.
//            A cookie that is neither vision nor sound is reported, and looked up all the same.
//            std::bad_alloc and what a listener or a callback throws reach the caller, with the
//            lock free and every entry as far as its operation had come.
// Kept       removeFile tells of proxies by the message of files, and no message tells of a proxy
//            that goes. The walks of a shot have limits of their own, whatever the configuration
//            says. addProxyFile tells nobody.
class FSYS_EXPORT SystemCache : public Notifier {
public:
  using Text = LightweightString<wchar_t>;
  using Entry = Qv::Ptr<FsysDirectoryEntry>;
  using Callback = std::function<bool(const Cookie& cookie, const FsysDirectoryEntry& entry)>;

  // Whom listeners are added to, under the types below. Its messages have the cookie's text and the
  // entry as payload, and are issued with the catalogue's lock held, realiseLinks' excepted. Ask
  // anew where the process may be exiting meanwhile.
  static SystemCache& instance();

  // "SysCacheAdd", "SysCacheDel", "SysCacheAddProxy", "SysCacheDelProxy"; the last is never issued.
  static const int fileAddedMsgType_;
  static const int fileRemovedMsgType_;
  static const int proxyAddedMsgType_;
  static const int proxyRemovedMsgType_;

  // Filling.

  // Scans every registered drive into an empty catalogue. Once; again only if `force`. Who comes
  // while another thread is at it waits for that first; after one that threw the next one scans.
  // Meanwhile no other thread adds a location, here or to the registry, which does it here: files
  // that are scanned twice take their own place, and are their own proxies from then on.
  static void initialise(bool force);
  // Forgets every entry. True.
  static bool invalidate();
  // Scans the drive's "Material" folder, then its "Sound" folder, and logs both, whatever was found
  // there. '0' is not refused: its folders lie at the root of all.
  static void addMediaLocation(DriveId id);
  // Scans one folder, whose path ends in a separator. One that cannot be listed has no files, and
  // one whose drive does not answer within 1500 ms is not listed: both are logged, unless there is
  // no such folder. A file that is removed between the listing and the merge comes back as an entry
  // until somebody looks whether it is there. Nobody is told.
  static void addDirectory(const MaterialFilename& folder);
  // Forgets the entries whose high-resolution file lies on that drive; others keep their proxies.
  static void removeMediaLocation(DriveId id);
  // False for the names of files that lie beside media: those that end in ".partial" and the like,
  // in just these letters.
  static bool isEligible(const Text& name);
  // What the scans since the last invalidate came across.
  static ScanTally getScanTally();

  // Look-ups.

  static Entry findEntryForCookie(const Cookie& cookie);
  // The high-resolution file, else the first proxy.
  static MaterialFilename find(const Cookie& cookie);
  // Whether find has one.
  static bool fileExists(const Cookie& cookie);
  static uint64_t fileSize(const Cookie& cookie);
  // The file to open for that format. False, and `path` untouched, for an unknown cookie; false and
  // an empty path when its files are missing. True with an empty path: nothing is missing, since
  // the entry has no file.
  static bool findFileForCookie(const Cookie& cookie, Text& path, const DecodeFormat& format);
  // The drive of the shot's picture or, of its first sound channel that has a file; else '0'. How
  // many channels are looked at: "max_audio_chans_in_shot", read once.
  static DriveId getDriveForCookie(const Cookie& cookie, EditChanType chanType);
  // Of the shot's vision channels from 0 on, at most 24, then of its sound channels from 1 on, at
  // most 32; each up to the first that is missing. Appended to `files`.
  static void getFilesForShot(const Cookie& cookie, Vector<Text>& files);
  static void getMediaFilesForShot(const Cookie& cookie, Vector<MaterialFilename>& files);
  static std::vector<Entry> getClipMediaFiles(const Cookie& cookie);
  // Of getFilesForShot's files, as they are on the disk; what is not there has none.
  static uint64_t getShotFileSize(const Cookie& cookie);
  static bool getProxyFiles(const Cookie& cookie, std::list<MediaFileInfo>& files);
  static bool isLinked(const Cookie& cookie);
  // Whether the files are there: 1 missing, 2 there, 0 no proxy is. 1 for an unknown cookie.
  static unsigned updateStatus(const Cookie& cookie, unsigned mediaTypes);
  // Calls back for each entry in the cookies' order until it answers false. The callback may change
  // the catalogue: the walk goes on behind the last cookie. An empty one throws
  // std::bad_function_call.
  static void enumerate(Callback callback);

  // Changes.

  // Adds the file to its entry, which is made if there is none, and tells "SysCacheAdd", or
  // "SysCacheAddProxy" of a proxy, if `notify`. True. When a listener throws the file has been
  // added; without memory it has not been, and nobody is told.
  static bool addFile(const Cookie& cookie, const MediaFileInfo& info, bool notify);
  // The same with the size that the file has on the disk, 0 when it is not there.
  static bool addFile(const Cookie& cookie, const MaterialFilename& name, bool notify);
  static void addProxyFile(const Cookie& cookie, const MediaFileInfo& info);
  // Forgets the entry if it will have no file left (with `mediaTypes` 3 in any case), tells
  // "SysCacheDel" if `notify`, and deletes its files of those types from the disk: the result is
  // the entry's. An unknown cookie is reported, and true. When a listener throws nothing has been
  // deleted, and the entry is forgotten all the same.
  static bool removeFile(const Cookie& cookie, bool notify, unsigned mediaTypes);
  static void removeProxyFile(const Cookie& cookie, const MediaFileInfo& info);
  // Not supported: reported, and a missing name.
  static MaterialFilename renameFile(const Text& from, const Text& to);
  static bool renameProxyFile(const Cookie& cookie, const Text& from, const Text& to);
  static bool updateLinks(const Cookie& cookie, const DriveId& drive);
  // Writes the entry's link files, those that are there already excepted; then tells "SysCacheAdd"
  // when its high-resolution file has a name. False for an unknown cookie.
  static bool realiseLinks(const Cookie& cookie);

private:
  friend struct LayoutPeer;
  friend struct SystemCachePeer;
  // Lets go of the entries.
  struct End {
    ~End();
  };
  struct Telling;

  static bool addAs(const Cookie& cookie, const MediaFileInfo& info, bool isProxy, bool notify);
  // To the entry that was found, or to a new one.
  static void addLocked(const Cookie& cookie, const MediaFileInfo& info, bool isProxy,
                        const Entry& found, bool notify) REQUIRES(lock_);
  static Vector<Listener> whoHears(int type);
  // 0 of one that is not there.
  static uint64_t sizeOnDisk(const Text& path);
  static void mergeFileLocked(FolderScan& scan, const Text& name, uint64_t bytes) REQUIRES(lock_);

  // Fixed order; the types above follow. The first two are never destroyed, nor is the last.
  static CookieMap& files_ GUARDED_BY(lock_);
  static SharedCriticalSection& lock_;
  static OsWord<bool> isInitialised_;
  static int debug_;
  static End end_;

  // Ours.
  static ScanTally tally_ GUARDED_BY(lock_);
  static CriticalSection& initialising_;  // who is in initialise; comes before lock_
};
