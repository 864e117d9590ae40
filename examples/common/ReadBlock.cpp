#include "ReadBlock.h"

#include "fsys/Fsys.h"

// It neither waits nor calls the engine: it may run inside the reader's own call of DirectRead, and
// with the locks of the file held.
void ReadBlock::arrived(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data,
                        RequestStatus status) {
  auto* block = static_cast<ReadBlock*>(context.get());
  if (status == eRequestSucceeded)
    block->data = data;
  else
    block->error = FsysGetLastError();
  block->isDone_.store(true, std::memory_order_release);
  block->arrival_->signal();
}
