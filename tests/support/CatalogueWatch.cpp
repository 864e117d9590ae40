#include "tests/support/CatalogueWatch.h"

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
#include "platform/Cookie.h"

namespace {

using Text = LightweightString<wchar_t>;

bool isPlanted = false;

constexpr std::string_view kAdded = "Added media location : ";

// One channel of a shot is one drive.
Cookie cookieOf(unsigned code) {
  return convertCookie(Cookie(L"V0DRIVES000"), eCookieVision, static_cast<unsigned char>(code));
}

void plantOn(unsigned code) {
  const DriveId id(static_cast<unsigned char>(code));
  SystemCache::addFile(cookieOf(code), MediaFileInfo(MaterialFilename(id, L"/planted"), 1), false);
}

std::string folderOf(DriveId id) {
  const Text folder = MediaDrive::getFolder(eCookieVision);
  return toUTF8(MaterialFilename(id, L"/" + folder + L"/").getOsPath()).c_str();
}

}  // namespace

bool CatalogueWatch::isAdded(const std::string& line) { return line.starts_with(kAdded); }

std::optional<DriveId> CatalogueWatch::driveOf(const std::string& line) {
  if (line.find("Material", line.size() - std::string_view("Material/\n").size()) == line.npos)
    return std::nullopt;
  const std::string folder = line.substr(kAdded.size(), line.size() - kAdded.size() - 1);
  DriveId found;
  DriveId id;
  for (bool more = DiskManager::getFirstMaterialVolume(id); more;
       more = DiskManager::getNextMaterialVolume(id))
    if (folderOf(id) == folder) found = id;
  return found;
}

void CatalogueWatch::plant() {
  SystemCache::invalidate();
  for (unsigned code = 0; code <= DriveId::kLast; ++code)
    if (code != DriveId::kNone) plantOn(code);
  isPlanted = true;
}

std::vector<DriveId> CatalogueWatch::takeRemoved() {
  std::vector<DriveId> removed;
  for (unsigned code = 0; isPlanted && code <= DriveId::kLast; ++code) {
    if (code == DriveId::kNone || SystemCache::findEntryForCookie(cookieOf(code))) continue;
    removed.emplace_back(static_cast<unsigned char>(code));
    plantOn(code);
  }
  return removed;
}

void CatalogueWatch::clear() {
  SystemCache::invalidate();
  isPlanted = false;
}
