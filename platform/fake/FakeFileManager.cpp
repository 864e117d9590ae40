#include "platform/fake/FakeFileManager.h"

#include <algorithm>

#include "platform/fake/FakeAsyncIo.h"

namespace {

constexpr uint32_t kSucceeded = 1;

class FakeDiskDrive final : public iDiskDrive {
public:
  explicit FakeDiskDrive(const FakeDrive& drive) : drive_(drive) {}
  eType getType() const override { return drive_.type; }
  uint32_t getSectorSize() const override { return drive_.sectorSize; }

private:
  const FakeDrive drive_;
};

std::wstring textOf(const LightweightString<wchar_t>& path) { return std::wstring(path.view()); }

std::wstring withoutEnd(std::wstring folder, wchar_t separator) {
  while (folder.size() > 1 && folder.back() == separator) folder.pop_back();
  return folder;
}

}  // namespace

FakeFileManager::FakeFileManager(FakeAsyncIo& asyncIo, FaultPlan& faults, FakeErrors& errors)
    : asyncIo_(asyncIo), faults_(faults), errors_(errors) {
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
  if (open.result == 0) open.result = openContent(path, how.writable, creation, content);
  if (open.result == kSucceeded && how.holdLock &&
      (content->soleLocks > 0 || (!how.readable && content->sharedLocks > 0)))
    open.result = eOsAccessDenied;
  if (open.result == kSucceeded && creation == eCreateOrReplace) content->clear();
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

uint32_t FakeFileManager::check(const Path& path) const {
  std::string bytes;
  if (!toPathBytes(path, bytes)) return eOsInvalid;
  if (path.empty()) return eOsNotFound;
  return folders_.contains(withoutEnd(textOf(path), separator_)) && !find(path)
             ? uint32_t{eOsIsAFolder}
             : kSucceeded;
}

uint32_t FakeFileManager::openContent(const Path& path, bool write, unsigned creation,
                                      Content& content) {
  if (uint32_t result = check(path); result != kSucceeded) return result;
  content = find(path);
  bool makes = creation == eCreateNew || (!content && creation != eOpenExisting);
  if (content && creation == eCreateNew) return eOsExists;
  if (!content && !makes) return eOsNotFound;
  if ((write || makes) && driveOf(textOf(path)).readOnly) return eOsReadOnly;
  if (content && content->readOnly && write) return eOsAccessDenied;
  if (!content) content = files_[textOf(path)] = std::make_shared<FakeContent>();
  return kSucceeded;
}

FakeFileManager::Content FakeFileManager::find(const Path& path) const {
  auto place = files_.find(textOf(path));
  return place == files_.end() ? nullptr : place->second;
}

const FakeDrive& FakeFileManager::driveOf(const std::wstring& path) const {
  const FakeDrive* best = &defaultDrive_;
  size_t length = 0;
  for (const auto& [prefix, drive] : drives_) {
    if (!path.starts_with(prefix) || prefix.size() < length) continue;
    best = &drive;
    length = prefix.size();
  }
  return *best;
}

uint32_t FakeFileManager::room(const std::wstring& path, const FakeContent& content,
                               uint64_t offset, uint32_t bytes) const {
  const FakeDrive& drive = driveOf(path);
  uint64_t end = offset + bytes;
  if (end <= content.size() || drive.capacity == UINT64_MAX) return bytes;
  uint64_t others = 0;
  for (const auto& [name, file] : files_)
    if (&driveOf(name) == &drive && file.get() != &content) others += file->size();
  uint64_t largest = drive.capacity - std::min(drive.capacity, others);
  largest = std::max(largest, content.size());
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, largest - std::min(largest, offset)));
}

Qv::Ptr<iDiskDrive> FakeFileManager::getDisk(const Path& path) {
  uint32_t error = faults_.next(FaultPlan::eGetDisk).error;
  const FakeDrive& drive = driveOf(textOf(path));
  if (error == 0 && !drive.known) error = eOsNotFound;
  if (error == 0) return Qv::Ptr<iDiskDrive>(new FakeDiskDrive(drive));
  errors_.fail(error);
  return {};
}

bool FakeFileManager::exists(const Path& path) {
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path))
    return static_cast<bool>(provider->open(path, eFlagRead, false));
  uint32_t result = check(path);
  if (result == eOsIsAFolder || (result == kSucceeded && find(path))) return true;
  errors_.fail(result == kSucceeded ? uint32_t{eOsNotFound} : result);
  return false;
}

bool FakeFileManager::getFileSize(const Path& path, uint64_t& bytes) {
  bytes = 0;
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path)) {
    Qv::Ptr<iFile> file = provider->open(path, eFlagRead, false);
    if (file) bytes = file->getSize();
    return static_cast<bool>(file);
  }
  uint32_t result = check(path);
  Content content = find(path);
  if (result == kSucceeded && content) {
    bytes = content->size();
    return true;
  }
  errors_.fail(result == kSucceeded ? uint32_t{eOsNotFound} : result);
  return false;
}

bool FakeFileManager::deleteFile(const Path& path) {
  uint32_t result = faults_.next(FaultPlan::eDeleteFile).error;
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path); provider && result == 0)
    return provider->remove(path);
  if (result == 0) result = check(path);
  if (result == kSucceeded && !find(path)) result = eOsNotFound;
  if (result == kSucceeded && driveOf(textOf(path)).readOnly) result = eOsReadOnly;
  if (result == kSucceeded) {
    files_.erase(textOf(path));
    return true;
  }
  errors_.fail(result);
  return false;
}

bool FakeFileManager::createFolder(const Path& path) {
  uint32_t result = faults_.next(FaultPlan::eCreateFolder).error;
  if (result == 0) result = check(path);
  if (result == eOsIsAFolder) return true;
  std::wstring folder = withoutEnd(textOf(path), separator_);
  if (result == kSucceeded && files_.contains(folder)) result = eOsExists;
  if (result == kSucceeded && driveOf(folder).readOnly) result = eOsReadOnly;
  if (result != kSucceeded) {
    errors_.fail(result);
    return false;
  }
  for (size_t end = folder.find(separator_, 1); end != std::wstring::npos;
       end = folder.find(separator_, end + 1))
    folders_.insert(withoutEnd(folder.substr(0, end), separator_));
  folders_.insert(folder);
  return true;
}

void FakeFileManager::addFile(const Path& path, const std::vector<unsigned char>& bytes) {
  auto content = std::make_shared<FakeContent>();
  if (!bytes.empty()) content->write(0, bytes.data(), static_cast<uint32_t>(bytes.size()));
  files_[textOf(path)] = content;
}

void FakeFileManager::setReadOnly(const Path& path, bool readOnly) {
  if (Content content = find(path)) content->readOnly = readOnly;
}

void FakeFileManager::setDrive(const Path& prefix, const FakeDrive& drive) {
  drives_[textOf(prefix)] = drive;
}

std::vector<unsigned char> FakeFileManager::bytesOf(const Path& path) const {
  Content content = find(path);
  return content ? content->bytes() : std::vector<unsigned char>();
}

void FakeFileManager::clearRecords() {
  opens_.clear();
  transfers_.clear();
}
