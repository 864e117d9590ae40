#include "tools/fsys/DriveKind.h"

const char* driveKind(iDiskDrive::eType type) {
  switch (type) {
    case iDiskDrive::eFixed:
      return "fixed";
    case iDiskDrive::eRemovable:
      return "removable";
    case iDiskDrive::eNetwork:
      return "network";
    case iDiskDrive::eOptical:
      return "optical";
    case iDiskDrive::eMemory:
      return "memory";
    case iDiskDrive::eUnknown:
      break;
  }
  return "unknown";
}
