// Deleting files, and what lies beside them.

#include <algorithm>
#include <string>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MediaDeletion.h"
#include "fsys/ResultCodes.h"
#include "platform/Check.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/TextHelpers.h"
#include "platform/Vector.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr std::wstring_view kNetworkName = L"\\\\";
constexpr const wchar_t* kSideFiles = L".*";

uint32_t deleteWhole(const MediaRemoval& media) {
  MediaLeft ignored;
  if (OS()->getFileManager()->deleteMedia(media, ignored)) return eResultOk;
  const uint32_t error = OS()->getErrors()->getLastError();
  return error == 0 || error == eResultOk ? uint32_t{eOsIoError} : error;
}

// What comes before the last part of a path, as it stands.
Text folderOf(const Text& path) { return path.substr(0, path.length() - stripPath(path).length()); }

// Whether the folder is the one that its text says: behind a symbolic link '..' leads elsewhere.
// Doubled separators make no difference.
bool isPlainFolder(const Text& folder) {
  const wchar_t mark = OS()->getFileManager()->getSeparator();
  std::wstring text(folder.view());
  auto isDoubled = [mark](wchar_t a, wchar_t b) { return a == mark && b == mark; };
  text.erase(std::unique(text.begin(), text.end(), isDoubled), text.end());
  return getPath(folder).view() == text;
}

// Of a folder, or of '..', that is not what lies in it.
Text linkedFolder(const Text& target) { return getPath(withoutSeparator(normalisedPath(target))); }

// Of the names of the files that lie beside one. A path without a last part has none: its pattern
// would be that of hidden files.
Text sidePatternOf(const Text& path) {
  const Text name = stripPath(path);
  return name.empty() ? Text() : literalName(name) + kSideFiles;
}

bool isNetworkName(const Text& path) { return path.view().starts_with(kNetworkName); }

// Whether it is no symbolic link: what one says as a link lies elsewhere. False, too, where it
// cannot be told.
bool liesItself(const Text& folder, const Text& name) {
  iFileManager* files = OS()->getFileManager();
  Text whole, own;
  return files->followLinks(folder + name, whole) && files->followLinks(folder, own) &&
         whole == joinPaths(own, name);
}

// `target`: what the link says.
Text linkedFolderBelow(const MaterialFilename& file, Text& target) {
  const Text path = file.getOsPath();
  if (!MaterialLink::linkedFileExists(file) || !MaterialLink::getLinkedFilename(path, target))
    return {};
  const bool isShared = isNetworkName(target) && !isNetworkName(path);
  const Text linked = linkedFolder(isShared ? MaterialLink::localTarget(target) : target);
  const Text own = getPath(path);
  if (!isPlainFolder(folderOf(path))) return {};
  // Both end in a separator: what is longer and begins alike is another folder, and below it.
  const bool isBelow =
      !own.empty() && linked.length() > own.length() && startsWithNoCase(linked.view(), own.view());
  return isBelow && liesItself(own, stripPath(path)) ? linked : Text();
}

// The folder in which the link was read may be another one by the time of the deletion, so that
// what was read of it goes with the order.
void addLinkedFolder(const MaterialFilename& file, MediaRemoval& media) {
  Text target;
  const Text linked = linkedFolderBelow(file, target);
  if (linked.empty() || !toPathBytes(target, media.start)) return;
  media.start.push_back('\0');
  media.subfolder = linked;
  // The same file, without doubled separators, as the folder is told.
  media.path = getPath(media.path) + stripPath(media.path);
}

}  // namespace

// A link into a folder below its own takes that along. Whoever wrote the link chose the name of
// that folder, so that nothing else may follow from it.
LightweightString<wchar_t> linkedFolderOf(const MaterialFilename& file) {
  Text target;
  return linkedFolderBelow(file, target);
}

Vector<LightweightString<wchar_t>> sideFilesOf(const LightweightString<wchar_t>& path) {
  Vector<Text> paths;
  Vector<iFileManager::ListedFile> files;
  const Text pattern = sidePatternOf(path);
  const Text folder = folderOf(path);
  if (!pattern.empty()) (void)OS()->getFileManager()->listFiles(folder + pattern, files);
  for (const iFileManager::ListedFile& side : files) paths.add(folder + side.name);
  return paths;
}

uint32_t FsysDirectoryEntry::deleteFile(const MaterialFilename& file) {
  MediaRemoval media;
  if (!file.getOsPathToChange(media.path)) return eOsNotFound;
  media.sideFiles = sidePatternOf(media.path);
  addLinkedFolder(MaterialFilename(DriveId(), media.path), media);  // its drive may go meanwhile
  return deleteWhole(media);
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
