#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>

#include "platform/DriveErrand.h"
#include "platform/fake/FakeDiskDrive.h"
#include "platform/fake/FakeFileManager.h"
#include "platform/fake/FakePath.h"

using FakePath::isWithin;
using FakePath::textOf;

namespace {

using Path = LightweightString<wchar_t>;

// The name for others of what lies that much further down; no separator at its end.
Path uncNameOf(const std::wstring& root, const std::wstring& path, const std::wstring& folder,
               wchar_t separator) {
  std::wstring inside = FakePath::withEnd(folder, separator);
  std::wstring rest = path.substr(std::min(path.size(), inside.size() - 1));
  while (rest.ends_with(separator)) rest.pop_back();
  std::replace(rest.begin(), rest.end(), separator, L'\\');
  return Path(std::wstring_view(root + rest));
}

}  // namespace

void FakeFileManager::setDrive(const Path& prefix, const FakeDrive& drive) {
  std::wstring text = textOf(prefix);
  if (!drives_.contains(text)) driveOrder_.push_back(text);
  drives_[text] = {drive};
  if (text.ends_with(separator_)) addFolder(prefix);
}

void FakeFileManager::unmount(const Path& prefix) {
  drives_.erase(textOf(prefix));
  std::erase(driveOrder_, textOf(prefix));
}

FakeDrive& FakeFileManager::drive(const Path& prefix) { return drives_.at(textOf(prefix)).drive; }

std::wstring FakeFileManager::prefixFor(const std::wstring& name) const {
  const std::wstring* best = nullptr;
  for (const auto& [prefix, record] : drives_) {
    bool isRoot =
        prefix.size() == name.size() + 1 && prefix.back() == separator_ && prefix.starts_with(name);
    bool fits = isRoot || name.starts_with(prefix);
    if (fits && (!best || prefix.size() >= best->size())) best = &prefix;
  }
  return best ? *best : std::wstring();
}

const FakeDrive& FakeFileManager::driveWith(const std::wstring& prefix) const {
  auto place = drives_.find(prefix);
  return place == drives_.end() ? defaultDrive_ : place->second.drive;
}

const FakeDrive& FakeFileManager::driveOf(const std::wstring& path) const {
  return driveWith(prefixFor(resolved(path)));
}

uint32_t FakeFileManager::room(const std::wstring& path, const FakeContent& content,
                               uint64_t offset, uint32_t bytes) const {
  uint64_t end = offset + bytes;
  if (end <= content.size()) return bytes;
  const FakeDrive& drive = driveOf(path);
  if (drive.capacity == UINT64_MAX) return bytes;
  uint64_t others = 0;
  for (const auto& [name, file] : names_.files)
    if (&driveOf(name) == &drive && file.get() != &content) others += file->size();
  uint64_t largest = drive.capacity - std::min(drive.capacity, others);
  largest = std::max(largest, content.size());
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, largest - std::min(largest, offset)));
}

Qv::Ptr<iDiskDrive> FakeFileManager::getDisk(const Path& path) {
  uint32_t error = faults_.next(FaultPlan::eGetDisk).error;
  std::wstring prefix = prefixFor(resolved(textOf(path)));
  if (error == 0 && !driveWith(prefix).known) error = eOsNotFound;
  if (error == 0) return Qv::Ptr<iDiskDrive>(new FakeDiskDrive(*this, prefix, std::nullopt));
  errors_.fail(error);
  return {};
}

Vector<Qv::Ptr<iDiskDrive>> FakeFileManager::getDisks() {
  Vector<Qv::Ptr<iDiskDrive>> disks;
  if (uint32_t error = faults_.next(FaultPlan::eGetDisks).error) {
    errors_.fail(error);
    return disks;
  }
  std::vector<std::wstring> listed;
  for (const std::wstring& prefix : driveOrder_)
    if (driveWith(prefix).listed) listed.push_back(prefix);
  askDrives(listed);
  for (const std::wstring& prefix : listed) {
    bool available = !driveWith(prefix).silent;
    disks.add(Qv::Ptr<iDiskDrive>(new FakeDiskDrive(*this, prefix, available)));
  }
  return disks;
}

bool FakeFileManager::askDrives(const std::vector<std::wstring>& prefixes) {
  bool waits = false;
  bool allAnswer = true;
  for (const std::wstring& prefix : prefixes) {
    auto place = drives_.find(prefix);
    if (place == drives_.end()) continue;
    DriveRecord& record = place->second;
    waits |= record.drive.silent && !record.asked;
    allAnswer &= !record.drive.silent;
    record.asked = record.drive.silent;
  }
  if (waits) clock_.step(kDrivePatience_ms);
  return allAnswer;
}

// The drive that answers again has ended what it held before it does anything else.
bool FakeFileManager::onDrive(const Path& path, const Qv::Ptr<iTask>& errand,
                              unsigned patience_ms) {
  uint32_t error = faults_.next(FaultPlan::eOnDrive).error;
  if (error == 0 && !errand) error = eOsInvalid;
  if (error != 0) return answer(error);
  std::wstring prefix = prefixFor(resolved(textOf(path)));
  const FakeDrive& drive = driveWith(prefix);
  uint32_t late = drive.silent ? eOsTimedOut : faults_.next(FaultPlan::eAnswerErrand).error;
  if (late == 0) {
    runErrandsOf(prefix);
    return runErrand(errand, drive.type == iDiskDrive::eNetwork) || answer(eOsNoMemory);
  }
  if (!holdsErrand(prefix)) {
    clock_.step(patience_ms);
    lateErrands_.push_back({prefix, errand});
  }
  return answer(late);
}

bool FakeFileManager::mayDriveFallSilent() {
  return std::any_of(drives_.begin(), drives_.end(),
                     [](const auto& set) { return set.second.drive.silent; });
}

bool FakeFileManager::mayFallSilent(const Path& path) { return driveOf(textOf(path)).silent; }

bool FakeFileManager::holdsErrand(const std::wstring& prefix) const {
  return std::any_of(lateErrands_.begin(), lateErrands_.end(),
                     [&](const LateErrand& late) { return late.prefix == prefix; });
}

unsigned FakeFileManager::runLateErrands() {
  unsigned ran = 0;
  while (!lateErrands_.empty()) {
    runErrandsOf(std::wstring(lateErrands_.front().prefix));
    ++ran;
  }
  return ran;
}

// At most one is held for a drive.
void FakeFileManager::runErrandsOf(const std::wstring& prefix) {
  auto held = std::find_if(lateErrands_.begin(), lateErrands_.end(),
                           [&](const LateErrand& late) { return late.prefix == prefix; });
  if (held == lateErrands_.end()) return;
  Qv::Ptr<iTask> errand = held->errand;
  lateErrands_.erase(held);
  runErrand(errand, true);
}

// False when it had no memory.
bool FakeFileManager::runErrand(const Qv::Ptr<iTask>& errand, bool onItsOwnThread) try {
  struct Running {
    explicit Running(unsigned& number) : running(number) { ++running; }
    ~Running() { --running; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    unsigned& running;
  } running(errandsRunning_);
  std::optional<FakeErrorsOfAnotherThread> errors;
  if (onItsOwnThread) errors.emplace(errors_);
  errand->run();
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

void FakeFileManager::dropErrands() {
  std::vector<LateErrand> dropped;
  dropped.swap(lateErrands_);
}

void FakeFileManager::waitFor(const std::wstring& name) const {
  if (errandsRunning_ == 0 && driveWith(prefixFor(name)).silent)
    throw std::logic_error("a silent drive of the fake is looked at without an errand");
}

Path FakeFileManager::getUNCName(const Path& path) {
  if (uint32_t error = faults_.next(FaultPlan::eGetUNCName).error) {
    errors_.fail(error);
    return {};
  }
  std::wstring name = textOf(path);
  std::wstring root;
  std::wstring folder;
  for (const auto& [prefix, record] : drives_) {
    if (record.drive.uncName.empty() || !isWithin(name, prefix, separator_)) continue;
    if (prefix.size() < folder.size()) continue;
    root = record.drive.uncName;
    folder = prefix;
  }
  if (!root.empty()) return uncNameOf(root, name, folder, separator_);
  for (const Share& share : shares_) {
    std::wstring local = textOf(share.localPath);
    if (local.size() < folder.size() || !isWithin(name, local, separator_)) continue;
    root = textOf(share.uncName);
    folder = local;
  }
  return root.empty() ? Path() : uncNameOf(root, name, folder, separator_);
}

Vector<iFileManager::Share> FakeFileManager::getShares(const Path& workstation) {
  ++sharesAsked_;
  workstationAsked_ = workstation;
  if (uint32_t error = faults_.next(FaultPlan::eGetShares).error) {
    errors_.fail(error);
    return {};
  }
  return shares_;
}
