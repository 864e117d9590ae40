#pragma once

#include "platform/OS.h"
#include "platform/fake/FakeAsyncIo.h"
#include "platform/fake/FakeClock.h"
#include "platform/fake/FakeErrors.h"
#include "platform/fake/FakeFileManager.h"
#include "platform/fake/FakeSystemInfo.h"
#include "platform/fake/FakeThreads.h"
#include "platform/fake/FakeVirtualMemory.h"
#include "platform/fake/FakeWorld.h"
#include "platform/fake/FaultPlan.h"

// FakeOS: an operating system that a test steps, holds and breaks by hand.
// Story      A test puts it behind OS() with a FakeOSScope. Nothing in it happens by itself: no
//            thread runs, no transfer finishes, no time passes until the test says so, or until
//            somebody waits: a wait lets the world go on until it is over (FakeWorld).
//
//              FakeOSScope os;                          from here on OS() is the fake
//              os->files().addFile(L"/m/a", bytes);     a file; setReadOnly, bytesOf, hasFile
//              os->files().setDrive(L"/net/", {.type = iDiskDrive::eNetwork});
//              os->files().opens(), transfers()         what was opened and transferred
//              os->files().setDrive(L"/m/", {.listed = true})   getDisks gives it; excluded,
//                                                       freeBytes, totalBytes, uncName
//              os->files().drive(L"/m/").silent = true  it does not answer, which costs patience
//              os->files().lateErrands(), runLateErrands()   what it was asked, done too late
//              os->files().addFolder(L"/m/f"), removeFolder, setWritable(L"/m", false), setMode
//              os->files().addLink(L"/l", L"/m/a")      a name that stands for another
//              os->files().setShares(shares)            sharesAsked, workstationAsked
//              FakeCrash crash(*os);                    each state that a loss of power may leave
//              os->threads().runDue()                   every thread that is due, once
//              os->threads().run(os->threads().find("name"))
//              os->threads().sleeps()                   every sleep, in ms
//              os->asyncIo().pending()                  what was started and has not finished
//              os->asyncIo().finish(1), finishShort(0, 512), fail(0, eOsIoError), finishAll()
//              os->asyncIo().hold(true)                 waits leave transfers alone
//              os->asyncIo().stall(0)                   a transfer that never ends
//              os->memory().regions(), bytesInUse()     what was asked for and not given back
//              os->faults().fail(FaultPlan::eStartRead, eOsIoError, 3)
//              os->clock().step(5)                      time passes, nothing happens
//              os->run()                                what can happen now does; no time passes
//              os->advance(100)                         100 ms pass, with all that falls due
//
// Threads    one. Only the heap is the system's own.
// Ownership  what its services made, files, events, queues, ports, goes before the scope ends.
class FakeOS final : public iOS {
public:
  FakeOS();
  FakeOS(const FakeOS&) = delete;
  FakeOS& operator=(const FakeOS&) = delete;

  iMemoryManager* getMemoryManager() override { return nativeOS()->getMemoryManager(); }
  iVirtualMemory* getVirtualMemory() override { return &memory_; }
  iThreads* getThreads() override { return &threads_; }
  iClock* getClock() override { return &clock_; }
  iFileManager* getFileManager() override { return &files_; }
  iAsyncIo* getAsyncIo() override { return &asyncIo_; }
  iSystemInfo* getSystemInfo() override { return &systemInfo_; }
  iOsErrors* getErrors() override { return &errors_; }

  FakeVirtualMemory& memory() { return memory_; }
  FakeThreads& threads() { return threads_; }
  FakeClock& clock() { return clock_; }
  FakeFileManager& files() { return files_; }
  FakeAsyncIo& asyncIo() { return asyncIo_; }
  FakeSystemInfo& systemInfo() { return systemInfo_; }
  FakeErrors& errors() { return errors_; }
  FaultPlan& faults() { return faults_; }

  // Lets everything happen that can happen now.
  void run() { world_.advance(0); }
  // The same for `ms` on the clock.
  void advance(double ms) { world_.advance(ms); }
  // Lets the world go on until `done` answers true; false when `timeout_ms` passed first.
  bool runUntil(const std::function<bool()>& done, double timeout_ms = 10'000) {
    return world_.waitUntil(done, timeout_ms);
  }

  // Drops what is pending and waiting; nothing is reported or run.
  void letGo();

private:
  FaultPlan faults_;
  FakeErrors errors_;
  FakeClock clock_;
  FakeWorld world_;
  FakeVirtualMemory memory_;
  FakeThreads threads_;
  FakeAsyncIo asyncIo_;
  FakeFileManager files_;
  FakeSystemInfo systemInfo_;
};
