#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/OsFiles.h"

// MountTree: where drives are mounted, as it was at one moment, and the way of a path through them.
// Story      Made of the mounts that the system lists. A path is followed name by name: the tree
//            says on which drive the next name is before the system is asked whether it is a link,
//            and a name on a network drive, or beyond one, is not asked about. So a share that does
//            not answer is never touched; links that lie on it are not followed.
// Threads    any; it never changes.
class MountTree : public virtual Qv::InternalRefCount {
public:
  static constexpr unsigned kMostLinks = 40;  // on one path: as many as the system follows

  struct Mount {
    uint64_t id = 0;
    uint64_t parent = 0;  // the mount in which the folder lies
    std::string folder;   // absolute, without links
    Qv::Ptr<iDiskDrive> drive;
  };

  explicit MountTree(const std::vector<Mount>& mounts);

  // The drive of an absolute path, or of the nearest folder above it that exists. Null, and `error`
  // the system's error number, when it is not known.
  Qv::Ptr<iDiskDrive> find(const std::string& path, int& error) const;

private:
  // The parent of mounts whose own is not listed: what lies above all of them.
  static constexpr uint64_t kTop = ~uint64_t{0};

  struct Place {
    uint64_t mount = kTop;
    Qv::Ptr<iDiskDrive> drive;
    bool isAway = false;  // a network drive lies on the way
  };
  // How far a path has been followed.
  struct Walk {
    std::string done;  // absolute, without links; empty: the root
    std::string rest;
    Place place;  // of what is done
    unsigned links = 0;
  };
  enum eStep { eGoesOn, eIsMissing, eFails };

  eStep step(Walk& walk, const std::string& name, int& error) const;
  bool followLink(Walk& walk, const std::string& target) const;
  void enter(Place& place, const std::string& folder) const;
  Place placeOf(const std::string& folder) const;

  std::unordered_map<std::string, std::vector<Mount>> byFolder_;
  size_t count_ = 0;
};
