#include "platform/common/WholeFile.h"

#include <algorithm>

#include "platform/OS.h"
#include "platform/common/FileReplacement.h"

namespace {

constexpr unsigned kMostTries = 16;

iFileManager* files() { return OS()->getFileManager(); }
uint32_t lastError() { return OS()->getErrors()->getLastError(); }

bool failed(uint32_t error) {
  OS()->getErrors()->setLastError(error);
  return false;
}

Qv::Ptr<iFile> openForReading(const PathString& name) {
  return files()->openFile(name, iFileManager::eAccessRead, iFileManager::eOpenExisting, 0, 0);
}

// Until a read gives nothing: the file may grow meanwhile.
bool readAll(iFile& file, uint64_t mostBytes, std::string& text) {
  uint64_t end = 0;
  for (uint32_t done = 1; done != 0; end += done) {
    uint64_t room = std::max(file.getSize(), end) + 1;
    if (room > mostBytes + 1) return failed(eOsTooLarge);
    text.resize(room);
    if (file.readAt(end, text.data() + end, static_cast<uint32_t>(room - end), &done) != 1)
      return false;
  }
  text.resize(end);
  // What ends before its size was not read whole, and must not be taken for it.
  return end >= file.getSize() || failed(eOsIoError);
}

// Where there is none the file's own name is not there.
PathString folderToSync(const PathString& name) {
  PathString folder = folderAsNamed(name);
  return folder.empty() ? PathString(L".") : folder;
}

// One try. False with eOsNotFound also when somebody else removed what was being written, or what
// was to be replaced.
bool replaceOnce(const PathString& target, std::string_view text, WholeFile::eLinks links) {
  bool isFile = static_cast<bool>(openForReading(target));
  if (!isFile && links == WholeFile::eFollow && lastError() != eOsNotFound) return false;
  FileReplacement replacement(target);
  return replacement.create() && replacement.write(text, isFile ? target : PathString()) &&
         replacement.takePlace();
}

}  // namespace

WholeFile::eRead WholeFile::read(const PathString& name, uint64_t mostBytes, std::string& text) {
  text.clear();
  Qv::Ptr<iFile> file = openForReading(name);
  if (!file) return lastError() == eOsNotFound ? eIsMissing : eIsUnreadable;
  bool isText =
      readAll(*file, mostBytes, text) && (text.find('\0') == text.npos || failed(eOsInvalid));
  if (!isText) text.clear();
  return isText ? eIsRead : eIsUnreadable;
}

bool WholeFile::replace(const PathString& name, std::string_view text, eLinks links) {
  PathString target = name;
  if (stripPath(name).empty()) return failed(eOsInvalid);
  if (links == eFollow && !files()->followLinks(name, target)) return false;
  FileReplacement::sweep(target);
  bool stands = false;
  for (unsigned i = 0; i < kMostTries && !stands; ++i) {
    stands = replaceOnce(target, text, links);
    if (!stands && lastError() != eOsNotFound) return false;
  }
  return stands && files()->syncFolder(folderToSync(target));
}

bool WholeFile::remove(const PathString& name) {
  if (!files()->deleteFile(name)) return lastError() == eOsNotFound;
  return files()->syncFolder(folderToSync(name));
}
