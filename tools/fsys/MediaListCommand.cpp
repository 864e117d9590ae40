#include "tools/fsys/MediaListCommand.h"

#include "tools/fsys/CookieWord.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/MediaFile.h"
#include "tools/fsys/Text.h"

namespace {

// Columns of their own widths: what follows is not known yet.
constexpr const char* kRow = "%-11s  %-6s  %-5s  %11s  %7s  %-9s  %s";

std::string row(const char* cookie, const char* kind, const char* drive, const char* size,
                const char* proxies, const char* online, const std::string& file) {
  return text(kRow, cookie, kind, drive, size, proxies, online, file.c_str());
}

// A drive that does not answer is not asked.
const char* onlineWord(const Cookie& cookie, FsysDirectoryEntry& entry) {
  if (!allAnswer(entry)) return "no answer";
  return SystemCache::updateStatus(cookie, eHighRes | eProxy) == MediaFileInfo::eMissing ? "offline"
                                                                                         : "online";
}

}  // namespace

CLI::App* MediaListCommand::defineStorage(CLI::App& app) {
  return addCommand(app, kMedia, "list", "List every piece of media, and whether it is online");
}

std::string MediaListCommand::heading() const {
  return row("cookie", "kind", "drive", "size", "proxies", "state", "file");
}

bool MediaListCommand::tell(const Cookie& cookie, FsysDirectoryEntry& entry) {
  MaterialFilename name = entry.primaryFilename();
  std::string drive = name.getDrive().valid() ? MediaDrives::codeOf(name.getDrive()) : "-";
  std::string file = bytesOf(name.getOsPath());
  const char* kind = cookie.getType() == eCookieVision ? "vision" : "sound";
  const char* online = onlineWord(cookie, entry);
  const size_t proxies = countProxies(entry);
  Json json;
  json["cookie"] = textOf(cookie);
  json["kind"] = kind;
  json["drive"] = drive;
  putName(json, "file", file);
  json["bytes"] = entry.fileSize();
  json["has_high_resolution"] = entry.hasHighRes();
  json["proxies"] = proxies;
  json["copies"] = entry.getProxyFiles().size() - proxies;
  json["state"] = online;
  tellNow(json);
  say(row(textOf(cookie).c_str(), kind, drive.c_str(),
          entry.hasHighRes() ? sizeText(entry.fileSize()).c_str() : "-",
          std::to_string(proxies).c_str(), online, escaped(file)));
  return true;
}
