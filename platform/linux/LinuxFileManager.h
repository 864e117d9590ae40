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

private:
  ProviderTable providers_;
  MountTable mounts_;
};

iFileManager* linuxFileManager();
