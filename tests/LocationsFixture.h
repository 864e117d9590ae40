#pragma once

#include <string>

#include "tests/StorageFixture.h"

// LocationsFixture: the registry with its two lists, and somebody who listens.
class LocationsFixture : public StorageFixture {
protected:
  static constexpr const wchar_t* kLocations = L"/project/DefNetDrive.txt";
  static constexpr const wchar_t* kUnmounted = L"/project/UnmountedDrives.txt";
  static constexpr const char* kChanged = "MediaLocationsChangeMsg";

  LocationsFixture() {
    listen();
    DiskManager::init(kProject, true);
    forget();
  }

  // What was told and said so far.
  void forget() {
    events().clear();
    diagnostics_.clear();
  }
  // As at the start, with the disks that are there.
  void start() {
    forget();
    DiskManager::init(kProject);
  }
  // A folder that is registered.
  DriveId added(const Text& path, bool autoDiscovered = false) {
    files().addFolder(path);
    DriveId id;
    EXPECT_TRUE(DiskManager::addMaterialVolume(path, id, autoDiscovered));
    return id;
  }
  // The same with its media folders.
  DriveId prepared(const Text& path) {
    DriveId id = added(path);
    EXPECT_TRUE(DiskManager::prepareVolumeForMedia(id));
    return id;
  }

  bool isThere(const Text& file) { return files().hasFile(file); }
  // The registered drives in their order, as "1 /media".
  static Texts drives() {
    Texts names;
    DriveId id;
    for (bool more = DiskManager::getFirstMaterialVolume(id); more;
         more = DiskManager::getNextMaterialVolume(id)) {
      Text name = DiskManager::getMaterialVolumeName(id, false);
      names.push_back(std::string(id.asString().view()) + " " + toUTF8(name).c_str());
    }
    return names;
  }
  static std::string userName(DriveId id) {
    return toUTF8(DiskManager::getDriveWithUniqueId(id).getUserName(false)).c_str();
  }
  static Texts textsOf(const Vector<Text>& paths) {
    Texts texts;
    for (const Text& path : paths) texts.emplace_back(toUTF8(path).view());
    return texts;
  }
  static Texts missing() { return textsOf(DiskManager::getMissingMediaLocations()); }

  void expectCheck(const char* condition, const char* place) const {
    EXPECT_EQ(diagnostics_.outText(), std::string("assertion failed ") + condition +
                                          " at fsys/DiskManager line " + place + "\n");
  }
};
