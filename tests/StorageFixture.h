#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "fsys/DiskManager.h"
#include "fsys/VolumeRegistry.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/CatalogueWatch.h"
#include "tests/support/TestDiagnostics.h"

// StorageFixture: an empty registry on the fake, and what it tells.
// Story      A test adds disks to the machine, folders to the registry, and reads events(): what
//            the catalogue and, from listen() on, a listener were told. Identifiers begin at '1'.
//            That the catalogue was told to remove a drive is seen at the next event, or by
//            events(). What it says of the drives that it adds is not among the diagnostics.
class StorageFixture : public testing::Test {
protected:
  using Text = LightweightString<wchar_t>;
  using Texts = std::vector<std::string>;
  static constexpr uint64_t kMebibyte = 1 << 20;

  StorageFixture() {
    VolumeRegistry& registry = VolumeRegistry::get();
    registry.projectSpace = {};
    registry.missingMediaLocations.clear();
    registry.timeOfLastSpaceUpdate = 0;
    registry.shares.forget();
    DiskManager::reInit(true);
    events().clear();
    whenTold() = nullptr;
    DiagnosticSinks sinks = setDiagnosticSinks({});
    sinks.logBoth = [said = sinks.logBoth](const std::string& text) {
      if (!CatalogueWatch::isAdded(text)) return said(text);
      if (auto id = CatalogueWatch::driveOf(text)) tell("+" + std::string(id->asString().view()));
    };
    setDiagnosticSinks(std::move(sinks));
    CatalogueWatch::plant();
    files().addFolder(kProject);
    os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "/home/config");
  }
  ~StorageFixture() override {
    CatalogueWatch::clear();
    VolumeRegistry::get().notifier.remove(NotifyMsgTypeDictionary::intern("DiskManager"), ear_);
    VolumeRegistry::get().shares.forget();
    DiskManager::reInit(true);
  }

  FakeFileManager& files() { return os_->files(); }

  // A disk that the machine lists; `root` ends in a separator.
  FakeDrive& addBareDisk(const Text& root, double freeMB = 1000) {
    FakeDrive disk;
    disk.listed = true;
    disk.freeBytes = static_cast<uint64_t>(freeMB * kMebibyte);
    files().setDrive(root, disk);
    files().addFolder(root);
    return files().drive(root);
  }
  // The same with the folder by which discovery knows it.
  FakeDrive& addDisk(const Text& root, double freeMB = 1000) {
    FakeDrive& disk = addBareDisk(root, freeMB);
    files().addFolder(root + L"Material");
    return disk;
  }
  // Into the registry alone: nobody is told.
  static Qv::Ptr<MediaDrive> registerDrive(const Text& root,
                                           iDiskDrive::eType type = iDiskDrive::eFixed) {
    Qv::Ptr<MediaDrive> drive = VolumeRegistry::get().registerDrive(root, type, false);
    drive->update();
    return drive;
  }
  static DriveId registeredId(const Text& root) { return registerDrive(root)->getId(); }

  // The codes of the registered drives, in their order.
  static std::string codes() {
    std::string all;
    DriveId id;
    for (bool more = DiskManager::getFirstMaterialVolume(id); more;
         more = DiskManager::getNextMaterialVolume(id))
      all += static_cast<char>(id.code());
    return all;
  }

  // From here on a listener writes the messages' texts into events().
  void listen() {
    ear_ = Notifier::Listener(new Ear);
    DiskManager::addListener(ear_);
  }
  // "+1": the catalogue was told of drive '1'; "-1": that it goes; else a message's text.
  static Texts& events() {
    noteRemoved();
    return told();
  }
  // Called with each event, as it is told.
  static std::function<void(const std::string& event)>& whenTold() {
    static auto& action = *new std::function<void(const std::string& event)>;
    return action;
  }

  std::string content(const Text& path) {
    std::vector<unsigned char> bytes = files().bytesOf(path);
    return {bytes.begin(), bytes.end()};
  }
  void write(const Text& path, const std::string& text) {
    files().addFile(path, {text.begin(), text.end()});
  }

  const Text kProject = L"/project/";
  FakeOSScope os_;
  TestDiagnostics diagnostics_;

private:
  struct Ear : iCallbackBase<int, NotifyMsg> {
    int callback(NotifyMsg message) override {
      tell(message.getText().c_str());
      return 0;
    }
  };
  static Texts& told() {
    static Texts& all = *new Texts;
    return all;
  }
  static void noteRemoved() {
    for (DriveId id : CatalogueWatch::takeRemoved())
      told().push_back("-" + std::string(id.asString().view()));
  }
  static void tell(const std::string& event) {
    events().push_back(event);
    if (whenTold()) whenTold()(event);
  }

  Notifier::Listener ear_;
};
