#pragma once

#include "platform/OS.h"

// ForwardingOS: puts itself behind OS() for a scope and passes everything on to what stood there. A
// test overrides the one service that it wants to be different.
class ForwardingOS : public iOS {
public:
  ForwardingOS() : before_(swapOS(this)) {}
  ForwardingOS(const ForwardingOS&) = delete;
  ForwardingOS& operator=(const ForwardingOS&) = delete;

  iMemoryManager* getMemoryManager() override { return inner()->getMemoryManager(); }
  iVirtualMemory* getVirtualMemory() override { return inner()->getVirtualMemory(); }
  iThreads* getThreads() override { return inner()->getThreads(); }
  iClock* getClock() override { return inner()->getClock(); }
  iFileManager* getFileManager() override { return inner()->getFileManager(); }
  iAsyncIo* getAsyncIo() override { return inner()->getAsyncIo(); }
  iSystemInfo* getSystemInfo() override { return inner()->getSystemInfo(); }
  iOsErrors* getErrors() override { return inner()->getErrors(); }

protected:
  ~ForwardingOS() { swapOS(before_); }
  iOS* inner() const { return before_ ? before_ : nativeOS(); }

private:
  iOS* before_;
};
