// The end of a process from within a callback: see Fsys::leaveBehind.

#include <new>

#include "fsys/FlushTask.h"
#include "fsys/Fsys.h"
#include "fsys/LostBytes.h"
#include "fsys/ResultCodes.h"
#include "platform/Log.h"
#include "platform/OS.h"

namespace {

// Looks, with a short sleep in between, for what is still at work while the process ends.
constexpr unsigned kLeavingLooks = 100;
constexpr unsigned kClosingLooks = 1000;
constexpr unsigned kLook_ms = 1;

}  // namespace

// Waits neither for writes in flight nor for long: this very thread may have to end them.
void Fsys::leaveBehind() {
  beginEnd();
  while (FsysFile* file = pinOneToLeave()) {
    leave(file);
    file->unpin();
  }
}

// Null when there is none left, or when who has the list waits for this very thread.
FsysFile* Fsys::pinOneToLeave() {
  for (unsigned looks = kLeavingLooks; !writeFilesLock_.tryEnter(); --looks) {
    if (looks == 0) {
      Log("What open files held was not written: their list was in use as the process ended\n");
      return nullptr;
    }
    OS()->getThreads()->sleep(kLook_ms);
  }
  FsysFile* next = nullptr;
  for (FsysFile* file : writeFiles_)
    if (!next && !file->isLeftBehind_) next = file;
  if (next) {
    next->isLeftBehind_ = true;
    next->closing_.set(true);
    next->pin();
  }
  writeFilesLock_.leave();
  return next;
}

void Fsys::leave(FsysFile* file) {
  if (!file->writersHaveLeft(kLeavingLooks)) return reportLeft(file->name_);
  if (file->claimLastFlush(FsysFile::eLeaver)) {
    uint32_t held = file->cachedBytes();
    if (held != 0 && !flushInLeaving(file)) reportLost(held, file->name_);
    return;
  }
  // Its closer sends what it holds.
  for (unsigned looks = kClosingLooks; !file->heldIsSent_; --looks) {
    if (looks == 0) return reportLeft(file->name_);
    OS()->getThreads()->sleep(kLook_ms);
  }
}

// A share may not answer, and this may be the thread that would have to hear it: another one
// writes, and is waited for no longer than a drain.
bool Fsys::flushInLeaving(FsysFile* file) {
  Qv::Ptr<iThreadEvent> hasRun;
  iTaskQueue* queue = file->isShare() ? servedTransfers() : nullptr;
  if (queue) hasRun = OS()->getThreads()->createEvent(0, 0, 0);
  Qv::Ptr<FlushTask> task(hasRun ? new (std::nothrow) FlushTask(file, hasRun) : nullptr);
  if (!task || !queue->post(task)) return file->flushCache() == eResultOk;
  return hasRun->wait(FsysFile::kDrainWait_ms) && task->hasSucceeded();
}
