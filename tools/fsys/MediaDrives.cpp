#include "tools/fsys/MediaDrives.h"

#include <cctype>
#include <charconv>

#include "platform/OS.h"
#include "tools/fsys/Command.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

bool isPrintable(unsigned char code) { return code > 0x20 && code < 0x7F; }

// As codeOf writes it. Not valid for anything else.
DriveId idOf(const std::string& word) {
  constexpr size_t kEscapeLength = 4;
  if (word.size() == 1) return DriveId(static_cast<unsigned char>(word[0]));
  if (word.size() != kEscapeLength || word.rfind("\\x", 0) != 0) return {};
  unsigned code = DriveId::kNone;
  auto [end, error] = std::from_chars(word.data() + 2, word.data() + word.size(), code, 16);
  bool isNumber = error == std::errc() && end == word.data() + word.size();
  return isNumber ? DriveId(static_cast<unsigned char>(code)) : DriveId();
}

}  // namespace

bool MediaDrives::isMissing(const PathString& path) {
  for (const PathString& missing : DiskManager::getMissingMediaLocations())
    if (isSamePlace(missing, path)) return true;
  return false;
}

ToolError MediaDrives::notRegistered(const std::string& doing, const PathString& path) try {
  requireFolder(doing, path);
  requireWritable(doing, path);
  std::vector<Qv::Ptr<MediaDrive>> drives = all();
  if (!drives.empty() && drives.back()->getId().code() == DriveId::kLast)
    return ToolError(ExitCode::eResources, doing, bytesOf(path), "every drive code is used");
  return ToolError(ExitCode::eIo, doing, bytesOf(path), "it could not be registered");
} catch (const ToolError& error) {
  return error;
}

std::vector<Qv::Ptr<MediaDrive>> MediaDrives::all() {
  std::vector<Qv::Ptr<MediaDrive>> drives;
  DriveId id;
  for (bool more = DiskManager::getFirstMaterialVolume(id); more;
       more = DiskManager::getNextMaterialVolume(id))
    if (Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id)) drives.push_back(drive);
  return drives;
}

Qv::Ptr<MediaDrive> MediaDrives::at(const PathString& root) {
  for (const Qv::Ptr<MediaDrive>& drive : all())
    if (isSamePlace(rootOf(*drive), root)) return drive;
  return nullptr;
}

Qv::Ptr<MediaDrive> MediaDrives::called(const std::string& word) {
  if (word.empty()) return nullptr;
  if (Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(idOf(word))) return drive;
  DriveId named = DiskManager::getDriveWithName(fromUTF8(std::string_view(word)));
  return named.valid() ? DiskManager::getVolume(named) : at(locationPath(word));
}

Qv::Ptr<MediaDrive> MediaDrives::require(const std::string& doing, const std::string& word) {
  if (word.empty()) throw ToolError(ExitCode::eUsage, doing, "", "the name of the drive is empty");
  Qv::Ptr<MediaDrive> drive = called(word);
  if (!drive) {
    PathString path = locationPath(word);
    if (isMissing(path)) throw notRegistered(doing, path);
    throw ToolError(ExitCode::eNotFound, doing, word, "no media drive has that code, name or path");
  }
  return drive;
}

PathString MediaDrives::rootOf(const MediaDrive& drive) {
  const wchar_t separator = OS()->getFileManager()->getSeparator();
  // The root of all has no local name.
  const PathString& root = drive.getRootLocation();
  return root.empty() ? PathString(&separator, 1) : root;
}

std::string MediaDrives::codeOf(DriveId id) {
  if (isPrintable(id.code())) return std::string(1, static_cast<char>(id.code()));
  return text("\\x%02X", static_cast<unsigned>(id.code()));
}

std::string MediaDrives::nameOf(const MediaDrive& drive) {
  return bytesOf(drive.getUserName(false));
}

std::string MediaDrives::pathOf(const MediaDrive& drive) { return bytesOf(rootOf(drive)); }

std::string MediaDrives::titleOf(DriveId id) { return "media drive '" + codeOf(id) + "'"; }

void MediaDrives::put(Json& json, const MediaDrive& drive) {
  json["drive"] = codeOf(drive.getId());
  json["code"] = drive.getId().code();
  putName(json, "name", nameOf(drive));
  putName(json, "path", pathOf(drive));
}
