#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "platform/OS.h"
#include "platform/linux/LinuxFile.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/Pattern.h"
#include "tests/support/ScratchFolder.h"

using Manager = iFileManager;
using Path = LightweightString<wchar_t>;

inline constexpr uint64_t kLastOffset = 0x7FFFFFFFFFFFFFFF;

inline std::string pattern(size_t bytes, uint64_t from = 0) {
  std::string text(bytes, '\0');
  fillPattern(text.data(), bytes, from);
  return text;
}

// Opens files in a scratch folder through the system's own doors.
class LinuxFileFixture : public ::testing::Test {
protected:
  LinuxFileFixture() { linuxErrors()->setLastError(0); }

  static iOsErrors* linuxErrors() { return nativeOS()->getErrors(); }
  static uint32_t lastError() { return linuxErrors()->getLastError(); }

  static Qv::Ptr<iFile> openToRead(const Path& path, unsigned mode = Manager::eModeDirect) {
    return linuxFileManager()->openMedia(path, Manager::eFlagRead, false,
                                         Manager::eOpenOrCreateNeverTruncate, mode);
  }
  static Qv::Ptr<iFile> openToWrite(const Path& path, unsigned mode = Manager::eModeDirect,
                                    unsigned flags = Manager::eFlagRead | Manager::eFlagWrite) {
    return linuxFileManager()->openMedia(path, flags, true, Manager::eOpenOrCreateNeverTruncate,
                                         mode);
  }
  static Qv::Ptr<iFile> openGeneral(const Path& path, unsigned access, unsigned creation,
                                    unsigned attributes = 0) {
    return linuxFileManager()->openFile(path, access, creation, 0, attributes);
  }
  static bool isDirect(const Qv::Ptr<iFile>& file) {
    auto* linuxFile = dynamic_cast<LinuxFile*>(file.get());
    return linuxFile && linuxFile->usesDirect();
  }
  static int countDescriptors() {
    int count = 0;
    for (int i = 0; i < 256; ++i) count += fcntl(i, F_GETFD) >= 0;
    return count;
  }

  // Of names in the folder. A link that leads nowhere is there, too.
  void link(const std::string& target, std::string_view name) const {
    ASSERT_EQ(symlink(target.c_str(), folder_.bytes(name).c_str()), 0);
  }
  bool isThere(std::string_view name) const {
    struct stat status = {};
    return lstat(folder_.bytes(name).c_str(), &status) == 0;
  }

  ScratchFolder folder_;
};
