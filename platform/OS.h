#pragma once

#include "platform/Clocks.h"
#include "platform/OsAsyncIo.h"
#include "platform/OsErrors.h"
#include "platform/OsFiles.h"
#include "platform/OsMemory.h"
#include "platform/OsSystemInfo.h"
#include "platform/OsThreads.h"
#include "platform/PlatformExport.h"

// iOS: the services of the operating system. OS() is the only door to them.
// Story      The process starts with the system's own. A test may put another behind the door for a
//            while; the heap stays the system's own, so that memory may cross the change.
// Threads    any. What a service gives stays good after a change; the service pointers do not: they
//            are asked for at each use and never kept.
class iOS {
public:
  virtual iMemoryManager* getMemoryManager() = 0;
  virtual iVirtualMemory* getVirtualMemory() = 0;
  virtual iThreads* getThreads() = 0;
  virtual iClock* getClock() = 0;
  virtual iFileManager* getFileManager() = 0;
  virtual iAsyncIo* getAsyncIo() = 0;
  virtual iSystemInfo* getSystemInfo() = 0;
  virtual iOsErrors* getErrors() = 0;

protected:
  ~iOS() = default;
};

// The services. Works before main and after it; never null.
PLATFORM_EXPORT iOS* OS();
// Puts `os` behind the door (null: the system's own) and returns what stood there (null likewise).
// Only while no other thread uses the services.
PLATFORM_EXPORT iOS* swapOS(iOS* os);
// The system's own, whatever stands behind the door.
PLATFORM_EXPORT iOS* nativeOS();
