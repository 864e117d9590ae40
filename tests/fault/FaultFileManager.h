#pragma once

#include "tests/fault/FaultState.h"

// FaultFileManager: the files of the system below, any call of which may fail.
class FaultFileManager final : public iFileManager {
public:
  using Path = LightweightString<wchar_t>;

  FaultFileManager(const Qv::Ptr<FaultState>& state, iOS& inner) : state_(state), inner_(inner) {}

  Qv::Ptr<iFile> openMedia(const Path& path, unsigned flags, bool write, unsigned disposition,
                           unsigned mode) override;
  Qv::Ptr<iFile> openFile(const Path& path, unsigned access, unsigned creation, unsigned flags,
                          unsigned attributes) override;
  Qv::Ptr<iFile> openServed(const Path& path, unsigned flags, bool write) override;
  bool isServed(const Path& path) const override { return below()->isServed(path); }
  void registerProvider(const Path& prefix, const Qv::Ptr<iFileProvider>& provider) override {
    below()->registerProvider(prefix, provider);
  }
  Qv::Ptr<iDiskDrive> getDisk(const Path& path) override;
  bool exists(const Path& path) override {
    return !isRefused(FaultCall::eExists, &path) && below()->exists(path);
  }
  bool getFileSize(const Path& path, uint64_t& bytes) override;
  bool deleteFile(const Path& path) override;
  bool deleteMedia(const MediaRemoval& media, MediaLeft& left) override;
  bool createFolder(const Path& path) override;
  wchar_t getSeparator() const override { return below()->getSeparator(); }
  Vector<Qv::Ptr<iDiskDrive>> getDisks() override;
  bool onDrive(const Path& path, const Qv::Ptr<iTask>& errand, unsigned patience_ms) override;
  bool mayDriveFallSilent() override { return below()->mayDriveFallSilent(); }
  bool mayFallSilent(const Path& path) override { return below()->mayFallSilent(path); }
  bool folderExists(const Path& path) override {
    return !isRefused(FaultCall::eFolderExists, &path) && below()->folderExists(path);
  }
  bool isWritable(const Path& path) override {
    return !isRefused(FaultCall::eIsWritable, &path) && below()->isWritable(path);
  }
  bool listFiles(const Path& pattern, Vector<ListedFile>& files) override;
  bool renameFile(const Path& from, const Path& to) override;
  bool syncFolder(const Path& path) override {
    return !isRefused(FaultCall::eSyncFolder, &path) && below()->syncFolder(path);
  }
  bool followLinks(const Path& path, Path& target) override;
  bool copyMode(const Path& from, const Path& to) override;
  bool markFile(const Path& path) override {
    return !isRefused(FaultCall::eMarkFile) && below()->markFile(path);
  }
  bool askLock(const Path& path, LockState& state) override;
  Path getUNCName(const Path& path) override;
  Vector<Share> getShares(const Path& workstation) override;

private:
  iFileManager* below() const { return inner_.getFileManager(); }
  bool isRefused(FaultCall call, const Path* path = nullptr);
  Qv::Ptr<iFile> wrapped(const Qv::Ptr<iFile>& file, const Path& path);
  Qv::Ptr<iDiskDrive> wrapped(const Qv::Ptr<iDiskDrive>& drive);

  Qv::Ptr<FaultState> state_;
  iOS& inner_;
};
