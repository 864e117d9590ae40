#include "platform/fake/FakeDiskDrive.h"

#include "platform/fake/FakeFileManager.h"
#include "platform/fake/FakePath.h"

FakeDiskDrive::FakeDiskDrive(FakeFileManager& files, const std::wstring& prefix,
                             std::optional<bool> available)
    : files_(files), prefix_(prefix), drive_(files.driveWith(prefix)), available_(available) {}

LightweightString<wchar_t> FakeDiskDrive::getRootPath() const {
  std::wstring root = FakePath::withEnd(prefix_, files_.getSeparator());
  return LightweightString<wchar_t>(std::wstring_view(root));
}

bool FakeDiskDrive::isAvailable() {
  if (!available_) available_ = files_.askDrives({prefix_});
  return *available_;
}

bool FakeDiskDrive::getSpace(uint64_t& freeBytes, uint64_t& totalBytes) {
  freeBytes = totalBytes = 0;
  uint32_t error = files_.faults().next(FaultPlan::eGetSpace).error;
  if (error == 0) {
    available_ = files_.askDrives({prefix_});
    if (!*available_) error = eOsTimedOut;
  }
  if (error != 0) {
    files_.errors().fail(error);
    return false;
  }
  const FakeDrive& now = files_.driveWith(prefix_);
  freeBytes = now.freeBytes;
  totalBytes = now.totalBytes;
  return true;
}
