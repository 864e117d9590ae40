#include "tests/soak/SoakHouse.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <mutex>

namespace {

constexpr size_t kDigits = 7;

}  // namespace

SoakHouse::SoakHouse(const std::vector<std::string>& folders) {
  for (const std::string& folder : folders) {
    const ScopedEnvironment place("FSYS_TEST_FOLDER", folder.c_str());
    roots_.push_back(std::make_unique<ScratchFolder>());
  }
  if (roots_.empty()) roots_.push_back(std::make_unique<ScratchFolder>());
  SystemCache::invalidate();
  DiskManager::init(project_ / "", true);
}

SoakHouse::~SoakHouse() {
  SystemCache::invalidate();
  DiskManager::deInit();
}

std::string SoakHouse::makeFolder(const std::string& name) {
  const ScratchFolder& root = *roots_[made_++ % roots_.size()];
  for (const char* folder : {"/Material", "/Sound"})
    std::filesystem::create_directories(root.bytes(name + folder));
  return root.bytes(name);
}

std::string SoakHouse::makeLocation(const std::string& name) {
  const std::string folder = makeFolder(name);
  add(folder);
  return folder;
}

bool SoakHouse::add(const std::string& folder) {
  ++changes_;
  return DiskManager::addMediaLocation(wide(folder + "/"));
}

bool SoakHouse::remove(const std::string& folder) {
  ++changes_;
  return DiskManager::removeMediaLocation(wide(folder + "/"));
}

void SoakHouse::beginAnew() {
  std::lock_guard alone(registry_);
  ++changes_;
  SystemCache::invalidate();
  DiskManager::init(project_ / "", true);
}

DriveId SoakHouse::driveOf(const std::string& folder) {
  const Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(wide(folder + "/"));
  return drive ? drive->getId() : DriveId();
}

std::string SoakHouse::cookieText(char letter, uint64_t number, bool isSound) {
  const std::string digits = std::to_string(number);
  return (isSound ? "S" : "V") + std::string(1, letter) +
         std::string(kDigits - std::min(kDigits, digits.size()), '0') + digits +
         (isSound ? "01" : "00");
}

uint64_t SoakHouse::seedOf(const std::string& cookie) { return std::hash<std::string>()(cookie); }

SoakHouse::Files SoakHouse::knownOf(char letter) {
  Files files;
  SystemCache::enumerate([&](const Cookie& cookie, const FsysDirectoryEntry& entry) {
    const std::string text(cookie.asString(true).view());
    if (text[1] == letter && entry.hasHighRes())
      files[text] = {toUTF8(entry.primaryFilename().getOsPath()).c_str(), entry.fileSize()};
    return true;
  });
  return files;
}

std::string SoakHouse::whyNotKnown(char letter, const Files& expected) {
  const Files known = knownOf(letter);
  for (const auto& [text, file] : expected) {
    const auto place = known.find(text);
    if (place == known.end()) return text + " is not known";
    if (!(place->second == file))
      return text + " is known as " + place->second.path + " of " +
             std::to_string(place->second.bytes) + " bytes, not " + file.path + " of " +
             std::to_string(file.bytes);
  }
  for (const auto& [text, file] : known)
    if (!expected.contains(text)) return file.path + " is known, and not there";
  return "";
}
