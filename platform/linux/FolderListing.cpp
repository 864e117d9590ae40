#include "platform/linux/FolderListing.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>

#include "platform/common/NamePattern.h"
#include "platform/linux/FolderNames.h"
#include "platform/linux/LinuxThread.h"

namespace {

using File = iFileManager::ListedFile;

// Where the file system tells the kind with the name.
bool isNoFile(unsigned char kind) { return kind != DT_REG && kind != DT_LNK && kind != DT_UNKNOWN; }

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

// 0, or the system's error number.
int describe(int folder, const char* name, int flags, struct statx& status) {
  while (statx(folder, name, flags | AT_NO_AUTOMOUNT, STATX_TYPE | STATX_SIZE, &status) != 0)
    if (errno != EINTR) return errno;
  return 0;
}

// Whether a file in the open folder went meanwhile. On a server's drive it is stale then, as
// everything is that lies in a folder which is stale itself.
bool isGone(int folder, int error) {
  struct statx status = {};
  return error == ENOENT ||
         (error == ESTALE && describe(folder, "", AT_EMPTY_PATH, status) != ESTALE);
}

}  // namespace

FolderListing::FolderListing(int folder, std::wstring_view pattern)
    : pattern_(pattern), error_(read(folder)) {
  if (error_ != 0) files_.clear();
}

int FolderListing::read(int folder) {
  if (int error = readNames(folder)) return error;
  Part first{this, folder, {}};
  Part second{this, folder, {}};
  auto middle = names_.begin() + static_cast<std::ptrdiff_t>(names_.size() / 2);
  second.names.assign(middle, names_.end());
  names_.erase(middle, names_.end());
  first.names.swap(names_);
  LinuxThread other;
  bool isShared = first.names.size() + second.names.size() >= kManyNames &&
                  other.start("fsys-listing", &runPart, &second, LinuxThread::eEndsSoon);
  runPart(&first);
  if (isShared)
    other.join();
  else
    runPart(&second);
  return gather(first, second);
}

int FolderListing::readNames(int folder) {
  FolderNames reader;
  return reader.forEach(folder, [this](std::string_view name, unsigned char kind) {
    if (!isNoFile(kind) && matches(name)) add(name);
  });
}

bool FolderListing::matches(std::string_view name) {
  if (pattern_ == L"*.*") return true;
  if (!isAscii(name)) return matchesPattern(fromUTF8(name).view(), pattern_);
  wide_.assign(name.begin(), name.end());
  return matchesPattern(wide_, pattern_);
}

void FolderListing::add(std::string_view name) {
  isPlain_ = isPlain_ && isAscii(name);
  if (names_.empty()) {
    alike_ = name.size();
  } else {
    std::string_view first = textOf(names_.front()).substr(0, alike_);
    auto differ = std::mismatch(first.begin(), first.end(), name.begin(), name.end()).first;
    alike_ = static_cast<size_t>(differ - first.begin());
  }
  names_.push_back({text_.size(), name.size(), 0, 0});
  text_.append(name).push_back('\0');
}

void FolderListing::runPart(void* part) {
  Part& own = *static_cast<Part*>(part);
  own.listing->look(own);
}

// Leaves the part with its files, in their order when all names are plain.
void FolderListing::look(Part& part) const {
  size_t kept = 0;
  for (Name name : part.names) {
    bool isFile = false;
    part.error = lookAt(part.folder, name, isFile);
    if (part.error != 0) return;
    if (isFile) part.names[kept++] = name;
  }
  part.names.resize(kept);
  if (!isPlain_) return;
  for (Name& name : part.names) name.key = keyOf(name);
  std::sort(part.names.begin(), part.names.end(),
            [this](const Name& a, const Name& b) { return isBefore(a, b); });
}

// 0, or the system's error number.
int FolderListing::lookAt(int folder, Name& name, bool& isFile) const {
  const char* bytes = &text_[name.at];
  struct statx status = {};
  if (describe(folder, bytes, 0, status) != 0) {
    // A link that leads nowhere is no file; anything else is, and should have been told about.
    int error = describe(folder, bytes, AT_SYMLINK_NOFOLLOW, status);
    if (error == 0 && S_ISLNK(status.stx_mode)) return 0;
    if (error != 0) return isGone(folder, error) ? 0 : error;
  }
  isFile = S_ISREG(status.stx_mode);
  name.bytes = status.stx_size;
  return 0;
}

std::string_view FolderListing::textOf(const Name& name) const {
  return std::string_view(text_).substr(name.at, name.length);
}

LightweightString<wchar_t> FolderListing::wideName(const Name& name) {
  std::string_view text = textOf(name);
  if (!isPlain_) return fromUTF8(text);
  wide_.assign(text.begin(), text.end());
  return LightweightString<wchar_t>(std::wstring_view(wide_));
}

// The bytes behind those that all names begin with: as a number they have the order of the bytes.
uint64_t FolderListing::keyOf(const Name& name) const {
  uint64_t key = 0;
  std::string_view rest = textOf(name).substr(alike_);
  for (size_t i = 0; i < sizeof key; ++i)
    key = key << 8 | (i < rest.size() ? static_cast<unsigned char>(rest[i]) : 0u);
  return key;
}

bool FolderListing::isBefore(const Name& a, const Name& b) const {
  if (a.key != b.key) return a.key < b.key;
  return textOf(a) < textOf(b);
}

// Of both parts, in order. 0, or the error number of one.
int FolderListing::gather(Part& first, Part& second) {
  if (first.error != 0 || second.error != 0) return first.error != 0 ? first.error : second.error;
  names_.reserve(first.names.size() + second.names.size());
  auto end = std::back_inserter(names_);
  if (isPlain_)
    std::merge(first.names.begin(), first.names.end(), second.names.begin(), second.names.end(),
               end, [this](const Name& a, const Name& b) { return isBefore(a, b); });
  else  // neither is in order
    for (const Part* part : {&first, &second})
      std::copy(part->names.begin(), part->names.end(), end);
  files_.reserve(names_.size());
  for (const Name& name : names_) files_.add({wideName(name), name.bytes});
  if (!isPlain_)
    std::sort(files_.begin(), files_.end(),
              [](const File& a, const File& b) { return a.name < b.name; });
  return 0;
}
