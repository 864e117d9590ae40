#pragma once

#include <string>
#include <vector>

#include "fsys/FsysDirectoryEntry.h"
#include "tests/StorageFixture.h"

// DirectoryEntryFixture: an entry on the fake, and two drives, /m/ and /n/.
class DirectoryEntryFixture : public StorageFixture {
protected:
  DirectoryEntryFixture() : drive_(registeredId(L"/m/")), otherDrive_(registeredId(L"/n/")) {}

  MaterialFilename name(const Text& path) const { return {drive_, path}; }
  MediaFileInfo info(const Text& path, unsigned long bytes = 1000) const {
    return {name(path), bytes};
  }
  // The same with a file on the disk.
  MediaFileInfo media(const Text& path, unsigned long bytes = 1000) {
    files().addFile(L"/m" + path, std::vector<unsigned char>(bytes, 'x'));
    return info(path, bytes);
  }
  // The same with a link there.
  MediaFileInfo link(const Text& path, const Text& target) {
    addLinkFile(L"/m" + path, target);
    return info(path, MaterialLink::kBytes);
  }
  void addLinkFile(const Text& path, const Text& target) {
    std::string content(toUTF8(target).view());
    content.resize(MaterialLink::kBytes);
    write(path, content);
  }
  // One of high resolution.
  void add(const MediaFileInfo& file) { entry_.addFile(kCookie, file); }
  void addProxy(const MediaFileInfo& file) { entry_.addProxyFile(file); }

  // The paths of the proxies.
  Texts proxies() const {
    Texts paths;
    for (const MediaFileInfo& file : entry_.getProxyFiles())
      paths.emplace_back(toUTF8(file.getMaterialFilename().getPath()).view());
    return paths;
  }
  // How often the system was asked for anything.
  unsigned asked() {
    unsigned calls = 0;
    for (size_t kind = 0; kind < FaultPlan::eCallKinds; ++kind)
      calls += os_->faults().calls(static_cast<FaultPlan::eCall>(kind));
    return calls;
  }
  bool isThere(const Text& path) { return files().hasFile(path); }
  void remove(const Text& path) { EXPECT_TRUE(files().deleteFile(path)); }

  static std::string failed(const std::string& condition, const std::string& line) {
    return "assertion failed " + condition + " at fsys/FsysDirectoryEntry" +
           (line.empty() ? "" : " line " + line) + "\n";
  }

  const Cookie kCookie{L"V4K7Q2M9A00"};
  const DriveId drive_;
  const DriveId otherDrive_;
  FsysDirectoryEntry entry_;
};
