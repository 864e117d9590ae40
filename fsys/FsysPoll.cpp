#include "fsys/FsysPoll.h"

#include <algorithm>
#include <new>

#include "fsys/FsysFile.h"
#include "platform/OS.h"
#include "platform/OsAsyncIo.h"

namespace {

constexpr unsigned kShortestWait_ms = 1;

// A pass by another thread than the poller's. The poller takes it back before it goes.
class PollErrand final : public iTask {
public:
  explicit PollErrand(FsysPoll& poll) : poll_(poll) {}
  void run() override { poll_.PassIfFree(); }

private:
  FsysPoll& poll_;
};

}  // namespace

FsysPoll::FsysPoll(Vector<FsysFile*>* files, CriticalSection* filesLock, bool reads,
                   unsigned delay_ms, unsigned spare)
    : delay_ms_(delay_ms),
      files_(files),
      filesLock_(filesLock),
      spare_(spare),
      reads_(reads),
      idleWait_ms_(delay_ms) {
  wake_ = OS()->getThreads()->createEvent(0, 0, 0);
  if (!wake_) throw std::bad_alloc();
  threadId_ = co_create(&FsysPoll::StartPolling, "fsys poll", 0, this, 1, 0);
}

FsysPoll::~FsysPoll() { Stop(); }

void FsysPoll::Stop() {
  running_.set(false);
  if (CompletionPortHandler* messenger = messenger_.exchange(nullptr))
    messenger->setErrand(nullptr);
  Kick();
  if (threadId_ != 0) co_kill(threadId_);
  threadId_ = 0;
}

void FsysPoll::Kick() { wake_->signal(); }

// Without memory for the errand it stays with kicks.
void FsysPoll::sendOnErrands(CompletionPortHandler* handler) {
  Qv::Ptr<iTask> errand(new (std::nothrow) PollErrand(*this));
  if (!errand) return;
  handler->setErrand(errand);
  messenger_.set(handler);
}

void FsysPoll::Rouse() {
  CompletionPortHandler* messenger = messenger_.get();
  if (!messenger || !messenger->sendOnErrand()) Kick();
}

unsigned FsysPoll::StartPolling(void* poll) {
  auto* self = static_cast<FsysPoll*>(poll);
  while (self->running_) {
    self->Polltasks();
    self->wake_->wait(self->nextWait_ms());
  }
  return 0;
}

unsigned FsysPoll::Polltasks() {
  if (!running_) return 1;
  CriticalSectionLock lock(*filesLock_);
  foundWork_ = pass();
  return 1;
}

void FsysPoll::PassIfFree() {
  if (!running_) return;
  if (!filesLock_->tryEnter()) return Kick();
  pass();
  filesLock_->leave();
}

// Whether anything was started.
bool FsysPoll::pass() {
  bool found = false;
  for (size_t i = 0; i < files_->size();) {
    FsysFile* file = (*files_)[i];
    found |= passOver(file);
    if (!running_) break;
    // A callback may have closed this file, or one before it: then the next one stands here now.
    if (i < files_->size() && (*files_)[i] == file) ++i;
  }
  return found;
}

bool FsysPoll::passOver(FsysFile* file) {
  FilePin pin(file);
  file->startPinned(reads_ ? file->readRequests_ : file->writeRequests_);
  return file->foundWork_;
}

// Work seldom comes alone, and a synchronous write kicks nobody: after a pass that started writes
// the next one follows soon; each idle pass doubles the wait until it is the delay again. Passes
// over reads keep to the delay, since each drops kept ones.
unsigned FsysPoll::nextWait_ms() {
  if (reads_) return std::max(delay_ms_, kShortestWait_ms);
  unsigned wait = foundWork_ ? kShortestWait_ms : idleWait_ms_ * 2;
  idleWait_ms_ = std::clamp(wait, kShortestWait_ms, std::max(delay_ms_, kShortestWait_ms));
  return idleWait_ms_;
}
