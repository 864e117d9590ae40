#pragma once

#include <cstdint>

#include "platform/PlatformExport.h"
#include "platform/iObject.h"

// iThreadEvent: something to wait for. It is auto-reset: a wait that it ends takes the signal away,
// so one signal ends one wait. A signal of an event that is signalled already costs nothing.
// Threads    any; only wait() waits. Held by Qv::Ptr: who waits or signals holds a reference.
// Units      milliseconds.
// Errors     none: it takes what it needs as it is made.
class iThreadEvent : public iObject {
public:
  static constexpr uint32_t kForever = 0xFFFFFFFF;

  virtual void signal() = 0;
  virtual void reset() = 0;
  // True when the event ended the wait, false when `timeout_ms` passed first.
  virtual bool wait(uint32_t timeout_ms) = 0;
};

// iTask: one piece of work for a task queue. Destroyed after it ran, or without having run when its
// queue goes first: then the destructor is where it lets go of what it holds.
class iTask : public iObject {
public:
  virtual void run() = 0;
};

// iTaskQueue: long-lived threads that run tasks. Tasks may run at the same time and in any order.
// Threads    any, its own tasks too. Tasks run and are destroyed with no lock held.
// Ownership  the destructor returns when no task runs and none can start; waiting tasks are
//            dropped. It must not be destroyed by one of its own tasks.
class iTaskQueue : public iObject {
public:
  // False when the task cannot be taken (no thread could be made); it was not run.
  virtual bool post(const Qv::Ptr<iTask>& task) = 0;
};

// iThreads: the thread service.
// Threads    any. `kill` waits for the thread that it ends, so its caller holds no lock that the
//            thread takes; several may end one thread, and all of them wait.
// Ownership  an event and a queue go with their last reference; a thread that was created keeps its
//            identifier until it is killed.
// Errors     null, or identifier 0, when there is no memory or no thread can be made. Killing what
//            is no thread does nothing.
class iThreads {
public:
  // The three arguments are 0.
  virtual Qv::Ptr<iThreadEvent> createEvent(int, int, int) = 0;
  virtual void sleep(uint32_t ms) = 0;
  // Lets a thread run that waits for the caller's processor.
  virtual void yield() = 0;
  // At most `threads` threads (at least 1) of that name (15 characters), made when first needed.
  virtual Qv::Ptr<iTaskQueue> createTaskQueue(const char* name, unsigned threads) = 0;
  // For co_create and co_kill.
  virtual uint32_t create(unsigned (*entry)(void*), const char* name, void* argument) = 0;
  virtual void kill(uint32_t id) = 0;

protected:
  ~iThreads() = default;
};

// Starts a thread that runs entry(argument) under `name`. The other arguments are 0, 1 and 0: no
// special stack, started at once, no flags. Returns its identifier, 1 to 65535, or 0 when no thread
// could be made. The thread blocks every signal.
PLATFORM_EXPORT uint32_t co_create(unsigned (*entry)(void*), const char* name, int stack,
                                   void* argument, int start, int flags);
// Ends a thread: waits until it has left its function; from the thread itself, by detaching it. An
// identifier that names no thread is ignored.
PLATFORM_EXPORT void co_kill(uint32_t id);
