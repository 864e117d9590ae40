#include "tools/fsys/demo/DemoDrive.h"

#include "fsys/DiskManager.h"
#include "tools/fsys/ToolError.h"

Qv::Ptr<MediaDrive> DemoDrive::registered() const {
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id);
  if (!drive)
    throw ToolError(ExitCode::eVerification, "checking", root,
                    "expected a media drive, found none");
  return drive;
}

bool DemoDrive::holds(const std::string& path) const { return path.rfind(root + "/", 0) == 0; }
