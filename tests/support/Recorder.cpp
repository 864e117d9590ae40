#include "tests/support/Recorder.h"

#include <atomic>
#include <utility>

#include "platform/OS.h"

namespace {

std::atomic<uint64_t> callsInAll{0};

class Ticket final : public iObject {
public:
  Ticket(Recorder* recorder, int number) : recorder_(recorder), number_(number) {}
  Recorder* recorder() const { return recorder_.get(); }
  int number() const { return number_; }

private:
  Qv::Ptr<Recorder> recorder_;
  int number_;
};

}  // namespace

Recorder::Recorder() : changed_(OS()->getThreads()->createEvent(0, 0, 0)) {}
Recorder::~Recorder() = default;

void Recorder::told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  auto* ticket = dynamic_cast<Ticket*>(context.get());
  auto* recorder = ticket ? ticket->recorder() : dynamic_cast<Recorder*>(context.get());
  if (!recorder) return;
  Call call;
  call.ticket = ticket ? ticket->number() : 0;
  call.status = status;
  call.hadData = static_cast<bool>(data);
  if (data) {
    call.size = data->getSize();
    call.address = data->getBuffer();
    if (call.address) call.bytes.assign(call.address, call.address + call.size);
    if (recorder->keepHolders_) call.holder = data;
  }
  recorder->record(std::move(call));
}

void Recorder::record(Call call) {
  Qv::Ptr<Recorder> held(this);
  call.order = ++callsInAll;
  {
    std::lock_guard lock(lock_);
    calls_.push_back(call);
  }
  if (action_) action_(call);
  if (changed_) changed_->signal();
}

Qv::Ptr<iObject> Recorder::ticket(int number) { return Qv::Ptr<iObject>(new Ticket(this, number)); }

size_t Recorder::count() const {
  std::lock_guard lock(lock_);
  return calls_.size();
}

Recorder::Call Recorder::at(size_t index) const {
  std::lock_guard lock(lock_);
  return index < calls_.size() ? calls_[index] : Call();
}

std::vector<Recorder::Call> Recorder::calls() const {
  std::lock_guard lock(lock_);
  return calls_;
}

std::vector<int> Recorder::tickets() const {
  std::vector<int> numbers;
  for (const Call& call : calls()) numbers.push_back(call.ticket);
  return numbers;
}

void Recorder::clear() {
  std::lock_guard lock(lock_);
  calls_.clear();
}

bool Recorder::waitFor(size_t calls, uint32_t timeout_ms) {
  double end = Qv::now() + timeout_ms;
  while (count() < calls) {
    double left = end - Qv::now();
    if (left <= 0) return false;
    changed_->wait(static_cast<uint32_t>(left) + 1);
  }
  return true;
}
