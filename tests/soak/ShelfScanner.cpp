#include "tests/soak/ShelfScanner.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <shared_mutex>

namespace {

constexpr char kLetter = 'H';
constexpr unsigned kFirst = 200;  // files
constexpr double kTurn_ms = 500;
constexpr uint32_t kMostChanges = 6;
constexpr uint32_t kMostBytes = 500;  // less than a link has

}  // namespace

ShelfScanner::ShelfScanner(const SoakStage& stage, const std::string& drive, uint64_t seed)
    : SoakVictim(stage.clock, "the scanner"), stage_(stage), drive_(drive), dice_(seed) {
  for (unsigned i = 0; i < kFirst; ++i) put();
}

// Of the folder for pictures.
bool ShelfScanner::isMeantLocked(const FaultPlace& place) const {
  return kind_ == SoakFault::eListingFails && isScanning_ && place.path &&
         toUTF8(*place.path).view().starts_with(drive_ + "/Material/");
}

void ShelfScanner::run() {
  while (stage_.clock.waitFor(kTurn_ms)) {
    change();
    scan();
  }
}

void ShelfScanner::change() {
  for (uint32_t i = dice_.below(kMostChanges); i > 0; --i) put();
  for (uint32_t i = dice_.below(kMostChanges); i > 0 && files_.size() > kFirst / 2; --i) drop();
}

void ShelfScanner::put() {
  const bool isSound = dice_.chance(50);
  const std::string cookie = SoakHouse::cookieText(kLetter, made_++, isSound);
  const std::string path =
      drive_ + (isSound ? "/Sound/" : "/Material/") + cookie + (isSound ? ".wav" : ".mov");
  const uint32_t bytes = dice_.between(1, kMostBytes);
  std::ofstream(path, std::ios::binary) << std::string(bytes, 'm');
  files_[cookie] = {path, bytes};
}

void ShelfScanner::drop() {
  const auto file = std::next(files_.begin(), dice_.below(static_cast<uint32_t>(files_.size())));
  std::filesystem::remove(file->second.path);
  files_.erase(file);
}

void ShelfScanner::scan() {
  {
    std::lock_guard lock(lock_);
    isScanning_ = true;
  }
  std::shared_lock registry(stage_.house.registry());
  const DriveId drive = SoakHouse::driveOf(drive_);
  SystemCache::removeMediaLocation(drive);
  stage_.findings.addUnlessEmpty("forgetting the shelf", SoakHouse::whyNotKnown(kLetter, {}));
  SystemCache::addMediaLocation(drive);
  bool isHit;
  {
    std::lock_guard lock(lock_);
    isHit = std::exchange(isHit_, false);
    isScanning_ = false;
  }
  SoakHouse::Files expected = files_;
  if (isHit) {
    ++stage_.tally.failuresTold;
    std::erase_if(expected, [](const auto& file) { return file.first[0] == 'V'; });
  }
  stage_.findings.addUnlessEmpty("scanning the shelf", SoakHouse::whyNotKnown(kLetter, expected));
  ++stage_.tally.scans;
  stage_.tally.scannedFiles += expected.size();
}
