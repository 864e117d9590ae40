#include "fsys/NetLogin.h"

#include <new>
#include <optional>
#include <type_traits>

#include "fsys/Room.h"
#include "platform/CriticalSection.h"
#include "platform/DriveErrand.h"
#include "platform/OS.h"

constinit Qv::Ptr<iFile> lockFilehandle;

namespace {

using Text = LightweightString<wchar_t>;

constexpr unsigned kOpenFlags = 4;

// Threads may log out while the process ends.
Room<CriticalSection> roomOfLock;
CriticalSection& loginLock = *new (&roomOfLock) CriticalSection;

constinit Text lockFileName GUARDED_BY(loginLock);        // of the login; empty: logged out
constinit Qv::Ptr<iFile> heldFile GUARDED_BY(loginLock);  // the file of that name

iFileManager* files() { return OS()->getFileManager(); }

Text workstation() { return OS()->getSystemInfo()->getWorkstationName(); }

// What the file's drive answers; nothing when it does not, or when there is no memory to ask it.
template <typename Work>
std::optional<std::invoke_result_t<Work>> ask(const Text& name, const Work& work) try {
  return askDrive(name, work, kNetLoginPatience_ms);
} catch (const std::bad_alloc&) {
  OS()->getErrors()->setLastError(eOsNoMemory);
  return std::nullopt;
}

// Elsewhere the file would lie in whatever folder is the current one, at the root, or in a folder
// that the workstation's name leads to; and one without a name would be everybody's.
bool isPlaceForALogin(const Text& folder) {
  const wchar_t separator = files()->getSeparator();
  const Text name = workstation();
  return folder[0] == separator && !name.empty() && name.view().find(separator) == Text::npos;
}

// The name and the open file; empty, and the last error, when there is none.
Qv::Ptr<iFile> openLockFile(const Text& folder, Text& name) try {
  name = getNetLoginLockFileName(folder);
  if (!isPlaceForALogin(folder)) {
    OS()->getErrors()->setLastError(eOsInvalid);
    return nullptr;
  }
  auto open = [name] {
    return files()->openFile(name, iFileManager::eAccessReadWrite, iFileManager::eOpenOrCreate,
                             kOpenFlags, iFileManager::eAttributeHoldLock);
  };
  return ask(name, open).value_or(nullptr);
} catch (const std::bad_alloc&) {
  OS()->getErrors()->setLastError(eOsNoMemory);
  return nullptr;
}

void logoutLocked() REQUIRES(loginLock) {
  if (lockFileName.empty()) return;
  lockFilehandle.reset();
  heldFile.reset();
  ask(lockFileName, [name = lockFileName] { return files()->deleteFile(name); });
  lockFileName = Text();
}

}  // namespace

Text getNetLoginLockFileName(const Text& folder) {
  Text name = folder;
  const wchar_t separator = files()->getSeparator();
  if (!name.view().ends_with(separator)) name += separator;
  name += workstation();
  return name += L".cli";
}

uint32_t NetLogin(const Text& folder) {
  CriticalSectionLock lock(loginLock);
  Text name;
  Qv::Ptr<iFile> opened = openLockFile(folder, name);
  lockFilehandle = opened;
  if (!opened || !opened->isOpen()) return 0;
  logoutLocked();
  heldFile = opened;
  lockFileName = name;
  ask(name, [name] { return files()->markFile(name); });
  return 1;
}

uint32_t NetLogout() {
  CriticalSectionLock lock(loginLock);
  logoutLocked();
  return 1;
}
