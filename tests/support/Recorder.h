#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "fsys/CompletionInfo.h"
#include "platform/OsThreads.h"

// Recorder: a context for completion callbacks that writes down what they were told.
// Story      Give Recorder::told as the callback, and the recorder, or one of its tickets, as the
//            context: a ticket's number tells which request was told.
//
//              Qv::Ptr<Recorder> recorder(new Recorder);
//              Qv::Ptr<iObject> context = recorder->ticket(7);
//              file->DirectRead(0, 100, false, &Recorder::told, context);
//              ASSERT_TRUE(recorder->waitFor(1));
//              EXPECT_EQ(recorder->at(0).ticket, 7);
//
// Threads    callbacks: any; the rest: any, they copy.
// Ownership  a ticket keeps its recorder. A call's data is let go unless keepHolders was called.
class Recorder final : public iObject {
public:
  struct Call {
    int ticket = 0;  // 0: the recorder itself was the context
    RequestStatus status = eRequestFailed;
    bool hadData = false;
    unsigned size = 0;                 // the holder's getSize
    unsigned char* address = nullptr;  // the holder's getBuffer
    std::vector<unsigned char> bytes;  // a copy of them
    uint64_t order = 0;                // rises over all recorders of the process
    Qv::Ptr<iMemHolder> holder;
  };

  Recorder();
  ~Recorder() override;

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status);

  Qv::Ptr<iObject> ticket(int number);
  Qv::Ptr<iObject> context() { return Qv::Ptr<iObject>(this); }

  size_t count() const;
  // An empty failed call when there is none of that index.
  Call at(size_t index) const;
  std::vector<Call> calls() const;
  // The tickets in the order in which they were told.
  std::vector<int> tickets() const;
  void clear();

  // Waits until `calls` calls were recorded in all; false when `timeout_ms` passed first. On the
  // fake this lets the world go on.
  bool waitFor(size_t calls, uint32_t timeout_ms = 30'000);

  // Set-up, before the first call. Runs `action` inside every callback, after it was recorded.
  void onCall(std::function<void(const Call&)> action) { action_ = std::move(action); }
  // Calls keep their holders from now on.
  void keepHolders() { keepHolders_ = true; }

private:
  void record(Call call);

  mutable std::mutex lock_;  // guards calls_
  std::vector<Call> calls_;
  Qv::Ptr<iThreadEvent> changed_;
  std::function<void(const Call&)> action_;
  bool keepHolders_ = false;
};
