#include "tools/fsys/RmCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <optional>

#include "fsys/DiskManager.h"
#include "fsys/MediaDeletion.h"
#include "fsys/MediaName.h"
#include "platform/DriveErrand.h"
#include "tools/fsys/Confirmation.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "deleting";
constexpr const char* kLooking = "looking for more of it in";
// A folder of many files takes its time.
constexpr unsigned kFolderPatience_ms = 60000;
constexpr uint32_t kDeleted = 1;

std::string quoted(const PathString& path) { return inQuotes(bytesOf(path)); }

void addIfLeft(std::vector<ToolError>& left, const PathString& path) {
  const DriveAnswer isThere = askIsThere(path);
  if (isThere.yes)
    left.push_back(ToolError(ExitCode::eIo, kDoing, bytesOf(path), "it is still there"));
  else if (isThere.error != eOsNotFound)
    left.push_back(driveError(kDoing, path, isThere.error));
}

Json jsonOf(const ToolError& error) {
  Json json;
  putName(json, "path", error.file());
  json["why"] = error.why();
  return json;
}

// The files of that cookie in a folder, whose path ends in a separator; none when there is no such
// folder.
std::vector<PathString> filesOf(const Cookie& cookie, const PathString& folder) {
  const DriveAnswer isFolder = askIsFolder(folder);
  if (!isFolder.yes && isFolder.error == eOsNotFound) return {};
  if (!isFolder.yes) throw driveError(kLooking, folder, isFolder.error);
  auto listing = askDrive(
      folder,
      [folder] {
        Vector<iFileManager::ListedFile> files;
        bool isListed = OS()->getFileManager()->listFiles(folder + L"*.*", files);
        return isListed ? std::optional(std::move(files)) : std::nullopt;
      },
      kFolderPatience_ms);
  if (!listing || !*listing) throw driveError(kLooking, folder, OS()->getErrors()->getLastError());
  std::vector<PathString> paths;
  for (const iFileManager::ListedFile& file : **listing)
    if (MediaName(file.name, file.bytes).cookie == cookie) paths.push_back(folder + file.name);
  return paths;
}

}  // namespace

CLI::App* RmCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      addCommand(app, "rm", "Delete the files of a cookie, with what lies beside them");
  addWord(command, "COOKIE", cookie_, "Of the media, as V4K7Q2M9A00");
  addFlag(command, "--high", high_, "The high-resolution file");
  addFlag(command, "--proxy", proxy_, "The proxies");
  addFlag(command, "--yes", yes_, "Do not ask");
  addFlag(command, "--dry-run", dryRun_, "Only say what would be deleted");
  return command;
}

ExitCode RmCommand::work() {
  SystemCache::Entry entry = requireEntry();
  plan(*entry);
  announce();
  tellJson();
  if (dryRun_) {
    say("nothing was deleted");
    return ExitCode::eSuccess;
  }
  if (!mayGoOn()) throw ToolError(ExitCode::eOther, kDoing, cookie_, "it was not wanted");
  try {
    deleteAll(*entry);
    tellStaying();
  } catch (...) {
    sayFailures(0);
    throw;
  }
  tellFailures();
  return ExitCode::eSuccess;
}

SystemCache::Entry RmCommand::requireEntry() const {
  Cookie cookie = requireCookie(kDoing, cookie_);
  if (!high_ && !proxy_)
    throw ToolError(ExitCode::eUsage, kDoing, cookie_,
                    "say what: --high the high-resolution file, --proxy the proxies, or both");
  if (asks() && !Confirmation::canAsk())
    throw ToolError(ExitCode::eUsage, kDoing, cookie_,
                    "there is no terminal to ask on; --yes goes without");
  if (asks() && !saysWords())
    throw ToolError(ExitCode::eUsage, kDoing, cookie_,
                    "nothing would say what goes; --yes goes without asking");
  SystemCache::Entry entry = SystemCache::findEntryForCookie(cookie);
  if (!entry) throw noMediaOf(kDoing, cookie);
  return entry;
}

// In the order in which the library deletes: the proxies first. A copy of the media is no proxy: it
// goes only with everything.
void RmCommand::plan(FsysDirectoryEntry& entry) {
  if (!allAnswer(entry))
    throw ToolError(ExitCode::eIo, kDoing, cookie_, "the drive of a file does not answer");
  entry.updateStatus(eProxy);
  const std::vector<MediaFile> files = MediaFile::allOf(entry);
  for (const MediaFile& file : files)
    if (file.isProxy ? proxy_ : !file.isHighRes && high_ && proxy_) doomed_.push_back(doomed(file));
  for (const MediaFile& file : files)
    if (file.isHighRes && high_) doomed_.push_back(doomed(file));
  if (doomed_.empty())
    throw ToolError(ExitCode::eNotFound, kDoing, cookie_,
                    high_ && proxy_ ? "it has no file"
                    : high_         ? "it has no high-resolution file"
                                    : "it has no proxy");
}

RmCommand::Doomed RmCommand::doomed(const MediaFile& file) {
  // The path of a file on a drive that is none leads elsewhere.
  if (!DiskManager::isMaterialVolume(file.name.getDrive()))
    throw ToolError(ExitCode::eNotFound, kDoing, bytesOf(file.path), "its media drive is away");
  auto folder = askDrive(file.path, [name = file.name] { return linkedFolderOf(name); });
  auto beside =
      askDrive(file.path, [path = file.path] { return sideFilesOf(path); }, kFolderPatience_ms);
  if (!folder || !beside) throw driveError(kDoing, file.path, OS()->getErrors()->getLastError());
  return {file, diskOf(file.path), *folder, {beside->begin(), beside->end()}};
}

size_t RmCommand::countOf() const {
  size_t count = 0;
  for (const Doomed& doomed : doomed_) count += 1 + doomed.beside.size();
  return count;
}

// By its path. What can be reached by another, through a symbolic link, is taken to stay.
bool RmCommand::goes(const PathString& path) const {
  const PathString whole = normalisedPath(path);
  return std::any_of(doomed_.begin(), doomed_.end(), [&](const Doomed& doomed) {
    return whole == doomed.file.path ||
           std::find(doomed.beside.begin(), doomed.beside.end(), whole) != doomed.beside.end() ||
           (!doomed.folder.empty() && whole.view().starts_with(doomed.folder.view()));
  });
}

std::string RmCommand::wordsOf(const Doomed& doomed) const {
  const MediaFile& file = doomed.file;
  std::string words = std::string(file.kind()) + ", " + sizeText(file.bytes);
  if (!file.isLink) return words;
  words += ", a link to " + quoted(file.target);
  return words + (file.state == MediaFile::eMissing ? ", which is missing"
                  : goes(file.target)               ? ", which goes too"
                                                    : ", which stays");
}

void RmCommand::announce() const {
  for (const Doomed& doomed : doomed_) {
    announce(quoted(doomed.file.path) + " (" + wordsOf(doomed) + ")");
    if (const std::vector<Cookie> all = doomed.file.cookies(); all.size() > 1)
      announce("  which is the proxy of " + textOf(all.front()) + ", and of " + textOf(all[1]) +
               (all.size() > 2 ? " to " + textOf(all.back()) : ""));
    if (!doomed.folder.empty())
      announce("  and, since it is a link into it, all of the folder " + quoted(doomed.folder));
    for (const PathString& side : doomed.beside) announce("  and beside it " + quoted(side));
  }
}

void RmCommand::announce(const std::string& line) const {
  say(line);
  if (asks()) Confirmation::show(line);
}

bool RmCommand::asks() const { return !yes_ && !dryRun_; }

bool RmCommand::mayGoOn() const {
  if (yes_) return true;
  bool hasFolder = std::any_of(doomed_.begin(), doomed_.end(),
                               [](const Doomed& doomed) { return !doomed.folder.empty(); });
  return Confirmation::isGiven(text("Delete %zu file%s%s?", countOf(), countOf() == 1 ? "" : "s",
                                    hasFolder ? " and a folder with all in it" : ""));
}

// Waits for its drive.
bool RmCommand::Doomed::leadsElsewhere() const {
  if (file.bytes != MaterialLink::kBytes) return false;
  PathString target;
  (void)MaterialLink::getLinkedFilename(file.path, target);
  return !(target == (file.isLink ? file.target : file.path));
}

// Waits for its drive. A link that is gone by now leads nowhere, and has not changed.
bool RmCommand::Doomed::hasChanged(const PathString& now) const {
  uint64_t bytes = 0;
  const bool isThere = OS()->getFileManager()->getFileSize(file.path, bytes);
  if (isThere && (bytes != file.bytes || !(now == disk) || leadsElsewhere())) return true;
  const bool isAway = !isThere && OS()->getErrors()->getLastError() == eOsNotFound;
  const Vector<PathString> sides = sideFilesOf(file.path);
  return (!isAway && !(linkedFolderOf(file.name) == folder)) ||
         !std::all_of(sides.begin(), sides.end(), [this](const PathString& side) {
           return std::find(beside.begin(), beside.end(), side) != beside.end();
         });
}

// Known of a folder that can be read on the disk where the file was.
bool RmCommand::Doomed::isGone() const {
  const PathString pattern = getPath(file.path) + literalName(stripPath(file.path));
  auto isListedAway = askDrive(
      file.path,
      [pattern] {
        Vector<iFileManager::ListedFile> files;
        return OS()->getFileManager()->listFiles(pattern, files) && files.empty();
      },
      kFolderPatience_ms);
  return isListedAway.value_or(false) && diskOf(file.path) == disk;
}

// Whoever was asked may have taken long to answer: a link that leads elsewhere by now stays, and so
// do media that has come in its place, also on another disk, and a file beside which others have
// come. Where a drive has two names a file goes under both with the first.
void RmCommand::deleteOne(const Qv::Ptr<FsysDirectoryEntry>& entry, Doomed& doomed) {
  auto result = askDrive(
      doomed.file.path,
      [entry, doomed, disk = diskOf(doomed.file.path)]() -> std::optional<uint32_t> {
        if (doomed.hasChanged(disk)) return std::nullopt;
        return entry->deleteFile(doomed.file.name);
      },
      kFolderPatience_ms);
  if (result && !*result) {
    doomed.failures.push_back(ToolError(ExitCode::eIo, kDoing, bytesOf(doomed.file.path),
                                        "it has changed meanwhile, and stays"));
    return;
  }
  const uint32_t error = result ? **result : OS()->getErrors()->getLastError();
  doomed.isDeleted = error == kDeleted || (error == eOsNotFound && doomed.isGone());
  if (!doomed.isDeleted) doomed.failures.push_back(driveError(kDoing, doomed.file.path, error));
  lookForLeft(doomed);
}

void RmCommand::lookForLeft(Doomed& doomed) {
  for (const PathString& side : doomed.beside) addIfLeft(doomed.left, side);
  if (!doomed.folder.empty()) addIfLeft(doomed.left, doomed.folder);
}

// Whatever ends it, what was deleted is told.
void RmCommand::deleteAll(FsysDirectoryEntry& entry) {
  Qv::Ptr<FsysDirectoryEntry> kept(&entry);
  for (Doomed& doomed : doomed_) {
    Interrupt::check();
    deleteOne(kept, doomed);
    if (doomed.isDeleted) say("deleted " + quoted(doomed.file.path));
    tellJson();
  }
}

Json RmCommand::Doomed::json() const {
  Json json;
  file.put(json);
  json["cookies"] = Json::array();
  for (const Cookie& cookie : file.cookies()) json["cookies"].push_back(textOf(cookie));
  if (!folder.empty()) putName(json, "folder", bytesOf(folder));
  json["beside"] = Json::array();
  for (const PathString& side : beside) {
    Json one;
    putName(one, "file", bytesOf(side));
    json["beside"].push_back(one);
  }
  json["deleted"] = isDeleted;
  if (!failures.empty()) json["why"] = failures.front().why();
  json["left"] = Json::array();
  for (const ToolError& error : left) json["left"].push_back(jsonOf(error));
  return json;
}

void RmCommand::tellJson() {
  results()["dry_run"] = dryRun_;
  Json files = Json::array();
  for (const Doomed& doomed : doomed_) files.push_back(doomed.json());
  results()["files"] = files;
}

void RmCommand::tellStaying() {
  const Cookie cookie = requireCookie(kDoing, cookie_);
  results()["stays"] = Json::array();
  results()["not_looked_at"] = Json::array();
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all())
    for (CookieType type : {eCookieVision, eCookieSound}) {
      Interrupt::check();
      tellStaying(cookie,
                  MaterialFilename(drive->getId(), drive->getFsysLocation(type)).getOsPath());
    }
  tellMissing();
}

void RmCommand::tellStaying(const Cookie& cookie, const PathString& folder) try {
  for (const PathString& path : filesOf(cookie, folder)) {
    Json json;
    putName(json, "path", bytesOf(path));
    results()["stays"].push_back(json);
    say(quoted(path) + " stays");
  }
} catch (const ToolError& error) {
  notLookedAt_.push_back(error);
  results()["not_looked_at"].push_back(jsonOf(error));
}

std::vector<ToolError> RmCommand::failures() const {
  std::vector<ToolError> all;
  for (const Doomed& doomed : doomed_) {
    all.insert(all.end(), doomed.failures.begin(), doomed.failures.end());
    all.insert(all.end(), doomed.left.begin(), doomed.left.end());
  }
  all.insert(all.end(), notLookedAt_.begin(), notLookedAt_.end());
  return all;
}

void RmCommand::sayFailures(size_t from) const {
  if (wantsJson()) return;
  const std::vector<ToolError> all = failures();
  for (size_t i = from; i < all.size(); ++i)
    std::fprintf(stderr, "fsys %s: %s\n", name().c_str(), all[i].what());
}

// Every one in words; the first is the command's own.
void RmCommand::tellFailures() const {
  const std::vector<ToolError> all = failures();
  sayFailures(1);
  if (all.size() == 1) throw all.front();
  if (!all.empty()) throw ToolError(all.front()).withRemark(text("and %zu more", all.size() - 1));
}
