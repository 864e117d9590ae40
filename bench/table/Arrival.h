#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "fsys/CompletionInfo.h"
#include "platform/OS.h"

// Arrival: the context of transfers that one thread asks for, one at a time.
// Threads    ask and wait: the thread that made it. A callback on that thread's own stack wakes
//            nobody and makes no system call.
class Arrival : public iObject {
public:
  Arrival() : event_(OS()->getThreads()->createEvent(0, 0, 0)) {}

  static void come(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    auto* arrival = static_cast<Arrival*>(context.get());
    arrival->data = data;
    if (status != eRequestSucceeded) ++arrival->failed;
    if (std::this_thread::get_id() == arrival->owner_)
      arrival->onOwnStack_ = true;
    else
      arrival->event_->signal();
  }

  // Waits until it has come. True when it came before the asking call returned.
  bool wait() {
    bool atOnce = onOwnStack_;
    if (!atOnce) event_->wait(iThreadEvent::kForever);
    onOwnStack_ = false;
    return atOnce;
  }

  Qv::Ptr<iMemHolder> data;
  std::atomic<uint64_t> failed{0};

private:
  const std::thread::id owner_ = std::this_thread::get_id();
  bool onOwnStack_ = false;
  Qv::Ptr<iThreadEvent> event_;
};
