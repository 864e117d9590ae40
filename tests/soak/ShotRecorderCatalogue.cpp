// A recorder's shots in the catalogue: told or found, looked up, read back and removed.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <shared_mutex>

#include "fsys/SystemCache.h"
#include "tests/soak/PatternFile.h"
#include "tests/soak/ShotRecorder.h"

namespace {

constexpr const char* kBeside = "what lies beside media, and some of it";

void put(const std::string& path) { std::ofstream(path, std::ios::binary) << kBeside; }

}  // namespace

Cookie ShotRecorder::cookieOf(const RecordedShot& shot) const {
  return Cookie(SoakHouse::wide(shot.cookie));
}

MaterialFilename ShotRecorder::filename(const RecordedShot& shot, const std::string& name) const {
  return {SoakHouse::driveOf(shot.drive), SoakHouse::wide("/Material/" + name)};
}

// Whoever scans all drives meanwhile would find it before it is told.
void ShotRecorder::publish(const RecordedShot& shot) {
  std::shared_lock registry(stage_.house.registry());
  std::error_code failed;
  std::filesystem::rename(shot.partialPath(), shot.path(), failed);
  if (failed) found(shot, "cannot be renamed");
  put(shot.sidePath());
  if (shot.isTold)
    tellOf(shot);
  else
    findByScan(shot);
}

void ShotRecorder::tellOf(const RecordedShot& shot) {
  NewsLog& log = stage_.house.news();
  const auto add = [&](int type, const std::string& name) {
    log.begin(news(type, shot));
    SystemCache::addFile(cookieOf(shot), filename(shot, name), true);
    log.end(news(type, shot));
  };
  add(SystemCache::fileAddedMsgType_, shot.name());
  if (!shot.hasProxy) return;
  put(shot.proxyPath());
  add(SystemCache::proxyAddedMsgType_, shot.proxyName());
}

// Of what a scan finds nobody is told.
void ShotRecorder::findByScan(const RecordedShot& shot) {
  const DriveId drive = SoakHouse::driveOf(shot.drive);
  SystemCache::removeMediaLocation(drive);
  for (const RecordedShot& kept : kept_)
    if (!kept.isTold && SystemCache::findEntryForCookie(cookieOf(kept)))
      found(kept, "is known though its location was forgotten");
  SystemCache::addMediaLocation(drive);
  for (const RecordedShot& kept : kept_)
    if (!kept.isTold && SystemCache::fileSize(cookieOf(kept)) != kept.bytes)
      found(kept, "was not found again by a scan");
}

void ShotRecorder::lookUp(const RecordedShot& shot) {
  std::shared_lock registry(stage_.house.registry());
  LightweightString<wchar_t> path;
  const bool isKnown = SystemCache::findFileForCookie(cookieOf(shot), path, DecodeFormat(eHighRes));
  if (!isKnown || toUTF8(path).view() != shot.path())
    found(shot, std::string("is known as ") + toUTF8(path).c_str());
  if (SystemCache::fileSize(cookieOf(shot)) != shot.bytes) found(shot, "is known with other bytes");
}

void ShotRecorder::readBack(const RecordedShot& shot) {
  const std::string why =
      whyNotReadBack(SoakHouse::wide(shot.path()), shot.bytes, SoakHouse::seedOf(shot.cookie));
  if (!why.empty()) found(shot, "as it is read back: " + why);
  stage_.tally.comparedBytes += shot.bytes;
}

void ShotRecorder::removeOldest() {
  const RecordedShot shot = kept_.front();
  kept_.pop_front();
  std::shared_lock registry(stage_.house.registry());
  NewsLog& log = stage_.house.news();
  enter(eDeleting, shot.path());
  log.begin(news(SystemCache::fileRemovedMsgType_, shot));
  const bool isRemoved = SystemCache::removeFile(cookieOf(shot), true, eHighRes | eProxy);
  log.end(news(SystemCache::fileRemovedMsgType_, shot));
  const bool isHit = leave();
  if (isRemoved == isHit)
    found(shot, isRemoved ? "a failure to delete it was not told" : "cannot be deleted");
  if (SystemCache::findEntryForCookie(cookieOf(shot))) found(shot, "is known after it was removed");
  if (!isRemoved) removeAgain(shot);
  for (const std::string& path : shot.paths())
    if (std::filesystem::exists(path)) found(shot, "was removed, and left " + path);
  ++stage_.tally.deleted;
}

// The catalogue has forgotten it, and the disk has not.
void ShotRecorder::removeAgain(const RecordedShot& shot) {
  if (!std::filesystem::exists(shot.path())) return found(shot, "went though it could not");
  SystemCache::addFile(cookieOf(shot), filename(shot, shot.name()), false);
  if (!SystemCache::removeFile(cookieOf(shot), false, eHighRes | eProxy))
    found(shot, "cannot be deleted after a fault");
}

void ShotRecorder::expectNothingLeft() {
  for (const std::string& drive : {part_.toldDrive, part_.foundDrive})
    for (const auto& entry : std::filesystem::recursive_directory_iterator(drive))
      if (entry.is_regular_file()) stage_.findings.add(name() + " left " + entry.path().string());
}
