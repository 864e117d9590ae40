#include "fsys/FlushTask.h"

#include "fsys/ResultCodes.h"

FlushTask::FlushTask(FsysFile* file, const Qv::Ptr<iThreadEvent>& hasRun)
    : file_(file), hasRun_(hasRun) {
  file_->pin();
}

FlushTask::~FlushTask() { file_->unpin(); }

void FlushTask::run() {
  succeeded_.set(file_->flushCache() == eResultOk);
  hasRun_->signal();
}
