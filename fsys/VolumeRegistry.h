#pragma once

#include <cstdint>

#include "fsys/DriveId.h"
#include "fsys/VolumeShares.h"
#include "fsys/VolumeSnapshot.h"
#include "platform/LightweightString.h"
#include "platform/Notifier.h"
#include "platform/OsDrives.h"
#include "platform/Vector.h"

// VolumeRegistry: the state behind DiskManager, for its own files.
// Story      One for the process, never destroyed: completion threads may look up while the process
//            ends.
// Threads    volumes(), emptyDrive() and shares: any. Everything else belongs to the one who
//            changes the registry.
// Errors     std::bad_alloc leaves the drives and the identifiers as they were.
class VolumeRegistry {
public:
  static VolumeRegistry& get();

  const VolumeSnapshot& volumes() const { return volumes_; }
  // What stands for a drive that is not there: '0', without names and space. Lasts for ever.
  static MediaDrive& emptyDrive();

  // Makes a drive of the next identifier and appends it; null when they are used up.
  Qv::Ptr<MediaDrive> registerDrive(const LightweightString<wchar_t>& rootPath,
                                    iDiskDrive::eType type, bool autoDiscovered);
  // Appends a drive, or takes one out keeping the order of the rest; false when it is not there.
  void add(const Qv::Ptr<MediaDrive>& drive);
  bool remove(DriveId id);
  void removeAll() { volumes_.replace({}); }
  // The identifier after the last one issued; not valid when they are used up.
  DriveId issueId();
  void restartIds() { lastIssued_ = DriveId(); }

  LightweightString<wchar_t> projectSpace;
  Vector<LightweightString<wchar_t>> missingMediaLocations;
  VolumeShares shares;
  Notifier notifier;
  uint32_t timeOfLastSpaceUpdate = 0;  // ms of service_get_msecs
  bool isShutdownRegistered = false;

private:
  VolumeRegistry() = default;

  VolumeSnapshot volumes_;
  DriveId lastIssued_;
};
