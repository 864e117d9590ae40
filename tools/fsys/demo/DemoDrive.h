#pragma once

#include <memory>
#include <string>

#include "fsys/DriveId.h"
#include "fsys/MediaDrive.h"
#include "tools/fsys/demo/DriveBay.h"

// DemoDrive: one of the two drives of the day.
struct DemoDrive {
  std::string root;  // without a separator at its end
  std::unique_ptr<DriveBay> bay;
  DriveId id;  // once it is registered

  // Throws when it is not registered.
  Qv::Ptr<MediaDrive> registered() const;
  // Whether that path is below the root.
  bool holds(const std::string& path) const;
};
