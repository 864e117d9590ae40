#include "platform/common/FileReplacement.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <string>

#include "platform/OS.h"

namespace {

constexpr unsigned kMostNames = 16;

iFileManager* files() { return OS()->getFileManager(); }
uint32_t lastError() { return OS()->getErrors()->getLastError(); }

// What the names of all replacements of a file begin with, without their folder.
std::wstring prefixOf(const PathString& name) {
  return L".fsys-" + std::wstring(stripPath(name).view()) + L".";
}

// A name that no other replacement of this process had.
PathString nextTemporary(const PathString& name) {
  static std::atomic<unsigned> count{0};
  std::wstring own = prefixOf(name) + std::to_wstring(OS()->getSystemInfo()->getProcessId()) +
                     L"-" + std::to_wstring(++count);
  return folderAsNamed(name) + PathString(std::wstring_view(own));
}

bool isNumber(std::wstring_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

// A process and a count, as in nextTemporary.
bool isOwnName(std::wstring_view name, std::wstring_view prefix) {
  if (!name.starts_with(prefix)) return false;
  name.remove_prefix(prefix.size());
  size_t dash = std::min(name.find(L'-'), name.size());
  return isNumber(name.substr(0, dash)) && isNumber(name.substr(std::min(dash + 1, name.size())));
}

// Without memory it stays, but nobody holds its lock any more: the next replacement removes it.
bool deleteIfMemory(const PathString& name) try {
  return files()->deleteFile(name);
} catch (const std::bad_alloc&) {
  return false;
}

bool writeAll(iFile& file, std::string_view text) {
  for (uint64_t offset = 0; offset < text.size();) {
    uint32_t done = 0;
    auto rest = static_cast<uint32_t>(text.size() - offset);
    if (file.writeAt(offset, text.data() + offset, rest, &done) != 1) return false;
    if (done == 0) {
      OS()->getErrors()->setLastError(eOsIoError);
      return false;
    }
    offset += done;
  }
  return true;
}

}  // namespace

PathString folderAsNamed(const PathString& name) {
  return name.substr(0, name.length() - stripPath(name).length());
}

FileReplacement::~FileReplacement() {
  if (!file_) return;
  uint32_t error = lastError();
  deleteIfMemory(temporary_);
  OS()->getErrors()->setLastError(error);
}

void FileReplacement::sweep(const PathString& name) {
  std::wstring prefix = prefixOf(name);
  PathString folder = folderAsNamed(name);
  Vector<iFileManager::ListedFile> listed;
  PathString own = literalName(PathString(std::wstring_view(prefix)));
  files()->listFiles(folder + own + L"*", listed);
  for (const iFileManager::ListedFile& file : listed) {
    if (!isOwnName(file.name.view(), prefix)) continue;
    PathString leftover = folder + file.name;
    // Its writer shares the lock with nobody. For reading: the mode may allow no more.
    Qv::Ptr<iFile> unlocked =
        files()->openFile(leftover, iFileManager::eAccessRead, iFileManager::eOpenExisting, 0,
                          iFileManager::eAttributeHoldLock);
    if (unlocked) files()->deleteFile(leftover);
  }
}

// A name that exists is another's. So is one that is locked: whoever sweeps may have seen it before
// it could be locked here.
bool FileReplacement::create() {
  for (unsigned i = 0; i < kMostNames && !file_; ++i) {
    temporary_ = nextTemporary(name_);
    file_ = files()->openFile(temporary_, iFileManager::eAccessWrite, iFileManager::eCreateNew, 0,
                              iFileManager::eAttributeHoldLock);
    if (!file_ && lastError() != eOsExists && lastError() != eOsAccessDenied) return false;
  }
  return static_cast<bool>(file_);
}

// The mode comes first: the content is shown to nobody who might not see the old one.
bool FileReplacement::write(std::string_view text, const PathString& modeOf) {
  if (!modeOf.isNull() && !files()->copyMode(modeOf, temporary_)) return false;
  return writeAll(*file_, text) && file_->flush() == 1;
}

bool FileReplacement::takePlace() {
  if (!files()->renameFile(temporary_, name_)) return false;
  file_.reset();
  return true;
}
