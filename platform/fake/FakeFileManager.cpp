#include "platform/fake/FakeFileManager.h"

#include "platform/fake/FakeAsyncIo.h"
#include "platform/fake/FakePath.h"

using FakePath::folderOf;
using FakePath::textOf;

namespace {

constexpr uint32_t kSucceeded = 1;

}  // namespace

FakeFileManager::FakeFileManager(FakeAsyncIo& asyncIo, FaultPlan& faults, FakeErrors& errors,
                                 FakeClock& clock)
    : asyncIo_(asyncIo), faults_(faults), errors_(errors), clock_(clock) {
  asyncIo_.setFileManager(this);
}

Qv::Ptr<iFile> FakeFileManager::openMedia(const Path& path, unsigned flags, bool write,
                                          unsigned disposition, unsigned mode) {
  FakeOpen open{FakeOpen::eMedia, textOf(path), flags, write, disposition, mode};
  open.result = faults_.next(FaultPlan::eOpenMedia).error;
  if (open.result == 0 && disposition != eOpenOrCreateNeverTruncate) open.result = eOsInvalid;
  Content content;
  if (open.result == 0)
    open.result = openContent(path, write, write ? eOpenOrCreate : eOpenExisting, content);
  FakeFile::Opening how;
  how.readable = !write || (flags & eFlagRead) != 0;
  how.writable = write;
  how.async = driveOf(open.path).asyncTransfers && (mode == 0 || (mode & eModeAsync) != 0);
  how.byCaller = how.async && driveOf(open.path).transfersByCaller;
  how.probe = mode == 0;
  return opened(open, content, how);
}

Qv::Ptr<iFile> FakeFileManager::openFile(const Path& path, unsigned access, unsigned creation,
                                         unsigned flags, unsigned attributes) {
  FakeOpen open{FakeOpen::eGeneral, textOf(path), flags};
  open.access = access;
  open.creation = creation;
  open.attributes = attributes;
  open.result = faults_.next(FaultPlan::eOpenFile).error;
  FakeFile::Opening how;
  how.readable = (access & eAccessRead) != 0;
  how.writable = (access & eAccessWrite) != 0;
  how.holdLock = (attributes & eAttributeHoldLock) != 0;
  bool valid = access >= eAccessRead && access <= eAccessReadWrite && creation <= eOpenOrCreate &&
               (how.writable || creation != eCreateOrReplace);
  if (open.result == 0 && !valid) open.result = eOsInvalid;
  Content content;
  if (open.result == 0 && how.holdLock && creation != eCreateNew) open.result = checkNoLink(path);
  if (open.result == 0 || open.result == kSucceeded)
    open.result = openContent(path, how.writable, creation, content);
  how.holdLock = how.holdLock && driveOf(open.path).locks != FakeDrive::eNoLocks;
  if (open.result == kSucceeded && how.holdLock &&
      (content->soleLocks > 0 || (!how.readable && content->isLocked())))
    open.result = eOsAccessDenied;
  if (open.result == kSucceeded && creation == eCreateOrReplace && content->size() > 0) {
    content->clear();
    note({FakeEffect::eTruncate, open.path, content});
  }
  return opened(open, content, how);
}

Qv::Ptr<iFile> FakeFileManager::openServed(const Path& path, unsigned flags, bool write) {
  Qv::Ptr<iFile> file = providers_.open(path, flags, write);
  FakeOpen open{FakeOpen::eServed, textOf(path), flags, write};
  open.result = file ? kSucceeded : errors_.getLastError();
  opens_.push_back(open);
  return file;
}

Qv::Ptr<iFile> FakeFileManager::opened(FakeOpen& open, const Content& content,
                                       const FakeFile::Opening& how) {
  opens_.push_back(open);
  if (open.result != kSucceeded) {
    errors_.fail(open.result);
    return {};
  }
  return Qv::Ptr<iFile>(new FakeFile(*this, open.path, content, how));
}

uint32_t FakeFileManager::openContent(const Path& path, bool write, unsigned creation,
                                      Content& content) {
  if (uint32_t result = check(path); result != kSucceeded) return result;
  content = find(path);
  std::wstring name = resolved(textOf(path));
  if (uint32_t result = checkPlace(name); !content && result != kSucceeded) return result;
  bool makes = creation == eCreateNew || (!content && creation != eOpenExisting);
  bool isTaken = content || names_.links.contains(resolvedFolder(textOf(path)));
  if (isTaken && creation == eCreateNew) return eOsExists;
  if (!content && !makes) return eOsNotFound;
  if ((write || makes) && driveOf(textOf(path)).readOnly) return eOsReadOnly;
  if (content && content->readOnly && write) return eOsAccessDenied;
  if (content) return kSucceeded;
  content = std::make_shared<FakeContent>();
  names_.putFile(name, content);
  note({FakeEffect::eCreate, name, content});
  return kSucceeded;
}

bool FakeFileManager::exists(const Path& path) {
  if (uint32_t error = faults_.next(FaultPlan::eExists).error) return answer(error);
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path))
    return static_cast<bool>(provider->open(path, eFlagRead, false));
  uint32_t result = check(path);
  if (result == eOsIsAFolder) return true;
  if (result == kSucceeded && !find(path)) result = eOsNotFound;
  return answer(result);
}

bool FakeFileManager::getFileSize(const Path& path, uint64_t& bytes) {
  bytes = 0;
  if (uint32_t error = faults_.next(FaultPlan::eGetFileSize).error) return answer(error);
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path)) {
    Qv::Ptr<iFile> file = provider->open(path, eFlagRead, false);
    if (file) bytes = file->getSize();
    return static_cast<bool>(file);
  }
  uint32_t result = check(path);
  Content content = find(path);
  if (result == kSucceeded && content) bytes = content->size();
  if (result == kSucceeded && !content) result = eOsNotFound;
  return answer(result);
}

void FakeFileManager::writeContent(const std::wstring& path, const Content& content,
                                   uint64_t offset, const void* buffer, uint32_t bytes) {
  content->write(offset, buffer, bytes);
  if (!journal_ || bytes == 0) return;
  FakeEffect effect{FakeEffect::eWrite, path, content};
  const auto* from = static_cast<const unsigned char*>(buffer);
  effect.offset = offset;
  effect.bytes.assign(from, from + bytes);
  note(std::move(effect));
}

void FakeFileManager::addFile(const Path& path, const std::vector<unsigned char>& bytes) {
  auto content = std::make_shared<FakeContent>();
  if (!bytes.empty()) content->write(0, bytes.data(), static_cast<uint32_t>(bytes.size()));
  std::wstring folder = folderOf(textOf(path), separator_);
  if (!folder.empty()) makeFolders(folder);
  names_.putFile(textOf(path), content);
}

void FakeFileManager::setReadOnly(const Path& path, bool readOnly) {
  if (Content content = find(path)) content->readOnly = readOnly;
}

std::vector<unsigned char> FakeFileManager::bytesOf(const Path& path) const {
  Content content = find(path);
  return content ? content->bytes() : std::vector<unsigned char>();
}

void FakeFileManager::clearRecords() {
  opens_.clear();
  transfers_.clear();
}
