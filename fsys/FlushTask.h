#pragma once

#include "fsys/FsysFile.h"
#include "platform/OsAtomics.h"
#include "platform/OsThreads.h"

// FlushTask: writes what a file holds for a thread that must not wait without limit.
// Story      Posted to a queue; who posted it waits for `hasRun` as long as it likes. Nobody else
//            flushes the file any more.
// Ownership  pins the file; shared by the queue and who waits.
class FlushTask final : public iTask {
public:
  FlushTask(FsysFile* file, const Qv::Ptr<iThreadEvent>& hasRun);
  ~FlushTask() override;
  void run() override;
  // After `hasRun`.
  bool hasSucceeded() const { return succeeded_.get(); }

private:
  FsysFile* file_;
  Qv::Ptr<iThreadEvent> hasRun_;
  OsWord<bool> succeeded_{false};
};
