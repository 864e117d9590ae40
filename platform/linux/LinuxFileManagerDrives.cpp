#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/DriveErrand.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/LinuxFileManager.h"

namespace {

using Path = LightweightString<wchar_t>;

// Whether each of them is there: all are asked before the first is waited for.
void askAll(const MountTree& tree) {
  std::vector<std::pair<LinuxDisk*, LinuxDisk::Asked>> asked;
  // Whoever is asked is heard, also where there is no memory for the next one.
  asked.reserve(tree.mounts().size());
  for (const MountTree::Mount& mount : tree.mounts())
    if (mount.drive->isAsked()) asked.emplace_back(mount.drive.get(), mount.drive->ask());
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kDrivePatience_ms);
  for (auto& [drive, question] : asked) drive->hear(question, deadline);
}

}  // namespace

Qv::Ptr<iDiskDrive> LinuxFileManager::getDisk(const Path& path) {
  std::string bytes;
  if (!bytesOf(path, bytes)) return nullptr;
  int error = ENOENT;
  Qv::Ptr<iDiskDrive> drive = mounts_.find(bytes, error);
  if (!drive) failWithErrno(error);
  return drive;
}

Vector<Qv::Ptr<iDiskDrive>> LinuxFileManager::getDisks() {
  Qv::Ptr<MountTree> tree = mounts_.latest();
  askAll(*tree);
  Vector<Qv::Ptr<iDiskDrive>> drives(tree->mounts().size());
  for (const MountTree::Mount& mount : tree->mounts()) drives.add(mount.drive);
  return drives;
}

bool LinuxFileManager::mayDriveFallSilent() {
  Qv::Ptr<MountTree> tree = mounts_.latest();
  // Who goes to such a drive does it on the probe's thread.
  return std::any_of(tree->mounts().begin(), tree->mounts().end(),
                     [](const MountTree::Mount& mount) { return mount.mayFallSilent(); });
}

// What is no name has no drive.
Qv::Ptr<DriveProbe> LinuxFileManager::probeOf(const Path& path) {
  std::string bytes;
  if (providers_.isServed(path) || !toPathBytes(path, bytes)) return nullptr;
  return mounts_.probeOf(bytes);
}

bool LinuxFileManager::mayFallSilent(const Path& path) { return bool(probeOf(path)); }

bool LinuxFileManager::onDrive(const Path& path, const Qv::Ptr<iTask>& errand,
                               unsigned patience_ms) try {
  uint32_t result = eOsInvalid;
  Qv::Ptr<DriveProbe> probe = probeOf(path);
  if (errand) result = probe ? probe->run(errand, patience_ms) : DriveProbe::runHere(errand);
  if (result != 1) failWith(result);
  return result == 1;
} catch (const std::bad_alloc&) {
  failWith(eOsNoMemory);
  return false;
}
