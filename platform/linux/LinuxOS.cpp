#include "platform/linux/LinuxOS.h"

#include "platform/linux/LinuxAsyncIo.h"
#include "platform/linux/LinuxClock.h"
#include "platform/linux/LinuxErrors.h"
#include "platform/linux/LinuxFileManager.h"
#include "platform/linux/LinuxMemory.h"
#include "platform/linux/LinuxSystemInfo.h"
#include "platform/linux/LinuxThreads.h"
#include "platform/linux/LinuxVirtualMemory.h"

namespace {
constinit LinuxOS theOS;
}

iMemoryManager* LinuxOS::getMemoryManager() { return linuxMemoryManager(); }
iVirtualMemory* LinuxOS::getVirtualMemory() { return linuxVirtualMemory(); }
iThreads* LinuxOS::getThreads() { return linuxThreads(); }
iClock* LinuxOS::getClock() { return linuxClock(); }
iFileManager* LinuxOS::getFileManager() { return linuxFileManager(); }
iAsyncIo* LinuxOS::getAsyncIo() { return linuxAsyncIo(); }
iSystemInfo* LinuxOS::getSystemInfo() { return linuxSystemInfo(); }
iOsErrors* LinuxOS::getErrors() { return linuxErrors(); }

iOS* nativeOS() { return &theOS; }
