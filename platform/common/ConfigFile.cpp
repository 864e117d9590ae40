#include "platform/common/ConfigFile.h"

#include <algorithm>
#include <optional>

#include "platform/DriveErrand.h"
#include "platform/Log.h"
#include "platform/common/ConfigFolder.h"

namespace {

// Of a file that is too large more than a configuration file may have.
std::string textIn(iFileManager& files, const PathString& path) {
  Qv::Ptr<iFile> file =
      files.openFile(path, iFileManager::eAccessRead, iFileManager::eOpenExisting, 0, 0);
  std::string text(file ? std::min(file->getSize(), ConfigFile::kMost_bytes + 1) : 0, '\0');
  uint32_t done = 0;
  if (file) file->readAt(0, text.data(), static_cast<uint32_t>(text.size()), &done);
  text.resize(done);
  return text;
}

}  // namespace

PathString ConfigFile::pathOf(const iSystemInfo& system) {
  std::string named;
  if (system.getEnvironment("FSYS_CONFIG", named) && !named.empty()) return fromUTF8(named);
  PathString folder = configFolder(system);
  return folder.empty() ? folder : joinPaths(folder, L"fsys.conf");
}

ConfigFile ConfigFile::read(iOS& os) {
  ConfigFile config;
  PathString path = pathOf(*os.getSystemInfo());
  config.name = toUTF8(path).view();
  if (path.empty()) return config;
  iFileManager* files = os.getFileManager();
  Qv::Ptr<DriveErrand<std::string>> errand(
      new DriveErrand<std::string>([files, path] { return textIn(*files, path); }));
  if (!files->onDrive(path, errand, kDrivePatience_ms)) {
    std::string reason = os.getErrors()->describe(os.getErrors()->getLastError());
    Log("%s is not read, the defaults are used: %s\n", config.name.c_str(), reason.c_str());
    return config;
  }
  std::string text = errand->take().value_or(std::string());
  if (text.size() > kMost_bytes)
    Log("%s is too large for a configuration file, it is ignored\n", config.name.c_str());
  else
    config.text.swap(text);
  return config;
}
