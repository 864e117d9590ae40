#pragma once

#include "platform/OsThreads.h"

class Fsys;
class FsysFile;

// CloseTask: closes a file for a callback that asked for it: the callback's own thread must not
// wait for what only it can finish.
// Ownership  the engine's queue of closes ends before the engine does. A task that did not run
//            gives the file back to the engine, which closes it in its own end.
class CloseTask : public iTask {
public:
  CloseTask(Fsys& engine, FsysFile* file) : engine_(engine), file_(file) {}
  ~CloseTask() override;
  void run() override;

private:
  Fsys& engine_;
  FsysFile* file_;  // null once it ran
};
