#include "platform/fake/FakeAsyncIo.h"

#include <algorithm>

#include "platform/fake/FakeFileManager.h"
#include "platform/fake/FakePort.h"
#include "platform/fake/FakeThreads.h"

namespace {

// A context that is counted.
class FakeContext final : public iAsyncContext {
public:
  explicit FakeContext(std::shared_ptr<unsigned> live) : live_(std::move(live)) { ++*live_; }
  ~FakeContext() override { --*live_; }

private:
  const std::shared_ptr<unsigned> live_;
};

}  // namespace

Qv::Ptr<iAsyncContext> FakeAsyncIo::createContext() {
  if (uint32_t error = faults_.next(FaultPlan::eCreateContext).error) {
    errors_.fail(error);
    return {};
  }
  return Qv::Ptr<iAsyncContext>(new FakeContext(liveContexts_));
}

Qv::Ptr<iCompletionPort> FakeAsyncIo::createPort(const char* name, const CompletionCommand& command,
                                                 int waiting, int running, int queued, int kept) {
  if (uint32_t error = faults_.next(FaultPlan::eCreatePort).error) {
    errors_.fail(error);
    return {};
  }
  auto state = std::make_shared<FakePortState>();
  state->name = name ? name : "";
  state->command = command;
  state->waiting = waiting;
  state->running = running;
  state->queued = queued;
  state->kept = kept;
  ports_.push_back(state);
  return Qv::Ptr<iCompletionPort>(new FakePort(*this, state));
}

unsigned FakeAsyncIo::livePorts() const {
  return static_cast<unsigned>(
      std::count_if(ports_.begin(), ports_.end(), [](const auto& port) { return port->alive; }));
}

void FakeAsyncIo::start(FakeTransfer transfer) {
  transfer.context->setLink(transfer.request);
  transfer.number = ++started_;
  pending_.push_back(std::move(transfer));
  if (watcher_) watcher_->started(pending_.back());
}

bool FakeAsyncIo::finish(size_t index) { return finishWith(index, 0, UINT32_MAX); }

bool FakeAsyncIo::finishShort(size_t index, uint32_t bytes) { return finishWith(index, 0, bytes); }

bool FakeAsyncIo::fail(size_t index, uint32_t error, uint32_t bytes) {
  return finishWith(index, error, bytes);
}

unsigned FakeAsyncIo::finishAll() {
  unsigned finished = 0;
  for (;;) {
    auto next = std::find_if(pending_.begin(), pending_.end(),
                             [](const FakeTransfer& t) { return !t.stalled; });
    if (next == pending_.end()) return finished;
    finish(static_cast<size_t>(next - pending_.begin()));
    ++finished;
  }
}

bool FakeAsyncIo::finishNext() {
  if (held_) return false;
  if (watcher_) return watcher_->endOne();
  for (size_t i = 0; i < pending_.size(); ++i)
    if (!pending_[i].stalled) return finish(i);
  return false;
}

void FakeAsyncIo::dropAll() {
  std::deque<FakeTransfer> dropped;
  dropped.swap(pending_);
}

bool FakeAsyncIo::finishWith(size_t index, uint32_t error, uint32_t mostBytes) {
  if (index >= pending_.size()) return false;
  FakeTransfer transfer = std::move(pending_[index]);
  pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(index));
  FaultPlan::Verdict verdict =
      faults_.next(transfer.write ? FaultPlan::eFinishWrite : FaultPlan::eFinishRead);
  if (verdict.error != 0) {
    error = verdict.error;
    mostBytes = 0;
  }
  if (verdict.shortened) mostBytes = std::min(mostBytes, verdict.bytes);
  void* request = takeRequest(transfer);
  uint32_t done = move(transfer, mostBytes, error);
  if (watcher_)
    watcher_->moved({transfer.number, request, transfer.write, transfer.path, transfer.offset,
                     transfer.bytes, static_cast<const unsigned char*>(transfer.buffer), done,
                     error});
  if (request) report(transfer, request, done, error);
  return true;
}

uint32_t FakeAsyncIo::move(const FakeTransfer& transfer, uint32_t mostBytes, uint32_t& error) {
  uint32_t bytes = std::min(transfer.bytes, mostBytes);
  auto* buffer = static_cast<unsigned char*>(transfer.buffer);
  if (!transfer.write) {
    uint32_t done = transfer.content->read(transfer.offset, buffer, bytes);
    std::fill(buffer + done, buffer + transfer.bytes, static_cast<unsigned char>(0));
    return done;
  }
  uint32_t fits = files_->room(transfer.path, *transfer.content, transfer.offset, bytes);
  if (fits < bytes && error == 0) error = eOsNoSpace;
  files_->writeContent(transfer.path, transfer.content, transfer.offset, buffer, fits);
  return fits;
}

// Null when nobody is to be told.
void* FakeAsyncIo::takeRequest(const FakeTransfer& transfer) {
  if (!transfer.port->alive) {
    ++unreported_;
    return nullptr;
  }
  void* request = transfer.context->takeLink();
  if (!request) ++lateDropped_;
  return request;
}

void FakeAsyncIo::report(FakeTransfer& transfer, void* request, uint32_t done, uint32_t error) {
  ++reported_;
  ++transfer.port->executed;
  // The command may destroy its port: the copy lasts until it has returned.
  CompletionCommand command = transfer.port->command;
  transfer = FakeTransfer();
  FakeThreads::AnotherThread thread(threads_);
  FakeErrorsOfAnotherThread errors(errors_);
  if (error != 0) errors_.setLastError(error);
  command.execute(CompletionPortHandlerCallbackContext(done, request, error == 0));
}

unsigned FakeAsyncIo::runErrands() {
  unsigned ran = 0;
  for (const std::shared_ptr<FakePortState>& port : ports_) {
    if (!std::exchange(port->isAsked, false) || !port->errand) continue;
    ++ran;
    port->errand->run();
  }
  return ran;
}
