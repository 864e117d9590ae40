#include "tools/fsys/MediaOfflineCommand.h"

#include "tools/fsys/CookieWord.h"
#include "tools/fsys/MediaFile.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kRow = "%-11s  %-15s  %-9s  %s";

}  // namespace

CLI::App* MediaOfflineCommand::defineStorage(CLI::App& app) {
  return addCommand(app, kMedia, "offline", "List the media whose files are missing");
}

std::string MediaOfflineCommand::heading() const {
  return text(kRow, "cookie", "kind", "state", "file");
}

bool MediaOfflineCommand::tell(const Cookie& cookie, FsysDirectoryEntry& entry) {
  bool answers = allAnswer(entry);
  if (answers && SystemCache::updateStatus(cookie, eHighRes | eProxy) != MediaFileInfo::eMissing)
    return false;
  Json json;
  json["cookie"] = textOf(cookie);
  json["files"] = Json::array();
  for (const MediaFile& file : MediaFile::allOf(entry)) {
    if (file.state == MediaFile::ePresent) continue;
    Json missing;
    file.put(missing);
    json["files"].push_back(missing);
    std::string leadsTo = file.isLink ? " -> " + escaped(bytesOf(file.target)) : "";
    say(text(kRow, textOf(cookie).c_str(), file.kind(),
             file.state == MediaFile::eUnknown ? "no answer" : file.stateWord(),
             (escaped(bytesOf(file.path)) + leadsTo).c_str()));
  }
  tellNow(json);
  return true;
}
