#pragma once

#include <memory>

#include "fsys/Export.h"
#include "platform/OsAsyncIo.h"
#include "platform/QvDC.h"

class FileRequest;

// The kind of the command below.
struct OnIOCompletionTag {};

// The command that tells the receiver of a finished transfer.
using OnIOCompletion = QvDC::SmplCmd<CompletionPortHandlerCallbackContext, OnIOCompletionTag,
                                     QvDC::ThreadSafetyTraits::ThreadSafe>;

// IOCompletionReceiver: finishes requests whose transfers have ended.
// Story      The engine makes it when the first file with asynchronous transfers is opened. Files
//            are attached to its read or its write handler; each finished transfer arrives as a
//            command: the outcome is recorded, the volume's speed judged, the callbacks run, the
//            counters taken down, and last the request is marked done.
// Threads    executeCommand: the handlers' threads; no lock of its own. Callbacks run on them.
// Ownership  owns both handlers. Its destructor returns when no command runs and none can start. It
//            must not be destroyed by a callback.
// Errors     a failed transfer is told to its callers with the platform's last error; nothing is
//            tried again.
class FSYS_EXPORT IOCompletionReceiver : private QvDC::Receiver<OnIOCompletion> {
public:
  IOCompletionReceiver();
  ~IOCompletionReceiver() override;
  IOCompletionReceiver(const IOCompletionReceiver&) = delete;
  IOCompletionReceiver& operator=(const IOCompletionReceiver&) = delete;

  // Finishes one transfer. The context's request carries the transfer's share, which is dropped.
  // Returns 1.
  unsigned executeCommand(OnIOCompletion& command,
                          CompletionPortHandlerCallbackContext& context) override;

  CompletionPortHandler* readHandler() const { return readHandler_.get(); }
  CompletionPortHandler* writeHandler() const { return writeHandler_.get(); }

  // What executeCommand does with a request; also for transfers that were served without a handler.
  static void finish(FileRequest* request, uint32_t bytes, bool succeeded);

private:
  friend struct LayoutPeer;
  // True when a callback kicked the poller of its own file and this thread is to make the pass.
  static bool finishSucceeded(FileRequest* request, uint32_t bytes, bool takesKicks);
  static bool finishFailed(FileRequest* request, uint32_t error, bool takesKicks);
  static void takeOff(FileRequest* request);
  static void judgeVolume(FileRequest* request);

  std::unique_ptr<CompletionPortHandler> readHandler_;
  std::unique_ptr<CompletionPortHandler> writeHandler_;
};

// Counted from outside: the engine's reference is one of several.
template <>
struct Qv::CountingOf<IOCompletionReceiver> {
  using type = Qv::ExternalCounting;
};
