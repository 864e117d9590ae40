#include "fsys/NetLogin.h"

#include <new>
#include <optional>
#include <type_traits>

#include "fsys/Room.h"
#include "platform/CriticalSection.h"
#include "platform/DriveErrand.h"
#include "platform/OS.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr unsigned kOpenFlags = 4;

struct Login {
  Text lockFileName;        // empty: logged out
  Qv::Ptr<iFile> heldFile;  // the file of that name
};

// Threads may log in and out while the process ends.
Room<CriticalSection> roomOfLock;
CriticalSection& loginLock = *new (&roomOfLock) CriticalSection;
Room<Login> roomOfLogin;
Login* const login PT_GUARDED_BY(loginLock) = new(&roomOfLogin) Login;
Room<Qv::Ptr<iFile>> roomOfHandle;

// A library that is unloaded lets go of its file, which stays as a crash would leave it.
struct Unloading {
  Unloading() = default;
  // Waits for nobody: a process that was forked may have the lock of a thread that is not in it.
  ~Unloading() {
    if (!loginLock.tryEnter()) return;
    lockFilehandle.reset();
    login->heldFile.reset();
    loginLock.leave();
  }
};
const Unloading unloading;

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

Text lockFileNameOf(const Text& folder, const Text& station) {
  Text name = folder;
  const wchar_t separator = files()->getSeparator();
  if (!name.view().ends_with(separator)) name += separator;
  name += station;
  return name += L".cli";
}

// Elsewhere the file would lie in whatever folder is the current one, at the root, or in a folder
// that the workstation's name leads to; and one without a name would be everybody's.
bool isPlaceForALogin(const Text& folder, const Text& station) {
  const wchar_t separator = files()->getSeparator();
  return folder[0] == separator && !station.empty() && station.view().find(separator) == Text::npos;
}

// The name and the open file; empty, and the last error, when there is none.
Qv::Ptr<iFile> openLockFile(const Text& folder, Text& name) try {
  const Text station = workstation();
  name = lockFileNameOf(folder, station);
  if (!isPlaceForALogin(folder, station)) {
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
  if (login->lockFileName.empty()) return;
  lockFilehandle.reset();
  login->heldFile.reset();
  ask(login->lockFileName, [name = login->lockFileName] { return files()->deleteFile(name); });
  login->lockFileName = Text();
}

}  // namespace

Qv::Ptr<iFile>& lockFilehandle = *new (&roomOfHandle) Qv::Ptr<iFile>;

Text getNetLoginLockFileName(const Text& folder) { return lockFileNameOf(folder, workstation()); }

uint32_t NetLogin(const Text& folder) {
  CriticalSectionLock lock(loginLock);
  Text name;
  Qv::Ptr<iFile> opened = openLockFile(folder, name);
  lockFilehandle = opened;
  if (!opened || !opened->isOpen()) return 0;
  logoutLocked();
  login->heldFile = opened;
  login->lockFileName = name;
  ask(name, [name] { return files()->markFile(name); });
  return 1;
}

uint32_t NetLogout() {
  CriticalSectionLock lock(loginLock);
  logoutLocked();
  return 1;
}
