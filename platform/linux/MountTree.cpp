#include "platform/linux/MountTree.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <utility>

#include "platform/linux/DriveKind.h"

namespace {

// Takes the first name off a path; empty when there is none left.
std::string takeName(std::string& path) {
  size_t start = path.find_first_not_of('/');
  if (start == std::string::npos) return "";
  size_t end = path.find('/', start);
  std::string name = path.substr(start, end == std::string::npos ? end : end - start);
  path = end == std::string::npos ? "" : path.substr(end);
  return name;
}

// 0, or the system's error number: EINVAL when it is no link.
int readLink(const std::string& path, std::string& target) {
  std::array<char, PATH_MAX> text;
  ssize_t bytes = readlink(path.c_str(), text.data(), text.size());
  if (bytes < 0) return errno;
  target.assign(text.data(), static_cast<size_t>(bytes));
  return 0;
}

}  // namespace

MountTree::MountTree(std::vector<MountEntry> entries, const MountTree* before) {
  mounts_.reserve(entries.size());
  for (MountEntry& entry : entries) {
    Mount mount;
    mount.isAutomount = ::isAutomount(entry);
    mount.entry = std::move(entry);
    mounts_.push_back(std::move(mount));
  }
  index();
  for (Mount& mount : mounts_) {
    mount.isAway = isReachedAway(mount);
    mount.probe = before ? before->probeOf(mount.entry) : nullptr;
    if (!mount.probe) mount.probe = new DriveProbe;
    bool isHidden = placeOf(mount.entry.folder) != &mount;
    mount.drive = new LinuxDisk(mount.entry, isHidden, mount.probe);
  }
}

void MountTree::index() {
  for (const Mount& mount : mounts_) byId_[mount.entry.id] = &mount;
  for (Mount& mount : mounts_) {
    MountEntry& entry = mount.entry;
    if (entry.parent == entry.id || byId_.count(entry.parent) == 0) entry.parent = kTop;
    byFolder_[entry.folder].push_back(&mount);
  }
}

// No further up than there are mounts, should the list have changed while it was read. A place
// where the system mounts something is not itself what falls silent: that lies on it.
bool MountTree::isReachedAway(const Mount& mount) const {
  const Mount* way = &mount;
  for (size_t steps = 0; steps < mounts_.size(); ++steps) {
    if (!way->isAutomount && !answersByItself(way->entry)) return true;
    auto above = byId_.find(way->entry.parent);
    if (above == byId_.end()) return false;
    way = above->second;
  }
  return false;
}

// Null when the mount was not there.
Qv::Ptr<DriveProbe> MountTree::probeOf(const MountEntry& entry) const {
  auto before = byId_.find(entry.id);
  if (before == byId_.end()) return nullptr;
  const MountEntry& was = before->second->entry;
  bool isSame = was.folder == entry.folder && was.source == entry.source;
  return isSame ? before->second->probe : nullptr;
}

MountTree::Found MountTree::find(const std::string& path, eAutomounts automounts,
                                 int& error) const {
  Walk walk;
  walk.rest = path;
  walk.place = placeOf("/");
  walk.automounts = automounts;
  Found found;
  error = ENOENT;
  for (std::string name = takeName(walk.rest); !name.empty(); name = takeName(walk.rest)) {
    eStep outcome = step(walk, name, error);
    if (outcome == eFails) return found;
    if (outcome == eIsMissing) {
      found.missing = name + walk.rest;
      break;
    }
  }
  found.mount = walk.place;
  found.folder = std::move(walk.done);
  return found;
}

MountTree::eStep MountTree::step(Walk& walk, const std::string& name, int& error) const {
  if (name == ".") return eGoesOn;
  if (name == "..") {
    walk.done.erase(walk.done.empty() ? 0 : walk.done.rfind('/'));
    walk.place = placeOf(walk.done);
    return eGoesOn;
  }
  std::string next = walk.done + "/" + name;
  const Mount* there = enter(walk.place, next);
  bool isAsked = !there || (!there->isAway && (walk.automounts == eGoIn || !there->isAutomount));
  if (isAsked) {
    std::string target;
    error = readLink(next, target);
    if (error == ENOENT || error == ENOTDIR) return eIsMissing;
    if (error == 0) {
      if (followLink(walk, target)) return eGoesOn;
      error = ELOOP;
    }
    if (error != EINVAL) return eFails;
  }
  walk.done = next;
  walk.place = there;
  return eGoesOn;
}

// False when there were too many.
bool MountTree::followLink(Walk& walk, const std::string& target) const {
  if (++walk.links > kMostLinks) return false;
  walk.rest = target + "/" + walk.rest;
  if (target.empty() || target.front() != '/') return true;
  walk.done.clear();
  walk.place = placeOf("/");
  return true;
}

// What is mounted on a folder of the place, also where several mounts lie on each other: no more
// than there are, should the list have changed while it was read. Otherwise the place.
const MountTree::Mount* MountTree::enter(const Mount* place, const std::string& folder) const {
  auto here = byFolder_.find(folder);
  if (here == byFolder_.end()) return place;
  for (size_t steps = 0; steps < mounts_.size(); ++steps) {
    const Mount* entered = nullptr;
    for (const Mount* mount : here->second)
      if (mount->entry.parent == (place ? place->entry.id : kTop)) entered = mount;
    if (!entered) break;
    place = entered;
  }
  return place;
}

// Of a folder without links.
const MountTree::Mount* MountTree::placeOf(const std::string& folder) const {
  const Mount* place = enter(nullptr, "/");
  for (size_t end = folder.find('/', 1); end != std::string::npos; end = folder.find('/', end + 1))
    place = enter(place, folder.substr(0, end));
  return enter(place, folder);
}
