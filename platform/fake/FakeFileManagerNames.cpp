#include <algorithm>

#include "platform/common/FolderBelow.h"
#include "platform/common/NamePattern.h"
#include "platform/fake/FakeFileManager.h"
#include "platform/fake/FakePath.h"

using FakePath::folderOf;
using FakePath::isWithin;
using FakePath::textOf;
using FakePath::withEnd;
using FakePath::withoutEnd;

namespace {

constexpr uint32_t kSucceeded = 1;
constexpr uint32_t kOtherDrive = eOsErrorBase + 18;
constexpr uint32_t kTooManyLinks = eOsErrorBase + 40;
constexpr unsigned kMostLinks = 40;
constexpr unsigned kEveryoneReads = 0444;

// Whether one of these names lies in the folder; `inside` has a separator at its end.
template <typename Names, typename Name>
bool holdsName(const Names& names, const std::wstring& inside, const Name& nameOf) {
  auto next = names.upper_bound(inside);
  return next != names.end() && std::wstring_view(nameOf(*next)).starts_with(inside);
}

}  // namespace

bool FakeFileManager::answer(uint32_t result) {
  if (result != kSucceeded) errors_.fail(result);
  return result == kSucceeded;
}

// Empty when links go round in a circle.
std::wstring FakeFileManager::resolved(const std::wstring& path) const {
  std::wstring name = path;
  for (unsigned followed = 0; followed <= kMostLinks; ++followed) {
    auto link = std::find_if(names_.links.begin(), names_.links.end(), [&](const auto& entry) {
      return isWithin(name, entry.first, separator_);
    });
    if (link == names_.links.end()) return name;
    std::wstring rest = name.substr(link->first.size());
    name = rest.empty() ? link->second : withEnd(link->second, separator_) + rest.substr(1);
  }
  return {};
}

// The links of its folder followed, not the name itself.
std::wstring FakeFileManager::resolvedFolder(const std::wstring& path) const {
  std::wstring folder = folderOf(path, separator_);
  if (folder.empty()) return path;
  std::wstring behind = resolved(folder);
  if (behind.empty()) return {};
  size_t inside = withEnd(folder, separator_).size();
  return withEnd(behind, separator_) + path.substr(std::min(inside, path.size()));
}

bool FakeFileManager::isFolder(const std::wstring& path) const {
  if (path.empty()) return false;
  std::wstring folder = withoutEnd(path, separator_);
  std::wstring inside = withEnd(folder, separator_);
  auto first = [](const auto& entry) -> std::wstring_view { return entry.first; };
  auto itself = [](const std::wstring& name) -> std::wstring_view { return name; };
  return folder == inside || names_.folders.contains(folder) ||
         holdsName(names_.files, inside, first) || holdsName(names_.folders, inside, itself) ||
         holdsName(names_.links, inside, first);
}

uint32_t FakeFileManager::check(const Path& path) const {
  uint32_t result = checkItself(path);
  if (result != kSucceeded) return result;
  std::wstring name = resolved(textOf(path));
  if (name.empty()) return kTooManyLinks;
  waitFor(name);
  return isFolder(name) && !names_.files.contains(name) ? uint32_t{eOsIsAFolder} : kSucceeded;
}

// Also when it is a link that leads nowhere.
uint32_t FakeFileManager::checkItself(const Path& path) const {
  std::string bytes;
  if (!toPathBytes(path, bytes)) return eOsInvalid;
  if (path.empty()) return eOsNotFound;
  std::wstring name = resolvedFolder(textOf(path));
  if (name.empty()) return kTooManyLinks;
  waitFor(name);
  return kSucceeded;
}

uint32_t FakeFileManager::checkNoLink(const Path& path) const {
  uint32_t result = checkItself(path);
  bool isLink = names_.links.contains(resolvedFolder(textOf(path)));
  return result == kSucceeded && isLink ? kTooManyLinks : result;
}

uint32_t FakeFileManager::checkPlace(const std::wstring& name) const {
  std::wstring folder = folderOf(name, separator_);
  if (folder.empty() || isFolder(folder)) return kSucceeded;
  return names_.files.contains(folder) ? eOsNotAFolder : eOsNotFound;
}

// Counts a call: what is armed for it, or what the name itself is.
uint32_t FakeFileManager::look(FaultPlan::eCall call, const Path& path) const {
  uint32_t error = faults_.next(call).error;
  return error != 0 ? error : check(path);
}

FakeFileManager::Content FakeFileManager::find(const Path& path) const {
  auto place = names_.files.find(resolved(textOf(path)));
  return place == names_.files.end() ? nullptr : place->second;
}

bool FakeFileManager::createFolder(const Path& path) {
  uint32_t result = look(FaultPlan::eCreateFolder, path);
  if (result == eOsIsAFolder) return true;
  std::wstring folder = withoutEnd(resolved(textOf(path)), separator_);
  if (result == kSucceeded && names_.files.contains(folder)) result = eOsExists;
  if (result == kSucceeded && driveOf(folder).readOnly) result = eOsReadOnly;
  if (result == kSucceeded)
    for (const std::wstring& made : makeFolders(folder)) note({FakeEffect::eMakeFolder, made});
  return answer(result);
}

// Those above, too. Which were missing.
std::vector<std::wstring> FakeFileManager::makeFolders(const std::wstring& folder) {
  std::vector<std::wstring> made;
  for (size_t end = folder.find(separator_, 1);; end = folder.find(separator_, end + 1)) {
    std::wstring name = withoutEnd(folder.substr(0, end), separator_);
    if (!isFolder(name)) made.push_back(name);
    names_.folders.insert(name);
    if (end == std::wstring::npos) return made;
  }
}

void FakeFileManager::addFolder(const Path& path) {
  makeFolders(withoutEnd(textOf(path), separator_));
}

void FakeFileManager::removeFolder(const Path& path) {
  std::wstring folder = withoutEnd(textOf(path), separator_);
  auto inside = [&](const std::wstring& name) { return isWithin(name, folder, separator_); };
  std::erase_if(names_.files, [&](const auto& file) { return inside(file.first); });
  std::erase_if(names_.links, [&](const auto& link) { return inside(link.first); });
  std::erase_if(names_.folders, inside);
}

void FakeFileManager::addLink(const Path& path, const Path& target) {
  names_.putLink(withoutEnd(textOf(path), separator_), textOf(target));
}

void FakeFileManager::setWritable(const Path& path, bool writable) {
  std::wstring name = withoutEnd(textOf(path), separator_);
  if (writable)
    notWritable_.erase(name);
  else
    notWritable_.insert(name);
}

bool FakeFileManager::folderExists(const Path& path) {
  uint32_t result = look(FaultPlan::eFolderExists, path);
  if (result == eOsIsAFolder) return true;
  if (result == kSucceeded) result = find(path) ? eOsNotAFolder : eOsNotFound;
  return answer(result);
}

uint32_t FakeFileManager::checkWritable(const std::wstring& path) const {
  auto file = names_.files.find(path);
  if (file == names_.files.end() && !isFolder(path)) return eOsNotFound;
  if (driveOf(path).readOnly) return eOsReadOnly;
  bool refused = notWritable_.contains(withoutEnd(path, separator_));
  if (refused || (file != names_.files.end() && file->second->readOnly)) return eOsAccessDenied;
  return kSucceeded;
}

bool FakeFileManager::isWritable(const Path& path) {
  uint32_t result = look(FaultPlan::eIsWritable, path);
  if (result == kSucceeded || result == eOsIsAFolder)
    result = checkWritable(resolved(textOf(path)));
  return answer(result);
}

bool FakeFileManager::listFiles(const Path& pattern, Vector<ListedFile>& files) {
  files.clear();
  uint32_t result = faults_.next(FaultPlan::eListFiles).error;
  std::wstring inside;
  if (result == 0) result = findMatching(pattern, inside, files);
  return answer(result);
}

// `inside`: their folder by its name without links, with a separator at its end.
uint32_t FakeFileManager::findMatching(const Path& pattern, std::wstring& inside,
                                       Vector<ListedFile>& files) const {
  std::wstring text = textOf(pattern);
  size_t begin = text.rfind(separator_) + 1;
  std::wstring folder = withoutEnd(text.substr(0, begin), separator_);
  Path named{std::wstring_view(folder)};
  uint32_t result = check(named);
  if (result == kSucceeded) return find(named) ? eOsNotAFolder : eOsNotFound;
  if (result != eOsIsAFolder) return result;
  inside = withEnd(resolved(folder), separator_);
  for (const std::wstring& name : namesIn(inside)) {
    Content content = find(Path(std::wstring_view(name)));
    Path listed(std::wstring_view(name).substr(inside.size()));
    if (content && matchesPattern(listed.view(), std::wstring_view(text).substr(begin)))
      files.add({listed, content->size()});
  }
  return kSucceeded;
}

// Files and links, sorted; `inside` has a separator at its end.
std::set<std::wstring> FakeFileManager::namesIn(const std::wstring& inside) const {
  std::set<std::wstring> names;
  auto take = [&](const auto& all) {
    for (auto entry = all.upper_bound(inside);
         entry != all.end() && entry->first.starts_with(inside); ++entry)
      if (entry->first.find(separator_, inside.size()) == std::wstring::npos)
        names.insert(entry->first);
  };
  take(names_.files);
  take(names_.links);
  return names;
}

uint32_t FakeFileManager::checkRename(const std::wstring& from, const std::wstring& to) const {
  if (!isName(from)) return isFolder(from) ? eOsIsAFolder : eOsNotFound;
  if (uint32_t result = checkPlace(to); result != kSucceeded) return result;
  if (!isName(to) && isFolder(to)) return eOsIsAFolder;
  std::wstring prefix = prefixFor(from);
  if (prefix != prefixFor(to)) return kOtherDrive;
  return driveWith(prefix).readOnly ? uint32_t{eOsReadOnly} : kSucceeded;
}

bool FakeFileManager::renameFile(const Path& from, const Path& to) {
  uint32_t result = faults_.next(FaultPlan::eRenameFile).error;
  if (result == 0 && (isServed(from) || isServed(to))) result = eOsNotSupported;
  if (result == 0) result = checkItself(from);
  if (result == kSucceeded) result = checkItself(to);
  std::wstring source = resolvedFolder(textOf(from));
  std::wstring target = resolvedFolder(textOf(to));
  if (result == kSucceeded) result = checkRename(source, target);
  if (result == kSucceeded && source != target) moveName(source, target);
  return answer(result);
}

bool FakeFileManager::deleteFile(const Path& path) {
  uint32_t result = faults_.next(FaultPlan::eDeleteFile).error;
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path); provider && result == 0)
    return provider->remove(path);
  if (result == 0) result = checkItself(path);
  if (result == kSucceeded) result = removeName(resolvedFolder(textOf(path)));
  return answer(result);
}

uint32_t FakeFileManager::removeName(const std::wstring& name) {
  if (!isName(name)) return isFolder(name) ? eOsIsAFolder : eOsNotFound;
  if (driveWith(prefixFor(name)).readOnly) return eOsReadOnly;
  names_.remove(name);
  note({FakeEffect::eDelete, name});
  return kSucceeded;
}

// As it stands, with the separator at its end.
FakeFileManager::Path FakeFileManager::folderOfFile(const Path& path) const {
  return path.substr(0, textOf(path).rfind(separator_) + 1);
}

// The folder by its name without links.
uint32_t FakeFileManager::findSubfolder(const Path& folder, const Path& subfolder,
                                        std::wstring& found) const {
  std::string bytes;
  if (!toPathBytes(folder, bytes) || !toPathBytes(subfolder, bytes)) return eOsInvalid;
  if (isServed(folder) || isServed(subfolder)) return eOsNotSupported;
  std::vector<Path> below = namesBelow(folder.view(), subfolder.view(), separator_);
  if (below.empty()) return eOsInvalid;
  if (uint32_t result = check(folder); result != eOsIsAFolder)
    return result != kSucceeded ? result : find(folder) ? eOsNotAFolder : eOsNotFound;
  found = resolved(textOf(folder));
  const std::wstring drive = prefixFor(withEnd(found, separator_));
  for (const Path& name : below) {
    found = withEnd(found, separator_) + textOf(name);
    if (isName(found)) return eOsNotAFolder;
    if (!isFolder(found)) return eOsNotFound;
    if (prefixFor(withEnd(found, separator_)) != drive) return kOtherDrive;
  }
  waitFor(found);
  std::wstring whole = resolvedFolder(withoutEnd(textOf(subfolder), separator_));
  if (whole == found) return kSucceeded;
  return isName(whole) || isFolder(whole) ? eOsInvalid : eOsNotFound;
}

// What is mounted in it stays, with the folders above.
uint32_t FakeFileManager::removeTree(const std::wstring& tree) {
  const std::wstring drive = prefixFor(withEnd(tree, separator_));
  if (driveWith(drive).readOnly) return eOsReadOnly;
  bool isWhole = true;
  auto isRemoved = [&](const std::wstring& name, FakeEffect::eKind kind) {
    if (!isWithin(name, tree, separator_)) return false;
    bool isFolderItself = kind == FakeEffect::eRemoveFolder;
    bool isHere = prefixFor(isFolderItself ? withEnd(name, separator_) : name) == drive;
    isWhole = isWhole && isHere;
    if (isHere) note({kind, name});
    return isHere;
  };
  auto isDeleted = [&](const auto& entry) { return isRemoved(entry.first, FakeEffect::eDelete); };
  std::erase_if(names_.files, isDeleted);
  std::erase_if(names_.links, isDeleted);
  // The deepest first; one that still holds something stays by what it holds.
  std::set<std::wstring> folders = names_.folders;
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder)
    if (isRemoved(*folder, FakeEffect::eRemoveFolder)) names_.folders.erase(*folder);
  return isWhole ? kSucceeded : kOtherDrive;
}

// 1: the file begins so.
uint32_t FakeFileManager::checkStart(const std::wstring& file, const std::string& start) const {
  auto found = names_.files.find(file);
  if (found == names_.files.end()) return isFolder(file) ? eOsInvalid : eOsNotFound;
  std::string bytes(start.size(), '\0');
  const auto size = static_cast<uint32_t>(bytes.size());
  bool beginsSo = found->second->read(0, bytes.data(), size) == size && bytes == start;
  return beginsSo ? kSucceeded : uint32_t{eOsInvalid};
}

// 1, or the first OsError.
uint32_t FakeFileManager::removeSubfolder(const MediaRemoval& media, const std::wstring& file) {
  if (names_.links.contains(file)) return eOsInvalid;
  uint32_t result = faults_.next(FaultPlan::eDeleteSubfolder).error;
  std::wstring tree;
  if (result == 0) result = findSubfolder(folderOfFile(media.path), media.subfolder, tree);
  return result == kSucceeded ? removeTree(tree) : result;
}

// 1, or the first OsError.
uint32_t FakeFileManager::removeSideFiles(const MediaRemoval& media) {
  uint32_t result = faults_.next(FaultPlan::eDeleteSideFiles).error;
  Vector<ListedFile> files;
  std::wstring inside;
  if (result == 0) result = findMatching(folderOfFile(media.path) + media.sideFiles, inside, files);
  for (const ListedFile& side : files) {
    uint32_t error = faults_.next(FaultPlan::eDeleteFile).error;
    if (error == 0) error = removeName(inside + textOf(side.name));
    if (result == kSucceeded) result = error;
  }
  return result;
}

bool FakeFileManager::deleteMedia(const MediaRemoval& media, MediaLeft& left) {
  left = MediaLeft();
  uint32_t result = faults_.next(FaultPlan::eDeleteMedia).error;
  if (result == 0 && isServed(media.path)) {
    if (!media.subfolder.empty()) left.subfolder = eOsNotSupported;
    if (!media.sideFiles.empty()) left.sideFiles = eOsNotSupported;
    return deleteFile(media.path);
  }
  if (result == 0) result = checkItself(media.path);
  const std::wstring file = resolvedFolder(textOf(media.path));
  if (result == kSucceeded) result = checkPlace(file);
  const bool hasSubfolder = !media.subfolder.empty();
  if (result == kSucceeded && hasSubfolder && !names_.links.contains(file))
    result = checkStart(file, media.start);
  if (result != kSucceeded) return answer(result);
  if (hasSubfolder) left.subfolder = removeSubfolder(media, file);
  if (uint32_t error = faults_.next(FaultPlan::eDeleteFile).error) result = error;
  if (result == kSucceeded) result = removeName(file);
  if (!media.sideFiles.empty()) left.sideFiles = removeSideFiles(media);
  return answer(result);
}

// A file or a link.
bool FakeFileManager::isName(const std::wstring& name) const {
  return names_.files.contains(name) || names_.links.contains(name);
}

void FakeFileManager::moveName(const std::wstring& from, const std::wstring& to) {
  FakeEffect effect{FakeEffect::eRename, to};
  effect.from = from;
  auto file = names_.files.find(from);
  if (file != names_.files.end()) {
    effect.content = file->second;
    names_.putFile(to, effect.content);
  } else {
    effect.linkTarget = names_.links[from];
    names_.putLink(to, effect.linkTarget);
  }
  names_.remove(from);
  note(std::move(effect));
}

bool FakeFileManager::syncFolder(const Path& path) {
  uint32_t result = look(FaultPlan::eSyncFolder, path);
  if (result == eOsIsAFolder) {
    note({FakeEffect::eSyncFolder, withoutEnd(resolved(textOf(path)), separator_)});
    return true;
  }
  if (result == kSucceeded) result = find(path) ? eOsNotAFolder : eOsNotFound;
  return answer(result);
}

bool FakeFileManager::followLinks(const Path& path, Path& target) {
  target = Path();
  uint32_t result = look(FaultPlan::eFollowLinks, path);
  if (result == eOsIsAFolder) result = kSucceeded;
  if (result == kSucceeded) target = Path(std::wstring_view(resolved(textOf(path))));
  return answer(result);
}

bool FakeFileManager::copyMode(const Path& from, const Path& to) {
  uint32_t error = faults_.next(FaultPlan::eCopyMode).error;
  uint32_t result = error != 0 ? error : checkItself(from);
  if (result == kSucceeded && names_.links.contains(resolvedFolder(textOf(from)))) return true;
  if (result == kSucceeded) result = check(from);
  if (result == kSucceeded) result = check(to);
  Content source = find(from);
  Content target = find(to);
  if (result == kSucceeded && (!source || !target)) result = eOsNotFound;
  if (result == kSucceeded && driveOf(textOf(to)).readOnly) result = eOsReadOnly;
  if (result == kSucceeded) changeMode(to, target, source->mode);
  return answer(result);
}

void FakeFileManager::changeMode(const Path& path, const Content& content, unsigned mode) {
  content->mode = mode;
  FakeEffect effect{FakeEffect::eMode, textOf(path), content};
  effect.mode = mode;
  note(std::move(effect));
}

// A file that no provider serves, and no link.
uint32_t FakeFileManager::findItself(const Path& path, Content& content) const {
  uint32_t result = isServed(path) ? uint32_t{eOsNotSupported} : checkNoLink(path);
  if (result == kSucceeded) result = check(path);
  if (result == kSucceeded) result = checkPlace(resolved(textOf(path)));
  content = find(path);
  return result == kSucceeded && !content ? uint32_t{eOsNotFound} : result;
}

bool FakeFileManager::markFile(const Path& path) {
  uint32_t error = faults_.next(FaultPlan::eMarkFile).error;
  Content content;
  uint32_t result = error != 0 ? error : findItself(path, content);
  if (result == kSucceeded && content->size() > 0) result = eOsNotPermitted;
  if (result == kSucceeded && driveOf(textOf(path)).readOnly) result = eOsReadOnly;
  if (result == kSucceeded) {
    changeMode(path, content, content->mode | kEveryoneReads);
    content->marked_ms = clock_.now_ms();
  }
  return answer(result);
}

void FakeFileManager::setMode(const Path& path, unsigned mode) {
  if (Content content = find(path)) content->mode = mode;
}

unsigned FakeFileManager::modeOf(const Path& path) const {
  Content content = find(path);
  return content ? content->mode : 0;
}

bool FakeFileManager::askLock(const Path& path, LockState& state) {
  state = eLockUnknown;
  uint32_t error = faults_.next(FaultPlan::eAskLock).error;
  Content content;
  uint32_t result = error != 0 ? error : findItself(path, content);
  FakeDrive::eLocks locks = driveOf(textOf(path)).locks;
  if (result != kSucceeded || locks == FakeDrive::eNoLocks) return answer(result);
  state = locks == FakeDrive::eLocksOfAll ? eLockFree : eLockFreeHere;
  if (content->isLocked()) state = eLockHeld;
  return true;
}

void FakeFileManager::setLocked(const Path& path, bool locked) {
  if (Content content = find(path)) content->lockedByOthers = locked;
}

double FakeFileManager::markedAt_ms(const Path& path) const {
  Content content = find(path);
  return content ? content->marked_ms : 0;
}
