#include "platform/linux/MountTree.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <unordered_set>

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

MountTree::MountTree(const std::vector<Mount>& mounts) : count_(mounts.size()) {
  std::unordered_set<uint64_t> listed;
  for (const Mount& mount : mounts) listed.insert(mount.id);
  for (Mount mount : mounts) {
    if (mount.parent == mount.id || listed.count(mount.parent) == 0) mount.parent = kTop;
    byFolder_[mount.folder].push_back(mount);
  }
}

Qv::Ptr<iDiskDrive> MountTree::find(const std::string& path, int& error) const {
  Walk walk;
  walk.rest = path;
  walk.place = placeOf("/");
  for (std::string name = takeName(walk.rest); !name.empty(); name = takeName(walk.rest)) {
    eStep outcome = step(walk, name, error);
    if (outcome == eFails) return nullptr;
    if (outcome == eIsMissing) break;
  }
  error = ENOENT;
  return walk.place.drive;
}

MountTree::eStep MountTree::step(Walk& walk, const std::string& name, int& error) const {
  if (name == ".") return eGoesOn;
  if (name == "..") {
    walk.done.erase(walk.done.empty() ? 0 : walk.done.rfind('/'));
    walk.place = placeOf(walk.done);
    return eGoesOn;
  }
  std::string next = walk.done + "/" + name;
  Place there = walk.place;
  enter(there, next);
  if (!there.isAway) {
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

// Goes into what is mounted on a folder, also where several mounts lie on each other: no more than
// there are, should the list have changed while it was read.
void MountTree::enter(Place& place, const std::string& folder) const {
  auto here = byFolder_.find(folder);
  if (here == byFolder_.end()) return;
  for (size_t steps = 0; steps < count_; ++steps) {
    const Mount* entered = nullptr;
    for (const Mount& mount : here->second)
      if (mount.parent == place.mount) entered = &mount;
    if (!entered) return;
    place.mount = entered->id;
    place.drive = entered->drive;
    place.isAway = place.isAway || place.drive->getType() == iDiskDrive::eNetwork;
  }
}

// Of a folder without links.
MountTree::Place MountTree::placeOf(const std::string& folder) const {
  Place place;
  enter(place, "/");
  for (size_t end = folder.find('/', 1); end != std::string::npos; end = folder.find('/', end + 1))
    enter(place, folder.substr(0, end));
  enter(place, folder);
  return place;
}
