#pragma once

#include <cstdint>

class FileRequest;
class FsysFile;

// DeliveryScope: marks that this thread is telling a request's callers, for as long as it does.
// Story      A callback may close its own file, or write to it. Whoever would then wait for the
//            very request that is being told, or for a completion that this thread would have to
//            deliver, would wait for itself: it asks here first. A callback that queues more on its
//            own file kicks the poller; on a completion thread the scope takes the kick instead,
//            and who made the scope makes the pass once the callbacks have returned.
// Threads    each thread has a chain of its own.
class DeliveryScope {
public:
  // `countedBytes`: what the request still counts as outstanding while it is told. `takesKicks`:
  // on a thread that holds no lock and will make the pass.
  explicit DeliveryScope(const FileRequest* request, uint32_t countedBytes = 0,
                         bool takesKicks = false);
  // For a caller of the file's who is answered without a request.
  explicit DeliveryScope(const FsysFile* file);
  ~DeliveryScope();
  DeliveryScope(const DeliveryScope&) = delete;
  DeliveryScope& operator=(const DeliveryScope&) = delete;

  bool tookKick() const { return tookKick_; }

  // Whether this thread is telling anybody.
  static bool active();
  // Write bytes of the file that stay outstanding until this thread returns from its callbacks.
  static uint32_t writeBytesHeld(const FsysFile* file);
  // True when the innermost scope takes a kick of this file's poller.
  static bool takeKick(const FsysFile* file);

private:
  const FsysFile* file_;
  uint32_t writeBytes_ = 0;  // that stay outstanding meanwhile
  bool takesKicks_ = false;
  bool tookKick_ = false;
  DeliveryScope* outer_;
  static thread_local DeliveryScope* innermost_;
};
