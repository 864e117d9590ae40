#pragma once

#include "platform/OS.h"

// LinuxOS: the system's own services. It has no state and needs no construction; each service sees
// to it that it works before main and after it.
class LinuxOS final : public iOS {
public:
  constexpr LinuxOS() = default;

  iMemoryManager* getMemoryManager() override;
  iVirtualMemory* getVirtualMemory() override;
  iThreads* getThreads() override;
  iClock* getClock() override;
  iFileManager* getFileManager() override;
  iAsyncIo* getAsyncIo() override;
  iSystemInfo* getSystemInfo() override;
  iOsErrors* getErrors() override;
};
