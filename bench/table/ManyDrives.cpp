#include "bench/table/ManyDrives.h"

#include <filesystem>
#include <stdexcept>

#include "platform/PathHelpers.h"

ManyDrives::ManyDrives(const std::string& folder, unsigned count) {
  DiskManager::reInit(true);
  for (unsigned i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    add(folder + "/drive " + number, "Media " + number);
  }
}

ManyDrives::~ManyDrives() { DiskManager::deInit(); }

void ManyDrives::add(const std::string& folder, const std::string& name) {
  std::filesystem::create_directories(folder);
  Drive drive;
  drive.path = fromUTF8(std::filesystem::absolute(folder).lexically_normal().string());
  drive.location = withSeparator(drive.path);
  drive.name = fromUTF8(name);
  if (!DiskManager::addMaterialVolume(drive.path, drive.id, false))
    throw std::runtime_error("cannot register " + folder);
  DiskManager::setMediaLocationUserName(drive.id, drive.name);
  drives_.push_back(drive);
}
