#include "tests/fault/FaultFileManager.h"

#include "tests/fault/FaultDiskDrive.h"
#include "tests/fault/FaultFile.h"

bool FaultFileManager::isRefused(FaultCall call, const Path* path) {
  uint32_t error = state_->points().next(call, {.path = path}).error;
  if (error != 0) failFault(error);
  return error != 0;
}

Qv::Ptr<iFile> FaultFileManager::wrapped(const Qv::Ptr<iFile>& file, const Path& path) {
  FaultPause own;
  return file ? Qv::Ptr<iFile>(new FaultFile(state_, file, path)) : file;
}

Qv::Ptr<iDiskDrive> FaultFileManager::wrapped(const Qv::Ptr<iDiskDrive>& drive) {
  FaultPause own;
  return drive ? Qv::Ptr<iDiskDrive>(new FaultDiskDrive(state_, drive)) : drive;
}

Qv::Ptr<iFile> FaultFileManager::openMedia(const Path& path, unsigned flags, bool write,
                                           unsigned disposition, unsigned mode) {
  if (isRefused(FaultCall::eOpenMedia, &path)) return {};
  return wrapped(below()->openMedia(path, flags, write, disposition, mode), path);
}

Qv::Ptr<iFile> FaultFileManager::openFile(const Path& path, unsigned access, unsigned creation,
                                          unsigned flags, unsigned attributes) {
  if (isRefused(FaultCall::eOpenFile, &path)) return {};
  return wrapped(below()->openFile(path, access, creation, flags, attributes), path);
}

Qv::Ptr<iFile> FaultFileManager::openServed(const Path& path, unsigned flags, bool write) {
  if (isRefused(FaultCall::eOpenServed, &path)) return {};
  return wrapped(below()->openServed(path, flags, write), path);
}

Qv::Ptr<iDiskDrive> FaultFileManager::getDisk(const Path& path) {
  if (isRefused(FaultCall::eGetDisk, &path)) return {};
  return wrapped(below()->getDisk(path));
}

bool FaultFileManager::getFileSize(const Path& path, uint64_t& bytes) {
  bytes = 0;
  return !isRefused(FaultCall::eGetFileSize, &path) && below()->getFileSize(path, bytes);
}

bool FaultFileManager::deleteFile(const Path& path) {
  return !isRefused(FaultCall::eDeleteFile, &path) && below()->deleteFile(path);
}

bool FaultFileManager::deleteMedia(const MediaRemoval& media, MediaLeft& left) {
  left = MediaLeft();
  return !isRefused(FaultCall::eDeleteMedia, &media.path) && below()->deleteMedia(media, left);
}

bool FaultFileManager::createFolder(const Path& path) {
  return !isRefused(FaultCall::eCreateFolder, &path) && below()->createFolder(path);
}

Vector<Qv::Ptr<iDiskDrive>> FaultFileManager::getDisks() {
  if (isRefused(FaultCall::eGetDisks)) return {};
  Vector<Qv::Ptr<iDiskDrive>> drives = below()->getDisks();
  for (Qv::Ptr<iDiskDrive>& drive : drives) drive = wrapped(drive);
  return drives;
}

bool FaultFileManager::onDrive(const Path& path, const Qv::Ptr<iTask>& errand,
                               unsigned patience_ms) {
  return !isRefused(FaultCall::eOnDrive, &path) && below()->onDrive(path, errand, patience_ms);
}

bool FaultFileManager::listFiles(const Path& pattern, Vector<ListedFile>& files) {
  files.clear();
  return !isRefused(FaultCall::eListFiles, &pattern) && below()->listFiles(pattern, files);
}

bool FaultFileManager::renameFile(const Path& from, const Path& to) {
  return !isRefused(FaultCall::eRenameFile, &from) && below()->renameFile(from, to);
}

bool FaultFileManager::followLinks(const Path& path, Path& target) {
  target = Path();
  return !isRefused(FaultCall::eFollowLinks, &path) && below()->followLinks(path, target);
}

bool FaultFileManager::copyMode(const Path& from, const Path& to) {
  return !isRefused(FaultCall::eCopyMode, &from) && below()->copyMode(from, to);
}

bool FaultFileManager::askLock(const Path& path, LockState& state) {
  state = eLockUnknown;
  return !isRefused(FaultCall::eAskLock) && below()->askLock(path, state);
}

LightweightString<wchar_t> FaultFileManager::getUNCName(const Path& path) {
  return isRefused(FaultCall::eGetUNCName, &path) ? Path() : below()->getUNCName(path);
}

Vector<iFileManager::Share> FaultFileManager::getShares(const Path& workstation) {
  if (isRefused(FaultCall::eGetShares)) return {};
  return below()->getShares(workstation);
}
