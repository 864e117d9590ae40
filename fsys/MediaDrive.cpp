#include "fsys/MediaDrive.h"

#include "platform/OS.h"

MediaDrive::MediaDrive(const LightweightString<wchar_t>& rootPath) : rootLocation_(rootPath) {
  wchar_t separator = OS()->getFileManager()->getSeparator();
  if (rootLocation_.empty() || rootLocation_[rootLocation_.length() - 1] != separator)
    rootLocation_ += separator;
}

MediaDrive::~MediaDrive() = default;
