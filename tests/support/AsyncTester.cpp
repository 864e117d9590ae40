#include "tests/support/AsyncTester.h"

#include "platform/OS.h"

namespace {

struct TesterTag {};
using TesterCommand = QvDC::SmplCmd<CompletionPortHandlerCallbackContext, TesterTag,
                                    QvDC::ThreadSafetyTraits::ThreadSafe>;

}  // namespace

class AsyncTester::Receiver : public QvDC::Receiver<TesterCommand> {
public:
  explicit Receiver(AsyncTester& tester) : tester_(tester) {}

  unsigned executeCommand(TesterCommand&, CompletionPortHandlerCallbackContext& context) override {
    auto* request = static_cast<Request*>(context.context());
    request->bytes = context.bytesProcessed();
    request->succeeded = context.succeeded();
    request->error = context.succeeded() ? 0 : OS()->getErrors()->getLastError();
    ++request->reports;
    if (request->then) request->then(*request);
    std::lock_guard lock(tester_.mutex_);
    ++tester_.reports_;
    tester_.changed_.notify_all();
    return 1;
  }

private:
  AsyncTester& tester_;
};

AsyncTester::Request::Request(uint32_t size)
    : keep(new Buffer(size)), buffer(*keep), context(OS()->getAsyncIo()->createContext()) {}

AsyncTester::Request::~Request() { context->detach(); }

void AsyncTester::Gate::pass() {
  std::unique_lock lock(mutex_);
  isThere_ = true;
  changed_.notify_all();
  changed_.wait(lock, [&] { return isOpen_; });
}

void AsyncTester::Gate::open() {
  std::lock_guard lock(mutex_);
  isOpen_ = true;
  changed_.notify_all();
}

void AsyncTester::Gate::waitUntilSomebodyIsThere() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return isThere_; });
}

AsyncTester::AsyncTester(const char* name, int running)
    : receiver_(std::make_unique<Receiver>(*this)) {
  CompletionCommand command = TesterCommand(receiver_.get()).bind();
  handler_ = std::make_unique<CompletionPortHandler>(name, command, 3, running, 3, 3);
}

AsyncTester::~AsyncTester() { handler_.reset(); }

uint32_t AsyncTester::readTo(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset,
                             void* buffer, uint32_t bytes) {
  AsyncTransfer transfer{offset, buffer, bytes, request.keep, &request};
  return file->startRead(request.context, transfer);
}

uint32_t AsyncTester::read(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset,
                           uint32_t bytes, uint32_t shift) {
  return readTo(file, request, offset, request.buffer.data() + shift, bytes);
}

uint32_t AsyncTester::read(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset) {
  return read(file, request, offset, static_cast<uint32_t>(request.buffer.size()));
}

uint32_t AsyncTester::write(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset,
                            uint32_t bytes) {
  AsyncTransfer transfer{offset, request.buffer.data(), bytes, request.keep, &request};
  return file->startWrite(request.context, transfer);
}

uint32_t AsyncTester::write(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset) {
  return write(file, request, offset, static_cast<uint32_t>(request.buffer.size()));
}

void AsyncTester::waitFor(unsigned reports) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return reports_ >= reports; });
}

unsigned AsyncTester::reports() {
  std::lock_guard lock(mutex_);
  return reports_;
}

void AsyncTester::settle(const Qv::Ptr<iFile>& file) {
  Request last(4096);
  unsigned target = reports() + 1;
  if (read(file, last, 0) == 1) waitFor(target);
}
