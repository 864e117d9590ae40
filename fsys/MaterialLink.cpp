#include "fsys/MaterialLink.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <string_view>

#include "fsys/DiskManager.h"
#include "fsys/LinkTarget.h"
#include "fsys/ResultCodes.h"
#include "platform/Check.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"

namespace {

using Path = LightweightString<wchar_t>;
using Link = std::array<char, MaterialLink::kBytes>;

constexpr std::string_view kMediaTag = "RIFF";
constexpr std::wstring_view kNetworkName = L"\\\\";
constexpr std::wstring_view kNetworkSeparator = L"\\";
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

// Null when it is not open.
Qv::Ptr<iFile> open(const Path& path, unsigned access, unsigned creation) {
  Qv::Ptr<iFile> file = files()->openFile(path, access, creation, kOpenFlags, 0);
  return file && file->isOpen() ? file : nullptr;
}

Qv::Ptr<iFile> createNew(const Path& path) {
  return open(path, iFileManager::eAccessWrite, iFileManager::eCreateNew);
}

Qv::Ptr<iFile> openToRead(const Path& path) {
  return open(path, iFileManager::eAccessRead, iFileManager::eOpenExisting);
}

bool writeContent(iFile& file, const Link& link) {
  uint32_t done = 0;
  bool isWritten = file.write(link.data(), MaterialLink::kBytes, &done) == eResultOk;
  return isWritten && done == MaterialLink::kBytes && file.flush() == eResultOk;
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
  if (!file) return false;
  return writeContent(*file, link) || removeMade(path);
}

// A side file of the one at `path`, as it is named: deleted with it should it be left behind. Where
// a name cannot be that long it stands for itself.
Qv::Ptr<iFile> createBeside(const Path& path, Path& name) {
  static std::atomic<unsigned> count{0};
  Path stem = path;
  Qv::Ptr<iFile> file;
  for (unsigned i = 0; i < kMostNames && !file; ++i) {
    std::wstring ending = L"." + std::to_wstring(OS()->getSystemInfo()->getProcessId()) + L"-" +
                          std::to_wstring(++count) + L".partial";
    name = stem + ending.c_str();
    file = createNew(name);
    uint32_t error = OS()->getErrors()->getLastError();
    if (!file && error == eOsNameTooLong)
      stem = path.substr(0, path.length() - stripPath(path).length());
    if (!file && error != eOsNameTooLong && error != eOsExists) break;
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

// The old content stays until all of the new one is on the disk. What came meanwhile has its say.
bool createInPlace(const Path& path, const Link& link) {
  bool exists = false;
  if (!mayReplace(path, exists)) return false;
  Path name;
  Qv::Ptr<iFile> file = createBeside(path, name);
  if (!file) return false;
  bool isWhole = (!exists || files()->copyMode(path, name)) && writeContent(*file, link);
  bool isMade = isWhole && mayReplace(path, exists) && files()->renameFile(name, path);
  return isMade || removeMade(name);
}

// Where nothing is it goes the way on which nothing can be lost; a symbolic link to nowhere is
// something.
bool createOrReplace(const Path& path, const Link& link) {
  bool exists = false;
  if (!mayReplace(path, exists)) return false;
  if (exists) return createInPlace(path, link);
  if (createWhereNothingIs(path, link)) return true;
  return OS()->getErrors()->getLastError() == eOsExists && createInPlace(path, link);
}

bool hasLinksSize(const Path& path) {
  iFileManager* manager = files();
  uint64_t bytes = 0;
  return !manager->isServed(path) && manager->getFileSize(path, bytes) &&
         bytes == MaterialLink::kBytes;
}

unsigned refused(uint32_t why) {
  OS()->getErrors()->setLastError(why);
  return eResultFailed;
}

// False. What the thread's last error does not tell yet is told there.
bool unreadable(uint32_t result, uint32_t why = eOsIoError) {
  iOsErrors* errors = OS()->getErrors();
  if (errors->getLastError() == 0 || result == eResultOk) errors->setLastError(why);
  return false;
}

bool isMedia(std::string_view start) { return start.starts_with(kMediaTag); }

}  // namespace

unsigned MaterialLink::createLink(const Path& linkPath, const Path& target, bool replace) {
  if (stripPath(linkPath).empty()) return refused(eOsInvalid);
  if (files()->isServed(linkPath)) return refused(eOsNotSupported);
  Link link;
  if (!makeContent(target, link)) return eResultFailed;
  bool isMade = replace ? createOrReplace(linkPath, link) : createWhereNothingIs(linkPath, link);
  return isMade ? eResultOk : eResultFailed;
}

bool MaterialLink::isLink(const Path& path) {
  if (!hasLinksSize(path)) return false;
  std::array<char, kMostRead> start;
  uint32_t done = 0;
  Qv::Ptr<iFile> file = openToRead(path);
  uint32_t result = file ? file->read(start.data(), kMostRead, &done) : uint32_t{eResultFailed};
  if (result != eResultOk || done == 0) return unreadable(result);
  return !isMedia({start.data(), done});
}

bool MaterialLink::getLinkedFilename(const Path& asked, Path& result) {
  const Path path = asked;  // NOLINT(performance-unnecessary-copy-initialization): may be `result`
  result = Path();
  std::array<char, kMostText> start;
  uint32_t done = 0;
  bool mayBeLink = hasLinksSize(path);
  if (mayBeLink) {
    Qv::Ptr<iFile> file = openToRead(path);
    uint32_t read =
        file ? file->readAt(0, start.data(), kMostText, &done) : uint32_t{eResultFailed};
    if (read != eResultOk || done == 0) return unreadable(read);
  }
  std::string_view text(start.data(), done);
  if (!mayBeLink || isMedia(text)) {
    result = path;
    return false;
  }
  size_t end = text.find('\0');
  if (end == text.npos) return unreadable(eResultOk, eOsInvalid);
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
  if (!getLinkedFilename(name.getOsPath(), target)) return false;
  const Path local = localTarget(target);
  return hasOwnFolder(local) && files()->exists(local);
}

// Behind the share's name the path has this system's separators.
Path MaterialLink::localTarget(const Path& target) {
  if (!target.view().starts_with(kNetworkName)) return target;
  const size_t server = target.find(kNetworkSeparator, kNetworkName.size());
  if (server == Path::npos) return target;
  const size_t share = target.find(kNetworkSeparator, server + 1);
  if (share == Path::npos) return target;
  const Path file = fixForeignOSFileName(target.substr(share + 1));
  const Path local = DiskManager::convertUNCtoLocalShare(target.substr(0, share + 1) + file);
  return local.empty() ? target : local;
}
