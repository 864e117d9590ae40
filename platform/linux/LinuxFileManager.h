#pragma once

#include "platform/OsFiles.h"
#include "platform/common/ProviderTable.h"
#include "platform/linux/MountTable.h"

// LinuxFileManager: the system's files, and those that providers serve.
// Threads    any; keeps nothing of a path.
class LinuxFileManager final : public iFileManager {
public:
  Qv::Ptr<iFile> openMedia(const LightweightString<wchar_t>& path, unsigned flags, bool write,
                           unsigned disposition, unsigned mode) override;
  Qv::Ptr<iFile> openFile(const LightweightString<wchar_t>& path, unsigned access,
                          unsigned creation, unsigned flags, unsigned attributes) override;

  bool isServed(const LightweightString<wchar_t>& path) const override;
  Qv::Ptr<iFile> openServed(const LightweightString<wchar_t>& path, unsigned flags,
                            bool write) override;
  void registerProvider(const LightweightString<wchar_t>& prefix,
                        const Qv::Ptr<iFileProvider>& provider) override;

  Qv::Ptr<iDiskDrive> getDisk(const LightweightString<wchar_t>& path) override;
  bool exists(const LightweightString<wchar_t>& path) override;
  bool getFileSize(const LightweightString<wchar_t>& path, uint64_t& bytes) override;
  bool deleteFile(const LightweightString<wchar_t>& path) override;
  bool createFolder(const LightweightString<wchar_t>& path) override;
  wchar_t getSeparator() const override { return L'/'; }

  Vector<Qv::Ptr<iDiskDrive>> getDisks() override;
  bool onDrive(const LightweightString<wchar_t>& path, const Qv::Ptr<iTask>& errand,
               unsigned patience_ms) override;
  bool mayDriveFallSilent() override;
  bool mayFallSilent(const LightweightString<wchar_t>& path) override;

  bool folderExists(const LightweightString<wchar_t>& path) override;
  bool isWritable(const LightweightString<wchar_t>& path) override;
  bool listFiles(const LightweightString<wchar_t>& pattern, Vector<ListedFile>& files) override;
  bool renameFile(const LightweightString<wchar_t>& from,
                  const LightweightString<wchar_t>& to) override;
  bool syncFolder(const LightweightString<wchar_t>& path) override;
  bool deleteMedia(const MediaRemoval& media, MediaLeft& left) override;
  bool followLinks(const LightweightString<wchar_t>& path,
                   LightweightString<wchar_t>& target) override;
  bool copyMode(const LightweightString<wchar_t>& from,
                const LightweightString<wchar_t>& to) override;
  bool markFile(const LightweightString<wchar_t>& path) override;
  bool askLock(const LightweightString<wchar_t>& path, LockState& state) override;

  LightweightString<wchar_t> getUNCName(const LightweightString<wchar_t>& path) override;
  Vector<Share> getShares(const LightweightString<wchar_t>& workstation) override;

  // Gives back what it keeps open between two questions. It can be asked on.
  void letGo() { mounts_.unwatch(); }

private:
  Qv::Ptr<DriveProbe> probeOf(const LightweightString<wchar_t>& path);
  uint32_t deleteSubfolder(int held, const MediaRemoval& media) const;

  ProviderTable providers_;
  MountTable mounts_;
};

iFileManager* linuxFileManager();
