#include "fsys/MaterialFilename.h"

#include "fsys/DiskManager.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/TextHelpers.h"

namespace {

constexpr wchar_t kDriveMark = L':';
constexpr size_t kDriveLength = 2;  // the character and the mark

LightweightString<wchar_t> pathOn(const Qv::Ptr<MediaDrive>& drive,
                                  const LightweightString<wchar_t>& path) {
  if (!drive) return path;
  LightweightString<wchar_t> root;
  drive->getLocalName(root, true);
  return joinPaths(root, path);
}

}  // namespace

LightweightString<wchar_t> MaterialFilename::getOsPath() const {
  return pathOn(DiskManager::getVolume(drive_), path_);
}

bool MaterialFilename::getOsPathToChange(LightweightString<wchar_t>& path) const {
  const Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(drive_);
  if (!drive && drive_.valid()) {
    OS()->getErrors()->setLastError(eOsNotFound);
    return false;
  }
  path = pathOn(drive, path_);
  return true;
}

void MaterialFilename::setExtension(const LightweightString<wchar_t>& extension) {
  path_ = stripExtension(path_) + L'.' + extension;
}

LightweightString<wchar_t> getDrive(const LightweightString<wchar_t>& path) {
  if (path.view().find(kDriveMark) != 1) return {};
  return path.substr(0, kDriveLength);
}

bool isValidFsysMediaFolderPath(const LightweightString<wchar_t>& path) {
  constexpr size_t kFolderAt = kDriveLength + 1;
  if (path.length() <= kFolderAt || path[1] != kDriveMark) return false;
  if (path[kDriveLength] != OS()->getFileManager()->getSeparator()) return false;
  std::wstring_view folder = path.view().substr(kFolderAt);
  return startsWithNoCase(folder, L"Material") || startsWithNoCase(folder, L"Sound");
}
