#include "tools/fsys/LocationList.h"

#include <algorithm>
#include <utility>

#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr const char* kReading = "reading the list";

}  // namespace

LocationList::LocationList(const PathString& folder, const PathString& name,
                           eBackslashes backslashes)
    : name_(joinPaths(folder, name)), backslashes_(backslashes) {}

std::string LocationList::name() const { return bytesOf(name_); }

TextFile LocationList::loaded() const {
  TextFile file(name_);
  if (file.load() != TextFile::eFailed) return file;
  uint32_t error = OS()->getErrors()->getLastError();
  if (error == eOsInvalid)
    throw ToolError(ExitCode::eIo, kReading, name(), "it has a NUL in it, and is no text");
  throw driveError(kReading, name_, error);
}

void LocationList::load() { read(loaded()); }

void LocationList::read(const TextFile& file) {
  std::vector<PathString> lines;
  lines.reserve(file.lineCount());
  for (size_t i = 0; i < file.lineCount(); ++i) {
    PathString line = fromUTF8(file[i].view());
    lines.push_back(backslashes_ == eDoubled ? undoubledBackslashes(line) : line);
  }
  lines_ = std::move(lines);
}

bool LocationList::has(const PathString& path) const {
  return std::any_of(lines_.begin(), lines_.end(),
                     [&](const PathString& line) { return isSamePlace(line, path); });
}

void LocationList::append(const PathString& path) {
  TextFile file = loaded();
  if (!file.appendLine(toUTF8(path)))
    throw ToolError(ExitCode::eUsage, "adding to the list", bytesOf(path),
                    "such a name cannot stand on a line");
  save(file);
}

void LocationList::remove(const PathString& path) {
  TextFile file = loaded();
  read(file);
  if (!has(path)) return;
  for (size_t i = lines_.size(); i > 0; --i)
    if (isSamePlace(lines_[i - 1], path)) file.removeLine(i - 1);
  save(file);
}

void LocationList::save(TextFile& file) {
  if (!file.save()) throw driveError("writing the list", name_, OS()->getErrors()->getLastError());
  read(file);
}

LocationLists::LocationLists(const PathString& folder)
    : added(folder, getMediaLocationsFilename(), LocationList::eDoubled),
      unmounted(folder, L"UnmountedDrives.txt", LocationList::eAsTheyStand) {}

void LocationLists::load() {
  added.load();
  unmounted.load();
}
