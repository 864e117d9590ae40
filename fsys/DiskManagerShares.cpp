#include "fsys/DiskManager.h"
#include "fsys/VolumeRegistry.h"
#include "platform/OS.h"
#include "platform/TextHelpers.h"

using Text = LightweightString<wchar_t>;

Text DiskManager::convertLocalToUNC(const MaterialFilename& file) {
  return OS()->getFileManager()->getUNCName(file.getOsPath());
}

MaterialFilename DiskManager::convertUNCtoFsysFilename(const Text& unc) {
  if (unc.empty()) return {};
  Qv::Ptr<MediaDrive> drive =
      VolumeRegistry::get().volumes().find([&unc](const MediaDrive& candidate) {
        return startsWithNoCase(unc.view(), candidate.getUncName().view());
      });
  if (!drive) return {};
  return {drive->getId(), unc.substr(drive->getUncName().length())};
}

bool DiskManager::discoverLocalShares() {
  VolumeRegistry::get().shares.discover();
  return true;
}

Text DiskManager::convertUNCtoLocalShare(const Text& unc) {
  return VolumeRegistry::get().shares.localName(unc);
}
