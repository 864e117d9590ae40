#include "bench/table/ReadStream.h"

#include "bench/table/Stamp.h"
#include "platform/OS.h"

namespace {

constexpr uint32_t kRetry_ms = 1;

}  // namespace

ReadStream::ReadStream(const Workload& work) : work_(work) {
  wake_ = OS()->getThreads()->createEvent(0, 0, 0);
  const uint32_t coalesce = work_.merged ? work_.merged : work_.block;
  for (const Workload::File& file : work_.files) {
    auto track = std::make_unique<Track>();
    track->file = std::make_unique<EngineFile>(file.path, coalesce, 1);
    track->index = tracks_.size();
    track->number = file.number;
    for (unsigned i = 0; i < work_.inFlight; ++i) {
      auto* slot = new Slot;
      slots_.push_back(Qv::Ptr<iObject>(slot));
      slot->stream = this;
      slot->track = track.get();
    }
    tracks_.push_back(std::move(track));
  }
}

void ReadStream::run(Round& round) {
  slotsAtWork_ = slots_.size();
  Meter meter;
  streams_.emplace(work_);
  for (Qv::Ptr<iObject>& slot : slots_) next(static_cast<Slot*>(slot.get()));
  while (slotsAtWork_ > 0) {
    bool asking;
    {
      std::lock_guard<std::mutex> held(lock_);
      asking = !refused_.empty();
    }
    wake_->wait(asking ? kRetry_ms : iThreadEvent::kForever);
    askRefusedAgain();
  }
  meter.stop(round);
  round.bytes = bytes_;
  round.wrong = wrong_;
  streams_->tell(round);
}

void ReadStream::arrived(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data,
                         RequestStatus status) {
  auto* slot = static_cast<Slot*>(context.get());
  slot->stream->take(slot, data, status);
}

void ReadStream::take(Slot* slot, const Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  bool right =
      status == eRequestSucceeded && data && data->getSize() == work_.block &&
      Stamp::endsAreRight(data->getBuffer(), slot->offset, work_.block, slot->track->number);
  if (right)
    bytes_ += work_.block;
  else
    ++wrong_;
  streams_->came(slot->track->index);
  next(slot);
}

void ReadStream::next(Slot* slot) {
  slot->offset = slot->track->next.fetch_add(work_.block);
  if (slot->offset < work_.bytesPerFile)
    ask(slot);
  else if (--slotsAtWork_ == 0)
    wake_->signal();
}

// Of the last ones none may: nothing would come behind them to send them off.
bool ReadStream::mayWait(uint64_t offset) const {
  return work_.merged && offset + uint64_t{work_.block} * work_.inFlight < work_.bytesPerFile;
}

void ReadStream::ask(Slot* slot) {
  Qv::Ptr<iObject> context(slot);
  FsysFile* file = slot->track->file->get();
  uint32_t result = file->DirectRead(static_cast<long>(slot->offset), work_.block,
                                     mayWait(slot->offset), &arrived, context);
  if (result == 1) return;
  {
    std::lock_guard<std::mutex> held(lock_);
    refused_.push_back(slot);
  }
  wake_->signal();
}

void ReadStream::askRefusedAgain() {
  std::deque<Slot*> again;
  {
    std::lock_guard<std::mutex> held(lock_);
    again.swap(refused_);
  }
  for (Slot* slot : again) ask(slot);
}
