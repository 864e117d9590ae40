#pragma once

#include <cstddef>
#include <cstdint>

#include "fsys/DriveId.h"
#include "fsys/Export.h"
#include "fsys/MaterialFilename.h"
#include "fsys/VolumeInfo.h"
#include "platform/Cookie.h"
#include "platform/CriticalSection.h"
#include "platform/LightweightString.h"
#include "platform/OsAtomics.h"
#include "platform/OsDrives.h"
#include "platform/QvPtr.h"

// MediaDrive: one place where media is kept: a disk, a network path, or a folder that the user
// added.
// Story      The registry makes one for each location that it registers, gives it its identifier
//            and hands it out. The drive knows where media of each type lies on it, and what space
//            it had when it was last asked.
// Threads    any may read it at any time: what changes (the user's name, the space, the sector
//            size, the marks) changes as a whole. Changes come from one thread at a time, save the
//            marks. Only reading and setting the user's name takes a lock, the drive's own, in
//            which nothing waits. update, getSpaceForRecording, getInfo, setSectorSize and
//            prepareForMedia ask the drive, and wait for one that is silent as DiskManager says.
// Ownership  shared by Qv::Ptr; stays valid after its removal for whoever still holds it.
// Units      mebibytes (1,048,576 bytes) where the name says MB, whole ones; bytes elsewhere.
// Errors     none reported: a drive that is not registered has no name and no locations; one that
//            does not answer, and a discovered one whose disk is gone, has no space and no
//            capacity. A folder that was added has those of the disk that holds it.
// Kept       getUserName ignores its flag
//            (MediaDriveTest.AnUnnamedDriveIsCalledByItsLocalNameWhateverTheFlag). The recording
//            reserve is not clamped: space for recording may be negative
//            (MediaDriveSpaceTest.SpaceForRecordingMayBeNegative). A root path loses all separators
//            at its end, not one
//            (MediaDriveTest.TheLocalNameHasNoSeparatorAtItsEndAndTheRootLocationHasOne). A share
//            of this machine that is mounted here is known by the drive's own network name too
//            (MediaDriveTest.AMountOfThisMachinesOwnShareIsKnownByItsNetworkName).
class FSYS_EXPORT MediaDrive : public virtual Qv::InternalRefCount {
public:
  static constexpr int kRecordingReserve_mib = 2;

  // Type 1, sector size 0, no paths and so no disk; then updated.
  MediaDrive(const DriveId& id, const LightweightString<wchar_t>& userName);
  // The registry's: a root path, with or without its trailing separator.
  MediaDrive(const DriveId& id, const LightweightString<wchar_t>& rootPath, iDiskDrive::eType type);
  MediaDrive(const MediaDrive& other);
  MediaDrive& operator=(const MediaDrive&) = delete;
  ~MediaDrive() override;

  const DriveId& getId() const { return id_; }
  iDiskDrive::eType getType() const { return type_; }
  // What the user calls it; of an unnamed drive its local name.
  LightweightString<wchar_t> getUserName(bool) const;
  bool is_unnamed() const;
  bool has_name(const LightweightString<wchar_t>& name) const;
  void setUserName(const LightweightString<wchar_t>& name);
  // has_name of a drive that is registered, for looking at many: `key` is nameKey(name), and drives
  // whose names have another key are passed over without a lock.
  bool isCalled(const LightweightString<wchar_t>& name, size_t key) const;
  static size_t nameKey(const LightweightString<wchar_t>& name);
  bool isAutoDiscovered() const { return autoDiscovered_.get(); }
  void setAutoDiscovered(bool discovered) { autoDiscovered_.set(discovered); }
  const LightweightString<wchar_t>& getUncName() const { return uncName_; }

  // "Material" for vision, "Sound" for sound, empty for anything else.
  static LightweightString<wchar_t> getFolder(CookieType type);
  static LightweightString<wchar_t> getFolder(const Cookie& cookie);
  // The folder of that type with a separator at its end; empty when the drive is not registered.
  LightweightString<wchar_t> getLocation(CookieType type) const;
  LightweightString<wchar_t> getLocation(const Cookie& cookie,
                                         const LightweightString<wchar_t>& extension) const;
  // The same relative to the drive.
  LightweightString<wchar_t> getFsysLocation(CookieType type) const;
  MaterialFilename getFsysLocation(const Cookie& cookie,
                                   const LightweightString<wchar_t>& extension) const;
  // The root path without a separator at its end. `raw`: of a share of this machine, the path that
  // it stands for.
  void getLocalName(LightweightString<wchar_t>& name, bool raw) const;
  // The local name of a drive with that root path.
  static LightweightString<wchar_t> localNameOf(const LightweightString<wchar_t>& rootPath);
  // Whether a drive of that root path lies there. Not where a name in it has another system's
  // separator, which is read as this one's.
  static bool liesAt(const LightweightString<wchar_t>& rootPath);
  // The local name and a separator, empty where that is empty: what getLocation gives for a type
  // without a folder while the drive is registered.
  const LightweightString<wchar_t>& getRootLocation() const { return rootLocation_; }

  // As the lists of locations have it: the root location, and of the root of all a separator.
  LightweightString<wchar_t> getListedLocation() const;

  // Takes over its disk's sector size. False, and nothing changed, when it has none.
  bool setSectorSize();
  uint32_t getSectorSize() const { return sectorSize_.get(); }
  // Reads the space through the registry: none of a drive that does not answer or is not
  // registered. Of '*' and '?' nothing is read, they keep what they had.
  void update();
  double getSpaceMB() const { return spaceMB_.get(); }
  double getCapacityMB() const { return capacityMB_.get(); }
  uint64_t getSpaceBytes() const;
  uint64_t getCapacityBytes() const;
  // Takes that much off the space, until the next update.
  void bookSpace(double needMB);
  // Updated, less the reserve.
  double getSpaceForRecording() const;
  // Makes the media folders where they are missing.
  bool prepareForMedia() const;
  // Whether the system knows a disk for the local name (of the root of all: for a separator). A
  // drive that was discovered is all of a disk: that is its own, not the one below where it was.
  bool hasDisk() const;
  // False when there is no info, when the drive has no disk, or when it does not answer.
  bool getInfo(VolumeInfo* info) const;

  // Whether the last judged transfer was too slow.
  bool isTooSlow() const { return tooSlow_.get(); }
  void setTooSlow(bool tooSlow) { tooSlow_.set(tooSlow); }
  // Set by who keeps the drive busy; cleared by a start pass that finds nothing deferred.
  bool isBusy() const { return busy_.get(); }
  void setBusy(bool busy) { busy_.set(busy); }

private:
  friend struct LayoutPeer;

  static constexpr size_t kUnnamed = 0;  // the key of an empty name, and of no other

  LightweightString<wchar_t> givenName() const;
  // Null when hasDisk is false.
  Qv::Ptr<iDiskDrive> disk() const;
  void refresh() const;

  // Fixed order.
  DriveId id_;
  LightweightString<wchar_t> userName_ GUARDED_BY(nameLock_);
  // What was told last; asking anew changes no drive.
  mutable OsWord<double> spaceMB_{0};
  mutable OsWord<double> capacityMB_{0};
  iDiskDrive::eType type_ = iDiskDrive::eFixed;
  OsWord<uint32_t> sectorSize_{0};
  bool reportedFlag_ = false;
  LightweightString<wchar_t> localName_;
  LightweightString<wchar_t> uncName_;
  LightweightString<wchar_t> localShareName_;
  OsWord<bool> autoDiscovered_{false};

  // Ours.
  LightweightString<wchar_t> rootLocation_;
  // By which the system is asked for its disk; empty: it has none.
  LightweightString<wchar_t> diskPath_;
  mutable CriticalSection nameLock_;
  OsWord<size_t> nameKey_{kUnnamed};  // of userName_
  OsWord<bool> tooSlow_{false};
  OsWord<bool> busy_{false};
};
