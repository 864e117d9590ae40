#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "fsys/DiskManager.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestDiagnostics.h"

// RegistryFixture: the registry of drives on the real machine, with a project space of its own.
class RegistryFixture : public testing::Test {
protected:
  using Text = LightweightString<wchar_t>;
  using Paths = std::vector<std::string>;

  ~RegistryFixture() override { DiskManager::deInit(); }

  static Text wide(const std::string& path) { return fromUTF8(std::string_view(path)); }
  void start() { DiskManager::init(project_ / ""); }
  // In the scratch folder.
  std::string madeFolder(std::string_view name) const {
    std::filesystem::create_directories(scratch_.bytes(name));
    return scratch_.bytes(name);
  }
  static std::string locationOf(const std::string& folder) { return folder + "/"; }
  static bool isFolder(const std::string& path) { return std::filesystem::is_directory(path); }

  // Of these folders, those that are registered, in the registry's order: the machine has drives of
  // its own.
  static Paths registeredOf(const Paths& folders) {
    Paths found;
    DriveId id;
    for (bool more = DiskManager::getFirstMaterialVolume(id); more;
         more = DiskManager::getNextMaterialVolume(id)) {
      std::string name = toUTF8(DiskManager::getMaterialVolumeName(id, false)).c_str();
      if (std::find(folders.begin(), folders.end(), name) != folders.end()) found.push_back(name);
    }
    return found;
  }
  static bool isRegistered(const std::string& folder) { return !registeredOf({folder}).empty(); }
  static DriveId idOf(const std::string& folder) {
    Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(wide(locationOf(folder)));
    return drive ? drive->getId() : DriveId();
  }

  ScratchFolder scratch_;
  ScratchFolder project_;
  TestDiagnostics diagnostics_;
};
