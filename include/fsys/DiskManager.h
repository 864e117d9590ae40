#pragma once

#include "fsys/Export.h"
#include "fsys/MediaDrive.h"
#include "platform/LightweightString.h"
#include "platform/QvPtr.h"

// DiskManager: the registry of media drives.
// Threads    look-ups: any thread, while another changes the registry; they take no lock. Changes
//            must not run at once.
// Ownership  shares its drives.
class FSYS_EXPORT DiskManager {
public:
  // The drive whose local name plus a separator equals the path exactly, case counting; null when
  // there is none. So the path of a file on a drive finds nothing.
  static Qv::Ptr<MediaDrive> getVolume(const LightweightString<wchar_t>& path);

  static void addVolume(const Qv::Ptr<MediaDrive>& drive);
  // Releases every drive.
  static void deInit();
};
