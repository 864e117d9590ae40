// The flat functions and the exported globals.

#include <exception>

#include "fsys/DeliveryScope.h"
#include "fsys/EngineSettings.h"
#include "fsys/Fsys.h"
#include "fsys/ResultCodes.h"
#include "platform/Log.h"

namespace {

constexpr int kShutdownPriority = 499;

}  // namespace

Fsys* theFsys = nullptr;
unsigned int FsysError = 1;
unsigned int MaxReadCoalesceSize = 33177600;
unsigned int MaxWriteCoalesceSize = 4194304;
bool GlobalWriteSpeedWarningFlag = true;

uint32_t FsysInitialize() {
  if (theFsys) return eResultOk;
  try {
    theFsys = new Fsys;
    Shutdown::addCallback(&FsysUninitialize, kShutdownPriority);
  } catch (const std::exception& failure) {
    Log("The engine cannot be started: %s\n", failure.what());
    FsysUninitialize(Shutdown::eNormal);
    return eResultFailed;
  }
  return eResultOk;
}

// Transfers that end meanwhile still count on the engine: it is named until it is gone. A callback
// that ends the process cannot be waited for by its own thread: the engine stays.
void FsysUninitialize(Shutdown::eExitType) {
  if (theFsys && DeliveryScope::active()) return theFsys->leaveBehind();
  delete theFsys;
  theFsys = nullptr;
}

uint32_t FsysOpen(FsysFile** file, LightweightString<wchar_t> path, uint32_t value, uint32_t flags,
                  CompletionCallback callback) {
  return theFsys ? theFsys->OpenFile(file, path, value, flags, callback) : eResultFailed;
}

uint32_t FsysClose(FsysFile* file, CompletionCallback callback) {
  return theFsys ? theFsys->Close(file, callback) : eResultFailed;
}

uint32_t FsysSetCoalesceLength(FsysFile* file, uint32_t length) {
  return theFsys ? theFsys->SetCoalesceLength(file, length) : eResultFailed;
}

uint32_t FsysGetWriteBytesOutstanding(unsigned int* bytes) {
  return theFsys ? theFsys->GetWriteBytesOutstanding(bytes) : eResultFailed;
}

uint32_t FsysGetLastError() { return OsAtomics::load(FsysError); }

void FsysSetNetworkWriteCaching(bool on) { EngineSettings::networkWriteCaching.set(on); }

void FsysSetImmediateRequestHandling(bool on) { EngineSettings::deferRequests.set(!on); }

void FsysSetWriteSpeedWarning(bool on) { OsAtomics::store(GlobalWriteSpeedWarningFlag, on); }

void FsysSetReadMaxCoalesceSize(unsigned int bytes) {
  OsAtomics::store(MaxReadCoalesceSize, bytes);
}

void FsysSetWriteMaxCoalesceSize(unsigned int bytes) {
  OsAtomics::store(MaxWriteCoalesceSize, bytes);
}
