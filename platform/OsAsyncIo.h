#pragma once

#include <atomic>
#include <cstdint>

#include "platform/OsThreads.h"
#include "platform/PlatformExport.h"
#include "platform/QvDC.h"
#include "platform/iObject.h"

// CompletionPortHandlerCallbackContext: how one transfer ended.
class CompletionPortHandlerCallbackContext {
public:
  CompletionPortHandlerCallbackContext() = default;
  CompletionPortHandlerCallbackContext(uint32_t bytes, void* context, bool succeeded)
      : bytes_(bytes), context_(context), succeeded_(succeeded) {}

  // Bytes that were transferred. Fewer than asked for: the end of the file (a read).
  uint32_t bytesProcessed() const { return bytes_; }
  // The request that was given with the transfer.
  void* context() const { return context_; }
  // False: the executing thread's last error says why.
  bool succeeded() const { return succeeded_; }

private:
  uint32_t bytes_ = 0;
  void* context_ = nullptr;
  bool succeeded_ = false;
};

// What a port executes a copy of for each finished transfer.
using CompletionCommand =
    QvDC::Cmd<CompletionPortHandlerCallbackContext, QvDC::ThreadSafetyTraits::ThreadSafe>;

// AsyncTransfer: what is to be transferred.
struct AsyncTransfer {
  uint64_t offset = 0;
  void* buffer = nullptr;
  uint32_t bytes = 0;
  Qv::Ptr<iObject> keep;    // holds the buffer for as long as the system may touch it
  void* request = nullptr;  // handed back with the completion
};

// iAsyncContext: one request's side of its transfers. It owns what the system may still touch: the
// descriptor, a reference to the buffer, and a link to the request that can be cut.
// Story      A request obtains one for its first transfer. The transfer sets the link; the
//            completion takes it, or who destroys the request cuts it, whoever comes first. A
//            completion that finds no link is dropped; the buffer lives until the system lets go.
// Threads    any.
class PLATFORM_EXPORT iAsyncContext : public iObject {
public:
  // Cuts the link. The request if this call cut it: its completion will never be reported. Null if
  // the completion has taken it, or nothing was started.
  void* detach() { return link_.exchange(nullptr, std::memory_order_acq_rel); }
  // Whether the link is there. A transfer that has not begun when it was cut need not begin.
  bool isLinked() const { return link_.load(std::memory_order_acquire) != nullptr; }

  // For the platform: sets the link as a transfer starts; takes it as one completes.
  void setLink(void* request) { link_.store(request, std::memory_order_release); }
  void* takeLink() { return link_.exchange(nullptr, std::memory_order_acq_rel); }

private:
  std::atomic<void*> link_{nullptr};
};

// iCompletionPort: what stands behind a CompletionPortHandler. Files are attached to the port.
// Ownership  the destructor returns only when no command runs and none can start; transfers that
//            are still in flight then end without being reported.
class iCompletionPort : public iObject {
public:
  // See CompletionPortHandler.
  virtual void setErrand(const Qv::Ptr<iTask>& errand) = 0;
  virtual bool sendOnErrand() = 0;
};

// iAsyncIo: the asynchronous I/O service.
// Threads    any. createPort and describe may make a ring and a thread to find out what can be had.
//            They wait for no transfer.
// Errors     null when there is no memory, or no port can be made; the thread's last error says
//            why. describe cannot fail.
class iAsyncIo {
public:
  // What the ports are, and what they have to do.
  struct Description {
    bool ring = false;           // a ring of the kernel's; otherwise threads
    const char* why = "";        // why threads, in words; empty for a ring
    uint32_t inFlightLimit = 0;  // transfers that a port gives to the system at once, at most
    // Of ports that have gone: transfers that the system has not let go of to this moment. Their
    // memory is kept until it does.
    uint64_t keptTransfers = 0;
  };

  virtual Qv::Ptr<iAsyncContext> createContext() = 0;
  // The four limits are threads that wait, run, queue and are kept, at most; one that meets them is
  // enough. Where threads carry the transfers out, each has one in flight: no more than `running`,
  // nor than what describe() says.
  virtual Qv::Ptr<iCompletionPort> createPort(const char* name, const CompletionCommand& command,
                                              int waiting, int running, int queued, int kept) = 0;
  // What the ports are that exist now: while one of them has threads, that one, else the latest.
  // While there is none: what one with the highest limits would be.
  virtual Description describe() = 0;

protected:
  ~iAsyncIo() = default;
};

// CompletionPortHandler: executes a copy of a command for each finished transfer of the files that
// are attached to it, on a thread of its name.
// Story      Made with a name and a command; files are attached; each finished transfer takes a
//            command from the pool, fills it and executes it. Nothing is allocated on that way.
// Threads    commands run on the handler's threads, no lock held; up to `running` at once for
//            threads. Those of a ring come one after another, save for files that the system's ring
//            does not serve rightly: threads of the handler's carry these out, and execute their
//            commands beside the others.
// Ownership  the destructor returns only when no command runs and none can start. It must not be
//            called from its own command.
class PLATFORM_EXPORT CompletionPortHandler {
public:
  // The four numbers: see iAsyncIo::createPort. Throws std::bad_alloc when no port can be made.
  CompletionPortHandler(const char* name, CompletionCommand& command, int waiting, int running,
                        int queued, int kept);
  ~CompletionPortHandler();
  CompletionPortHandler(const CompletionPortHandler&) = delete;
  CompletionPortHandler& operator=(const CompletionPortHandler&) = delete;

  // The errand on which the handler's thread can be sent; null takes it away, and returns when it
  // does not run any more and cannot start. Not from a command, nor from the errand itself.
  void setErrand(const Qv::Ptr<iTask>& errand);
  // While there is an errand. True: it will run on the handler's thread, no lock held, before the
  // commands of what ends from now on; who comes before it has begun shares the run. False: the
  // thread is not waiting, or none can be sent, and nothing will run. Any thread; does not wait.
  bool sendOnErrand();

  // For the platform's files.
  iCompletionPort* port() const { return port_.get(); }

private:
  Qv::Ptr<iCompletionPort> port_;
};
