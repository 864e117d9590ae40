#include "tools/fsys/FolderCount.h"

#include "fsys/MediaName.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/Command.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

FolderCount* folderOf(std::vector<FolderCount>& folders, const MaterialFilename& name) {
  for (FolderCount& folder : folders)
    if (folder.drive->getId() == name.getDrive() &&
        name.getPath().view().starts_with(folder.prefix.view()))
      return &folder;
  return nullptr;
}

// A proxy with sound is in the entries of its sound cookies, too, which its name is not.
bool isOwn(const Cookie& cookie, const MediaFileInfo& info) {
  return MediaName(stripPath(info.getMaterialFilename().getPath()), info.getSize()).cookie ==
         cookie;
}

}  // namespace

std::vector<FolderCount> FolderCount::all() {
  std::vector<FolderCount> folders;
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all())
    for (CookieType type : {eCookieVision, eCookieSound})
      folders.push_back({drive, drive->getFsysLocation(type)});
  SystemCache::enumerate([&](const Cookie& cookie, const FsysDirectoryEntry& entry) {
    Interrupt::check();
    FolderCount* folder = entry.hasHighRes() ? folderOf(folders, entry.primaryFilename()) : nullptr;
    if (folder) folder->add(entry.fileSize(), false);
    for (const MediaFileInfo& info : entry.getProxyFiles()) {
      folder = isOwn(cookie, info) ? folderOf(folders, info.getMaterialFilename()) : nullptr;
      if (folder) folder->add(info.getSize(), info.isProxy());
    }
    return true;
  });
  return folders;
}

void FolderCount::add(uint64_t size, bool isProxy) {
  ++files;
  bytes += size;
  if (isProxy) ++proxies;
  if (size == MaterialLink::kBytes) ++links;
}

PathString FolderCount::path() const { return joinPaths(MediaDrives::rootOf(*drive), prefix); }

Table FolderCount::table(const std::vector<FolderCount>& folders) {
  Table table({{"drive"},
               {"files", Table::eRight},
               {"proxies", Table::eRight},
               {"links", Table::eRight},
               {"size", Table::eRight},
               {"folder"}});
  for (const FolderCount& folder : folders)
    table.add({MediaDrives::codeOf(folder.drive->getId()), std::to_string(folder.files),
               std::to_string(folder.proxies), std::to_string(folder.links), sizeText(folder.bytes),
               escaped(bytesOf(folder.path()))});
  return table;
}

Json FolderCount::json() const {
  Json json;
  json["drive"] = MediaDrives::codeOf(drive->getId());
  putName(json, "folder", bytesOf(path()));
  json["files"] = files;
  json["proxies"] = proxies;
  json["links"] = links;
  json["bytes"] = bytes;
  return json;
}
