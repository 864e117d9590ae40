#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/linux/DriveProbe.h"
#include "platform/linux/LinuxDisk.h"
#include "platform/linux/MountEntry.h"

// MountTree: where drives are mounted, as it was at one moment, and the way of a path through them.
// Story      Made of the mounts that the system lists. A path is followed name by name: the tree
//            says on which drive the next name is before the system is asked whether it is a link,
//            and a name on a drive that may fall silent, or beyond one, is not asked about. So a
//            share that does not answer is never touched; links that lie on it are not followed.
// Threads    any; it never changes.
// Ownership  what points to a mount of it is good as long as the tree.
class MountTree : public virtual Qv::InternalRefCount {
public:
  static constexpr unsigned kMostLinks = 40;  // on one path: as many as the system follows

  struct Mount {
    MountEntry entry;
    bool isAway = false;        // it may fall silent, or what lies on the way to it
    bool isAutomount = false;   // a look into it may make the system mount something
    Qv::Ptr<DriveProbe> probe;  // of every mount
    Qv::Ptr<LinuxDisk> drive;

    // Whether to go there may keep whoever does so waiting.
    bool mayFallSilent() const { return isAway || isAutomount; }
  };
  // Whether the system may be made to mount what it mounts when somebody goes there; that is waited
  // for, without limit. Who stays outside takes names in such a place as they are.
  enum eAutomounts { eGoIn, eStayOutside };
  // Where a path lies.
  struct Found {
    const Mount* mount = nullptr;  // null: it is not known
    std::string folder;            // what exists of it: absolute, without links; empty: the root
    std::string missing;           // the rest of the path
  };

  // A mount that was in the tree before keeps its probe.
  MountTree(std::vector<MountEntry> entries, const MountTree* before);

  // Where an absolute path, or the nearest folder above it that exists, lies. When it is not known,
  // `error` is the system's error number.
  Found find(const std::string& path, eAutomounts automounts, int& error) const;
  // In the system's order.
  const std::vector<Mount>& mounts() const { return mounts_; }

private:
  // The parent of mounts whose own is not listed: what lies above all of them.
  static constexpr uint64_t kTop = ~uint64_t{0};

  // How far a path has been followed.
  struct Walk {
    std::string done;  // absolute, without links; empty: the root
    std::string rest;
    const Mount* place = nullptr;  // of what is done; null: above all mounts
    eAutomounts automounts = eStayOutside;
    unsigned links = 0;
  };
  enum eStep { eGoesOn, eIsMissing, eFails };

  void index();
  bool isReachedAway(const Mount& mount) const;
  Qv::Ptr<DriveProbe> probeOf(const MountEntry& entry) const;
  eStep step(Walk& walk, const std::string& name, int& error) const;
  bool followLink(Walk& walk, const std::string& target) const;
  const Mount* enter(const Mount* place, const std::string& folder) const;
  const Mount* placeOf(const std::string& folder) const;

  std::vector<Mount> mounts_;
  std::unordered_map<uint64_t, const Mount*> byId_;
  std::unordered_map<std::string, std::vector<const Mount*>> byFolder_;
};
