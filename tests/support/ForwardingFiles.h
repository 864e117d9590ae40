#pragma once

#include "tests/support/ForwardingOS.h"

// ForwardingFiles: a file manager behind OS() for a scope that passes everything on to the one that
// stood there. A test overrides what it wants to see or to be different.
class ForwardingFiles : public ForwardingOS, public iFileManager {
public:
  using Path = LightweightString<wchar_t>;

  iFileManager* getFileManager() override { return this; }

  Qv::Ptr<iFile> openMedia(const Path& path, unsigned flags, bool write, unsigned disposition,
                           unsigned mode) override {
    return below()->openMedia(path, flags, write, disposition, mode);
  }
  Qv::Ptr<iFile> openFile(const Path& path, unsigned access, unsigned creation, unsigned flags,
                          unsigned attributes) override {
    return below()->openFile(path, access, creation, flags, attributes);
  }
  bool isServed(const Path& path) const override { return below()->isServed(path); }
  Qv::Ptr<iFile> openServed(const Path& path, unsigned flags, bool write) override {
    return below()->openServed(path, flags, write);
  }
  void registerProvider(const Path& prefix, const Qv::Ptr<iFileProvider>& provider) override {
    below()->registerProvider(prefix, provider);
  }
  Qv::Ptr<iDiskDrive> getDisk(const Path& path) override { return below()->getDisk(path); }
  bool exists(const Path& path) override { return below()->exists(path); }
  bool getFileSize(const Path& path, uint64_t& bytes) override {
    return below()->getFileSize(path, bytes);
  }
  bool deleteFile(const Path& path) override { return below()->deleteFile(path); }
  bool createFolder(const Path& path) override { return below()->createFolder(path); }
  wchar_t getSeparator() const override { return below()->getSeparator(); }
  Vector<Qv::Ptr<iDiskDrive>> getDisks() override { return below()->getDisks(); }
  bool onDrive(const Path& path, const Qv::Ptr<iTask>& errand, unsigned patience_ms) override {
    return below()->onDrive(path, errand, patience_ms);
  }
  bool mayDriveFallSilent() override { return below()->mayDriveFallSilent(); }
  bool mayFallSilent(const Path& path) override { return below()->mayFallSilent(path); }
  bool folderExists(const Path& path) override { return below()->folderExists(path); }
  bool isWritable(const Path& path) override { return below()->isWritable(path); }
  bool listFiles(const Path& pattern, Vector<ListedFile>& files) override {
    return below()->listFiles(pattern, files);
  }
  bool renameFile(const Path& from, const Path& to) override {
    return below()->renameFile(from, to);
  }
  bool syncFolder(const Path& path) override { return below()->syncFolder(path); }
  bool deleteMedia(const MediaRemoval& media, MediaLeft& left) override {
    return below()->deleteMedia(media, left);
  }
  bool followLinks(const Path& path, Path& target) override {
    return below()->followLinks(path, target);
  }
  bool copyMode(const Path& from, const Path& to) override { return below()->copyMode(from, to); }
  bool markFile(const Path& path) override { return below()->markFile(path); }
  bool askLock(const Path& path, LockState& state) override {
    return below()->askLock(path, state);
  }
  Path getUNCName(const Path& path) override { return below()->getUNCName(path); }
  Vector<Share> getShares(const Path& workstation) override {
    return below()->getShares(workstation);
  }

protected:
  ~ForwardingFiles() = default;
  iFileManager* below() const { return inner()->getFileManager(); }
};
