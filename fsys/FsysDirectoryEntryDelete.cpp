// Deleting files, and what lies beside them.

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/ResultCodes.h"
#include "platform/Check.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/Vector.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr const wchar_t* kSideFiles = L".*";

uint32_t deleteOne(const Text& path) {
  if (OS()->getFileManager()->deleteFile(path)) return eResultOk;
  const uint32_t error = OS()->getErrors()->getLastError();
  return error == 0 || error == eResultOk ? uint32_t{eOsIoError} : error;
}

// What comes before the last part of a path, as it stands.
Text folderOf(const Text& path) { return path.substr(0, path.length() - stripPath(path).length()); }

// A path without a last part has none: its pattern would be that of hidden files.
void deleteSideFiles(const Text& path) {
  const Text name = stripPath(path);
  if (name.empty()) return;
  const Text folder = folderOf(path);
  Vector<iFileManager::ListedFile> files;
  (void)OS()->getFileManager()->listFiles(folder + literalName(name) + kSideFiles, files);
  for (const iFileManager::ListedFile& side : files) (void)deleteOne(folder + side.name);
}

}  // namespace

uint32_t FsysDirectoryEntry::deleteFile(const MaterialFilename& file) {
  const Text path = file.getOsPath();
  const uint32_t result = deleteOne(path);
  deleteSideFiles(path);
  return result;
}

uint32_t FsysDirectoryEntry::deleteProxies() {
  Files files;
  copyProxyFiles(files);
  uint32_t result = eResultOk;
  for (const MediaFileInfo& file : files)
    if (uint32_t error = deleteFile(file.getMaterialFilename()); error != eResultOk) result = error;
  forgetProxies(files);
  return result;
}

uint32_t FsysDirectoryEntry::deleteHighRes() {
  const MediaFileInfo file = highResFile();
  const uint32_t result =
      isPresent(file) ? deleteFile(file.getMaterialFilename()) : uint32_t{eResultOk};
  forgetHighRes(file);
  return result;
}

uint32_t FsysDirectoryEntry::deleteFiles(unsigned mediaTypes) {
  if (!FSYS_CHECK(mediaTypes != 0, "fsys/FsysDirectoryEntry line 323")) return eResultOk;
  uint32_t result = eResultOk;
  if ((mediaTypes & eProxy) != 0) result = deleteProxies();
  if ((mediaTypes & eHighRes) != 0)
    if (uint32_t error = deleteHighRes(); error != eResultOk) result = error;
  return result;
}
