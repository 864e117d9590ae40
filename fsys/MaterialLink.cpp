#include "fsys/MaterialLink.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <string_view>

#include "fsys/ResultCodes.h"
#include "platform/Check.h"
#include "platform/OS.h"

namespace {

using Path = LightweightString<wchar_t>;
using Link = std::array<char, MaterialLink::kBytes>;

constexpr std::string_view kMediaTag = "RIFF";
constexpr unsigned kOpenFlags = 4;
constexpr unsigned kMostNames = 16;
constexpr uint32_t kMostRead = 4095;
constexpr uint32_t kMostText = MaterialLink::kBytes - 1;

iFileManager* files() { return OS()->getFileManager(); }

// False when the target has no place in a link.
bool makeContent(const Path& target, Link& link) {
  std::string bytes;
  if (!toPathBytes(target, bytes) || bytes.size() >= link.size()) return false;
  if (bytes.starts_with(kMediaTag)) return false;
  link.fill(0);
  std::copy(bytes.begin(), bytes.end(), link.begin());
  return true;
}

bool writeContent(iFile& file, const Link& link) {
  uint32_t done = 0;
  bool written = file.write(link.data(), MaterialLink::kBytes, &done) == eResultOk;
  return written && done == MaterialLink::kBytes && file.flush() == eResultOk;
}

Qv::Ptr<iFile> createNew(const Path& path) {
  return files()->openFile(path, iFileManager::eAccessWrite, iFileManager::eCreateNew, kOpenFlags,
                           0);
}

// The error of what failed outlives the removal of what was made.
bool removeMade(const Path& path) {
  uint32_t error = OS()->getErrors()->getLastError();
  files()->deleteFile(path);
  OS()->getErrors()->setLastError(error);
  return false;
}

// One step says whether the path exists.
bool createWhereNothingIs(const Path& path, const Link& link) {
  Qv::Ptr<iFile> file = createNew(path);
  if (!file || !file->isOpen()) return false;
  return writeContent(*file, link) || removeMade(path);
}

// A side file of the one at `path`, as it is named: deleted with it should it be left behind.
Qv::Ptr<iFile> createBeside(const Path& path, Path& name) {
  static std::atomic<unsigned> count{0};
  Qv::Ptr<iFile> file;
  for (unsigned i = 0; i < kMostNames && !file; ++i) {
    std::wstring ending = L"." + std::to_wstring(OS()->getSystemInfo()->getProcessId()) + L"-" +
                          std::to_wstring(++count) + L".partial";
    name = path + ending.c_str();
    file = createNew(name);
    if (!file && OS()->getErrors()->getLastError() != eOsExists) return {};
  }
  return file;
}

// Whether a link may take the place of what is there.
bool mayReplace(const Path& path, bool& exists) {
  uint64_t bytes = 0;
  exists = files()->getFileSize(path, bytes);
  if (!exists) return OS()->getErrors()->getLastError() == eOsNotFound;
  if (bytes > MaterialLink::kBytes) return FSYS_CHECK(false, "fsys/MaterialLink line 129");
  return files()->isWritable(path);
}

// The old content stays until all of the new one is on the disk.
bool createInPlace(const Path& path, const Link& link) {
  bool exists = false;
  if (!mayReplace(path, exists)) return false;
  Path name;
  Qv::Ptr<iFile> file = createBeside(path, name);
  if (!file || !file->isOpen()) return false;
  bool isWhole = (!exists || files()->copyMode(path, name)) && writeContent(*file, link);
  return (isWhole && files()->renameFile(name, path)) || removeMade(name);
}

bool hasLinksSize(const Path& path) {
  uint64_t bytes = 0;
  return files()->getFileSize(path, bytes) && bytes == MaterialLink::kBytes;
}

// How much of the file's start was read: 0 when it could not be.
uint32_t failedToRead() {
  (void)OS()->getErrors()->getLastError();
  return 0;
}

Qv::Ptr<iFile> openToRead(const Path& path) {
  return files()->openFile(path, iFileManager::eAccessRead, iFileManager::eOpenExisting, kOpenFlags,
                           0);
}

bool isMedia(std::string_view start) { return start.starts_with(kMediaTag); }

}  // namespace

unsigned MaterialLink::createLink(const Path& linkPath, const Path& target, bool replace) {
  Link link;
  if (!makeContent(target, link)) return eResultFailed;
  bool isMade = replace ? createInPlace(linkPath, link) : createWhereNothingIs(linkPath, link);
  return isMade ? eResultOk : eResultFailed;
}

bool MaterialLink::isLink(const Path& path) {
  if (!hasLinksSize(path)) return false;
  std::array<char, kMostRead> start;
  Qv::Ptr<iFile> file = openToRead(path);
  uint32_t done = 0;
  bool isRead =
      file && file->isOpen() && file->read(start.data(), kMostRead, &done) == eResultOk && done > 0;
  if (!isRead) return failedToRead() != 0;
  return !isMedia({start.data(), done});
}

bool MaterialLink::getLinkedFilename(const Path& asked, Path& result) {
  const Path path = asked;  // `result` may be the same text
  result = Path();
  if (!hasLinksSize(path)) {
    result = path;
    return false;
  }
  std::array<char, kMostText> start;
  Qv::Ptr<iFile> file = openToRead(path);
  uint32_t done = 0;
  bool isRead = file && file->isOpen() &&
                file->readAt(0, start.data(), kMostText, &done) == eResultOk && done > 0;
  if (!isRead) return failedToRead() != 0;
  std::string_view text(start.data(), done);
  if (isMedia(text)) {
    result = path;
    return false;
  }
  size_t end = text.find('\0');
  if (end == text.npos) return false;
  result = fromUTF8(text.substr(0, end));
  return true;
}

Path MaterialLink::resolveLink(const MaterialFilename& name) {
  Path result;
  getLinkedFilename(name.getOsPath(), result);
  return result;
}

bool MaterialLink::linkedFileExists(const MaterialFilename& name) {
  Path target;
  return getLinkedFilename(name.getOsPath(), target) && files()->exists(target);
}
