#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/OS.h"

struct FinishedTag {};

using FinishedCommand = QvDC::SmplCmd<CompletionPortHandlerCallbackContext, FinishedTag,
                                      QvDC::ThreadSafetyTraits::ThreadSafe>;

// Finished: a receiver that writes down which transfers were reported to it, and how they ended.
// Threads    commands: any; the rest: the test, which gets copies.
// Ownership  outlives its handler.
class Finished final : public QvDC::Receiver<FinishedCommand> {
public:
  struct Report {
    void* request = nullptr;
    uint32_t bytes = 0;
    bool succeeded = false;
    uint32_t error = 0;  // the executing thread's last error, of a failure
  };

  explicit Finished(const char* name = "conformance") {
    CompletionCommand command = FinishedCommand(this).bind();
    handler_ = std::make_unique<CompletionPortHandler>(name, command, 3, 3, 3, 3);
  }

  unsigned executeCommand(FinishedCommand&,
                          CompletionPortHandlerCallbackContext& context) override {
    Report report{context.context(), context.bytesProcessed(), context.succeeded(), 0};
    if (!report.succeeded) report.error = OS()->getErrors()->getLastError();
    if (onReport) onReport(report);
    {
      std::lock_guard lock(lock_);
      reports_.push_back(report);
    }
    changed_->signal();
    return 1;
  }

  CompletionPortHandler* handler() { return handler_.get(); }
  void destroyHandler() { handler_.reset(); }

  std::vector<Report> reports() const {
    std::lock_guard lock(lock_);
    return reports_;
  }
  size_t count() const { return reports().size(); }
  // How often a request was reported.
  size_t countOf(const void* request) const {
    size_t count = 0;
    for (const Report& report : reports()) count += report.request == request;
    return count;
  }
  // False when so many did not come in twenty seconds of silence.
  bool waitFor(size_t count) {
    while (this->count() < count)
      if (!changed_->wait(20'000)) return false;
    return true;
  }

  // Set before the first transfer; runs on the completion thread, before the report is kept.
  std::function<void(const Report&)> onReport;

private:
  mutable std::mutex lock_;  // guards reports_
  std::vector<Report> reports_;
  Qv::Ptr<iThreadEvent> changed_ = OS()->getThreads()->createEvent(0, 0, 0);
  std::unique_ptr<CompletionPortHandler> handler_;
};
