#include "tools/fsys/WatchCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <list>

#include "platform/Clocks.h"
#include "platform/OS.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/MediaFile.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/Text.h"

namespace {

constexpr double kLeast_s = 0.1;
constexpr double kMost_s = 3600;
constexpr double kMsPerSecond = 1e3;
constexpr double kRest = 4;  // for each time that listing takes
constexpr const char* kSpaceChange = "disk manager update";

bool isSame(const MaterialFilename& a, const MaterialFilename& b) {
  return a.getDrive() == b.getDrive() && a.getPath() == b.getPath();
}

bool isCatalogued(const Cookie& cookie, const MaterialFilename& name) {
  SystemCache::Entry entry = SystemCache::findEntryForCookie(cookie);
  if (!entry) return false;
  if (isSame(entry->primaryFilename(), name)) return true;
  std::list<MediaFileInfo> proxies;
  entry->copyProxyFiles(proxies);
  return std::any_of(proxies.begin(), proxies.end(), [&](const MediaFileInfo& info) {
    return isSame(info.getMaterialFilename(), name);
  });
}

// The library reads where the entry's proxies lead, and waits for their drives.
void forget(const Cookie& cookie, const MediaFileInfo& info) {
  SystemCache::Entry entry = SystemCache::findEntryForCookie(cookie);
  if (entry && allAnswer(*entry)) entry->removeFile(info);
}

std::vector<bool> onlineDrives() {
  std::vector<bool> online;
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all())
    online.push_back(askIsFolder(MediaDrives::rootOf(*drive)).yes);
  return online;
}

std::vector<double> spaces() {
  std::vector<double> spaces_mib;
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all())
    spaces_mib.push_back(drive->getSpaceMB());
  return spaces_mib;
}

// Hearing: while it is there, notifications are heard.
class Hearing {
public:
  using Take = NotifyListener::Take;

  Hearing(const Take& files, const Take& proxies, const Take& registry)
      : catalogue_{{{SystemCache::fileAddedMsgType_, made(files)},
                    {SystemCache::proxyAddedMsgType_, made(proxies)}}},
        registry_(made(registry)) {
    for (const auto& [type, listener] : catalogue_)
      SystemCache::instance().add(static_cast<Notifier::Type>(type), listener);
    DiskManager::addListener(registry_);
  }
  ~Hearing() {
    for (const auto& [type, listener] : catalogue_)
      SystemCache::instance().remove(static_cast<Notifier::Type>(type), listener);
    registry_->stop();
  }
  Hearing(const Hearing&) = delete;
  Hearing& operator=(const Hearing&) = delete;

private:
  using Listener = Qv::Ptr<NotifyListener>;

  static Listener made(const Take& take) { return Listener(new NotifyListener(take)); }

  std::array<std::pair<int, Listener>, 2> catalogue_;
  Listener registry_;
};

}  // namespace

CLI::App* WatchCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      addCommand(app, "watch", "Say what media and drives come and go, until it is interrupted");
  command->add_option("--interval", interval_s_, "How often it looks, in seconds (2)")
      ->check(NumberRange(kLeast_s, kMost_s))
      ->type_name("S");
  return command;
}

// "SysCacheDel" tells of what this process deletes: nothing.
ExitCode WatchCommand::work() {
  Hearing hearing([this](const NotifyMsg&) { tellFile("SysCacheAdd"); },
                  [this](const NotifyMsg&) { tellFile("SysCacheAddProxy"); },
                  [this](const NotifyMsg& message) { tellRegistry(message); });
  watch();
  return ExitCode::eSuccess;
}

// Until it is interrupted.
void WatchCommand::watch() {
  places_ = places();
  online_ = onlineDrives();
  spaces_mib_ = spaces();
  openFolders();
  lookAtFolders();
  tellBegin();
  for (;;) {
    Interrupt::wait(-1, std::max(interval_s_ * kMsPerSecond, taken_ms_ * kRest));
    lookAtRegistry();
    lookAtFolders();
  }
}

void WatchCommand::lookAtRegistry() {
  std::vector<std::string> now = places();
  if (now != places_) {
    places_ = std::move(now);
    startRegistry();
    online_ = onlineDrives();
    openFolders();
  }
  std::vector<bool> online = onlineDrives();
  if (online != online_) {
    online_ = std::move(online);
    DiskManager::issueMediaOnlineChangeNotification();
  }
  DiskManager::updateDrives();
  if (spaces() != spaces_mib_) DiskManager::update_drives_and_groups();
}

// What was seen in a folder goes on to count, whatever code its drive has now.
void WatchCommand::openFolders() {
  std::vector<FolderWatch> before;
  before.swap(folders_);
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all())
    for (CookieType type : {eCookieVision, eCookieSound}) {
      MaterialFilename folder(drive->getId(), drive->getFsysLocation(type));
      FolderWatch& opened = folders_.emplace_back(folder, MediaDrives::rootOf(*drive));
      auto known = std::find_if(before.begin(), before.end(), [&](const FolderWatch& other) {
        return other.osPath() == opened.osPath();
      });
      if (known != before.end()) opened.goOnFrom(*known);
    }
}

void WatchCommand::lookAtFolders() {
  taken_ms_ = 0;
  for (FolderWatch& folder : folders_) {
    Interrupt::check();
    lookAt(folder);
  }
}

// Of a folder that is seen for the first time, what the catalogue has is known; what came while
// that was being filled is told.
void WatchCommand::lookAt(FolderWatch& folder) {
  bool wasSilent = folder.isSilent();
  double begin_ms = Qv::now();
  FolderWatch::Changes changes = folder.look();
  if (!folder.isSilent()) taken_ms_ += Qv::now() - begin_ms;
  if (folder.isSilent() != wasSilent)
    tell(folder.isSilent() ? "no answer" : "answers", "", folder.osPath());
  for (const FolderWatch::File& file : changes.gone) gone(folder, file);
  for (const FolderWatch::File& file : changes.come)
    if (!changes.isFirst || !isCatalogued(file.cookie, folder.nameOf(file))) come(folder, file);
}

// The scan of a registry that was started anew may have seen it first. The library tells of the
// entry, and not which of its files has come.
void WatchCommand::come(const FolderWatch& folder, const FolderWatch::File& file) {
  MediaFileInfo info(folder.nameOf(file), file.bytes);
  forget(file.cookie, info);
  coming_ = {file.cookie, info.getMaterialFilename()};
  SystemCache::addFile(file.cookie, info, true);
}

void WatchCommand::gone(const FolderWatch& folder, const FolderWatch::File& file) const {
  MediaFileInfo info(folder.nameOf(file), file.bytes);
  forget(file.cookie, info);
  for (unsigned channel = 1; channel <= std::min(info.proxyAudioChannels(), 255u); ++channel)
    forget(convertCookie(file.cookie, eCookieSound, static_cast<unsigned char>(channel)), info);
  tell("gone", textOf(file.cookie), folder.pathOf(file));
}

void WatchCommand::tellBegin() const {
  size_t drives = folders_.size() / 2;
  Json json;
  json["watching"] = drives;
  tellNow(json);
  say(text("watching %zu media drive%s", drives, drives == 1 ? "" : "s"));
}

void WatchCommand::tellFile(const char* what) const {
  const auto& [cookie, name] = coming_;
  tell(what, textOf(cookie), name.getOsPath(), !isCatalogued(cookie, name));
}

void WatchCommand::tellRegistry(const NotifyMsg& message) {
  std::string what(message.getText().view());
  if (what == kSpaceChange) spaces_mib_ = spaces();
  tell(what, "", {});
}

void WatchCommand::tell(const std::string& what, const std::string& cookie, const PathString& file,
                        bool isIgnored) const {
  Json json;
  json["message"] = what;
  if (!cookie.empty()) json["cookie"] = cookie;
  if (!file.empty()) putName(json, "file", bytesOf(file));
  if (isIgnored) json["ignored"] = true;
  tellNow(json);
  std::string line = file.empty() ? what : text("%-16s  ", what.c_str());
  if (!cookie.empty()) line += cookie + "  ";
  say(line + escaped(bytesOf(file)) + (isIgnored ? " (ignored)" : ""));
}
