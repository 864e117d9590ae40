#pragma once

#include <optional>
#include <string>

#include "platform/OsDrives.h"
#include "platform/fake/FakeDrive.h"

class FakeFileManager;

// FakeDiskDrive: a drive of the fake as it was when it was asked for. Whether it answers, and its
// space, are asked of the file manager again. None lies under another.
class FakeDiskDrive final : public iDiskDrive {
public:
  // `available`: none when it has not been asked yet.
  FakeDiskDrive(FakeFileManager& files, const std::wstring& prefix, std::optional<bool> available);

  eType getType() const override { return drive_.type; }
  uint32_t getSectorSize() const override { return drive_.sectorSize; }
  LightweightString<wchar_t> getRootPath() const override;
  LightweightString<wchar_t> getFileSystem() const override {
    return LightweightString<wchar_t>(std::wstring_view(drive_.fileSystem));
  }
  bool isExcluded() const override { return drive_.excluded; }
  bool isHidden() const override { return false; }
  bool isAvailable() override;
  bool getSpace(uint64_t& freeBytes, uint64_t& totalBytes) override;

private:
  FakeFileManager& files_;
  const std::wstring prefix_;
  const FakeDrive drive_;
  std::optional<bool> available_;
};
