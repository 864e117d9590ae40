#pragma once

#include "fsys/VolumeRegistry.h"

// Adds a drive with that root to the registry; nobody is told. When the identifiers are used up
// they begin anew, so that a test may add as many as it likes.
inline Qv::Ptr<MediaDrive> addedDrive(const LightweightString<wchar_t>& rootPath) {
  VolumeRegistry& registry = VolumeRegistry::get();
  Qv::Ptr<MediaDrive> drive = registry.registerDrive(rootPath, iDiskDrive::eFixed, false);
  if (drive) return drive;
  registry.restartIds();
  return registry.registerDrive(rootPath, iDiskDrive::eFixed, false);
}
