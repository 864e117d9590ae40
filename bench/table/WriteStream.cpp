#include "bench/table/WriteStream.h"

#include "bench/table/Holder.h"
#include "bench/table/Stamp.h"
#include "platform/OS.h"

WriteStream::WriteStream(EngineFile& file, const Workload& work)
    : file_(file), work_(work), over_(OS()->getThreads()->createEvent(0, 0, 0)) {
  for (unsigned i = 0; i < work_.inFlight; ++i) {
    auto* slot = new Slot;
    slots_.push_back(Qv::Ptr<iObject>(slot));
    slot->stream = this;
    slot->data = makeHolder(work_.block);
  }
}

void WriteStream::run(Round& round) {
  {
    std::lock_guard<std::mutex> held(lock_);
    slotsAtWork_ = slots_.size();
    for (Qv::Ptr<iObject>& slot : slots_) next(static_cast<Slot*>(slot.get()));
  }
  over_->wait(iThreadEvent::kForever);
  round.wrong += wrong_;
}

void WriteStream::written(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>&, RequestStatus status) {
  auto* slot = static_cast<Slot*>(context.get());
  std::lock_guard<std::mutex> held(slot->stream->lock_);
  if (status != eRequestSucceeded) ++slot->stream->wrong_;
  slot->stream->next(slot);
}

void WriteStream::next(Slot* slot) {
  if (offset_ < work_.bytesPerFile) {
    Stamp::putEnds(slot->data->getBuffer(), offset_, work_.block, work_.files[0].number);
    offset_ += work_.block;
    Qv::Ptr<iObject> context(slot);
    if (file_->DirectWrite(slot->data, false, &WriteStream::written, context, false) == 1) return;
    ++wrong_;
  }
  if (--slotsAtWork_ == 0) over_->signal();
}
