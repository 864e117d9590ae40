#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "fsys/CompletionInfo.h"

// ArrivalBell: rung when a transfer of a stream ends; its lock guards the outcomes.
// Threads    any. Held by Qv::Ptr: a late completion still has it.
class ArrivalBell : public iObject {
public:
  std::mutex lock;
  std::condition_variable rung;
};

// PendingTransfer: the context of one transfer: what was asked for, and how it ended.
// Story      A stream makes one and hands it to the engine; `finished` is the completion callback.
// Threads    the outcome is written by the callback, on whatever thread, under the bell's lock.
// Ownership  shared by its stream and the engine.
class PendingTransfer : public iObject {
public:
  PendingTransfer(const Qv::Ptr<ArrivalBell>& bell, uint64_t offset, uint32_t length);

  // The completion callback; the context is a PendingTransfer.
  static void finished(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status);

  // Fixed after construction.
  const uint64_t offset;
  const uint32_t length;
  const double asked_ms;

  // Guarded by the bell's lock.
  bool done = false;
  bool failed = false;
  uint32_t error = 0;  // for a failure
  double ended_ms = 0;
  Qv::Ptr<iMemHolder> data;

private:
  Qv::Ptr<ArrivalBell> bell_;
};
