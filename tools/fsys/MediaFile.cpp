#include "tools/fsys/MediaFile.h"

#include <algorithm>
#include <list>

#include "fsys/MediaName.h"
#include "platform/DriveErrand.h"
#include "tools/fsys/Command.h"
#include "tools/fsys/Text.h"

namespace {

constexpr uint32_t kLastChannel = 255;

// A drive that refuses to say anything answers, too.
bool answersAt(const PathString& path) {
  auto asked = askDrive(path, [path] { return OS()->getFileManager()->exists(path); });
  return asked || OS()->getErrors()->getLastError() != eOsTimedOut;
}

// Where a file of a link's size leads; its own path when it is none.
template <typename Read>
void readLink(MediaFile& file, const Read& read) {
  if (file.bytes != MaterialLink::kBytes) return;
  auto leadsTo = askDrive(file.path, read);
  if (!leadsTo) file.state = MediaFile::eSilent;
  if (!leadsTo || *leadsTo == file.path) return;
  file.isLink = true;
  file.target = *leadsTo;
}

MediaFile highResOf(FsysDirectoryEntry& entry) {
  MediaFile file;
  file.isHighRes = true;
  file.name = entry.primaryFilename();
  file.path = file.name.getOsPath();
  file.bytes = entry.fileSize();
  file.state = MediaFile::ePresent;
  Qv::Ptr<FsysDirectoryEntry> kept(&entry);
  readLink(file, [kept] { return kept->getLinkedFilename(); });
  return file;
}

MediaFile proxyOf(const MediaFileInfo& info) {
  MediaFile file;
  file.name = info.getMaterialFilename();
  file.path = info.getLinkFileName();
  file.bytes = info.getSize();
  file.isProxy = info.wasProxy();
  file.height = info.proxyHeight();
  file.channels = info.proxyAudioChannels();
  file.state = static_cast<MediaFile::eState>(info.getStatus());
  readLink(file, [info] { return info.readLinkedFilename(); });
  return file;
}

}  // namespace

std::vector<MediaFile> MediaFile::allOf(FsysDirectoryEntry& entry) {
  std::vector<MediaFile> files;
  if (entry.hasHighRes()) {
    files.push_back(highResOf(entry));
    MediaFile& file = files.back();
    if (file.bytes == MaterialLink::kBytes && file.state != eSilent)
      file.state = file.answers() ? static_cast<eState>(entry.updateStatus(eHighRes)) : eSilent;
  }
  std::list<MediaFileInfo> proxies;
  entry.copyProxyFiles(proxies);
  for (const MediaFileInfo& info : proxies) files.push_back(proxyOf(info));
  return files;
}

const char* MediaFile::kind() const {
  if (isHighRes) return "high-resolution";
  return isProxy ? "proxy" : "high-resolution copy";
}

const char* MediaFile::stateWord() const {
  switch (state) {
    case eMissing:
      return "missing";
    case ePresent:
      return "there";
    case eSilent:
      return "no answer";
    default:
      return "not known";
  }
}

std::vector<Cookie> MediaFile::cookies() const {
  std::vector<Cookie> all = {MediaName(stripPath(name.getPath()), bytes).cookie};
  for (uint32_t channel = 1; channel <= std::min(channels, kLastChannel); ++channel)
    all.push_back(convertCookie(all.front(), eCookieSound, static_cast<unsigned char>(channel)));
  return all;
}

bool MediaFile::answers() const {
  return state != eSilent && answersAt(path) &&
         (!isLink || target.empty() || answersAt(MaterialLink::localTarget(target)));
}

void MediaFile::put(Json& json) const {
  putName(json, "file", bytesOf(path));
  json["kind"] = kind();
  json["bytes"] = bytes;
  json["height"] = !isProxy || height == kNoHeight ? Json(nullptr) : Json(height);
  json["channels"] = isProxy ? Json(channels) : Json(nullptr);
  json["is_link"] = isLink;
  if (isLink) putName(json, "target", bytesOf(target));
  json["state"] = stateWord();
}

size_t countProxies(const FsysDirectoryEntry& entry) {
  const std::list<MediaFileInfo>& files = entry.getProxyFiles();
  return static_cast<size_t>(std::count_if(
      files.begin(), files.end(), [](const MediaFileInfo& info) { return info.wasProxy(); }));
}

bool allAnswer(FsysDirectoryEntry& entry) {
  std::vector<MediaFile> files = MediaFile::allOf(entry);
  return std::all_of(files.begin(), files.end(), [](const MediaFile& file) {
    return file.state == MediaFile::ePresent || file.state == MediaFile::eMissing || file.answers();
  });
}
